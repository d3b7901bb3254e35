#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include "host_system.h"
#include "ktcheck/precautions.h"
#include "ktcheck/process.h"

namespace ktcheck {

bool HasStandIns() noexcept {
  return true;
}

void EndWithParent(std::uint64_t parent) noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (static_cast<std::uint64_t>(getppid()) != parent) static_cast<void>(raise(SIGKILL));
}

void TakePrecautions(const std::filesystem::path& scratch, const std::filesystem::path& registry) {
  const std::filesystem::path commands = scratch / "commands";
  std::filesystem::create_directories(commands);
  for (const char* const name : {"systemctl", "service", "shutdown", "reboot", "poweroff", "halt",
                                 "init", "telinit", "loginctl", "busctl", "dbus-send"}) {
    std::filesystem::create_symlink("/bin/true", commands / name);
  }
  const std::string path = Variable("PATH");
  SetVariable("PATH", commands.string() + (path.empty() ? ":/usr/bin:/bin" : ":" + path));
  const std::filesystem::path empty = scratch / "registry";
  std::filesystem::create_directories(empty);
  ktsvc::UseRegistryFolder(registry.empty() ? empty : registry);
}

}  // namespace ktcheck
