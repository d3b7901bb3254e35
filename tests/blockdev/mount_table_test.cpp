#include "blockdev/devices/mount_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kt::blockdev {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(UnescapeOctal, TurnsAnEscapedBlankTabLineFeedAndBackslashIntoTheCharacter) {
  EXPECT_EQ(UnescapeOctal(R"(/mnt/my\040disk)"), "/mnt/my disk");
  EXPECT_EQ(UnescapeOctal(R"(a\011b\012c\134d)"), "a\tb\nc\\d");
}

TEST(UnescapeOctal, UndoesEachEscapeOnce) {
  EXPECT_EQ(UnescapeOctal(R"(\134040)"), "\\040");
}

TEST(UnescapeOctal, KeepsABackslashThatBeginsNoEscape) {
  EXPECT_EQ(UnescapeOctal(R"(\04)"), R"(\04)");
  EXPECT_EQ(UnescapeOctal(R"(\089)"), R"(\089)");
  EXPECT_EQ(UnescapeOctal(R"(\777)"), R"(\777)");
  EXPECT_EQ(UnescapeOctal(R"(\-12)"), R"(\-12)");
  EXPECT_EQ(UnescapeOctal("\\"), "\\");
}

TEST(UnescapeOctal, KeepsBytesAboveSevenBits) {
  EXPECT_EQ(UnescapeOctal(R"(\303\244)"), "\xC3\xA4");
}

TEST(ParseMountInfo, ReadsDeviceRootMountPointFileSystemAndSource) {
  const auto mounts = ParseMountInfo(
      "36 35 98:3 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue\n");
  ASSERT_THAT(mounts, SizeIs(1));
  EXPECT_EQ(mounts[0].major, 98u);
  EXPECT_EQ(mounts[0].minor, 3u);
  EXPECT_EQ(mounts[0].root, "/mnt1");
  EXPECT_EQ(mounts[0].mount_point, "/mnt2");
  EXPECT_EQ(mounts[0].file_system, "ext3");
  EXPECT_EQ(mounts[0].source, "/dev/root");
}

TEST(ParseMountInfo, ReadsALineWithoutOptionalFieldsAndOneWithSeveral) {
  const auto mounts = ParseMountInfo(
      "22 27 0:21 / /proc rw - proc proc rw\n"
      "30 25 8:1 / /data rw shared:2 master:7 propagate_from:1 - xfs /dev/sda1 rw\n");
  ASSERT_THAT(mounts, SizeIs(2));
  EXPECT_EQ(mounts[0].mount_point, "/proc");
  EXPECT_EQ(mounts[1].source, "/dev/sda1");
}

TEST(ParseMountInfo, KeepsTheOrderOfTheLines) {
  const auto mounts = ParseMountInfo(
      "1 0 8:1 / /b rw - ext4 /dev/sda1 rw\n"
      "2 0 8:1 / /a rw - ext4 /dev/sda1 rw\n");
  ASSERT_THAT(mounts, SizeIs(2));
  EXPECT_EQ(mounts[0].mount_point, "/b");
  EXPECT_EQ(mounts[1].mount_point, "/a");
}

TEST(ParseMountInfo, ReadsALastLineWithoutLineFeed) {
  EXPECT_THAT(ParseMountInfo("1 0 8:1 / /a rw - ext4 /dev/sda1 rw"), SizeIs(1));
}

TEST(ParseMountInfo, UndoesEscapesInTheMountPointAndTheSource) {
  const auto mounts = ParseMountInfo(R"(1 0 8:1 / /my\040disk rw - ext4 /dev/odd\134name rw)");
  ASSERT_THAT(mounts, SizeIs(1));
  EXPECT_EQ(mounts[0].mount_point, "/my disk");
  EXPECT_EQ(mounts[0].source, "/dev/odd\\name");
}

TEST(ParseMountInfo, LeavesOutALineThatIsNone) {
  EXPECT_THAT(ParseMountInfo(""), IsEmpty());
  EXPECT_THAT(ParseMountInfo("\n\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("nonsense\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8:1 / /a rw ext4 /dev/sda1 rw\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8:1 / /a rw -\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8:1 / /a rw - ext4\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8 / /a rw - ext4 /dev/sda1 rw\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8:x / /a rw - ext4 /dev/sda1 rw\n"), IsEmpty());
  EXPECT_THAT(ParseMountInfo("1 0 8:99999999999 / /a rw - ext4 /dev/sda1 rw\n"), IsEmpty());
}

TEST(ParseMountInfo, ReadsTheLinesAroundABadOne) {
  EXPECT_THAT(ParseMountInfo("1 0 8:1 / /a rw - ext4 /dev/sda1 rw\n"
                             "bad\n"
                             "2 0 8:2 / /b rw - ext4 /dev/sda2 rw\n"),
              SizeIs(2));
}

TEST(ParseMountInfo, SurvivesEveryTruncationOfALine) {
  const std::string line = R"(36 35 98:3 /mnt1 /my\040disk rw master:1 - ext3 /dev/root rw)";
  for (std::size_t length = 0; length <= line.size(); ++length) {
    EXPECT_LE(ParseMountInfo(line.substr(0, length)).size(), 1u) << length;
  }
}

}  // namespace
}  // namespace kt::blockdev
