#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "ktbus3/ktbus3.h"
#include "module/surroundings.h"

namespace {

using DllInitFunction = int (*)(void*, std::uint32_t, void*);

[[noreturn]] void Give(const char* what) {
  std::fprintf(stderr, "%s: %s\n", what, dlerror());
  std::abort();
}

void CallDllInit(void* library, std::uint32_t reason) {
  const auto init = reinterpret_cast<DllInitFunction>(FindExport(library, "DllInit"));
  if (init(library, reason, nullptr) == 0) Give("DllInit");
}

}  // namespace

void* LoadLibraryFile(const char* file) {
  void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) Give(file);
  CallDllInit(library, 1);
  return library;
}

void* FindExport(void* library, const char* name) {
  void* const found = dlsym(library, name);
  if (found == nullptr) Give(name);
  return found;
}

void UnloadLibraryFile(void* library) {
  CallDllInit(library, 0);
  if (dlclose(library) != 0) Give("dlclose");
}

Surroundings::Surroundings() {
  std::string pattern = (std::filesystem::temp_directory_path() / "hostkit-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) Give("mkdtemp");
  folder_ = pattern;
  std::filesystem::create_directories(folder_ + "/registry");
  std::filesystem::create_directories(folder_ + "/nothing");
  setenv("KT_REGISTRY", (folder_ + "/registry").c_str(), 1);
  setenv("SYSTEMCTL_LOG", (folder_ + "/commands").c_str(), 1);
  // The stand-in is a shell script of builtins: nothing else is to be found.
  setenv("PATH", STAND_INS, 1);
}

Surroundings::~Surroundings() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void Surroundings::SetValue(const std::string& key, const std::string& name,
                            const std::string& text) {
  std::filesystem::path path = folder_ + "/registry/HKEY_LOCAL_MACHINE";
  for (std::size_t begin = 0; begin <= key.size();) {
    const std::size_t end = std::min(key.find('\\', begin), key.size());
    path /= key.substr(begin, end - begin);
    begin = end + 1;
  }
  std::filesystem::create_directories(path);
  std::ofstream(path / name) << text << '\n';
}

void Surroundings::ClearRegistry() {
  std::filesystem::remove_all(folder_ + "/registry");
  std::filesystem::create_directories(folder_ + "/registry");
}

std::string Surroundings::StartCommand() {
  return "systemctl start tormeld-vss-provider.service";
}

std::string Surroundings::StopCommand() {
  return "systemctl stop tormeld-vss-provider.service";
}

void Surroundings::FindNoCommands() {
  setenv("PATH", (folder_ + "/nothing").c_str(), 1);
}

std::vector<std::string> Surroundings::Commands(std::size_t count) const {
  std::vector<std::string> lines;
  // Nobody waits for the command, so its note comes when it comes.
  for (int attempt = 0; attempt < 1000; ++attempt) {
    lines.clear();
    std::ifstream file(folder_ + "/commands");
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    if (lines.size() >= count) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return lines;
}
