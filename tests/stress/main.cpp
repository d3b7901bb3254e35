// stress: many clients at once against the real service.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "host_system.h"
#include "service/program.h"
#include "stress/run.h"

namespace {

constexpr std::size_t kMaxClients = 250;  // two connections each, and the service takes 512

int Fail(const std::string& text) {
  static_cast<void>(std::fprintf(stderr, "stress: %s\n", text.c_str()));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  unsigned seconds = 0;
  stress::Wish wish;
  std::string service = ktsvc::PathText(ktsvc_test::BuiltProgram());
  CLI::App app(
      "Many clients at once against the real service: each reads, sends controls and events, asks "
      "for\n"
      "what must be refused, and follows a stream; in the second half one of them stops reading "
      "its\n"
      "stream. Prints what was seen; nothing may fail that was not meant to.",
      "stress");
  app.set_help_flag("-h,--help", "Show this and end");
  app.footer(
      "Examples:\n"
      "  stress 120 200                                     two minutes, 200 clients\n"
      "  stress --service build/asan/bin/ktsvc 120 200      against another build\n"
      "Exit status: 0 all went well, 1 something did not, 2 wrong words here.");
  app.add_option("SECONDS", seconds, "How long the clients work")->required()->type_name("");
  app.add_option("CLIENTS", wish.clients, "How many there are")
      ->required()
      ->type_name("")
      ->check(CLI::Range(std::size_t{2}, kMaxClients).description(""));
  app.add_option("--service", service, "The program; its modules stand in the same build")
      ->type_name("FILE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  wish.time = std::chrono::seconds(seconds);
  wish.build = stress::Build::Of(service);
  try {
    const std::vector<std::string> faults = stress::Run(wish);
    for (const std::string& fault : faults) {
      Fail(fault);
    }
    return faults.empty() ? 0 : 1;
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
