#include "options.h"

#include <gtest/gtest.h>

#include "host_system.h"
#include "service/scratch_folder.h"

namespace ktsvc {
namespace {

using Words = std::vector<std::string>;

// The text and the status with which the words end the program.
std::pair<std::string, int> EndOf(const Words& words) {
  try {
    ParseCommandLine(words);
  } catch (const CommandLineEnd& end) {
    return {end.what(), end.status()};
  }
  return {"nothing ended", -1};
}

TEST(CommandLine, KeepsTheOrderOfProviders) {
  EXPECT_EQ(ParseCommandLine({"run", "b", "a", "./c.so"}).providers, (Words{"b", "a", "./c.so"}));
}

TEST(CommandLine, HasQuietDefaults) {
  const Options options = ParseCommandLine({"run", "a"});
  EXPECT_EQ(options.traceLevel, 4U);
  EXPECT_FALSE(options.once);
  EXPECT_FALSE(options.json);
  EXPECT_FALSE(options.quiet);
  EXPECT_TRUE(options.moduleFolder.empty());
  EXPECT_TRUE(options.traceFile.empty());
  EXPECT_TRUE(options.registry.empty());
}

TEST(CommandLine, TakesOptionsBeforeAndAfterProviders) {
  const Options options = ParseCommandLine(
      {"run", "--once", "a", "--json", "--trace-level", "6", "-q", "--trace-file=t.log", "b"});
  EXPECT_TRUE(options.once);
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.quiet);
  EXPECT_EQ(options.traceLevel, 6U);
  EXPECT_EQ(options.traceFile, "t.log");
  EXPECT_EQ(options.providers, (Words{"a", "b"}));
}

TEST(CommandLine, TakesAModuleFolderThatIsThere) {
  const ktsvc_test::ScratchFolder folder;
  const std::string text = PathText(folder.path());
  EXPECT_EQ(ParseCommandLine({"run", "--module-folder", text, "a"}).moduleFolder, folder.path());
}

TEST(CommandLine, RefusesAModuleFolderThatIsNotThere) {
  const auto [text, status] = EndOf({"run", "--module-folder", "not/there", "a"});
  EXPECT_EQ(status, kExitUsage);
  EXPECT_NE(text.find("--module-folder: there is no folder"), std::string::npos) << text;
}

TEST(CommandLine, TakesTheWordsOfTheManagement) {
  const Options options = ParseCommandLine(
      {"run", "a", "--listen", "127.0.0.1:8080", "--token-file", "tokens", "--access-file",
       "access", "--audit-log", "audit", "--allow-restart", "--no-socket"});
  EXPECT_EQ(options.listen, "127.0.0.1:8080");
  EXPECT_EQ(options.tokenFile, "tokens");
  EXPECT_EQ(options.accessFile, "access");
  EXPECT_EQ(options.auditLog, "audit");
  EXPECT_TRUE(options.allowRestart);
  EXPECT_TRUE(options.noSocket);
}

TEST(CommandLine, RefusesWordsOfTheManagementThatDoNotGoTogether) {
  const std::vector<std::pair<Words, std::string>> cases{
      {{"run", "a", "--once", "--listen", "127.0.0.1:0", "--token-file", "t"}, "--once"},
      {{"run", "a", "--listen", "127.0.0.1:0"}, "--listen needs --token-file"},
      {{"run", "a", "--token-file", "t"}, "--token-file has a meaning with --listen only"}};
  for (const auto& [words, reason] : cases) {
    const auto [text, status] = EndOf(words);
    EXPECT_EQ(status, kExitUsage);
    EXPECT_NE(text.find(reason), std::string::npos) << text;
  }
}

TEST(CommandLine, RefusesWordsThatMakeNoSenseAndNamesTheHelp) {
  const Words sensible{"run", "a"};
  const std::vector<Words> senseless{{"walk"},
                                     {"run"},
                                     {"run", ""},
                                     {"run", "a", "--unknown"},
                                     {"run", "a", "--trace-level"},
                                     {"run", "a", "--trace-level", "much"},
                                     {"run", "a", "--trace-level", "8"},
                                     {"run", "a", "--trace-level", "-1"}};
  for (const Words& words : senseless) {
    const auto [text, status] = EndOf(words);
    EXPECT_EQ(status, kExitUsage) << text;
    EXPECT_EQ(text.rfind("ktsvc: ", 0), 0U) << text;
    EXPECT_NE(text.find("--help"), std::string::npos) << text;
  }
  EXPECT_NO_THROW(ParseCommandLine(sensible));
}

TEST(CommandLine, ShowsTheHelpAndFailsWithoutWords) {
  const auto [text, status] = EndOf({});
  EXPECT_EQ(status, kExitUsage);
  EXPECT_NE(text.find("ktsvc run --once hostkit blockdev"), std::string::npos) << text;
}

TEST(CommandLine, NamesTheCommandThatIsNone) {
  EXPECT_EQ(EndOf({"walk", "a"}).first, "ktsvc: there is no command \"walk\"\nTry: ktsvc --help\n");
}

TEST(CommandLine, ShowsHowRunIsWritten) {
  const std::string text = EndOf({"run", "--help"}).first;
  EXPECT_NE(text.find("Usage: ktsvc run [OPTIONS] PROVIDER..."), std::string::npos) << text;
}

TEST(CommandLine, ShowsHelpThatTeachesWithExamples) {
  for (const Words& words :
       {Words{"--help"}, Words{"help"}, Words{"run", "--help"}, Words{"run", "a", "-h"}}) {
    const auto [text, status] = EndOf(words);
    EXPECT_EQ(status, kExitOk);
    EXPECT_NE(text.find("Examples:"), std::string::npos) << text;
  }
}

TEST(CommandLine, ExplainsEveryOptionOfRun) {
  const std::string text = EndOf({"run", "--help"}).first;
  for (const char* option : {"PROVIDER", "--module-folder", "--once", "--json", "--trace-level",
                             "--trace-file", "--registry", "--quiet", "Exit status"}) {
    EXPECT_NE(text.find(option), std::string::npos) << option;
  }
}

TEST(CommandLine, ShowsTheVersion) {
  EXPECT_EQ(EndOf({"--version"}),
            std::make_pair(std::string("ktsvc ") + KTSVC_VERSION + "\n", kExitOk));
}

TEST(CommandLine, PrintsTheManualPage) {
  const auto [text, status] = EndOf({"man"});
  EXPECT_EQ(status, kExitOk);
  EXPECT_EQ(text.rfind(".TH KTSVC 1 ", 0), 0U) << text;
}

TEST(CommandLine, HasEveryOptionOfTheHelpInTheManualPage) {
  const std::string page = EndOf({"man"}).first;
  const std::string help = EndOf({"run", "--help"}).first;
  std::size_t options = 0;
  for (std::size_t at = 0; (at = help.find("\n  --", at)) != std::string::npos; ++at) {
    const std::size_t begin = at + 5;
    std::string name = help.substr(begin, help.find(' ', begin) - begin);
    for (std::size_t dash = 0; (dash = name.find('-', dash)) != std::string::npos; dash += 2) {
      name.insert(dash, 1, '\\');
    }
    EXPECT_NE(page.find("\\-\\-" + name + "\\fR"), std::string::npos) << name;
    ++options;
  }
  EXPECT_GE(options, 10U);
}

TEST(CommandLine, PrintsTheCompletionsOfEachShell) {
  for (const char* shell : {"bash", "zsh", "fish"}) {
    const auto [text, status] = EndOf({"completion", shell});
    EXPECT_EQ(status, kExitOk);
    EXPECT_NE(text.find(std::string("ktsvc completion ") + shell), std::string::npos) << text;
    EXPECT_NE(text.find("trace-file"), std::string::npos) << text;
  }
}

TEST(CommandLine, RefusesAShellThatItDoesNotKnow) {
  for (const Words& words : {Words{"completion", "csh"}, Words{"completion"}}) {
    const auto [text, status] = EndOf(words);
    EXPECT_EQ(status, kExitUsage);
    EXPECT_NE(text.find("ktsvc completion --help"), std::string::npos) << text;
  }
}

TEST(CommandLine, ListsTheModulesOfAFolder) {
  const ktsvc_test::ScratchFolder folder;
  folder.Write("second" + std::string(ModuleSuffix()), "");
  folder.Write("first" + std::string(ModuleSuffix()), "");
  folder.Write("readme.txt", "");
  EXPECT_EQ(EndOf({"modules", "--module-folder", PathText(folder.path())}),
            std::make_pair(std::string("first\nsecond\n"), kExitOk));
}

TEST(CommandLine, SaysWhenThereIsNoFolderOfModules) {
  const auto [text, status] = EndOf({"modules", "--module-folder", "not/there"});
  EXPECT_EQ(status, kExitUsage);
  EXPECT_NE(text.find("there is no folder not"), std::string::npos) << text;
}

TEST(CommandLine, ShowsTheHelpOfEachCommand) {
  for (const char* command : {"modules", "completion", "man"}) {
    const auto [text, status] = EndOf({command, "--help"});
    EXPECT_EQ(status, kExitOk);
    EXPECT_NE(text.find(std::string("Usage: ktsvc ") + command), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace ktsvc
