#include "cli/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <sstream>

#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::RefusalOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

std::string Why(const Words& words) {
  return RefusalOf([&words] { ParseCommandLine(words); });
}

std::string Printed(const Words& words) {
  try {
    ParseCommandLine(words);
  } catch (const PrintAndEnd& end) {
    return end.what();
  }
  return "";
}

std::vector<CLI::App*> Verbs(CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

TEST(CommandLine, HasAFunctionBehindEveryVerb) {
  Options options;
  const auto app = MakeApp(options);
  ASSERT_FALSE(Verbs(*app).empty());
  for (const CLI::App* verb : Verbs(*app)) {
    // Two print a text and need none.
    const bool text = verb->get_name() == "man" || verb->get_name() == "completion";
    EXPECT_EQ(FindVerb(verb->get_name()) == nullptr, text) << verb->get_name();
  }
}

TEST(CommandLine, DescribesEveryVerbAndEveryOption) {
  Options options;
  const auto app = MakeApp(options);
  for (const CLI::App* verb : Verbs(*app)) {
    EXPECT_NE(verb->get_description(), "") << verb->get_name();
    for (const CLI::Option* option : verb->get_options()) {
      EXPECT_NE(option->get_description(), "") << verb->get_name() << " " << option->get_name();
    }
  }
}

TEST(CommandLine, StandsInTheManualWithEveryVerbAndEveryOption) {
  const std::string manual =
      ktsvc::access::TemporaryFolder::Read(std::string(KT_DOCS_FOLDER) + "/ktctl.md");
  Options options;
  const auto app = MakeApp(options);
  std::vector<const CLI::Option*> all;
  for (const CLI::Option* option : app->get_options()) {
    all.push_back(option);
  }
  for (const CLI::App* verb : Verbs(*app)) {
    EXPECT_THAT(manual, HasSubstr("| `" + verb->get_name())) << verb->get_name();
    for (const CLI::Option* option : verb->get_options()) {
      all.push_back(option);
    }
  }
  for (const CLI::Option* option : all) {
    for (const std::string& name : option->get_lnames()) {
      if (name != "version" && name != "follow" && name != "colour") {
        EXPECT_THAT(manual, HasSubstr("--" + name));
      }
    }
  }
}

TEST(CommandLine, KeepsItsLinesWithinAScreen) {
  Options options;
  const auto app = MakeApp(options);
  std::vector<std::string> texts{Printed({"--help"})};
  for (const CLI::App* verb : Verbs(*app)) {
    texts.push_back(Printed({verb->get_name(), "--help"}));
  }
  for (const std::string& text : texts) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(line.size(), 100U) << line;
    }
  }
}

TEST(CommandLine, TakesTheOptionsOfEveryVerbBeforeAndBehindIt) {
  EXPECT_TRUE(ParseCommandLine({"--json", "ls"}).json);
  EXPECT_TRUE(ParseCommandLine({"ls", "--json"}).json);
  EXPECT_EQ(ParseCommandLine({"ls", "--url", "http://127.0.0.1:1"}).url, "http://127.0.0.1:1");
  EXPECT_EQ(ParseCommandLine({"ls", "--connect", "http://127.0.0.1:1"}).url, "http://127.0.0.1:1");
}

TEST(CommandLine, TakesTheNameOfAVerbForAWordBehindAVerb) {
  const Options options = ParseCommandLine({"explain", "control", "trace", "trace-level"});
  EXPECT_EQ(options.verb, "explain");
  EXPECT_EQ(options.action, "control");
  EXPECT_THAT(options.words, ElementsAre("trace", "trace-level"));
  EXPECT_EQ(ParseCommandLine({"show", "status"}).object, "status");
}

TEST(CommandLine, TakesWordsAndOptionsInAnyOrder) {
  const Options options =
      ParseCommandLine({"control", "x", "disk", "--selector", "2", "9000", "a:INT32=-5"});
  EXPECT_EQ(options.selector, 2U);
  EXPECT_THAT(options.words, ElementsAre("x", "disk", "9000", "a:INT32=-5"));
}

