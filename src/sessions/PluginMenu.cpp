#include "sessions/PluginMenu.h"

#include <new>
#include <utility>

#include "sessions/PluginEntry.h"

namespace vel {

class PluginMenu::Handler : public IVelMenuItemHandler {
 public:
  Handler(PluginEntry* entry, IVelMenuItemHandler* target)
      : _entry(entry), _target(target) {}

  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    const PluginEntry::Call call(*_entry);
    if (call) _target->on_menu_event(event, id, param);
  }

 private:
  PluginEntry* const _entry;
  IVelMenuItemHandler* const _target;
};

PluginMenu::PluginMenu(PluginEntry* entry) : _entry(entry) {}

PluginMenu::~PluginMenu() = default;

void PluginMenu::begin(IVelTrayMenu* tray) {
  const VelFastMutex::Scope scope(_lock);
  _tray = tray;
  _former = std::exchange(_handlers, {});
}

void PluginMenu::add_menu_item(std::uint32_t parent, std::uint32_t type,
                               std::uint32_t id, const wchar_t* text,
                               IVelMenuItemHandler* handler, bool flag) {
  IVelTrayMenu* tray = nullptr;
  try {
    const VelFastMutex::Scope scope(_lock);
    handler = counted(handler);
    tray = _tray;
  } catch (const std::bad_alloc&) {
    // The menu lacks this item. No exception goes to a plug-in.
  }
  if (tray != nullptr) {
    tray->add_menu_item(parent, type, id, text, handler, flag);
  }
}

IVelMenuItemHandler* PluginMenu::counted(IVelMenuItemHandler* handler) {
  if (handler == nullptr) return nullptr;
  _handlers.push_back(std::make_unique<Handler>(_entry, handler));
  return _handlers.back().get();
}

}  // namespace vel
