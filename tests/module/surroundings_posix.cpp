#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

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
  // A pipe with a name, open at both ends here: a stand-in never waits for its reader.
  const std::string notes = folder_ + "/commands";
  if (mkfifo(notes.c_str(), 0600) != 0) Give("mkfifo");
  notes_ = open(notes.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
  if (notes_ < 0) Give("open");
  setenv("KT_REGISTRY", (folder_ + "/registry").c_str(), 1);
  setenv("SYSTEMCTL_LOG", notes.c_str(), 1);
  FindCommands();
}

Surroundings::~Surroundings() {
  std::error_code ignored;
  // The name goes first: whoever has not opened it by then finds nothing to wait for.
  std::filesystem::remove_all(folder_, ignored);
  close(notes_);
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

// The stand-in is a shell script of builtins: nothing else is to be found.
void Surroundings::FindCommands() {
  setenv("PATH", STAND_INS, 1);
}

// Nobody waits for a command, so its note comes when it comes.
std::vector<std::string> Surroundings::Commands(std::size_t count) {
  while (commands_.size() < count) {
    pollfd notes{notes_, POLLIN, 0};
    if (poll(&notes, 1, -1) < 0) Give("poll");
    std::array<char, 4096> piece{};
    const ssize_t size = read(notes_, piece.data(), piece.size());
    // A note is written at once, and so a piece is made of whole lines.
    std::istringstream lines(
        std::string(piece.data(), size < 0 ? 0 : static_cast<std::size_t>(size)));
    for (std::string line; std::getline(lines, line);) commands_.push_back(line);
  }
  return commands_;
}
