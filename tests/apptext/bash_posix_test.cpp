#include <gmock/gmock.h>

#include <filesystem>

#include "apptext/completion.h"
#include "apptext/sample_program.h"
#include "apptext/shell_scripts.h"
#include "apptext/tool_posix.h"
#include "service/scratch_folder.h"

namespace apptext {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

class InBash : public testing::Test {
 protected:
  InBash() {
    folder_.Write("plain.txt", "");
    folder_.Write("two words", "");
    std::filesystem::create_directory(folder_.path() / "place");
    const auto program = folder_.Write("sample", "#!/bin/sh\nprintf 'one\\ntwo\\nthree\\n'\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  }

  // What bash offers for the last of the words, which are split as bash splits a line.
  std::vector<std::string> Offered(const std::vector<std::string>& words) {
    std::string line = "cd " + Quoted(folder_.path().string()) + " && . " +
                       Quoted(script_.string()) + " && COMP_WORDS=(";
    for (const std::string& word : words) {
      line += " " + Quoted(word);
    }
    line += ") COMP_CWORD=" + std::to_string(words.size() - 1) +
            " && _sample_complete && printf '%s\\n' \"${COMPREPLY[@]}\"";
    const auto run =
        apptext_test::RunTool({"bash", "--norc", "-uc", line}, folder_.path().string());
    EXPECT_EQ(run.status, 0) << run.output;
    auto lines = apptext_test::LinesOf(run.output);
    if (lines == std::vector<std::string>{""}) {
      lines.clear();
    }
    return lines;
  }

  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const ktsvc_test::ScratchFolder folder_;
  const std::filesystem::path script_ = folder_.Write(
      "script", Completion(*app_, Shell::kBash,
                           {{"KEY", "sample keys", false}, {"NAME", "sample names", true}}));
};

TEST_F(InBash, TheScriptIsWellFormed) {
  const auto run = apptext_test::RunTool({"bash", "-n", script_.string()}, folder_.path().string());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "");
}

TEST_F(InBash, CommandsAreOffered) {
  EXPECT_THAT(Offered({"sample", ""}), ElementsAre("show", "group"));
  EXPECT_THAT(Offered({"sample", "s"}), ElementsAre("show"));
}

TEST_F(InBash, CommandsOfCommandsAreOffered) {
  EXPECT_THAT(Offered({"sample", "group", ""}), ElementsAre("add", "drop"));
}

TEST_F(InBash, OptionsAreOfferedBehindADash) {
  EXPECT_THAT(Offered({"sample", "show", "--f"}), ElementsAre("--from"));
  EXPECT_THAT(Offered({"sample", "show", "-"}),
              IsSupersetOf({"-i", "--in", "-q", "--quiet", "--colour"}));
}

TEST_F(InBash, OptionsOfTheProgramAreOfferedWhereACommandUnderstandsThem) {
  EXPECT_THAT(Offered({"sample", "show", "--v"}), ElementsAre("--verbose"));
  EXPECT_THAT(Offered({"sample", "group", "--v"}), IsEmpty());
}

TEST_F(InBash, AnAliasIsTheCommand) {
  EXPECT_THAT(Offered({"sample", "look", "--f"}), ElementsAre("--from"));
}

TEST_F(InBash, ChoicesAreOfferedAsTheyAre) {
  EXPECT_THAT(Offered({"sample", "show", ""}), ElementsAre("apples", "apple pies", "pe'ars"));
  EXPECT_THAT(Offered({"sample", "show", "--colour", "n"}), ElementsAre("never"));
}

TEST_F(InBash, AValueBehindAnEqualsSignIsOffered) {
  // With and without "=" among the characters at which bash splits.
  EXPECT_THAT(Offered({"sample", "show", "--colour", "="}), ElementsAre("always", "never"));
  EXPECT_THAT(Offered({"sample", "show", "--colour", "=", "a"}), ElementsAre("always"));
  EXPECT_THAT(Offered({"sample", "show", "--colour=a"}), ElementsAre("--colour=always"));
}

TEST_F(InBash, AValueIsNoArgumentAndNoCommand) {
  EXPECT_THAT(Offered({"sample", "show", "-n", "group", "ap"}),
              ElementsAre("apples", "apple pies"));
  EXPECT_THAT(Offered({"sample", "show", "--from", "=", "group", "pe"}), ElementsAre("pe'ars"));
}

TEST_F(InBash, AnArgumentIsOfferedAtItsPlaceOnly) {
  EXPECT_THAT(Offered({"sample", "show", "apples", ""}), IsEmpty());
}

TEST_F(InBash, NothingIsOfferedForAValueOfWhichNothingIsKnown) {
  EXPECT_THAT(Offered({"sample", "show", "--number", ""}), IsEmpty());
}

TEST_F(InBash, FilesAreOfferedForAFileNamesWithBlanksInOnePiece) {
  EXPECT_THAT(Offered({"sample", "show", "--from", ""}),
              IsSupersetOf({"plain.txt", "two words", "place"}));
}

TEST_F(InBash, FoldersAloneAreOfferedForAFolder) {
  EXPECT_THAT(Offered({"sample", "show", "--in", ""}), ElementsAre("place"));
  EXPECT_THAT(Offered({"sample", "show", "-i", "pl"}), ElementsAre("place"));
}

TEST_F(InBash, ADoubleDashEndsTheOptions) {
  EXPECT_THAT(Offered({"sample", "show", "--", "-"}), IsEmpty());
  EXPECT_THAT(Offered({"sample", "show", "--", "apples", ""}), IsEmpty());
}

TEST_F(InBash, TheProgramIsAskedForItsWords) {
  EXPECT_THAT(Offered({"sample", "group", "drop", "t"}), UnorderedElementsAre("two", "three"));
  EXPECT_THAT(Offered({"sample", "group", "drop", "pl"}), IsEmpty());
}

TEST_F(InBash, WhatTheProgramAnswersIsQuotedSoThatNothingOfItIsRun) {
  folder_.Write("sample", "#!/bin/sh\nprintf '%s\\n' 'a;touch x' 'a b' 'a$(date)' 'a{b}'\n");
  EXPECT_THAT(Offered({"sample", "group", "drop", "a"}),
              UnorderedElementsAre(R"(a\;touch\ x)", R"(a\ b)", R"(a\$\(date\))", R"(a\{b\})"));
  EXPECT_THAT(Offered({"sample", "group", "drop", "a\\ "}), ElementsAre(R"(a\ b)"));
}

TEST_F(InBash, AFileIsOfferedWhereNoneOfTheProgramsWordsFits) {
  EXPECT_THAT(Offered({"sample", "group", "add", "one", "t"}), ElementsAre("two", "three"));
  EXPECT_THAT(Offered({"sample", "group", "add", "one", "plai"}), ElementsAre("plain.txt"));
}

TEST_F(InBash, NothingInATextIsRun) {
  // The descriptions name `date` and $HOME; the script must not know them as anything but text.
  EXPECT_THAT(Offered({"sample", "show", "--"}), Not(Contains(testing::HasSubstr("`"))));
  const auto run = apptext_test::RunTool({"bash", "-c", ". \"$0\"; declare -F", script_.string()},
                                         folder_.path().string());
  EXPECT_THAT(apptext_test::LinesOf(run.output),
              ElementsAre("declare -f _sample_complete", "declare -f _sample_lines",
                          "declare -f _sample_paths", "declare -f _sample_words"));
}

}  // namespace
}  // namespace apptext
