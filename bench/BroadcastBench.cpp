// What a broadcast costs, by the number of plug-ins that it goes through.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

#include "foundation/ModuleFile.h"
#include "foundation/PathParts.h"
#include "sessions/IVelSessionHost.h"
#include "sessions/VelPluginsCtl.h"
#include "support/Ratios.h"
#include "sync/ScopedHandle.h"

namespace vel::bench {
namespace {

constexpr wchar_t kName[] = L"bench_broadcast";

// A tray that has nothing to say.
class NoTray : public IVelSessionHost {
 public:
  std::uint32_t need_session(const wchar_t*) override { return 0; }
  std::uint32_t close_session(const wchar_t*, std::uint32_t) override {
    return 0;
  }
  std::uint32_t shutdown(std::uint32_t) override { return 0; }
  void set_notify_hint(std::uint32_t, const wchar_t*) override {}
  void set_notify_icon(std::uint32_t, HICON) override {}
  void on_session_startup(IVelSession*, const wchar_t*) override {}
  void on_session_shutdown(IVelSession*) override {}
  bool query_session_shutdown(IVelSession*, std::uint32_t) override {
    return true;
  }
};

bool write_file(const std::wstring& path, const std::string& text) {
  const ScopedFileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0,
                                          nullptr, CREATE_ALWAYS, 0, nullptr));
  DWORD written = 0;
  return file && WriteFile(file.get(), text.data(),
                           static_cast<DWORD>(text.size()), &written, nullptr);
}

// A host with `count` plug-ins. They share a library, but each is an object
// and an entry of its own.
std::unique_ptr<VelPluginsCtl> make_host(int count) {
  static NoTray tray;
  const std::wstring folder =
      directory_of(module_path(nullptr)) + L"bench_plugins";
  const std::wstring list = folder + L"\\plugins.txt";
  std::string text;
  for (int i = 0; i < count; ++i) text += "bench_plugin.dll\r\n";
  if (!write_file(list, text)) return nullptr;
  auto host = std::make_unique<VelPluginsCtl>(nullptr, folder);
  host->load_plugins(&tray);
  DeleteFileW(list.c_str());
  return host;
}

VelPluginsCtl* host_of(int count) {
  static std::map<int, std::unique_ptr<VelPluginsCtl>> hosts;
  auto& host = hosts[count];
  if (!host) host = make_host(count);
  return host.get();
}

void send(benchmark::State& state) {
  VelPluginsCtl* host = host_of(static_cast<int>(state.range(0)));
  if (host == nullptr) {
    state.SkipWithError("plugins.txt can't be written");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(host->send_broadcast(nullptr, kName, 0, 0));
  }
}

bool add_all() {
  for (const int plugins : {1, 10, 100}) {
    benchmark::RegisterBenchmark("broadcast", send)
        ->UseRealTime()
        ->Iterations(20000 / plugins)
        ->Arg(plugins);
  }
  add_ratio("broadcast/10", "broadcast/1", 0);
  add_ratio("broadcast/100", "broadcast/10", 0);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
