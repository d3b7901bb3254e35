// ktctl: asks a running ktsvc, and tells it what to do.
//
// Ctrl-C is left to the system: it ends the program at once, and the shell sees that it did.

#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <system_error>

#include "exit_status.h"
#include "host_system.h"
#include "run.h"
#include "standard_console.h"

namespace {

std::optional<std::string> Variable(const std::string& name) {
  const char* const value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
  return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

int main(int argc, char** argv) {
  ktctl::StandardConsole console;
  try {
    ktsvc::PrepareOutput();
    const int status = ktctl::Run(ktsvc::CommandLineWords(argc, argv), &Variable, console);
    if (console.error() == 0) {
      return status;
    }
    console.Say("ktctl: the results cannot be written: " +
                std::generic_category().message(console.error()) + "\n");
  } catch (const std::exception& error) {
    console.Say(std::string("ktctl: ") + error.what() + "\n");
  }
  return ktctl::kExitFailed;
}
