#include "apptext/command_text.h"

#include <gmock/gmock.h>

#include "apptext/sample_program.h"

namespace apptext {
namespace {

using testing::ElementsAre;

const CommandText& Command(const CommandText& above, const std::string& name) {
  for (const CommandText& command : above.commands) {
    if (command.name == name) {
      return command;
    }
  }
  throw std::runtime_error("no command " + name);
}

OptionText OptionNamed(const CommandText& command, const std::string& name) {
  for (const OptionText& option : AllOptions(command)) {
    if (option.names.back() == name) {
      return option;
    }
  }
  throw std::runtime_error("no option " + name);
}

class TheDescription : public testing::Test {
 protected:
  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const CommandText program_ = Describe(*app_);
};

TEST_F(TheDescription, NamesCommandsWithTheirWholePath) {
  EXPECT_EQ(program_.path, "sample");
  EXPECT_EQ(Command(Command(program_, "group"), "add").path, "sample group add");
}

TEST_F(TheDescription, LeavesOutWhatTheHelpHides) {
  for (const CommandText& command : program_.commands) {
    EXPECT_NE(command.name, "secret");
  }
  for (const OptionText& option : AllOptions(program_)) {
    EXPECT_NE(option.names.back(), "--hidden");
  }
}

TEST_F(TheDescription, TakesTheUsageLineOfTheHelp) {
  EXPECT_EQ(Command(program_, "show").usage, "[OPTIONS] [WHAT]");
  EXPECT_EQ(Command(Command(program_, "group"), "add").usage, "[OPTIONS] NAME...");
}

TEST_F(TheDescription, NamesShortOptionsFirst) {
  EXPECT_THAT(OptionNamed(Command(program_, "show"), "--in").names, ElementsAre("-i", "--in"));
}

TEST_F(TheDescription, TellsFilesFoldersChoicesAndFlagsApart) {
  const CommandText& show = Command(program_, "show");
  EXPECT_EQ(OptionNamed(show, "--in").kind, ValueKind::kFolder);
  EXPECT_EQ(OptionNamed(show, "--from").kind, ValueKind::kFile);
  EXPECT_EQ(OptionNamed(show, "--colour").kind, ValueKind::kChoice);
  EXPECT_EQ(OptionNamed(show, "--number").kind, ValueKind::kText);
  EXPECT_EQ(OptionNamed(show, "--quiet").kind, ValueKind::kNone);
}

TEST_F(TheDescription, ListsTheChoices) {
  const CommandText& show = Command(program_, "show");
  EXPECT_THAT(OptionNamed(show, "--colour").choices, ElementsAre("always", "never"));
  ASSERT_EQ(show.arguments.size(), 1U);
  EXPECT_THAT(show.arguments.front().choices, ElementsAre("apples", "apple pies", "pe'ars"));
}

TEST_F(TheDescription, HandsOptionsDownWhereACommandUnderstandsThem) {
  EXPECT_NO_THROW(OptionNamed(Command(program_, "show"), "--verbose"));
  EXPECT_ANY_THROW(OptionNamed(Command(program_, "group"), "--verbose"));
}

TEST_F(TheDescription, KeepsTheGroupsOfOptionsInTheOrderOfTheHelp) {
  const CommandText& show = Command(program_, "show");
  ASSERT_EQ(show.groups.size(), 2U);
  EXPECT_EQ(show.groups[0].title, "Options");
  EXPECT_EQ(show.groups[1].title, "Looks");
}

TEST_F(TheDescription, KnowsWhichArgumentTakesAllTheRest) {
  EXPECT_TRUE(Command(Command(program_, "group"), "add").arguments.front().repeated);
  EXPECT_FALSE(Command(program_, "show").arguments.front().repeated);
}

TEST(OptionGroups, CountAsOptionsOfTheirCommand) {
  CLI::App app("a thing", "thing");
  app.add_option_group("Both", "of a kind")
      ->add_flag_callback(
          "--one", [] {}, "the first");
  const CommandText program = Describe(app);
  ASSERT_EQ(program.groups.size(), 2U);
  EXPECT_EQ(program.groups[1].title, "Both");
  EXPECT_TRUE(program.commands.empty());
}

TEST(ABriefDescription, EndsBeforeTheDetails) {
  EXPECT_EQ(Brief("Lowest level, 0 to 7 (default 4)"), "Lowest level, 0 to 7");
  EXPECT_EQ(Brief("Modules in order: a name\nor a path"), "Modules in order");
  EXPECT_EQ(Brief("One sentence. Another"), "One sentence");
  EXPECT_EQ(Brief("Alone."), "Alone");
}

TEST(ABriefDescription, JoinsLinesOfOneParagraph) {
  EXPECT_EQ(Brief("\nServe on\n  all of them\n\nMore"), "Serve on all of them");
}

TEST(ABriefDescription, OfNothingIsEmpty) {
  EXPECT_EQ(Brief(""), "");
}

}  // namespace
}  // namespace apptext
