// Every way in which an access file can be wrong, with the place and the words of the answer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "access/access_error.h"
#include "access/access_policy.h"
#include "access/line_reader.h"
#include "names_for_tests.h"

namespace ktsvc::access {
namespace {

using namespace std::string_literals;

void ParseText(std::string_view text) {
  AccessPolicy::Parse(text, "access.conf", NamesForTests());
}

struct FaultRow {
  std::string text;
  std::size_t column;
  std::string reason;
  std::string advice;
};

const std::string kUserForm = "Write: user NAME|UID ROLE";
const std::string kGroupForm = "Write: group NAME|GID ROLE";
const std::string kTokenForm = "Write: token NAME ROLE";
const std::string kControlForm = "Write: control INTERFACE SELECTOR|* CODE|* ROLE";
const std::string kFirstWords = "A line begins with user, group, token or control.";
const std::string kRoles = "Write observer, operator or admin.";
const std::string kUserNumber = "Write a number from 0 to 4294967294, or a name.";
const std::string kTokenName = "Write 1 to 64 letters, digits or . _ - @ as in the token file.";
const std::string kPlainName =
    "Write the name alone, or the number, as the command id prints them.";
const std::string kSelector =
    "Write a number from 0 to 4294967295, in hexadecimal after 0x, or * for any selector.";
const std::string kCode =
    "Write a number from 0 to 4294967295, in hexadecimal after 0x, or * for any control code.";
const std::string kInterfaces =
    "Write one of system, reboot, trace, disk, volume, diskgroup, rescan, or a GUID such as "
    "{01234567-89AB-CDEF-0123-456789ABCDEF}.";
const std::string kOneOut = "Take one of the two lines out.";
const std::string kKeep = "Keep the line that is meant, and take the other out.";

std::vector<FaultRow> Rows() {
  return {
      {"users alice admin", 1, "unknown word \"users\"", kFirstWords},
      {"User alice admin", 1, "unknown word \"User\"", kFirstWords},
      {"  alice admin", 3, "unknown word \"alice\"", kFirstWords},
      {"allow: alice", 1, "unknown word \"allow:\"", kFirstWords},
      {"user", 1, "the line has 1 of 3 words", kUserForm},
      {"user alice", 6, "the line has 2 of 3 words", kUserForm},
      {"user alice # admin", 6, "the line has 2 of 3 words", kUserForm},
      {"user alice admin now", 18, "\"now\" is one word too many", kUserForm},
      {"user alice bob admin", 16, "\"admin\" is one word too many", kUserForm},
      {"group disk", 7, "the line has 2 of 3 words", kGroupForm},
      {"token", 1, "the line has 1 of 3 words", kTokenForm},
      {"token a admin x", 15, "\"x\" is one word too many", kTokenForm},
      {"user alice Admin", 12, "\"Admin\" is no role", kRoles},
      {"user alice none", 12, "\"none\" is no role", kRoles},
      {"user alice *", 12, "\"*\" is no role", kRoles},
      {"group disk root", 12, "\"root\" is no role", kRoles},
      {"token ci operater", 10, "\"operater\" is no role", kRoles},
      {"control trace * * opperator", 19, "\"opperator\" is no role", kRoles},
      {"user * observer", 6, "there is no line for every user",
       "Name each user; a group is the way to name many users at once."},
      {"group * observer", 7, "there is no line for every group",
       "Name each group; a group is the way to name many users at once."},
      {"user alice:1000 admin", 6, "\"alice:1000\" is no name of a user", kPlainName},
      {"group a/b admin", 7, "\"a/b\" is no name of a group", kPlainName},
      {"user 4294967295 admin", 6, "\"4294967295\" is no number of a user", kUserNumber},
      {"user 4294967296 admin", 6, "\"4294967296\" is no number of a user", kUserNumber},
      {"group 99999999999999999999 admin", 7, "\"99999999999999999999\" is no number of a group",
       kUserNumber},
      {"token a/b admin", 7, "\"a/b\" is no name of a token", kTokenName},
      {"token * admin", 7, "\"*\" is no name of a token", kTokenName},
      {"token " + std::string(65, 'a') + " admin", 7,
       "\"" + std::string(64, 'a') + "...\" is no name of a token", kTokenName},
      {"control", 1, "the line has 1 of 5 words", kControlForm},
      {"control trace 11005 admin", 21, "the line has 4 of 5 words", kControlForm},
      {"control trace 0 11005 admin admin", 29, "\"admin\" is one word too many", kControlForm},
      {"control * 0 11005 admin", 9, "\"*\" is no interface", kInterfaces},
      {"control Trace 0 11005 admin", 9, "\"Trace\" is no interface", kInterfaces},
      {"control {ADF0779F-76AD-48EB-8337-DFB8BF32016} 0 1 admin", 9,
       "\"{ADF0779F-76AD-48EB-8337-DFB8BF32016}\" is no interface", kInterfaces},
      {"control trace any 11005 admin", 15, "\"any\" is no selector", kSelector},
      {"control trace -1 11005 admin", 15, "\"-1\" is no selector", kSelector},
      {"control trace +1 11005 admin", 15, "\"+1\" is no selector", kSelector},
      {"control trace 0x 11005 admin", 15, "\"0x\" is no selector", kSelector},
      {"control trace 0x-1 11005 admin", 15, "\"0x-1\" is no selector", kSelector},
      {"control trace 4294967296 11005 admin", 15, "\"4294967296\" is no selector", kSelector},
      {"control trace 0 reboot admin", 17, "\"reboot\" is no control code", kCode},
      {"control trace 0 11005. admin", 17, "\"11005.\" is no control code", kCode},
      {"control trace 0 2AFD admin", 17, "\"2AFD\" is no control code", kCode},
      {"control trace 0 0x100000000 admin", 17, "\"0x100000000\" is no control code", kCode},
      {"control trace 0 ** admin", 17, "\"**\" is no control code", kCode},
      {"user root admin", 1, "user root stands in line 1 already", kOneOut},
      {"user root operator", 1,
       "user root conflicts with line 1, which says admin where this line says operator", kKeep},
      {"control {ADF0779F-76AD-48EB-8337-DFB8BF32016D} 0x0 0x2AFD operator", 1,
       "control trace 0 11005 stands in line 2 already", kOneOut},
      {"control trace 0 11005 admin", 1,
       "control trace 0 11005 conflicts with line 2, which says operator where this line says "
       "admin",
       kKeep},
      {"group 06 admin", 1,
       "group 6 conflicts with line 3, which says observer where this line says admin", kKeep},
      {"user \xFFroot admin", 6, "the line is not UTF-8", "Save the file as plain UTF-8 text."},
      {"user a\0b admin"s, 7, "the line holds a zero byte",
       "Save the file as plain UTF-8 text, each line ended by a line feed."},
      {"user alice admin # " + std::string(kMaxLineBytes, '.'), kMaxLineBytes + 1,
       "the line has 1043 bytes, 1024 are allowed", "Break it up, or shorten its comment."},
  };
}

TEST(AccessPolicyFaults, AreAnsweredWithFileLineColumnReasonAndAdvice) {
  const std::string before =
      "user root admin\ncontrol trace 0 11005 operator\ngroup 6 observer\n\n";
  for (const FaultRow& row : Rows()) {
    for (const char* end : {"", "\n", "\r\n", "\nuser bob admin\n", "\nnonsense\n"}) {
      const std::string text = before + row.text + end;
      try {
        ParseText(text);
        ADD_FAILURE() << "taken: " << row.text;
      } catch (const AccessError& error) {
        EXPECT_EQ(error.file(), "access.conf");
        EXPECT_EQ(error.line(), 5U) << row.text;
        EXPECT_EQ(error.column(), row.column) << row.text;
        EXPECT_EQ(error.reason(), row.reason) << row.text;
        EXPECT_EQ(error.advice(), row.advice) << row.text;
        EXPECT_EQ(error.what(), "access.conf:5:" + std::to_string(row.column) + ": " + row.reason);
      }
    }
  }
}

TEST(AccessPolicyFaults, AreTheOnlyAnswerToBytesThatAreNoPolicy) {
  // Random edits of a good file: it is taken or refused with a place in it, and nothing else.
  const std::string good =
      "# who may what\nuser alice admin\nuser 1001 operator\ngroup disk observer\ntoken ci "
      "admin\ncontrol trace * 11005 observer\ncontrol system 0 * admin\n";
  std::mt19937 random(20260131);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same on every run
  std::size_t refused = 0;
  for (int round = 0; round < 6000; ++round) {
    std::string text = good;
    for (auto edits = random() % 4 + 1; edits > 0; --edits) {
      const std::size_t at = random() % text.size();
      switch (random() % 4) {
        case 0:
          text[at] = static_cast<char>(random() % 256);
          break;
        case 1:
          text.insert(at, 1, "\n# \t\r*0"[random() % 7]);
          break;
        case 2:
          text.erase(at, random() % 8 + 1);
          break;
        default:
          text.insert(at, text.substr(random() % text.size(), random() % 40));
      }
      text += text.empty() ? "x" : "";
    }
    try {
      ParseText(text);
    } catch (const AccessError& error) {
      ++refused;
      ASSERT_GE(error.line(), 1U);
      ASSERT_LE(error.line(),
                static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
      ASSERT_GE(error.column(), 1U);
      ASSERT_FALSE(error.advice().empty());
    }
  }
  EXPECT_GT(refused, 1000U);
  EXPECT_LT(refused, 6000U);
}

}  // namespace
}  // namespace ktsvc::access
