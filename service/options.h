// The command line of ktsvc.
//
// Threads: parsed once, on the main thread, before anything else runs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ktsvc {

// Exit statuses of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // a provider failed or kept something
inline constexpr int kExitUsage = 2;   // wrong words on the command line

struct Options {
  std::vector<std::string> providers;  // names or paths, in the order of loading
  std::filesystem::path moduleFolder;  // where names are looked for; empty for the default
  std::uint32_t traceLevel = 4;        // lines of this level and above are written
  std::filesystem::path traceFile;     // empty: standard error
  std::filesystem::path record;        // what crosses the interface goes there; empty: nowhere
  std::filesystem::path registry;      // empty: what the environment says
  std::filesystem::path socket;        // the management API's; empty for the default
  bool noSocket = false;               // none at all
  std::string listen;                  // "127.0.0.1:PORT"; empty for none
  std::filesystem::path tokenFile;     // who may come by `listen`
  std::filesystem::path accessFile;    // who may do what; empty for the default rights
  std::filesystem::path auditLog;      // record of what was done; empty for none
  bool allowRestart = false;           // a control may restart the machine
  bool once = false;                   // one whole life, without waiting
  bool json = false;                   // results as one JSON document
  bool quiet = false;                  // no progress and no trace on standard error
};

// The command line asks for nothing to be run: text to print and the status to end with. Text goes
// to standard output when the status is 0, to standard error otherwise.
class CommandLineEnd : public std::runtime_error {
 public:
  CommandLineEnd(const std::string& text, int status) : std::runtime_error(text), status_(status) {}
  [[nodiscard]] int status() const noexcept { return status_; }

 private:
  int status_;
};

// Reads the words that follow the program's name, which are those of `run`. Throws CommandLineEnd
// for --help, --version, the commands that print a text, and for words that make no sense.
Options ParseCommandLine(std::vector<std::string> words);

}  // namespace ktsvc
