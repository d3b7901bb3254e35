#include "access/access_policy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/access_error.h"
#include "access/interface_names.h"
#include "names_for_tests.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

AccessPolicy Parse(std::string_view text, PolicyOptions options = {}) {
  return AccessPolicy::Parse(text, "access.conf", NamesForTests(), options);
}

TEST(AccessPolicyDefault, MakesRootAndTheServicesOwnUserAdmin) {
  const AccessPolicy policy = AccessPolicy::Default(990);
  ASSERT_EQ(policy.subjects().size(), 2U);
  EXPECT_EQ(policy.subjects()[0].id, 0U);
  EXPECT_EQ(policy.subjects()[0].role, Role::kAdmin);
  EXPECT_EQ(policy.subjects()[1].id, 990U);
  EXPECT_EQ(policy.subjects()[1].role, Role::kAdmin);
  EXPECT_TRUE(policy.isDefault());
  EXPECT_THAT(policy.controls(), IsEmpty());
}

TEST(AccessPolicyDefault, NamesRootOnceWhenTheServiceRunsAsRoot) {
  EXPECT_EQ(AccessPolicy::Default(0).subjects().size(), 1U);
}

TEST(AccessPolicyDefault, NamesNobodyWhereCallersHaveNoUser) {
  EXPECT_THAT(AccessPolicy::Default(std::nullopt).subjects(), IsEmpty());
}

TEST(AccessPolicyDefault, DoesNotAllowARestartUnlessAsked) {
  EXPECT_FALSE(AccessPolicy::Default(0).options().allowRestart);
  EXPECT_TRUE(AccessPolicy::Default(0, {true}).options().allowRestart);
}

TEST(AccessPolicyParse, ReadsUsersGroupsAndTokensInOrder) {
  const AccessPolicy policy = Parse(
      "# who\n"
      "user alice admin\n"
      " user\t1001   operator \n"
      "group disk observer  # they only look\n"
      "group 990 operator\n"
      "token ci admin\n");
  ASSERT_EQ(policy.subjects().size(), 5U);
  struct Row {
    SubjectLine::Kind kind;
    std::string name;
    std::optional<std::uint32_t> id;
    Role role;
    std::size_t number;
    std::string text;
  };
  const std::vector<Row> rows{
      {SubjectLine::Kind::kUser, "alice", std::nullopt, Role::kAdmin, 2, "user alice admin"},
      {SubjectLine::Kind::kUser, "", 1001, Role::kOperator, 3, "user 1001 operator"},
      {SubjectLine::Kind::kGroup, "disk", std::nullopt, Role::kObserver, 4, "group disk observer"},
      {SubjectLine::Kind::kGroup, "", 990, Role::kOperator, 5, "group 990 operator"},
      {SubjectLine::Kind::kToken, "ci", std::nullopt, Role::kAdmin, 6, "token ci admin"},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const SubjectLine& line = policy.subjects()[i];
    EXPECT_EQ(line.kind, rows[i].kind) << i;
    EXPECT_EQ(line.name, rows[i].name) << i;
    EXPECT_EQ(line.id, rows[i].id) << i;
    EXPECT_EQ(line.role, rows[i].role) << i;
    EXPECT_EQ(line.number, rows[i].number) << i;
    EXPECT_EQ(line.text, rows[i].text) << i;
  }
  EXPECT_THAT(policy.warnings(), IsEmpty());
  EXPECT_FALSE(policy.isDefault());
}

TEST(AccessPolicyParse, ReadsControlsWithNumbersInDecimalAndHexadecimalAndStars) {
  const AccessPolicy policy = Parse(
      "user root admin\n"
      "control trace 0 11005 admin\n"
      "control {9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9} * 0x2AFD observer\n"
      "control disk 4294967295 * operator\n"
      "control volume * * admin\n");
  ASSERT_EQ(policy.controls().size(), 4U);
  EXPECT_EQ(InterfaceText(policy.controls()[0].interfaceId), "trace");
  EXPECT_EQ(policy.controls()[0].selector, 0U);
  EXPECT_EQ(policy.controls()[0].code, 11005U);
  EXPECT_EQ(policy.controls()[0].role, Role::kAdmin);
  EXPECT_EQ(InterfaceText(policy.controls()[1].interfaceId), "system");
  EXPECT_EQ(policy.controls()[1].selector, std::nullopt);
  EXPECT_EQ(policy.controls()[1].code, 11005U);
  EXPECT_EQ(policy.controls()[2].selector, 0xFFFFFFFFU);
  EXPECT_EQ(policy.controls()[2].code, std::nullopt);
  EXPECT_EQ(policy.controls()[3].text, "control volume * * admin");
  EXPECT_EQ(policy.controls()[3].number, 5U);
}

TEST(AccessPolicyParse, TakesTheLineEndsOfWindowsAndAMissingLastOne) {
  const AccessPolicy policy = Parse("\xEF\xBB\xBFuser alice admin\r\ntoken ci observer");
  ASSERT_EQ(policy.subjects().size(), 2U);
  EXPECT_EQ(policy.subjects()[0].name, "alice");
  EXPECT_EQ(policy.subjects()[0].text, "user alice admin");
  EXPECT_EQ(policy.subjects()[1].role, Role::kObserver);
}

TEST(AccessPolicyParse, TakesNamesBeyondAscii) {
  NamesForTests names;
  names.users["j\xC3\xB6rg"] = 1002;
  const AccessPolicy policy = AccessPolicy::Parse("user j\xC3\xB6rg admin", "f", names);
  EXPECT_EQ(policy.subjects().front().name, "j\xC3\xB6rg");
  EXPECT_THAT(policy.warnings(), IsEmpty());
}

