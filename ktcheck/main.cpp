// ktcheck: tries a provider module.

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "host_system.h"
#include "ktcheck/checks.h"
#include "ktcheck/command_line.h"
#include "ktcheck/crash_report.h"
#include "ktcheck/precautions.h"
#include "ktcheck/replay_verb.h"
#include "ktcheck/report.h"
#include "ktcheck/runner.h"
#include "ktcheck/scratch_folder.h"
#include "ktcheck/verdict.h"
#include "output.h"

namespace {

using ktcheck::Options;

// The signal that asked this process to end, 0 for none.
volatile std::sig_atomic_t g_signal = 0;

void OnSignal(int signal) {
  g_signal = signal;
}

// Asks to be told of the signal, unless whoever started this program wants it ignored.
void Mind(int signal) {
  if (std::signal(signal, &OnSignal) == SIG_IGN) static_cast<void>(std::signal(signal, SIG_IGN));
}

// All that ask this process to end.
void MindSignals() {
  Mind(SIGINT);
  Mind(SIGTERM);
#if defined(SIGHUP)
  Mind(SIGHUP);  // the terminal is gone
#endif
}

// One check, in the process that was started for it.
int RunOne(const Options& options) {
  const ktcheck::Check* const check = ktcheck::CheckNamed(options.one);
  if (check == nullptr) return ktcheck::kExitWrongWords;
  ktcheck::ReportCrashesTo(options.report);
  ktcheck::Report report(options.report);
  {
    ktcheck::Bench bench(options.check, report);
    check->run(bench);
  }
  report.Done();
  return ktcheck::kExitPassed;
}

bool Stopped() {
  return g_signal != 0;
}

// Everything is put away; now it ends as it would have ended at once.
void EndBySignal() {
  if (!Stopped()) return;
  const int signal = g_signal;
  static_cast<void>(std::signal(signal, SIG_DFL));
  static_cast<void>(std::raise(signal));
}

int RunAll(const Options& options) {
  std::vector<ktcheck::CheckResult> results;
  {
    MindSignals();  // what is there from here on is put away again
    const ktcheck::ScratchFolder scratch;
    ktcheck::TakePrecautions(scratch.path(), options.registry);
    const auto progress = [&](const std::string& what) {
      if (!options.quiet) static_cast<void>(std::fprintf(stderr, "%s\n", what.c_str()));
    };
    results = ktcheck::Runner(options, scratch.path(), progress, &Stopped).Run();
  }
  EndBySignal();
  ktsvc::Output output;
  output.Write(options.json ? ktcheck::VerdictJson(options, results)
                            : ktcheck::VerdictText(options, results));
  if (output.error() != 0) {
    static_cast<void>(std::fputs("ktcheck: the verdict cannot be written\n", stderr));
    return ktcheck::kExitNoVerdict;
  }
  return ktcheck::ExitStatus(ktcheck::VerdictOf(results));
}

int Replay(const Options& options) {
  int status = ktcheck::kExitNoVerdict;
  {
    MindSignals();
    const ktcheck::ScratchFolder scratch;
    status = ktcheck::RunReplay(options, scratch.path(), &Stopped);
  }
  EndBySignal();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    ktsvc::PrepareOutput();
    ktsvc::LimitLibrarySearch();
    const auto read = ktcheck::ReadCommandLine(ktsvc::CommandLineWords(argc, argv));
    if (const auto* const last = std::get_if<ktcheck::LastWords>(&read)) {
      static_cast<void>(std::fputs(last->text.c_str(), last->status == 0 ? stdout : stderr));
      return last->status;
    }
    const auto& options = std::get<Options>(read);
    const bool replays = !options.replay.empty();
    if (!options.one.empty()) ktcheck::EndWithParent(options.parent);
    if (!options.one.empty()) return replays ? ktcheck::RunReplayHere(options) : RunOne(options);
    if (replays) return Replay(options);
    return RunAll(options);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "ktcheck: %s\n", error.what()));
    return ktcheck::kExitNoVerdict;
  }
}
