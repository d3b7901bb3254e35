#include <windows.h>

#include "standard_console.h"

namespace ktctl {

Terminal StandardTerminal() {
  Terminal terminal;
  terminal.utf8 = true;  // the console was told so (host_system_win32.cpp)
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode) == 0) {
    return terminal;
  }
  terminal.present = true;
  terminal.colours = SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(output, &info) != 0 && info.srWindow.Right > info.srWindow.Left) {
    // A line as wide as the window would break into a second one.
    terminal.width = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left);
  }
  return terminal;
}

bool StandardReaderGone() noexcept {
  return false;
}

}  // namespace ktctl
