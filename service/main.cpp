// ktsvc: hosts storage providers on an object bus.

#include <cstdio>
#include <exception>

#include "api/api_management.h"
#include "host_system.h"
#include "options.h"
#include "orphan_reaper.h"
#include "progress.h"
#include "readiness.h"
#include "service.h"
#include "stop_signal.h"

int main(int argc, char** argv) {
  ktsvc::PrepareOutput();
  try {
    ktsvc::LimitLibrarySearch();
    const ktsvc::Options options = ktsvc::ParseCommandLine(ktsvc::CommandLineWords(argc, argv));
    return ktsvc::RunBesideReaper([&options] {
      const ktsvc::Readiness manager{};
      ktsvc::Progress progress(options.quiet, &manager);
      // Outlives everything: on Windows the process may end as soon as it goes.
      ktsvc::StopSignal stop([&progress] { progress.SayStillStopping(); });
      return ktsvc::RunService(options, progress, stop, &ktsvc::api::MakeManagement);
    });
  } catch (const ktsvc::CommandLineEnd& end) {
    // Nobody is left to be told when this cannot be written.
    static_cast<void>(std::fputs(end.what(), end.status() == ktsvc::kExitOk ? stdout : stderr));
    return end.status();
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "ktsvc: error: %s\n", error.what()));
    return ktsvc::kExitFailed;
  }
}
