#include <dlfcn.h>

#include "host_system.h"
#include "module_error.h"
#include "module_library.h"
#include "shell_word.h"

namespace ktsvc {
namespace {

using DllInitFunction = int (*)(void* instance, std::uint32_t reason, void* reserved);

constexpr std::uint32_t kProcessAttach = 1;
constexpr std::uint32_t kProcessDetach = 0;

}  // namespace

ModuleLibrary::ModuleLibrary(const ModuleFile& file)
    : handle_(dlopen(file.path().c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the loader keeps its message for each thread
    const char* reason = dlerror();
    throw ModuleError(
        "the system's loader refused it: " + std::string(reason == nullptr ? "?" : reason),
        "Everything that a module is linked with must be found; see: ldd " +
            ShellWord(PathText(file.path())));
  }
}

ModuleLibrary::~ModuleLibrary() {
  if (handle_ != nullptr) {
    dlclose(handle_);
  }
}

void* ModuleLibrary::Find(const char* name) const noexcept {
  return dlsym(handle_, name);
}

bool ModuleLibrary::Attach() {
  auto* const dllInit = reinterpret_cast<DllInitFunction>(Find("DllInit"));
  return dllInit(handle_, kProcessAttach, nullptr) != 0;
}

void ModuleLibrary::Detach() {
  auto* const dllInit = reinterpret_cast<DllInitFunction>(Find("DllInit"));
  dllInit(handle_, kProcessDetach, nullptr);
}

}  // namespace ktsvc
