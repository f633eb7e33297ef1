// The window that shows the report.
#ifndef VEL_TOOLS_SESSIONVIEW_WINDOW_H_
#define VEL_TOOLS_SESSIONVIEW_WINDOW_H_

#include <windows.h>

#include <string>
#include <utility>

namespace sessionview {

// A resizable window with a text to read and to copy. Esc closes it, Ctrl+A
// selects all. To be used by one thread.
class Window {
 public:
  // The titles of all such windows on this desktop, of any process, a line
  // each.
  static std::wstring open_titles();

  Window(HINSTANCE instance, std::wstring title, std::wstring text)
      : _instance(instance), _title(std::move(title)), _text(std::move(text)) {}
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // Shows it and runs until it is closed. False with the last error when it
  // can't be made.
  bool run(int show);

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) noexcept;
  LRESULT on_message(UINT message, WPARAM wparam, LPARAM lparam);
  bool create();
  bool on_create();
  void on_command(int command);
  void on_dpi_changed(UINT dpi, const RECT& proposed);
  // Gives the text the font and the margins of that many dots per inch.
  void scale_text(UINT dpi);

  const HINSTANCE _instance;
  const std::wstring _title;
  const std::wstring _text;
  HWND _window = nullptr;
  HWND _edit = nullptr;
  HFONT _font = nullptr;
};

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_WINDOW_H_
