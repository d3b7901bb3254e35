#include "ktcheck/replay_verb.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "host_system.h"
#include "module_error.h"
#include "replay/replayer.h"

namespace ktcheck {
namespace {

int Refuse(const std::string& why) {
  static_cast<void>(std::fprintf(stderr, "ktcheck: %s\n", why.c_str()));
  return kExitWrongWords;
}

}  // namespace

int RunReplay(const Options& options) {
  const std::filesystem::path& module = options.check.subject.file;
  try {
    const ktreplay::ReplayResult result = ktreplay::Replay(options.replay, module, {});
    static_cast<void>(std::fputs(ktreplay::ReplayText(result).c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
    const int status = result.difference ? kExitFindings : kExitPassed;
    if (result.stuck) {
      std::_Exit(status);  // code of the module may still be running
    }
    return status;
  } catch (const ktsvc::ModuleError& error) {
    return Refuse(ktsvc::PathText(module) + ": " + error.what() + "\n  " + error.advice());
  } catch (const ktreplay::ReplayError& error) {
    return Refuse(ktsvc::PathText(options.replay) + ": " + error.what());
  } catch (const std::exception& error) {
    return Refuse(error.what());
  }
}

}  // namespace ktcheck
