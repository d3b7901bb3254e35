// soak: the real service under a mixed load for hours, and whether anything grows.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "host_system.h"
#include "soak/run.h"

namespace {

constexpr std::size_t kMostClients = 200;  // two connections each, and the service takes 512
constexpr double kSecondsInHour = 3600;

}  // namespace

int main(int argc, char** argv) {
  double hours = 0;
  double sample = 5;
  unsigned restart = 60;
  unsigned pause = 25;
  bool json = false;
  bool errorsOnly = false;
  soak::Wish wish;
  std::string service = ktsvc::PathText(ktsvc_test::BuiltProgram());
  std::string out = "soak";
  CLI::App app(
      "Lets the real service work for hours: clients read, send controls and events and follow\n"
      "streams, a walker makes calls by chance, calls of its providers are made to fail, one of\n"
      "them is shut down and brought up again. Every few seconds memory, handles, threads, queues\n"
      "and answer times go into a CSV; at the end come a picture and a verdict. It fails when\n"
      "anything grows, when an answer is wrong, and when the service ends with something kept.",
      "soak");
  app.set_help_flag("-h,--help", "Show this and end");
  app.footer(
      "Examples:\n"
      "  soak 0.5                   half an hour\n"
      "  soak --out week 72         three days; results in the folder week\n"
      "  soak --lives 6 12          the service itself stopped and started every two hours\n"
      "Ctrl-C ends it early; the verdict is then about what there is.\n"
      "Exit status: 0 passed, 1 something grows or went wrong, 2 wrong words here.");
  app.add_option("HOURS", hours, "How long; fractions are welcome")
      ->required()
      ->type_name("")
      ->check(CLI::Range(0.0001, 10000.0).description(""));
  app.add_option("--out", out,
                 "The folder of soak.csv, soak.png, soak.txt, soak.json and service.log")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.add_option("--clients", wish.clients, "Clients that work at once")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, kMostClients).description(""))
      ->capture_default_str();
  app.add_option("--pause", pause, "Of each client between two requests, in milliseconds")
      ->type_name("MS")
      ->capture_default_str();
  app.add_option("--fail-one-in", wish.failOneIn,
                 "One of so many framework calls of the providers fails; 0 for none")
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--restart", restart, "Between two restarts of a provider inside the service")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 1'000'000).description(""))
      ->capture_default_str();
  app.add_option("--lives", wish.lives, "Lives of the service in the time")
      ->type_name("N")
      ->check(CLI::Range(1, 10000).description(""))
      ->capture_default_str();
  app.add_option("--sample", sample, "Between two samples, in seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.05, 3600.0).description(""))
      ->capture_default_str();
  app.add_option("--seed", wish.seed, "Where chance begins")->type_name("N")->capture_default_str();
  app.add_flag("--errors-only", errorsOnly, "Do not judge what grows");
  app.add_flag("--json", json, "The verdict as JSON");
  app.add_option("--service", service, "The program; its modules stand in the same build")
      ->type_name("FILE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  wish.build = stress::Build::Of(service);
  wish.out = std::filesystem::absolute(out);
  wish.time = std::chrono::duration<double>(hours * kSecondsInHour);
  wish.sample = std::chrono::milliseconds(static_cast<std::int64_t>(sample * 1000));
  wish.restart = std::chrono::seconds(restart);
  wish.pause = std::chrono::milliseconds(pause);
  wish.judge = !errorsOnly;
  try {
    ktsvc::StopSignal stop([] {});
    const soak::Verdict verdict = soak::Run(wish, stop);
    const std::string text =
        json ? soak::VerdictJson(verdict).dump(2) + "\n" : soak::VerdictText(verdict);
    static_cast<void>(std::fputs(text.c_str(), stdout));
    static_cast<void>(std::fprintf(stderr, "soak: results in %s\n", wish.out.c_str()));
    return verdict.Passed() ? 0 : 1;
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "soak: %s\n", error.what()));
    return 1;
  }
}
