#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "standard_console.h"

namespace ktctl {

Terminal StandardTerminal() {
  Terminal terminal;
  terminal.present = isatty(STDOUT_FILENO) != 0;
  terminal.colours = terminal.present;
  winsize size{};
  if (terminal.present && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    terminal.width = size.ws_col;
  }
  return terminal;
}

bool StandardReaderGone() noexcept {
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace ktctl
