#include "dispatch/control_path.h"

#include <string>
#include <vector>

#include "fake/fake_test.h"
#include "support/control.h"

namespace {

using ControlPathTest = fake::FrameworkTest;

TEST_F(ControlPathTest, NamesObjectInterfaceSelectorAndCodeInThatOrder) {
  kt::ControlPath path;
  ASSERT_TRUE(path.Build(support::kInterface, 3, 11005, fake::ObjectNumber(1)));
  EXPECT_EQ(path.View(), std::string("OBJ:{00000001-0001-0000-0000-000000000000},INTF:") +
                             support::kInterfaceText + ",MJ:3,MN:11005");
  EXPECT_EQ(path.View(), path.Text());
}

TEST_F(ControlPathTest, PrintsSelectorAndCodeAsSignedNumbers) {
  kt::ControlPath path;
  ASSERT_TRUE(path.Build(support::kInterface, 0xFFFFFFFF, 0x80000000, kt::kNullObjId));
  EXPECT_EQ(path.View(), std::string("OBJ:") + support::kNullText +
                             ",INTF:" + support::kInterfaceText + ",MJ:-1,MN:-2147483648");
}

TEST_F(ControlPathTest, AsksForTheInterfacesTextFirstAndReleasesBoth) {
  kt::ControlPath path;
  ASSERT_TRUE(path.Build(support::kInterface, 0, 0, kt::kNullObjId));
  std::vector<std::string> ids;
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function == "KtGUIDToString") ids.push_back(call.arguments);
  }
  EXPECT_EQ(ids, (std::vector<std::string>{support::kInterfaceText, support::kNullText}));
  EXPECT_EQ(framework_.Outstanding().blocks, 0u);
}

TEST_F(ControlPathTest, IsNotBuiltAndKeepsNothingWithoutMemoryForEitherText) {
  for (const std::size_t nth : {1u, 2u}) {
    framework_.FailCall("KtGUIDToString", nth, 0);
    kt::ControlPath path;
    EXPECT_FALSE(path.Build(support::kInterface, 0, 0, kt::kNullObjId));
    EXPECT_TRUE(path.View().empty());
    EXPECT_EQ(framework_.Outstanding().blocks, 0u);
    framework_.ClearFailures();
  }
}

}  // namespace
