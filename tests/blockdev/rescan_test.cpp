// The control "rescan": the bus follows the machine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/guid_order.h"
#include "blockdev/device_server.h"
#include "blockdev_test.h"

using kt::blockdev::BlockDevice;
using kt::blockdev::kCompleteEvent;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class BlockDevRescan : public BlockDevTest {
 protected:
  void StartWith(std::vector<BlockDevice> devices) {
    TheMachine().devices = std::move(devices);
    ASSERT_EQ(Start(), 0u);
    framework_.ForgetCalls();
    framework_.ForgetTraces();
  }

  static bool Same(const KtObjId& a, const KtObjId& b) { return kt::EqualGuids(a.guid, b.guid); }
};

TEST_F(BlockDevRescan, PublishesADeviceThatHasComeAndPutsItIntoItsGroup) {
  StartWith({DiskNamed("sda")});
  TheMachine().devices.push_back(DiskNamed("sdb"));
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_THAT(ChildrenOf("disks"), SizeIs(2));
  EXPECT_EQ(Value(Group("disks"), "count"), "2");
  EXPECT_EQ(Answer("added"), "1");
  EXPECT_EQ(Answer("disks"), "2");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, DeletesTheObjectOfADeviceThatHasGone) {
  StartWith({DiskNamed("sda"), DiskNamed("sdb")});
  TheMachine().devices.pop_back();
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_TRUE(kt::IsNullId(Named("qelm_ktvm_disk", "sdb")));
  EXPECT_THAT(ChildrenOf("disks"), SizeIs(1));
  EXPECT_EQ(Value(Group("disks"), "count"), "1");
  EXPECT_EQ(Answer("removed"), "1");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, UpdatesADeviceThatHasChangedAndKeepsItsObject) {
  StartWith({DiskNamed("sda")});
  const KtObjId before = Named("qelm_ktvm_disk", "sda");
  TheMachine().devices[0].size = 42;
  TheMachine().devices[0].mount_points = {"/new"};
  EXPECT_EQ(Rescan(), 0u);
  const KtObjId after = Named("qelm_ktvm_disk", "sda");
  EXPECT_TRUE(Same(before, after));
  EXPECT_EQ(Value(after, "size"), "42");
  EXPECT_EQ(Value(after, "mount_points"), "{/new}");
  EXPECT_EQ(Answer("changed"), "1");
  EXPECT_EQ(Answer("added"), "0");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, WritesNothingAndRaisesNothingWhenNothingHasChanged) {
  StartWith(UsualDevices());
  const std::size_t raised = framework_.RaisedEvents().size();
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(framework_.CountOf("ObSetProperty"), 0u);
  EXPECT_EQ(framework_.CountOf("ObCreateObject"), 0u);
  EXPECT_EQ(framework_.CountOf("ObAttachChildObject"), 0u);
  EXPECT_THAT(framework_.RaisedEvents(), SizeIs(raised));
  for (const char* count : {"added", "removed", "changed", "failed"}) {
    EXPECT_EQ(Answer(count), "0") << count;
  }
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, RaisesTheEventAgainWhenADeviceHasComeOrGone) {
  StartWith({DiskNamed("sda")});
  TheMachine().devices.clear();
  EXPECT_EQ(Rescan(), 0u);
  ASSERT_THAT(framework_.RaisedEvents(), SizeIs(2));
  EXPECT_EQ(framework_.RaisedEvents()[1].name, kCompleteEvent);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, TakesAnotherDiskUnderTheSamePathForAnotherDevice) {
  StartWith({DiskNamed("sda")});
  const KtObjId before = Named("qelm_ktvm_disk", "sda");
  TheMachine().devices[0].serial = "another";
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_FALSE(Same(before, Named("qelm_ktvm_disk", "sda")));
  EXPECT_EQ(Answer("added"), "1");
  EXPECT_EQ(Answer("removed"), "1");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, LinksADeviceAnewWhenItsParentIsAnotherObject) {
  StartWith({DiskNamed("sda"), PartitionNamed("sda1", "sda")});
  TheMachine().devices[0].serial = "another";
  EXPECT_EQ(Rescan(), 0u);
  const KtObjId partition = Named("qelm_ktvm_partition", "sda1");
  const KtObjId disk = Named("qelm_ktvm_disk", "sda");
  cuvo_property* found = nullptr;
  ASSERT_EQ(ObGetProperty(framework_.database(), &partition, "parents", &found), 0u);
  ASSERT_EQ(found->length, 1u);
  EXPECT_TRUE(Same(*static_cast<const KtObjId*>(found->value), disk));
  PsFreeProperty(found);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, LeavesEverythingAsItWasWhenTheMachineCannotBeAsked) {
  StartWith(UsualDevices());
  TheMachine().while_listing = [] { throw std::runtime_error("no answer"); };
  EXPECT_EQ(Rescan(), 0xC1000001u);
  EXPECT_EQ(framework_.ObjectCount(), 10u);
  EXPECT_EQ(Value(Group("disks"), "count"), "1");
  EXPECT_EQ(Answer("disks"), "(none)");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, TriesADeviceAgainThatCouldNotBePublishedBefore) {
  TheMachine().devices = {DiskNamed("sda")};
  framework_.FailCall("ObCreateObject", 6, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  ASSERT_TRUE(kt::IsNullId(Named("qelm_ktvm_disk", "sda")));
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_FALSE(kt::IsNullId(Named("qelm_ktvm_disk", "sda")));
  EXPECT_EQ(Answer("failed"), "0");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, PublishesAGroupThatWasMissingAndFillsIt) {
  TheMachine().devices = {DiskNamed("sda")};
  framework_.FailCall("ObCreateObject", 1, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(Rescan(Group("volumes")), 0u);
  EXPECT_THAT(ChildrenOf("disks"), SizeIs(1));
  EXPECT_EQ(Value(Group("disks"), "count"), "1");
  EXPECT_EQ(Rescan(Group("disks")), 0u);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, AttachesADeviceThatCouldNotBeAttachedBefore) {
  TheMachine().devices = {DiskNamed("sda")};
  framework_.FailCall("ObAttachChildObject", 1, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_THAT(ChildrenOf("disks"), IsEmpty());
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_THAT(ChildrenOf("disks"), SizeIs(1));
  EXPECT_EQ(Answer("added"), "1");
  EXPECT_EQ(Answer("failed"), "0");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, RaisesTheEventAgainWhenADeviceHasComeIntoItsGroupOnlyNow) {
  TheMachine().devices = {DiskNamed("sda")};
  framework_.FailCall("ObAttachChildObject", 1, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  ASSERT_THAT(framework_.RaisedEvents(), SizeIs(1));
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_THAT(framework_.RaisedEvents(), SizeIs(2));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, TriesAgainToDeleteTheObjectOfAGoneDeviceThatCouldNotBeDeleted) {
  StartWith({DiskNamed("sda"), DiskNamed("sdb")});
  TheMachine().devices.pop_back();
  framework_.FailCall("ObDeleteObject", 1, 0xC1000001u);
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("failed"), "1");
  EXPECT_EQ(Answer("removed"), "0");
  EXPECT_FALSE(kt::IsNullId(Named("qelm_ktvm_disk", "sdb")));
  EXPECT_TRUE(fake::Traced(
      4, "blockdev: WARNING: sdb could not be withdrawn; the next rescan tries again."));
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("failed"), "0");
  EXPECT_EQ(Answer("removed"), "1");
  EXPECT_TRUE(kt::IsNullId(Named("qelm_ktvm_disk", "sdb")));
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("removed"), "0");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, GoesOnTryingForAsLongAsTheObjectCannotBeDeleted) {
  StartWith({DiskNamed("sda")});
  TheMachine().devices.clear();
  for (int round = 0; round < 3; ++round) {
    framework_.FailCall("ObDeleteObject", 1, 0xC1000001u);
    EXPECT_EQ(Rescan(), 0u);
    EXPECT_EQ(Answer("failed"), "1");
  }
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(framework_.ObjectCount(), 0u) << "the end of the provider tries once more";
}

TEST_F(BlockDevRescan, TakesALeftObjectThatSomebodyElseHasDeletedForDeleted) {
  StartWith({DiskNamed("sda")});
  const KtObjId disk = Named("qelm_ktvm_disk", "sda");
  TheMachine().devices.clear();
  framework_.FailCall("ObDeleteObject", 1, 0xC1000001u);
  EXPECT_EQ(Rescan(), 0u);
  ASSERT_EQ(ObDeleteObject(framework_.database(), &disk), 0u);
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("failed"), "0");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, WritesADeviceAgainThatCouldNotBeUpdatedBefore) {
  StartWith({DiskNamed("sda")});
  TheMachine().devices[0].size = 42;
  framework_.FailCall("ObSetProperty", 1, 0xC1000001u);
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("failed"), "1");
  EXPECT_EQ(Answer("changed"), "0");
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Answer("changed"), "1");
  EXPECT_EQ(Value(Named("qelm_ktvm_disk", "sda"), "size"), "42");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, FreesTheWrapperOfAGoneDeviceWhenTheControlEnds) {
  StartWith({DiskNamed("sda"), DiskNamed("sdb")});
  TheMachine().devices.clear();
  EXPECT_EQ(Rescan(), 0u);
  const auto traces = framework_.TracesAt(1);
  EXPECT_THAT(traces, testing::Contains(testing::HasSubstr("FlushLazyDeleteQueue() Exiting")));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevRescan, FromManyThreadsWhileDevicesComeAndGoEndsWithWhatIsThere) {
  StartWith(UsualDevices());
  constexpr int kThreads = 8;
  constexpr int kRounds = 20;
  std::atomic<int> listings{0};
  // Every other listing lacks the devices that come and go; the lock of the server orders them.
  TheMachine().while_listing = [&listings] {
    const int listing = ++listings;
    TheMachine().devices = UsualDevices();
    if (listing % 2 == 0) TheMachine().devices.push_back(DiskNamed("sdb"));
  };
  const KtObjId group = Group("disks");
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(Send(group, framework_.MakePropset()), 0u);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(listings, kThreads * kRounds);
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_disk"), SizeIs(2));
  EXPECT_EQ(framework_.ObjectCount(), 11u);
  EXPECT_EQ(Stop(), 0u);
}

}  // namespace
