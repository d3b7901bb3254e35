// The built module on the embedded framework, with the devices that this machine really has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "blockdev/device_kinds.h"
#include "blockdev/device_server.h"
#include "blockdev/devices/device_source.h"
#include "examples/bus_life.h"
#include "ktbus3/ktbus3_host.h"

using kt::blockdev::BlockDevice;
using kt::blockdev::KindIndex;
using kt::blockdev::kKinds;
using kt::blockdev::ListDevices;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class BlockDevModule : public testing::Test {
 protected:
  void TearDown() override {
    life_.StopAll();
    EXPECT_TRUE(ProvidersKeptNothing());
  }

  KtStatus Rescan(std::uint32_t& disks) {
    CKtPropertySet output;
    output.Create();
    const kt::ScopedPropset scope(output);
    const KtStatus status =
        life_.Send(life_.Find(kt::blockdev::kGroupType, "volumes"), kt::blockdev::kRescanInterface,
                   kt::blockdev::kRescanControl, CKtPropertySet(), output);
    output.GetProp("disks", disks, true);
    return status;
  }

  BusLife life_;
};

TEST_F(BlockDevModule, PublishesEveryDeviceOfThisMachineInItsGroup) {
  life_.Start("blockdev");
  std::map<std::string, std::size_t> expected;
  for (const BlockDevice& device : ListDevices()) ++expected[kKinds[KindIndex(device.kind)].group];
  for (const auto& kind : kKinds) {
    const KtObjId group = life_.Find(kt::blockdev::kGroupType, kind.group);
    const auto children = life_.ChildrenOf(group);
    EXPECT_THAT(children, SizeIs(expected[kind.group])) << kind.group;
    EXPECT_EQ(life_.PropertiesOf(group)["count"], std::to_string(children.size()));
    for (const KtObjId& child : children) {
      EXPECT_EQ(life_.TypeOf(child), kind.type);
      EXPECT_FALSE(life_.PropertiesOf(child)["device_path"].empty());
    }
  }
}

TEST_F(BlockDevModule, RaisesTheEventThatOtherProvidersWaitFor) {
  life_.Start("hello");
  life_.Start("blockdev");
  life_.WaitForDelivery();
  EXPECT_EQ(life_.PropertiesOf(life_.Find("hello_greeter", "greeter"))["domains_ready"], "1");
}

TEST_F(BlockDevModule, AnswersARescanWithWhatIsThere) {
  life_.Start("blockdev");
  std::uint32_t disks = 12345;
  EXPECT_EQ(Rescan(disks), 0u);
  EXPECT_THAT(life_.ChildrenOf(life_.Find(kt::blockdev::kGroupType, "disks")), SizeIs(disks));
}

TEST_F(BlockDevModule, TakesEverythingOffTheBusWhenItStops) {
  life_.Start("blockdev");
  life_.StopAll();
  EXPECT_THAT(life_.ObjectsOf("QELM_Object"), IsEmpty());
}

TEST_F(BlockDevModule, CanBeLoadedAndUnloadedAgainAndAgain) {
  for (int round = 0; round < 10; ++round) {
    life_.Start("blockdev");
    EXPECT_THAT(life_.ObjectsOf(kt::blockdev::kGroupType), SizeIs(kKinds.size()));
    life_.StopAll();
  }
}

}  // namespace
