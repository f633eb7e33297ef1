#include "tray/GuiIpc.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "foundation/CommandLine.h"
#include "tray/GuiIpcBlock.h"

namespace vel {
namespace {

// A window of the tray's class that hands each WM_COPYDATA to the test.
class ReceivingWindow {
 public:
  using Answer = std::function<LRESULT(WPARAM, const COPYDATASTRUCT&)>;

  explicit ReceivingWindow(Answer answer) {
    s_answer = std::move(answer);
    std::promise<void> ready;
    _thread = std::thread([this, &ready] { Run(ready); });
    ready.get_future().wait();
  }
  ~ReceivingWindow() {
    PostMessageW(_window, WM_QUIT, 0, 0);
    _thread.join();
  }

 private:
  void Run(std::promise<void>& ready) {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = Procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = VEL_TRAY_WINDOW_CLASS;
    // A tray icon of another test has left its own class behind.
    UnregisterClassW(VEL_TRAY_WINDOW_CLASS, window_class.hInstance);
    RegisterClassW(&window_class);
    _window =
        CreateWindowExW(0, VEL_TRAY_WINDOW_CLASS, L"", WS_POPUP, 0, 0, 0, 0,
                        nullptr, nullptr, window_class.hInstance, nullptr);
    ready.set_value();
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    DestroyWindow(_window);
    UnregisterClassW(VEL_TRAY_WINDOW_CLASS, window_class.hInstance);
  }

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) {
    if (message != WM_COPYDATA) {
      return DefWindowProcW(window, message, wparam, lparam);
    }
    return s_answer(wparam, *reinterpret_cast<COPYDATASTRUCT*>(lparam));
  }

  static inline Answer s_answer;
  HWND _window = nullptr;
  std::thread _thread;
};

std::wstring TextOf(const COPYDATASTRUCT& data) {
  std::wstring text((data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / 2, L'?');
  std::memcpy(text.data(), static_cast<const char*>(data.lpData) + 4,
              text.size() * 2);
  return text;
}

TEST(GuiIpc, AnswersFalseWithoutATray) {
  EXPECT_FALSE(is_tray_running());
  EXPECT_FALSE(send_gui_ipc(VELGUI_IPC_ABOUT, L""));
  char block[8] = "as was";
  EXPECT_FALSE(send_gui_ipc_mapped(VELGUI_IPC_UPDATE_STATUS, block, 8));
  EXPECT_STREQ(block, "as was");
}

TEST(GuiIpc, SendsTheBlockOfTheWireFormat) {
  struct Row {
    const wchar_t* text;
    DWORD bytes;
    LRESULT answer;
  };
  constexpr Row kRows[] = {
      {nullptr, 6, 1}, {L"", 6, 1}, {L"2", 8, 0}, {L"/a=\"b\"", 18, 2}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.bytes);
    const ReceivingWindow window(
        [&](WPARAM wparam, const COPYDATASTRUCT& data) {
          EXPECT_EQ(wparam, 0u);
          EXPECT_EQ(data.dwData, 0u);
          EXPECT_EQ(data.cbData, row.bytes);
          std::uint32_t command = 0;
          std::memcpy(&command, data.lpData, 4);
          EXPECT_EQ(command, 0x01020304u);
          EXPECT_EQ(TextOf(data), row.text != nullptr ? row.text : L"");
          return row.answer;
        });
    EXPECT_TRUE(is_tray_running());
    EXPECT_EQ(send_gui_ipc(0x01020304, row.text), row.answer != 0);
  }
}

// Opens the block of a command as the tray does and turns each byte round.
LRESULT InvertBlock(const COPYDATASTRUCT& data, std::uint32_t size) {
  const std::wstring text = TextOf(data);
  const GuiIpcBlock block(text, get_param(text, VEL_GUI_IPC_MAPPING_KEY));
  EXPECT_NE(block.view(), nullptr);
  EXPECT_EQ(block.size(), size);
  auto* const bytes = static_cast<unsigned char*>(block.view());
  for (std::uint32_t i = 0; i < block.size(); ++i) bytes[i] ^= 0xFF;
  return 1;
}

TEST(GuiIpc, CarriesABlockBothWays) {
  for (const std::uint32_t size : {1u, 4096u, 70001u}) {
    SCOPED_TRACE(size);
    const ReceivingWindow window([&](WPARAM, const COPYDATASTRUCT& data) {
      return InvertBlock(data, size);
    });
    std::vector<unsigned char> block(size, 0x0F);
    EXPECT_TRUE(send_gui_ipc_mapped(14, block.data(), size));
    EXPECT_EQ(block, std::vector<unsigned char>(size, 0xF0));
  }
}

TEST(GuiIpc, KeepsTheBufferWhenTheTrayRefuses) {
  const ReceivingWindow window([&](WPARAM, const COPYDATASTRUCT& data) {
    InvertBlock(data, 2);
    return 0;
  });
  unsigned char block[2] = {1, 2};
  EXPECT_FALSE(send_gui_ipc_mapped(14, block, 2));
  EXPECT_EQ(block[0], 1);
  EXPECT_EQ(block[1], 2);
}

TEST(GuiIpc, RefusesSizesThatAreNone) {
  char byte = 0;
  EXPECT_FALSE(send_gui_ipc_mapped(14, &byte, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_EMPTY});
  EXPECT_FALSE(send_gui_ipc_mapped(14, &byte, 0x80000000));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
}

TEST(GuiIpcBlock, RefusesWhatItCantView) {
  // Two pages, so that a size beyond them can't be mapped.
  const ScopedHandle mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                                PAGE_READWRITE, 0, 0x2000,
                                                L"bmmap_block_test"));
  ASSERT_TRUE(mapping);
  struct Row {
    const wchar_t* text;
    const wchar_t* tag;
    DWORD error;  // 0: can be viewed
  };
  constexpr Row kRows[] = {
      {L"/bmlen=\"1\"", L"block_test", 0},
      {L"/bmlen=\"8192\"", L"block_test", 0},
      {L"", L"block_test", ERROR_INVALID_BLOCK_LENGTH},
      {L"/bmlen=\"0\"", L"block_test", ERROR_INVALID_BLOCK_LENGTH},
      {L"/bmlen=\"-1\"", L"block_test", ERROR_INVALID_BLOCK_LENGTH},
      {L"/bmlen=\"x\"", L"block_test", ERROR_INVALID_BLOCK_LENGTH},
      {L"/bmlen=\"16777216\"", L"block_test", ERROR_INVALID_BLOCK_LENGTH},
      {L"/bmlen=\"16777215\"", L"block_test", ERROR_ACCESS_DENIED},
      {L"/bmlen=\"4\"", L"not there", ERROR_FILE_NOT_FOUND},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.text << L" " << row.tag);
    const GuiIpcBlock block(row.text, row.tag);
    const DWORD error = GetLastError();
    EXPECT_EQ(block.view() != nullptr, row.error == 0);
    if (row.error != 0) {
      EXPECT_EQ(error, row.error);
    }
  }
}

}  // namespace
}  // namespace vel
