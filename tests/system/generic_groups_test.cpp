#include "system/generic_groups.h"

#include "base/text.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kDisk[] = "{7EC748B5-C965-4607-8371-EB3B1B0DB7EC}";
constexpr char kVolume[] = "{9D763702-9F7D-47D8-B8F7-F02D8AC3530F}";
constexpr char kDiskGroup[] = "{028767D0-C8C3-4169-A11E-E57A09D015F2}";

class GenericGroups : public SystemTest {
 protected:
  // A group with children of these types, in this order.
  KtObjId AddGroup(const std::vector<std::string>& child_types) {
    const KtObjId group = framework_.AddObject("QELM_GenericGroup");
    for (const std::string& type : child_types) {
      if (!framework_.HasType(type)) framework_.AddType(type);
      framework_.AddChild(group, framework_.AddObject(type));
    }
    return group;
  }

  std::vector<std::string> InterfacesOf(const KtObjId& group) {
    std::vector<std::string> texts;
    for (const KtGuid& guid : framework_.InterfacesOf(group)) texts.push_back(kt::GuidText(guid));
    return texts;
  }
};

TEST_F(GenericGroups, GetTheInterfaceOfTheirFirstChildsType) {
  struct Row {
    const char* type;
    const char* interface_id;
  };
  const std::vector<Row> rows{{"qelm_ktvm_disk", kDisk},
                              {"qelm_ktvm_cdrom", kDisk},
                              {"qelm_ktvm_volume", kVolume},
                              {"qelm_ktvm_partition_oem", kVolume},
                              {"qelm_ktvm_diskgroup", kDiskGroup}};
  std::vector<KtObjId> groups;
  for (const Row& row : rows) groups.push_back(AddGroup({row.type}));
  kt::DecorateGenericGroups();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_THAT(InterfacesOf(groups[i]), ElementsAre(rows[i].interface_id)) << rows[i].type;
  }
  EXPECT_EQ(framework_.InterfaceOwner(groups[0], kt::kDiskInterface), framework_.provider());
}

TEST_F(GenericGroups, CompareTheTypeNameWithoutRegardToCase) {
  for (const char* type : {"QELM_KTVM_DISK", "Qelm_Ktvm_Volume", "qelm_ktvm_PARTITION_oem",
                           "qelm_KTVM_diskgroup", "qelm_ktvm_CDROM"}) {
    const KtObjId group = AddGroup({type});
    kt::DecorateGenericGroups();
    EXPECT_EQ(InterfacesOf(group).size(), 1u) << type;
  }
}

TEST_F(GenericGroups, CompareTheWholeTypeName) {
  const KtObjId longer = AddGroup({"qelm_ktvm_diskette"});
  const KtObjId shorter = AddGroup({"qelm_ktvm_dis"});
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(longer), IsEmpty());
  EXPECT_THAT(InterfacesOf(shorter), IsEmpty());
}

TEST_F(GenericGroups, GetNothingForAFirstChildOfAnotherTypeWhateverTheLaterOnesAre) {
  const KtObjId group = AddGroup({"spare", "qelm_ktvm_disk", "qelm_ktvm_volume"});
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(group), IsEmpty());
}

TEST_F(GenericGroups, GetNothingWithoutChildren) {
  const KtObjId group = AddGroup({});
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(group), IsEmpty());
  EXPECT_EQ(framework_.CountOf("ObGetObjectType"), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(GenericGroups, AreLeftAloneWhenTheyCannotBeListed) {
  AddGroup({"qelm_ktvm_disk"});
  framework_.FailCall("DbGetObjects", 1, 0xC1000010);
  kt::DecorateGenericGroups();
  EXPECT_THAT(framework_.CallNames(), ElementsAre("DbGetObjects"));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(GenericGroups, ArePassedOverWhenTheirChildrenCannotBeListed) {
  const KtObjId first = AddGroup({"qelm_ktvm_disk"});
  const KtObjId second = AddGroup({"qelm_ktvm_disk"});
  framework_.FailCall("ObGetChildObjects", 1, 0xC1000010);
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(first), IsEmpty());
  EXPECT_THAT(InterfacesOf(second), ElementsAre(kDisk));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(GenericGroups, ArePassedOverWithoutALineWhenTheChildsTypeCannotBeAsked) {
  const KtObjId first = AddGroup({"qelm_ktvm_disk"});
  const KtObjId second = AddGroup({"qelm_ktvm_disk"});
  framework_.FailCall("ObGetObjectType", 1, 0xC1000010);
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(first), IsEmpty());
  EXPECT_THAT(InterfacesOf(second), ElementsAre(kDisk));
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_TRUE(framework_.Outstanding().EmptyButForSections()) << framework_.Outstanding();
}

TEST_F(GenericGroups, GoOnWithTheNextWhenOneRefusesTheInterface) {
  const KtObjId first = AddGroup({"qelm_ktvm_disk"});
  const KtObjId second = AddGroup({"qelm_ktvm_volume"});
  framework_.FailCall("ObRegisterInterface", 1, 0x80070057);
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(first), IsEmpty());
  EXPECT_THAT(InterfacesOf(second), ElementsAre(kVolume));
}

TEST_F(GenericGroups, KeepTheInterfaceWhenTheyAreDecoratedAgain) {
  const KtObjId group = AddGroup({"qelm_ktvm_disk"});
  kt::DecorateGenericGroups();
  kt::DecorateGenericGroups();
  EXPECT_THAT(InterfacesOf(group), ElementsAre(kDisk));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(GenericGroups, GiveBackEveryTextAndList) {
  AddGroup({"qelm_ktvm_disk"});
  AddGroup({"spare"});
  AddGroup({});
  kt::DecorateGenericGroups();
  EXPECT_TRUE(framework_.Outstanding().EmptyButForSections()) << framework_.Outstanding();
}

TEST(InterfaceForChildType, FindsEveryRowOfTheTableAndNothingElse) {
  for (const kt::GroupInterface& row : kt::kGroupInterfaces) {
    EXPECT_EQ(kt::InterfaceForChildType(row.child_type), &row.interface_id);
  }
  EXPECT_EQ(kt::InterfaceForChildType(""), nullptr);
  EXPECT_EQ(kt::InterfaceForChildType("qelm_ktvm"), nullptr);
}

}  // namespace
