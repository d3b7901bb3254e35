#include "access/interface_names.h"

#include <gtest/gtest.h>

namespace ktsvc::access {
namespace {

struct KnownRow {
  const char* name;
  const char* guid;
};

constexpr KnownRow kKnown[] = {
    {"system", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"},
    {"reboot", "{13DC257B-CF59-400F-9817-82DAB2C8854C}"},
    {"trace", "{ADF0779F-76AD-48EB-8337-DFB8BF32016D}"},
    {"disk", "{7EC748B5-C965-4607-8371-EB3B1B0DB7EC}"},
    {"volume", "{9D763702-9F7D-47D8-B8F7-F02D8AC3530F}"},
    {"diskgroup", "{028767D0-C8C3-4169-A11E-E57A09D015F2}"},
    {"rescan", "{17D18B22-C1E8-4C0E-9098-AC26D64F63C3}"},
};

TEST(InterfaceFromText, KnowsEachShortName) {
  for (const KnownRow& row : kKnown) {
    const std::optional<KtGuid> id = InterfaceFromText(row.name);
    ASSERT_TRUE(id) << row.name;
    EXPECT_EQ(GuidText(*id), row.guid);
  }
}

TEST(InterfaceFromText, ReadsAGuidWithAndWithoutBracesInEitherCase) {
  for (const char* text :
       {"{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9",
        "{9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9}", "9452c1D7-9a89-4CdF-b3df-1ee1d7d002d9"}) {
    const std::optional<KtGuid> id = InterfaceFromText(text);
    ASSERT_TRUE(id) << text;
    EXPECT_TRUE(SameGuid(*id, kSystemInterface)) << text;
  }
}

TEST(InterfaceFromText, RefusesWhatIsNeitherNameNorGuid) {
  for (const char* text :
       {"", "System", "disks", "{}", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9",
        "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", "9452C1D79A894CDFB3DF1EE1D7D002D9",
        "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D", "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D99",
        "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002DG", "9452C1D7+9A89-4CDF-B3DF-1EE1D7D002D9",
        "(9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9)", "{{452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}",
        "-452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9"}) {
    EXPECT_FALSE(InterfaceFromText(text)) << text;
  }
}

TEST(InterfaceText, GivesTheShortNameWhereThereIsOne) {
  for (const KnownRow& row : kKnown) {
    EXPECT_EQ(InterfaceText(*InterfaceFromText(row.guid)), row.name);
  }
  EXPECT_EQ(InterfaceText(KtGuid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}),
            "{00000001-0002-0003-0405-060708090A0B}");
}

TEST(InterfaceNameList, NamesThemAllInOrder) {
  EXPECT_EQ(InterfaceNameList(), "system, reboot, trace, disk, volume, diskgroup, rescan");
}

TEST(IsRestart, IsTrueForControl11001ThroughTheSystemAndTheRebootInterfaceAlone) {
  for (const KnownRow& row : kKnown) {
    const bool restarts =
        row.name == std::string_view("system") || row.name == std::string_view("reboot");
    EXPECT_EQ(IsRestart(*InterfaceFromText(row.name), 11001), restarts) << row.name;
    EXPECT_FALSE(IsRestart(*InterfaceFromText(row.name), 11005)) << row.name;
    EXPECT_FALSE(IsRestart(*InterfaceFromText(row.name), 0)) << row.name;
  }
}

}  // namespace
}  // namespace ktsvc::access