TEST(CommandLine, LeavesBracesAndBracketsInWordsAlone) {
  const Options options = ParseCommandLine({"raise", "e", R"(a:STRZ=["x","y"])", "b:PROPSET=[]"});
  EXPECT_EQ(options.name, "e");
  EXPECT_THAT(options.words, ElementsAre(R"(a:STRZ=["x","y"])", "b:PROPSET=[]"));
}

TEST(CommandLine, TakesObjectAndPropertyApart) {
  const Options options = ParseCommandLine({"get", "qelm_system", "Name"});
  EXPECT_EQ(options.object, "qelm_system");
  EXPECT_EQ(options.name, "Name");
}

TEST(CommandLine, RefusesAnUnknownVerb) {
  EXPECT_THAT(Why({"list"}), StartsWith("2 there is no verb \"list\" | Try: ktctl --help"));
}

TEST(CommandLine, RefusesToDoNothing) {
  EXPECT_THAT(Why({}), StartsWith("2 "));
  EXPECT_THAT(Why({"--json"}), StartsWith("2 "));
}

TEST(CommandLine, PointsToTheHelpOfTheVerb) {
  EXPECT_THAT(Why({"show"}), HasSubstr("Try: ktctl show --help"));
  EXPECT_THAT(Why({"ls", "--no-such"}), HasSubstr("Try: ktctl ls --help"));
  EXPECT_THAT(Why({"ls", "a", "b"}), StartsWith("2 "));
}

TEST(CommandLine, RefusesValuesThatMakeNoSense) {
  EXPECT_THAT(Why({"trace-level", "8"}), StartsWith("2 "));
  EXPECT_THAT(Why({"ls", "--timeout", "soon"}), HasSubstr("is no number of seconds"));
  EXPECT_THAT(Why({"ls", "--timeout", "-1"}), StartsWith("2 "));
  EXPECT_THAT(Why({"ls", "--color", "pink"}), StartsWith("2 "));
  EXPECT_THAT(Why({"explain", "sleep"}), StartsWith("2 "));
  EXPECT_THAT(Why({"control", "disk", "1", "--selector", "x"}), StartsWith("2 "));
  EXPECT_THAT(Why({"alerts", "--kept"}), HasSubstr("--follow"));
}

TEST(CommandLine, TeachesWithItsHelp) {
  const std::string help = Printed({"--help"});
  for (const char* part : {"Exit status: 0 done", "KTCTL_SOCKET", "NO_COLOR", "TYPE/NAME",
                           "trace-level level=3", "130"}) {
    EXPECT_THAT(help, HasSubstr(part));
  }
  EXPECT_EQ(Printed({"help"}), help);
}

TEST(CommandLine, HasHelpForEachVerb) {
  const std::string help = Printed({"control", "--help"});
  EXPECT_THAT(help, HasSubstr("ktctl control"));
  EXPECT_THAT(help, HasSubstr("NAME:TYPE=VALUE"));
  EXPECT_THAT(help, Not(HasSubstr("KTCTL_SOCKET")));
  EXPECT_EQ(Printed({"help", "control"}), help);
}

TEST(CommandLine, PrintsCompletionsForEachShell) {
  for (const char* shell : {"bash", "zsh", "fish"}) {
    EXPECT_THAT(Printed({"completion", shell}), HasSubstr("ktctl ls --names")) << shell;
  }
  EXPECT_THAT(Why({"completion", "sh"}), StartsWith("2 "));
}

TEST(CommandLine, PrintsItsManualPage) {
  const std::string page = Printed({"man"});
  for (const char* part : {".TH", ".SH \"NAME\"", ".SH \"EXIT STATUS\"", "KTCTL_SOCKET", "trace"}) {
    EXPECT_THAT(page, HasSubstr(part));
  }
}

TEST(CommandLine, SaysItsVersion) {
  EXPECT_THAT(Printed({"--version"}), StartsWith("ktctl "));
}

}  // namespace
}  // namespace ktctl
