#include "system/configuration_object.h"

#include <algorithm>

#include "system/system_object.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class ConfigurationObject : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    kt::RegisterSystemType("qelm_ktvm_misc");
    framework_.ForgetCalls();
  }

  std::vector<fake::Property> Published() {
    const std::vector<KtObjId> objects = framework_.ObjectsOf("qelm_ktvm_misc");
    EXPECT_EQ(objects.size(), 1u);
    return objects.empty() ? std::vector<fake::Property>{} : framework_.PropertiesOf(objects[0]);
  }
};

std::vector<std::string> Names(const std::vector<fake::Property>& properties) {
  std::vector<std::string> names;
  for (const fake::Property& property : properties) names.push_back(property.name);
  return names;
}

TEST_F(ConfigurationObject, HasItsElevenPropertiesInOrder) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("7.1 SP2"));
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1.0.1"));
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  kt::InitKtMisc();
  EXPECT_THAT(Published(),
              ElementsAre(fake::Property{"Name", TYPE_WSTR, 0, 42, "misc-internal-object"},
                          fake::Property{"blockpath", TYPE_STR, 0, 1, ""},
                          fake::Property{"rawpath", TYPE_STR, 0, 1, ""},
                          fake::Property{"invalid volname chars", TYPE_STR, 0, 4, " /\\"},
                          fake::Property{"vm_product_version", TYPE_WSTR, 0, 28, "WINNT.7.1.0.1"},
                          fake::Property{"max_dgname_len", TYPE_UINT32, 0, 4, "18"},
                          fake::Property{"max_volname_len", TYPE_UINT32, 0, 4, "18"},
                          fake::Property{"max_disk_dmname_len", TYPE_UINT32, 0, 4, "24"},
                          fake::Property{"platform", TYPE_UINT32, 0, 4, "5"},
                          fake::Property{"zrn_product_version", TYPE_WSTR, 0, 48,
                                         "7.1 SP2 (Build 7.1.0.1)"},
                          fake::Property{"Role_Base_Adm_Enable", TYPE_BOOLEAN, 0, 1, "true"}));
}

TEST_F(ConfigurationObject, HasTheNamesOfItsTable) {
  kt::InitKtMisc();
  std::vector<std::string> expected;
  for (const kt::ConfigurationProperty& row : kt::kConfigurationProperties) {
    expected.emplace_back(row.name);
  }
  EXPECT_THAT(Names(Published()), ElementsAreArray(expected));
}

TEST_F(ConfigurationObject, IsCreatedWithTheExtendedCallAndFlags2) {
  kt::InitKtMisc();
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function == "ObCreateObjectEx") {
      EXPECT_EQ(call.arguments, "db#1, provider#1, \"qelm_ktvm_misc\", 2, null");
    }
  }
  EXPECT_EQ(framework_.CountOf("ObCreateObjectEx"), 1u);
  EXPECT_EQ(framework_.CountOf("ObCreateObject"), 0u);
}

TEST_F(ConfigurationObject, AnnouncesItselfAndTellsTheVersionRightBeforeItsPropertyIsSet) {
  kt::InitKtMisc();
  const std::vector<fake::TraceLine> lines = framework_.Traces();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], fake::Error("hostkit - InitKtMisc"));
  EXPECT_EQ(lines[1], fake::Error("hostkit - Version() - cannot find registry, use build version - "
                                  "WINNT.6.1.0.445"));

  std::vector<std::string> steps;
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function == "ObSetProperty") steps.push_back(call.arguments);
    if (call.function == "KtTrace") steps.push_back(call.arguments);
  }
  const auto line = std::find_if(steps.begin(), steps.end(), [](const std::string& step) {
    return step.find("Version() -") != std::string::npos;
  });
  ASSERT_NE(line, steps.end());
  ASSERT_NE(line + 1, steps.end());
  EXPECT_NE((line + 1)->find("vm_product_version"), std::string::npos) << *(line + 1);
  EXPECT_NE((line - 1)->find("invalid volname chars"), std::string::npos) << *(line - 1);
}

TEST_F(ConfigurationObject, LeavesOutOnlyThePropertyWhoseSetFails) {
  for (std::size_t nth = 1; nth <= kt::kConfigurationProperties.size(); ++nth) {
    framework_.FailCall("ObSetProperty", nth, 0xC1000001);
    kt::InitKtMisc();
    const std::vector<KtObjId> objects = framework_.ObjectsOf("qelm_ktvm_misc");
    ASSERT_FALSE(objects.empty());
    const std::vector<std::string> names = Names(framework_.PropertiesOf(objects.back()));
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < kt::kConfigurationProperties.size(); ++i) {
      if (i + 1 != nth) expected.emplace_back(kt::kConfigurationProperties[i].name);
    }
    EXPECT_THAT(names, ElementsAreArray(expected));
  }
}

TEST_F(ConfigurationObject, LeavesOutANameThatThereIsNoMemoryFor) {
  framework_.FailCall("_KtAlloc", 1, E_OUTOFMEMORY);
  kt::InitKtMisc();
  EXPECT_EQ(Published().front().name, "blockpath");
}

TEST_F(ConfigurationObject, LeavesOutANameThatCannotBeConverted) {
  framework_.FailCall("Ktmbstowcs", 1, 0);
  kt::InitKtMisc();
  EXPECT_EQ(Published().front().name, "blockpath");
}

TEST_F(ConfigurationObject, TakesTheNameThroughABufferOfTheFrameworksMemory) {
  kt::InitKtMisc();
  const std::vector<fake::Call> calls = framework_.Calls();
  const auto buffer = std::find_if(calls.begin(), calls.end(), [](const fake::Call& call) {
    return call.function == "_KtAlloc";
  });
  ASSERT_NE(buffer, calls.end());
  EXPECT_EQ(buffer->arguments, "42") << "twenty letters and the terminator";
  ASSERT_NE(buffer + 1, calls.end());
  EXPECT_EQ((buffer + 1)->function, "Ktmbstowcs");
}

TEST_F(ConfigurationObject, LeavesALineAndNothingElseWhenItCannotBeCreated) {
  framework_.FailCall("ObCreateObjectEx", 1, 0xC1000039);
  kt::InitKtMisc();
  EXPECT_EQ(framework_.CountOf("ObSetProperty"), 0u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Error("hostkit - InitKtMisc"),
          fake::Error(
              "hostkit: ERROR: CKtObject::Create(), ObCreateObject of type qelm_ktvm_misc failed"),
          fake::Error("hostkit - InitKtMisc exception caught ")));
}

TEST_F(ConfigurationObject, TellsThePlatformOfThisHost) {
  platform_.machine = {9, 6, 1, true};
  kt::InitKtMisc();
  EXPECT_THAT(Published(), ::testing::Contains(fake::Property{"platform", TYPE_UINT32, 0, 4, "7"}));
}

}  // namespace
