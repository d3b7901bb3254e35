// ktcheck: tries a provider module.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "host_system.h"
#include "module_error.h"
#include "module_locator.h"
#include "replay/replayer.h"

namespace {

constexpr int kSame = 0;
constexpr int kDifferent = 1;
constexpr int kUsage = 2;

constexpr std::string_view kHelp =
    "ktcheck tries a provider module.\n"
    "\n"
    "Usage: ktcheck --replay FILE MODULE\n"
    "\n"
    "  --replay FILE   Run MODULE against a recording of \"ktsvc run --record FILE\" and print "
    "the\n"
    "                  first difference: what was expected, what came, and where\n"
    "  -h, --help      Show this and end\n"
    "\n"
    "MODULE is a name that is looked for in the module folder, or a path (it holds a separator or\n"
    "ends in .so or .dll). Its file has the name of the recorded provider.\n"
    "\n"
    "The module does what it did then: what it starts or changes on the machine beside the\n"
    "framework, it starts and changes again.\n"
    "\n"
    "Examples:\n"
    "  ktsvc run --once --record life.ktrec hostkit\n"
    "  ktcheck --replay life.ktrec hostkit\n"
    "\n"
    "Exit status: 0 no difference, 1 a difference, 2 nothing could be tried.\n";

int Refuse(const std::string& why) {
  static_cast<void>(std::fprintf(stderr, "ktcheck: %s\n", why.c_str()));
  return kUsage;
}

int Replay(const std::string& recording, const std::string& module) {
  try {
    const ktreplay::ReplayResult result =
        ktreplay::Replay(ktsvc::PathFromText(recording),
                         ktsvc::LocateModule(module, ktsvc::DefaultModuleFolder()), {});
    static_cast<void>(std::fputs(ktreplay::ReplayText(result).c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
    const int status = result.difference ? kDifferent : kSame;
    if (result.stuck) {
      std::_Exit(status);  // code of the module may still be running
    }
    return status;
  } catch (const ktsvc::ModuleError& error) {
    return Refuse(module + ": " + error.what() + "\n  " + error.advice());
  } catch (const ktreplay::ReplayError& error) {
    return Refuse(recording + ": " + error.what());
  } catch (const std::exception& error) {
    return Refuse(error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  ktsvc::PrepareOutput();
  const std::vector<std::string> words = ktsvc::CommandLineWords(argc, argv);
  if (words.size() == 1 && (words[0] == "--help" || words[0] == "-h")) {
    static_cast<void>(std::fputs(kHelp.data(), stdout));
    return kSame;
  }
  if (words.size() != 3 || words[0] != "--replay") {
    return Refuse("these words make no sense\nTry: ktcheck --help");
  }
  return Replay(words[1], words[2]);
}
