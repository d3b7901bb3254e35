#include "path_guard.h"

#include <gtest/gtest.h>

namespace ktsvc {
namespace {

constexpr std::uint32_t kRoot = 0;
constexpr std::uint32_t kService = 990;
constexpr std::uint32_t kStranger = 1001;

PathPart Folder(const std::string& path, std::uint32_t mode = 0755, std::uint32_t owner = kRoot) {
  return {path, PathKind::kFolder, owner, mode};
}
PathPart Link(const std::string& path, std::uint32_t owner = kRoot) {
  return {path, PathKind::kLink, owner, 0777};
}
PathPart File(const std::string& path, std::uint32_t mode = 0644, std::uint32_t owner = kRoot) {
  return {path, PathKind::kFile, owner, mode};
}

// A way on which one part has this mode and owner.
std::vector<PathPart> WayWith(std::size_t place, std::uint32_t mode, std::uint32_t owner) {
  std::vector<PathPart> way{Folder("/"), Folder("/opt"), Folder("/opt/m"), File("/opt/m/x.so")};
  way[place].mode = mode;
  way[place].owner = owner;
  return way;
}

TEST(JudgePath, AcceptsWhatBelongsToRootOrToTheServiceAndIsWrittenByNobodyElse) {
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::uint32_t mode = 0; mode <= 0777; ++mode) {
      for (const std::uint32_t owner : {kRoot, kService}) {
        EXPECT_EQ(!JudgePath(WayWith(place, mode, owner), kService), (mode & 022) == 0)
            << place << " " << mode;
      }
    }
  }
}

TEST(JudgePath, RefusesAnythingOfAThirdUserWhateverItsMode) {
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::uint32_t mode = 0; mode <= 01777; ++mode) {
      EXPECT_TRUE(JudgePath(WayWith(place, mode, kStranger), kService)) << place << " " << mode;
    }
  }
}

TEST(JudgePath, TrustsRootAloneWhereTheServiceIsRoot) {
  const auto fault = JudgePath(WayWith(2, 0755, kService), kRoot);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason, "/opt/m belongs to user 990, not to root");
  EXPECT_EQ(fault->advice, "Run: chown root /opt/m");
}

TEST(JudgePath, NamesAllThatIsWrongAndOneCommandForIt) {
  const auto fault =
      JudgePath({Folder("/"), Folder("/srv", 0755, kStranger), Folder("/srv/a b", 0775, kStranger),
                 File("/srv/a b/x.so", 0666, kService)},
                kService);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason,
            "/srv belongs to user 1001, neither to root nor to the service's own user (990); "
            "/srv/a b belongs to user 1001, neither to root nor to the service's own user (990); "
            "others than its owner can write /srv/a b (mode 0775); "
            "others than its owner can write /srv/a b/x.so (mode 0666)");
  EXPECT_EQ(fault->advice,
            "Run as root: chown root /srv '/srv/a b' && chmod go-w '/srv/a b' "
            "'/srv/a b/x.so'");
}

TEST(JudgePath, AcceptsAFolderInASharedOneWithTheStickyBit) {
  for (const std::uint32_t owner : {kRoot, kService}) {
    EXPECT_FALSE(JudgePath({Folder("/"), Folder("/tmp", 01777, owner),
                            Folder("/tmp/m", 0755, kService), File("/tmp/m/x.so")},
                           kService));
  }
}

TEST(JudgePath, IsNotMildWithTheFoldersBelowASharedOne) {
  EXPECT_TRUE(JudgePath(
      {Folder("/"), Folder("/tmp", 01777), Folder("/tmp/m", 0777), File("/tmp/m/x.so")}, kService));
  EXPECT_TRUE(JudgePath(
      {Folder("/"), Folder("/tmp", 01777), Folder("/tmp/m", 0755, kStranger), File("/tmp/m/x.so")},
      kService));
}

TEST(JudgePath, RefusesAFileThatStandsInASharedFolderItself) {
  const auto fault = JudgePath({Folder("/"), Folder("/tmp", 01777), File("/tmp/x.so")}, kService);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason,
            "/tmp/x.so stands in /tmp, where everybody may put files and links of anybody's");
  EXPECT_EQ(fault->advice,
            "Give it a folder of its own: mkdir -m 755 /tmp/ktsvc-modules && mv /tmp/x.so "
            "/tmp/ktsvc-modules/");
}

TEST(JudgePath, RefusesALinkThatStandsInASharedFolder) {
  const auto fault = JudgePath(
      {Folder("/"), Folder("/tmp", 01777), Link("/tmp/m"), Folder("/opt"), File("/opt/x.so")},
      kService);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->advice, "Name the module by its own path: /opt/x.so");
}

TEST(JudgePath, JudgesALinkByItsOwnerAlone) {
  EXPECT_FALSE(JudgePath(
      {Folder("/"), Folder("/srv"), Link("/srv/m"), Folder("/opt"), File("/opt/x.so")}, kService));
  const auto fault = JudgePath(
      {Folder("/"), Folder("/srv"), Link("/srv/m", kStranger), Folder("/opt"), File("/opt/x.so")},
      kService);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->advice, "Run as root: chown -h root /srv/m");
}

}  // namespace
}  // namespace ktsvc
