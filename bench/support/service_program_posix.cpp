#include "bench/support/service_program.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace kt::bench {

ServiceProgram::ServiceProgram() {
  std::filesystem::create_directory(folder_.File("registry"));
  const std::string notify = folder_.File("notify");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(static_cast<char*>(address.sun_path), notify.c_str(), sizeof(address.sun_path) - 1);
  notify_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const timeval wait{30, 0};
  setsockopt(notify_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait));
  if (bind(notify_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    throw std::runtime_error("no socket to be told at");
  }
  const char* const path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): one thread
  child_.emplace(
      std::vector<std::string>{KTSVC_FILE, "run", "--quiet", "--socket", socket(), "--registry",
                               folder_.File("registry"), "--module-folder", MODULE_FOLDER,
                               "hostkit", "blockdev"},
      std::vector<std::string>{"NOTIFY_SOCKET=" + notify,
                               std::string("PATH=" STAND_INS ":") + (path == nullptr ? "" : path)});
  WaitUntilReady();
}

ServiceProgram::~ServiceProgram() {
  child_.reset();
  close(notify_);
}

void ServiceProgram::WaitUntilReady() const {
  std::array<char, 512> text{};
  for (;;) {
    const ssize_t got = recv(notify_, text.data(), text.size() - 1, 0);
    if (got <= 0) throw std::runtime_error("the service does not become ready");
    text.at(static_cast<std::size_t>(got)) = '\0';
    if (std::strstr(text.data(), "READY=1") != nullptr) return;
  }
}

double ServiceProgram::ResidentBytes() const {
  std::ifstream status("/proc/" + std::to_string(child_->pid()) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::strtod(line.c_str() + 6, nullptr) * 1'024;
  }
  throw std::runtime_error("the memory of the service is not known");
}

}  // namespace kt::bench
