#include <systemd/sd-daemon.h>

#include <algorithm>
#include <exception>

#include "readiness.h"

namespace ktsvc {
namespace {

void Tell(const char* state, const std::string& text) noexcept {
  try {
    std::string message = std::string(state) + "STATUS=" + text;
    // A line feed would begin another field.
    std::replace_if(
        message.begin() + static_cast<std::ptrdiff_t>(message.size() - text.size()), message.end(),
        [](char byte) { return static_cast<unsigned char>(byte) < ' '; }, ' ');
    static_cast<void>(sd_notify(0, message.c_str()));
  } catch (const std::exception&) {
    // No memory for it: the state is told another time.
  }
}

}  // namespace

void Readiness::Serving(const std::string& text) const noexcept {
  Tell("READY=1\n", text);
}

void Readiness::Stopping(const std::string& text) const noexcept {
  Tell("STOPPING=1\n", text);
}

void Readiness::Doing(const std::string& text) const noexcept {
  Tell("", text);
}

}  // namespace ktsvc
