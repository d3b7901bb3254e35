#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "host_system.h"

namespace ktsvc {
namespace {

void DoNothing(int /*signal*/) {}

}  // namespace

std::string_view ModuleSuffix() noexcept {
  return ".so";
}

std::string_view PathSeparators() noexcept {
  return "/";
}

std::string_view SystemName() noexcept {
  return "Linux";
}

std::filesystem::path ProgramFile() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

std::vector<std::string> CommandLineWords(int argc, const char* const* argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool RegistryIsAFolder() noexcept {
  return true;
}

void UseRegistryFolder(const std::filesystem::path& folder) {
  const std::string absolute = std::filesystem::absolute(folder).lexically_normal().string();
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has one thread until providers are loaded
  if (setenv("KT_REGISTRY", absolute.c_str(), 1) != 0) {
    throw std::system_error(errno, std::generic_category(), "KT_REGISTRY cannot be set");
  }
}

void PrepareOutput() {
  // A handler and not SIG_IGN: children that a provider starts get the default back.
  struct sigaction action {};
  action.sa_handler = &DoNothing;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGPIPE, &action, nullptr);
}

void LimitLibrarySearch() {}

bool IsReaderGone(int error) noexcept {
  return error == EPIPE;
}

std::uint64_t ProcessNumber() noexcept {
  return static_cast<std::uint64_t>(getpid());
}

}  // namespace ktsvc
