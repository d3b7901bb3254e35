// walk: generated calls to everything that a running service offers.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>

#include "cli/exit_status.h"
#include "cli/service_place.h"
#include "host_system.h"
#include "stop_signal.h"
#include "stress/service_under_test.h"
#include "walk/destructive.h"
#include "walk/report_text.h"
#include "walk/walker.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Words {
  double seconds = 0;
  std::uint64_t calls = 0;
  walk::WalkWish wish;
  std::string codes;
  std::string service = ktsvc::PathText(ktsvc_test::BuiltProgram());
  ktctl::Options place;
  bool list = false;
  bool json = false;

  // Of somebody else, and to be left as it is.
  [[nodiscard]] bool Foreign() const { return !place.socket.empty() || !place.url.empty(); }
};

void Tell(const std::string& text) {
  static_cast<void>(std::fprintf(stderr, "walk: %s\n", text.c_str()));
}

int Wrong(const std::string& text) {
  Tell(text);
  return 2;
}

std::string ListOfDestructive() {
  std::string text = "Left out without --destructive:\n";
  for (const walk::Destructive& row : walk::kDestructive) {
    text += "  " + std::string(row.what) + "\n";
  }
  return text;
}

void Add(CLI::App& app, Words& words) {
  app.set_help_flag("-h,--help", "Show this and end");
  app.footer(
      ListOfDestructive() +
      "Examples:\n"
      "  walk 60                                a minute, with a service of its own\n"
      "  walk --calls 1000 --seed 7             the same calls each time\n"
      "  walk --list                            what would be called\n"
      "  walk --socket /run/ktsvc/ktsvc.sock 60 a service that runs already; it must be there for\n"
      "                                         that: every code of --codes is sent to its "
      "objects\n"
      "Exit status: 0 nothing was wrong, 1 something was, 2 wrong words here.");
  app.add_option("SECONDS", words.seconds, "How long to go on")
      ->type_name("")
      ->check(CLI::PositiveNumber.description(""));
  app.add_option("--calls", words.calls, "End after so many calls")->type_name("N");
  app.add_option("--seed", words.wish.walk.seed, "Where chance begins")
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--codes", words.codes,
                 "Control codes to look for (default: 0-63,11000-11063,12000-12063,20000-20063)")
      ->type_name("LIST");
  app.add_option("--leave-out", words.wish.walk.left_out,
                 "A control code that is not sent; once for each")
      ->type_name("CODE")
      ->allow_extra_args(false);
  app.add_option("--socket", words.place.socket, "The socket file of a service that runs already")
      ->type_name("FILE");
  app.add_option("--address", words.place.url, "Its address on the loopback")->type_name("URL");
  app.add_option("--token-file", words.place.tokenFile, "With --address: the token to show")
      ->type_name("FILE");
  app.add_option("--service", words.service,
                 "The program to start otherwise; its modules stand in the same build")
      ->type_name("FILE");
  app.add_flag("--destructive", words.wish.destructive,
               "Call what changes the machine too; for a machine that is there for it");
  app.add_flag("--list", words.list, "Print the controls that would be called, and end");
  app.add_flag("--json", words.json, "The result as JSON");
}

// The service that is walked: one of its own, or somebody else's.
class Ground {
 public:
  explicit Ground(const Words& words) {
    if (words.Foreign()) {
      connection_ = ktctl::FindConnection(
          words.place, [](const std::string&) -> std::optional<std::string> { return {}; });
      return;
    }
    const stress::Build build = stress::Build::Of(words.service);
    std::vector<std::string> run{"--trace-file", "/dev/null"};
    if (words.wish.destructive) {
      run.emplace_back("--allow-restart");  // by the stand-in of the system's commands
    }
    own_.emplace(build,
                 std::vector<std::string>{"hostkit", "blockdev", build.BusyModule().string()}, run,
                 true);
    ktctl::Place place;
    place.socket = own_->socket();
    connection_.places.push_back(place);
  }

  [[nodiscard]] const ktctl::Connection& connection() const { return connection_; }

  // What is wrong with its end; "" for nothing. It may hang where the walk was broken.
  std::string End(bool broken) {
    if (!own_) {
      return {};
    }
    return broken ? "the service was ended by force:\n" + own_->Kill() : own_->Stop();
  }

 private:
  std::optional<stress::ServiceUnderTest> own_;
  ktctl::Connection connection_;
};

std::string ListText(const walk::WalkReport& report) {
  std::string text;
  for (const walk::ControlKey& control : report.controls) {
    text += walk::ControlText(control) + "\n";
  }
  return text + ListOfDestructive();
}

int Walk(const Words& words) {
  ktsvc::StopSignal stop([] {});
  const auto begin = Clock::now();
  const auto seconds = [begin] {
    return std::chrono::duration<double>(Clock::now() - begin).count();
  };
  Ground ground(words);
  walk::Walker walker(ground.connection(), words.wish);
  const walk::WalkReport& report = walker.report();
  const auto wanted = [&] {
    return !stop.Requested() && (words.seconds == 0 || seconds() < words.seconds) &&
           (words.calls == 0 || report.calls < words.calls);
  };
  Tell("seed " + std::to_string(words.wish.walk.seed) + ", looking for controls");
  bool broken = !walker.Explore([&] { return words.list || wanted(); }) && wanted();
  if (!words.list && !broken) {
    Tell(std::to_string(report.controls.size()) + " controls found; calling all of them");
    while (!broken && wanted()) {
      broken = !walker.Step();
    }
  }
  walker.Finish();
  const std::string end = ground.End(broken);
  const auto seed = words.wish.walk.seed;
  std::string text;
  if (words.json) {
    text = walk::ReportJson(report, seed, seconds()).dump(2) + "\n";
  } else {
    text = words.list ? ListText(report) : walk::ReportText(report, seed, seconds());
    if (!words.list && !words.Foreign()) {
      text += end.empty() ? "the end     exit status 0, ledger empty\n" : "the end     not well\n";
    }
  }
  static_cast<void>(std::fputs(text.c_str(), stdout));
  if (!end.empty()) {
    Tell(end);
  }
  return report.faultCount == 0 && end.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Words words;
  words.wish.walk.left_out.clear();
  CLI::App app(
      "Reads types, interfaces and controls from a running service through its API and calls all\n"
      "of them with values made by chance, right ones and wrong ones. It fails when an answer is\n"
      "not what the API's own document allows, a provider stops answering, the service ends, or\n"
      "anything is kept at the end.",
      "walk");
  Add(app, words);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  if (words.seconds == 0 && words.calls == 0 && !words.list) {
    return Wrong("say how long: walk 60, or walk --calls 1000");
  }
  if (!words.codes.empty()) {
    const auto ranges = ktcheck::RangesOf(words.codes);
    if (!ranges) {
      return Wrong("--codes: \"" + words.codes + "\" is no list such as 1,5-7");
    }
    words.wish.walk.codes = *ranges;
  }
  try {
    return Walk(words);
  } catch (const ktctl::Refusal& refusal) {
    Tell(std::string(refusal.what()) + (refusal.advice().empty() ? "" : "\n" + refusal.advice()));
  } catch (const std::exception& error) {
    Tell(error.what());
  }
  return 1;
}
