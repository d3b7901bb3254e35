#include <gmock/gmock.h>

#include <filesystem>

#include "apptext/completion.h"
#include "apptext/sample_program.h"
#include "apptext/shell_scripts.h"
#include "apptext/tool_posix.h"
#include "service/scratch_folder.h"

namespace apptext {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

class InFish : public testing::Test {
 protected:
  InFish() {
    folder_.Write("plain.txt", "");
    std::filesystem::create_directory(folder_.path() / "place");
    const auto program = folder_.Write("sample", "#!/bin/sh\nprintf 'one\\ntwo\\nthree\\n'\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  }

  // What fish offers at the end of the line, without the explanations.
  std::vector<std::string> Offered(const std::string& line) {
    std::vector<std::string> words;
    for (const std::string& offer : OfferedWithExplanations(line)) {
      words.push_back(offer.substr(0, offer.find('\t')));
    }
    return words;
  }

  std::vector<std::string> OfferedWithExplanations(const std::string& line) {
    const auto run = apptext_test::RunTool(
        {"fish", "--no-config", "-c", "cd $HOME; source script; complete -C" + Quoted(line)},
        folder_.path().string());
    EXPECT_EQ(run.status, 0) << run.output;
    return apptext_test::LinesOf(run.output);
  }

  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const ktsvc_test::ScratchFolder folder_;
  const std::filesystem::path script_ = folder_.Write(
      "script", Completion(*app_, Shell::kFish,
                           {{"KEY", "sample keys", false}, {"NAME", "sample names", true}}));
};

TEST_F(InFish, TheScriptIsWellFormed) {
  const auto run = apptext_test::RunTool({"fish", "-n", script_.string()}, folder_.path().string());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "");
}

TEST_F(InFish, CommandsAreOfferedWithTheirExplanations) {
  EXPECT_THAT(
      OfferedWithExplanations("sample "),
      UnorderedElementsAre("show\tShow things, or [one] of them", "group\tGroups of things"));
}

TEST_F(InFish, CommandsOfCommandsAreOffered) {
  EXPECT_THAT(Offered("sample group "), UnorderedElementsAre("add", "drop"));
}

TEST_F(InFish, OptionsAreOfferedBehindADash) {
  EXPECT_THAT(Offered("sample show --f"), ElementsAre("--from"));
  EXPECT_THAT(Offered("sample show -"), IsSupersetOf({"-i", "--in", "-q", "--quiet", "--colour"}));
}

TEST_F(InFish, ExplanationsAreTextWhateverTheyHold) {
  EXPECT_THAT(OfferedWithExplanations("sample show --colo"),
              ElementsAre("--colour\tIt's a [choice]"));
}

TEST_F(InFish, ChoicesAreOfferedAsTheyAre) {
  EXPECT_THAT(Offered("sample show ap"), UnorderedElementsAre("apples", "apple pies"));
  EXPECT_THAT(Offered("sample show pe"), ElementsAre("pe'ars"));
  EXPECT_THAT(Offered("sample show --colour n"), ElementsAre("never"));
}

TEST_F(InFish, AnArgumentIsOfferedAtItsPlaceOnly) {
  EXPECT_THAT(Offered("sample show apples a"), IsEmpty());
  EXPECT_THAT(Offered("sample show -n 3 apples a"), IsEmpty());
}

TEST_F(InFish, AValueIsNoArgumentAndNoCommand) {
  EXPECT_THAT(Offered("sample show -n group ap"), UnorderedElementsAre("apples", "apple pies"));
}

TEST_F(InFish, AnAliasIsTheCommand) {
  EXPECT_THAT(Offered("sample look --f"), ElementsAre("--from"));
}

TEST_F(InFish, FilesAndFoldersAreOfferedWhereTheyAreMeant) {
  EXPECT_THAT(Offered("sample show --from p"), UnorderedElementsAre("plain.txt", "place/"));
  EXPECT_THAT(Offered("sample show --in p"), ElementsAre("place/"));
  EXPECT_THAT(Offered("sample show p"), ElementsAre("pe'ars"));
}

TEST_F(InFish, TheProgramIsAskedForItsWords) {
  EXPECT_THAT(Offered("sample group drop t"), UnorderedElementsAre("two", "three"));
  EXPECT_THAT(Offered("sample group add one t"), UnorderedElementsAre("two", "three"));
}

TEST_F(InFish, AFileIsOfferedWhereAPathBegins) {
  EXPECT_THAT(Offered("sample group add ./pla"), UnorderedElementsAre("./plain.txt", "./place/"));
}

}  // namespace
}  // namespace apptext
