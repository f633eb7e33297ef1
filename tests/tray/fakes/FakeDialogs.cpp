#include "FakeDialogs.h"

#include <cwchar>

namespace {

FakeMenuRecord record;

class FakeMenu : public IVelPopupMenu {
 public:
  void release() override { InterlockedIncrement(&record.released); }

  void add_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                const wchar_t* text, IVelMenuItemHandler* handler,
                bool flag) override {
    FakeMenuItem& item = record.items[record.item_count];
    item.parent = parent;
    item.type = type;
    item.id = id;
    std::wcsncpy(item.text, text, 63);
    item.text[63] = L'\0';
    item.handler = handler;
    item.flag = flag;
    InterlockedIncrement(&record.item_count);
  }
  void reserved_3() override {}
  void clear_items() override {
    InterlockedExchange(&record.item_count, 0);
    InterlockedIncrement(&record.cleared);
  }
  void show_at(const POINT* point, HWND owner) override {
    record.point = *point;
    record.owner = owner;
    record.thread = GetCurrentThreadId();
    if (record.on_show != nullptr) record.on_show(&record);
    InterlockedIncrement(&record.shown);
  }
  void reserved_6() override {}
  void run_default(std::uint32_t type) override {
    record.default_type = type;
    InterlockedIncrement(&record.defaults);
  }
};

class FakeFactory : public IVelDialogFactory {
 public:
  IVelPopupMenu* create_menu() override {
    static FakeMenu menu;
    InterlockedIncrement(&record.made);
    return &menu;
  }
};

}  // namespace

extern "C" __declspec(dllexport)
    IVelDialogFactory* VelDlg_Factory(std::uint32_t version) {
  static FakeFactory factory;
  return version == VEL_DIALOG_INTERFACE_VERSION ? &factory : nullptr;
}

extern "C" __declspec(dllexport) FakeMenuRecord* FakeDialogs_Record() {
  return &record;
}
