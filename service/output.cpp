#include "output.h"

#include <cerrno>
#include <cstdio>

#include "host_system.h"

namespace ktsvc {

void Output::Write(const std::string& text) {
  if (ended_) {
    return;
  }
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    ended_ = true;
    error_ = IsReaderGone(errno) ? 0 : errno;
  }
}

}  // namespace ktsvc
