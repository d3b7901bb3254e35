#include "system/system_object.h"

#include "base/module.h"
#include "base/text.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;

class SystemObject : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    kt::RegisterSystemType("qelm_system");
    framework_.ForgetCalls();
  }

  static std::vector<std::string> Texts(const std::vector<KtGuid>& guids) {
    std::vector<std::string> texts;
    for (const KtGuid& guid : guids) texts.push_back(kt::GuidText(guid));
    return texts;
  }

  const std::string created_ =
      "CSys - CreateSystemObject - successfully created system object with system interface "
      "attached.";
};

TEST_F(SystemObject, HasATypeWithItsSuperclassAndVendor) {
  EXPECT_THAT(framework_.SuperclassesOf("qelm_system"), ElementsAre("qelm_ktvm"));
  const std::vector<fake::Property> properties = framework_.TypeProperties("qelm_system");
  ASSERT_EQ(properties.size(), 1u);
  EXPECT_EQ(properties[0].name, "VENDOR");
  EXPECT_EQ(properties[0].type, TYPE_WSTR);
  EXPECT_EQ(properties[0].text, "TORMELD");
}

TEST_F(SystemObject, OffersTheSystemRebootAndTraceInterfacesInThatOrder) {
  kt::CreateSystemObject();
  const std::vector<KtObjId> objects = framework_.ObjectsOf("qelm_system");
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_THAT(Texts(framework_.InterfacesOf(objects[0])),
              ElementsAre("{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}",
                          "{13DC257B-CF59-400F-9817-82DAB2C8854C}",
                          "{ADF0779F-76AD-48EB-8337-DFB8BF32016D}"));
  for (const KtGuid& interface_id : kt::kSystemObjectInterfaces) {
    EXPECT_EQ(framework_.InterfaceOwner(objects[0], interface_id), framework_.provider());
  }
  EXPECT_TRUE(framework_.PropertiesOf(objects[0]).empty());
  EXPECT_THAT(framework_.Traces(), ElementsAre(fake::Warning(created_)));
}

TEST_F(SystemObject, IsCreatedUnderTheDatabaseLockWithThePlainCall) {
  kt::CreateSystemObject();
  EXPECT_THAT(framework_.CallNames(),
              ElementsAre("DbLockDatabase", "ObCreateObject", "DbUnlockDatabase",
                          "ObRegisterInterface", "ObRegisterInterface", "ObRegisterInterface"));
}

TEST_F(SystemObject, TriesTheAttachmentsOnTheNullIdWhenItCannotBeCreated) {
  framework_.FailCall("ObCreateObject", 1, 0xC1000039);
  kt::CreateSystemObject();
  EXPECT_EQ(framework_.CountOf("ObRegisterInterface"), 1u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Error(
              "hostkit: ERROR: CKtObject::Create(), ObCreateObject of type qelm_system failed"),
          fake::Error("CSys - CreateSystemObject - couldn't create system object"),
          fake::Error(
              "hostkit: ERROR: in "
              "CKtObject::RegisterInterface({9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}), invalid "
              "object (KTERROR_NO_OBJECT)."),
          fake::Error("CSys - CreateSystemObject - couldn't attach system interface on system "
                      "object"),
          fake::Warning(created_)));
}

TEST_F(SystemObject, LeavesTheOtherInterfacesOutOnceOneIsRefused) {
  framework_.FailCall("ObRegisterInterface", 2, 0x80070057);
  kt::CreateSystemObject();
  EXPECT_EQ(framework_.CountOf("ObRegisterInterface"), 2u);
  EXPECT_TRUE(fake::Traced(
      6, "CSys - CreateSystemObject - couldn't attach system interface on system object"));
  EXPECT_TRUE(fake::Traced(4, created_));
}

TEST_F(SystemObject, KeepsATypeThatExists) {
  EXPECT_NO_THROW(kt::RegisterSystemType("qelm_system"));
  EXPECT_TRUE(fake::Traced(4, "ERROR: Type qelm_system already registered."));
}

TEST_F(SystemObject, ThrowsTheStatusOfATypeThatCannotBeRegistered) {
  framework_.FailCall("ObCreateTypeObject", 1, 0x8007000E);
  try {
    kt::RegisterSystemType("spare");
    ADD_FAILURE() << "no exception";
  } catch (const KtStatus status) {
    EXPECT_EQ(status, E_OUTOFMEMORY);
  }
}

}  // namespace
