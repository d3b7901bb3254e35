// What of the operating system a life of the module touches, made harmless: the registry, the
// command that it starts, and the loading itself.
#pragma once

#include <string>
#include <vector>

// Loads the module from its file and runs its attach; ends the program when that cannot be.
void* LoadLibraryFile(const char* file);
void* FindExport(void* library, const char* name);
void UnloadLibraryFile(void* library);

// A registry of the test's own, empty at construction and gone at the end. On Linux it also sees to
// it that the service manager's command is a stand-in; on Windows the stand-in lies in the
// program's own folder.
class Surroundings {
 public:
  Surroundings();
  ~Surroundings();
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  // `key` with backslashes, below HKEY_LOCAL_MACHINE.
  void SetValue(const std::string& key, const std::string& name, const std::string& text);
  void ClearRegistry();

  // The line that the module starts the service with, and stops it.
  [[nodiscard]] static std::string StartCommand();
  [[nodiscard]] static std::string StopCommand();

  // Makes starting a command fail, for lives in the thousands, and succeed again. (Linux: nothing
  // is on PATH. Windows: no difference; the stand-in is quick.)
  void FindNoCommands();
  void FindCommands();

  // Linux: what the stand-in has been asked so far, waiting until it is `count` lines.
  [[nodiscard]] std::vector<std::string> Commands(std::size_t count);

 private:
  std::string folder_;
  std::vector<std::string> commands_;  // of Linux, these two
  int notes_ = -1;
};