TEST(AccessPolicyParse, RefusesEveryoneByAnEmptyFileAndWarns) {
  const AccessPolicy policy = Parse("# nothing yet\n");
  EXPECT_THAT(policy.subjects(), IsEmpty());
  EXPECT_FALSE(policy.isDefault());
  EXPECT_THAT(policy.warnings(), ElementsAre("access.conf: no line makes anyone admin"));
}

TEST(AccessPolicyParse, TakesTheSameUserByNameAndByNumber) {
  EXPECT_EQ(Parse("user alice admin\nuser 1000 observer\n").subjects().size(), 2U);
}

TEST(AccessPolicyParse, TellsAUserAGroupAndATokenOfOneNameApart) {
  EXPECT_EQ(Parse("user root admin\ngroup root operator\ntoken root observer\n").subjects().size(),
            3U);
}

TEST(AccessPolicyParse, WarnsOfUsersAndGroupsThatDoNotExist) {
  EXPECT_THAT(Parse("user root admin\nuser nadia operator\ngroup wheel observer\n").warnings(),
              ElementsAre("access.conf:2: there is no user nadia on this machine",
                          "access.conf:3: there is no group wheel on this machine"));
}

TEST(AccessPolicyParse, DoesNotWarnOfANumberWithoutAName) {
  EXPECT_THAT(Parse("user root admin\nuser 4711 operator\ngroup 4711 observer\n").warnings(),
              IsEmpty());
}

TEST(AccessPolicyParse, WarnsOfANameThatNoCallerIsKnownBy) {
  NamesForTests names;
  names.users["toor"] = 0;
  names.firstNames[0] = "root";
  const AccessPolicy policy =
      AccessPolicy::Parse("user toor admin\nuser root admin\n", "access.conf", names);
  EXPECT_THAT(policy.warnings(),
              ElementsAre("access.conf:1: user toor has the number 0, whose name is root: the line "
                          "matches nobody; write root or 0"));
}

TEST(AccessPolicyParse, WarnsOfALineThatWouldLowerTheRestart) {
  EXPECT_THAT(
      Parse("user root admin\ncontrol system * 11001 operator\ncontrol reboot 0 11001 admin\n"
            "control trace 0 11001 operator\ncontrol system * * operator\n")
          .warnings(),
      ElementsAre(
          "access.conf:2: the line has no effect: restarting the machine always needs admin"));
}

TEST(AccessPolicyParse, WarnsOnceWhereUsersAndGroupsMatchNobody) {
  NamesForTests names;
  names.hasUsers = false;
  const AccessPolicy policy = AccessPolicy::Parse(
      "user nadia admin\ngroup wheel observer\ntoken ci operator\n", "access.conf", names);
  EXPECT_THAT(policy.warnings(),
              ElementsAre(HasSubstr("user and group lines match nobody on this system"),
                          "access.conf: no line makes anyone admin"));
  EXPECT_THAT(AccessPolicy::Parse("token ci admin\n", "access.conf", names).warnings(), IsEmpty());
}

TEST(AccessPolicyWhere, GivesFileAndLine) {
  EXPECT_EQ(Parse("user root admin").Where(12), "access.conf:12");
  EXPECT_EQ(Parse("user root admin").Where(0), "default");
}

TEST(AccessPolicyCompareTokens, NamesWhatOnlyOneSideKnows) {
  EXPECT_THAT(Parse("token ci admin\ntoken old observer\n").CompareTokens({"ci", "new"}),
              ElementsAre("access.conf:2: there is no token old in the token file",
                          "token new is refused everything: no line of access.conf names it"));
  EXPECT_THAT(Parse("token ci admin\n").CompareTokens({"ci"}), IsEmpty());
  EXPECT_THAT(AccessPolicy::Default(0).CompareTokens({"ci"}),
              ElementsAre("token ci is refused everything: there is no access file"));
}

TEST(AccessPolicyLoad, ReadsAFileAndNamesItInItsLines) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.File("access.conf", "token ci admin\r\n");
  const AccessPolicy policy = AccessPolicy::Load(file, {true});
  ASSERT_EQ(policy.subjects().size(), 1U);
  EXPECT_EQ(policy.Where(1), FileText(file) + ":1");
  EXPECT_TRUE(policy.options().allowRestart);
}

std::string LoadFault(const std::filesystem::path& file) {
  try {
    AccessPolicy::Load(file);
  } catch (const AccessError& error) {
    EXPECT_FALSE(error.advice().empty());
    EXPECT_EQ(error.file(), FileText(file));
    EXPECT_EQ(error.line(), 0U);
    return error.reason();
  }
  return "taken";
}

TEST(AccessPolicyLoad, RefusesAFileThatIsNotThere) {
  const TemporaryFolder folder;
  EXPECT_THAT(LoadFault(folder / "none"), HasSubstr("the file cannot be read"));
}

TEST(AccessPolicyLoad, RefusesAFolder) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "f");
  EXPECT_EQ(LoadFault(folder / "f"), "this is no regular file");
}

TEST(AccessPolicyLoad, TakesAFileOfTheLargestSizeAndRefusesALargerOne) {
  const TemporaryFolder folder;
  std::string text = "token ci admin\n";
  while (text.size() < kMaxAccessFileBytes) {
    text += '\n';
  }
  EXPECT_EQ(AccessPolicy::Load(folder.File("f", text)).subjects().size(), 1U);
  EXPECT_EQ(LoadFault(folder.File("g", text + "\n")), "the file is larger than 262144 bytes");
}

}  // namespace
}  // namespace ktsvc::access
