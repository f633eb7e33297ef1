// The staged product in a folder of the test's own, and its processes.
#ifndef VEL_TESTS_E2E_HARNESS_PRODUCT_H_
#define VEL_TESTS_E2E_HARNESS_PRODUCT_H_

#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/ScratchDirectory.h"

namespace vel::test {

// What a helper library has recorded: the text of each line with its tick
// count.
struct Event {
  DWORD tick;
  std::wstring text;
};

// Full path of a helper, which lies beside the test program.
std::wstring BesideTheTests(const std::wstring& helper);

// A copy of the stage with an empty plugins.txt. The environment of the
// product's processes is this process's.
class Product {
 public:
  Product();
  ~Product();
  Product(const Product&) = delete;
  Product& operator=(const Product&) = delete;

  // Full path of a file of the product.
  std::wstring File(const std::wstring& name) const;
  bool Write(const std::wstring& name, const std::string& bytes) const;
  bool Remove(const std::wstring& name) const;
  // Puts a helper into the product.
  bool Install(const wchar_t* helper, const std::wstring& name) const;

  // Plugins\plugins.txt.
  bool SetPlugins(const std::string& text) const;
  // The plug-ins of the stage.
  bool UseStagedPlugins() const;
  // The test plug-in as Plugins\test.dll, the only one.
  bool UseTestPlugin(const std::string& parameters = "") const;
  // The test's session library instead of the product's.
  bool UseTestSession() const;
  // While true the test plug-in refuses every shutdown.
  bool Veto(bool on) const;

  // What the library Plugins\<name> or <name> has recorded so far.
  std::vector<Event> Events(const std::wstring& library) const;
  std::vector<Event> PluginEvents() const {
    return Events(L"Plugins\\test.dll");
  }
  std::vector<Event> SessionEvents() const { return Events(L"VELUL.dll"); }

  // Brindlemar.exe with these arguments.
  ChildProcess Start(const std::wstring& arguments = L"") const;
  // Starts it and waits for its end; its exit code, or an odd one when it
  // doesn't end.
  DWORD Run(const std::wstring& arguments = L"") const;

 private:
  ScratchDirectory _directory;
};

inline constexpr DWORD kStillRunning = 0xE2EE2E;

// A running tray, ended at the latest with the object.
class Tray {
 public:
  // Returns when it is up, and gives a failure when it doesn't come up.
  explicit Tray(const Product& product, const std::wstring& arguments = L"");
  ~Tray();

  bool up() const { return _up; }
  DWORD id() const { return _process.id(); }
  bool Runs();
  DWORD WaitForExit();
  // Orders the end and gives the exit code.
  DWORD Shutdown();

 private:
  class UpEvent;
  Tray(const Product& product, const std::wstring& arguments,
       const UpEvent& event);

  ChildProcess _process;
  bool _up = false;
};

// How many events have exactly this text, or begin with it.
std::size_t Count(const std::vector<Event>& events, const std::wstring& text);
std::size_t CountBeginning(const std::vector<Event>& events,
                           const std::wstring& text);
// All texts, for a failure's message.
std::string Describe(const std::vector<Event>& events);

}  // namespace vel::test

#endif  // VEL_TESTS_E2E_HARNESS_PRODUCT_H_
