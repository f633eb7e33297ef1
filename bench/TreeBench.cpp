// A property tree of 100,000 nodes with three attributes: read and written
// beside a copy of it in memory; and the store of downloads at three sizes.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Paths.h"
#include "proptree/DwlSources.h"
#include "proptree/VelPropPacker.h"
#include "proptree/VelPropTreeStore.h"
#include "support/Ratios.h"

namespace vel::bench {
namespace {

constexpr int kNodes = 100000;

// A stream in memory.
class MemoryStream final : public VelStream {
 public:
  explicit MemoryStream(std::vector<char>* bytes) : _bytes(bytes) {}
  bool Write(const void* buffer, std::size_t size) override {
    const auto* const from = static_cast<const char*>(buffer);
    _bytes->insert(_bytes->end(), from, from + size);
    return true;
  }
  bool Read(void* buffer, std::size_t size) override {
    if (_bytes->size() - _at < size) return false;
    std::memcpy(buffer, _bytes->data() + _at, size);
    _at += size;
    return true;
  }
  bool IsOpen() const override { return true; }
  bool CanWrite() const override { return true; }

 private:
  std::vector<char>* const _bytes;
  std::size_t _at = 0;
};

VelPropNode& tree() {
  static VelPropNode root;
  if (root.ChildCount() != 0) return root;
  const auto list = root.AddChild(L"root");
  for (int i = 0; i < kNodes; ++i) {
    const auto node = list->AddChild(L"node");
    const std::wstring number = std::to_wstring(i);
    node->SetText(L"path", L"C:\\Users\\somebody\\Downloads\\" + number);
    node->SetText(L"source", L"http://downloads.invalid/file/" + number);
    node->SetNumber(L"ts", 1700000000 + i);
  }
  return root;
}

std::vector<char>& packed() {
  static std::vector<char> bytes;
  if (bytes.empty()) {
    MemoryStream stream(&bytes);
    VelPropPacker(&tree()).Save(VelStreamIo(&stream));
  }
  return bytes;
}

void copy_into(const VelPropNode& from, VelPropNode& to) {
  to.Name() = from.Name();
  to.Attributes() = from.Attributes();
  for (std::size_t i = 0; i < from.ChildCount(); ++i) {
    auto child = std::make_shared<VelPropNode>();
    copy_into(*from.ChildAt(i), *child);
    to.AppendChild(std::move(child));
  }
}

void copy(benchmark::State& state) {
  for (auto _ : state) {
    VelPropNode target;
    copy_into(tree(), target);
    benchmark::DoNotOptimize(&target);
  }
}

void load(benchmark::State& state) {
  for (auto _ : state) {
    VelPropNode target;
    MemoryStream stream(&packed());
    VelPropPacker(&target).Load(VelStreamIo(&stream));
    benchmark::DoNotOptimize(&target);
  }
}

void save(benchmark::State& state) {
  std::vector<char> bytes;
  bytes.reserve(packed().size());
  for (auto _ : state) {
    bytes.clear();
    MemoryStream stream(&bytes);
    VelPropPacker(&tree()).Save(VelStreamIo(&stream));
  }
}

std::wstring file_path() {
  return temp_directory() + L"\\vel_bench.ptp";
}

void save_file(benchmark::State& state) {
  for (auto _ : state) {
    if (!VelPropTreeStore(&tree()).StorePlain(file_path())) {
      state.SkipWithError("the tree can't be saved");
    }
  }
}

void load_file(benchmark::State& state) {
  VelPropTreeStore(&tree()).StorePlain(file_path());
  for (auto _ : state) {
    VelPropNode target;
    if (!VelPropTreeStore(&target).LoadPlain(file_path())) {
      state.SkipWithError("the tree can't be loaded");
    }
  }
  DeleteFileW(file_path().c_str());
}

void fill_store(std::int64_t entries) {
  VelPropNode store;
  const auto list = store.AddChild(L"root");
  for (std::int64_t i = 0; i < entries; ++i) {
    const auto node = list->AddChild(L"node");
    node->SetText(L"path", L"C:\\file" + std::to_wstring(i));
    node->SetText(L"source", L"http://downloads.invalid/");
    node->SetNumber(L"ts", i);
  }
  VelPropTreeStore(&store).StorePlain(DownloadedFilesPath());
}

void add_source(benchmark::State& state) {
  fill_store(state.range(0));
  for (auto _ : state) AddDownloadSource(L"C:\\file0", L"http://other/");
  DeleteDownloadSources();
}

void get_source(benchmark::State& state) {
  fill_store(state.range(0));
  std::wstring source;
  for (auto _ : state) {
    if (!GetDownloadSource(L"C:\\file0", source)) {
      state.SkipWithError("an entry is missing");
    }
  }
  DeleteDownloadSources();
}

benchmark::internal::Benchmark* add(const char* name,
                                    void (*function)(benchmark::State&)) {
  constexpr int kRounds = 7;
  return benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(1)
      ->Repetitions(kRounds);
}

bool add_all() {
  add("tree, copy", copy);
  add("tree, load", load);
  add("tree, save", save);
  add("tree, load from a file", load_file);
  add("tree, save to a file", save_file);
  // At least 0.75 and 0.65 times as fast.
  add_ratio("tree, load", "tree, copy", 1.33);
  add_ratio("tree, save", "tree, copy", 1.54);
  add_ratio("tree, load from a file", "tree, load", 1.1);
  add_ratio("tree, save to a file", "tree, save", 1.1);
  add("store, add", add_source)->Arg(10)->Arg(1000)->Arg(10000);
  add("store, get", get_source)->Arg(10)->Arg(1000)->Arg(10000);
  add_ratio("store, add/1000", "store, add/10", 0);
  add_ratio("store, add/10000", "store, add/1000", 0);
  add_ratio("store, get/1000", "store, get/10", 0);
  add_ratio("store, get/10000", "store, get/1000", 0);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
