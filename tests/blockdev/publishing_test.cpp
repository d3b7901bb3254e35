// What the provider publishes when it starts, and that nothing of it is left when it stops.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/guid_order.h"
#include "base/owned.h"
#include "blockdev/blockdev_provider.h"
#include "blockdev/device_kinds.h"
#include "blockdev/device_server.h"
#include "blockdev_test.h"
#include "objmodel/property_set.h"
#include "provider/api_table.h"
#include "provider/module_state.h"

using kt::blockdev::kCompleteEvent;
using kt::blockdev::kKinds;
using kt::blockdev::kRescanInterface;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class BlockDevStart : public BlockDevTest {};
class BlockDevStop : public BlockDevTest {};

TEST_F(BlockDevStart, PublishesAnObjectOfItsOwnTypeForEachKindOfDevice) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_disk"), SizeIs(1));
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_cdrom"), SizeIs(1));
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_partition_oem"), SizeIs(1));
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_partition"), SizeIs(1));
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_volume"), SizeIs(1));
  EXPECT_EQ(framework_.CountOf("ObCreateTypeObject"), 0u) << "the types are the bus's own";
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, GivesADiskThePropertiesOfTheTable) {
  TheMachine().devices = {DiskNamed("sda")};
  ASSERT_EQ(Start(), 0u);
  const KtObjId disk = Named("qelm_ktvm_disk", "sda");
  EXPECT_EQ(TypeCode(disk, "Name"), TYPE_WSTR);
  EXPECT_EQ(Value(disk, "device_path"), "/dev/sda");
  EXPECT_EQ(TypeCode(disk, "device_path"), TYPE_STR);
  EXPECT_EQ(Value(disk, "size"), "1000000000000");
  EXPECT_EQ(TypeCode(disk, "size"), TYPE_UINT64);
  EXPECT_EQ(Value(disk, "model"), "Fast Disk");
  EXPECT_EQ(Value(disk, "serial"), "S-sda");
  EXPECT_EQ(Value(disk, "transport"), "ata");
  EXPECT_EQ(Value(disk, "rotational"), "true");
  EXPECT_EQ(TypeCode(disk, "rotational"), TYPE_BOOLEAN);
  EXPECT_EQ(Value(disk, "removable"), "false");
  EXPECT_EQ(TypeCode(disk, "removable"), TYPE_BOOLEAN);
  EXPECT_EQ(Value(disk, "read_only"), "false");
  EXPECT_EQ(Value(disk, "logical_block_size"), "512");
  EXPECT_EQ(TypeCode(disk, "logical_block_size"), TYPE_UINT32);
  EXPECT_EQ(Value(disk, "physical_block_size"), "4096");
  EXPECT_EQ(Value(disk, "mount_points"), "{}");
  EXPECT_EQ(TypeCode(disk, "mount_points"), TYPE_STRZ);
  EXPECT_EQ(Value(disk, "file_system"), "");
  EXPECT_EQ(Value(disk, "partition_number"), "(none)");
  EXPECT_EQ(Value(disk, "partition_type"), "(none)");
  EXPECT_EQ(TypeCode(disk, "parents"), TYPE_KTOBJIDZ);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, GivesAPartitionItsNumberAndItsType) {
  TheMachine().devices = {PartitionNamed("sda2", "sda")};
  ASSERT_EQ(Start(), 0u);
  const KtObjId partition = Named("qelm_ktvm_partition", "sda2");
  EXPECT_EQ(Value(partition, "partition_number"), "2");
  EXPECT_EQ(Value(partition, "partition_type"), "0x83");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, GivesAVolumeItsFileSystemItsLabelAndItsMountPoints) {
  TheMachine().devices = {VolumeNamed("sda2", "sda2")};
  ASSERT_EQ(Start(), 0u);
  const KtObjId volume = Named("qelm_ktvm_volume", "sda2");
  EXPECT_EQ(Value(volume, "file_system"), "ext4");
  EXPECT_EQ(Value(volume, "label"), "data");
  EXPECT_EQ(Value(volume, "mount_points"), "{/, /my disk}");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, LeavesOutNumbersAndFlagsThatAreNotKnown) {
  kt::blockdev::BlockDevice disk = DiskNamed("sda");
  disk.rotational.reset();
  disk.logical_block_size.reset();
  disk.physical_block_size.reset();
  TheMachine().devices = {disk};
  ASSERT_EQ(Start(), 0u);
  const KtObjId id = Named("qelm_ktvm_disk", "sda");
  EXPECT_EQ(Value(id, "rotational"), "(none)");
  EXPECT_EQ(Value(id, "logical_block_size"), "(none)");
  EXPECT_EQ(Value(id, "physical_block_size"), "(none)");
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, LinksEveryDeviceToWhatItStandsOn) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  const auto parents = [this](const char* type, const char* name) {
    std::vector<KtObjId> ids;
    const KtObjId id = Named(type, name);
    cuvo_property* found = nullptr;
    if (ObGetProperty(framework_.database(), &id, "parents", &found) != 0) return ids;
    const auto* const list = static_cast<const KtObjId*>(found->value);
    ids.assign(list, list + found->length);
    PsFreeProperty(found);
    return ids;
  };
  const auto is = [](const KtObjId& id) {
    return testing::Truly(
        [id](const KtObjId& other) { return kt::EqualGuids(id.guid, other.guid); });
  };
  const KtObjId disk = Named("qelm_ktvm_disk", "sda");
  EXPECT_THAT(parents("qelm_ktvm_disk", "sda"), IsEmpty());
  EXPECT_THAT(parents("qelm_ktvm_partition_oem", "sda1"), ElementsAre(is(disk)));
  EXPECT_THAT(parents("qelm_ktvm_partition", "sda2"), ElementsAre(is(disk)));
  EXPECT_THAT(parents("qelm_ktvm_volume", "sda2"),
              ElementsAre(is(Named("qelm_ktvm_partition", "sda2"))));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, PutsEachDeviceIntoTheGroupOfItsKind) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  for (const auto& kind : kKinds) {
    const auto children = ChildrenOf(kind.group);
    ASSERT_THAT(children, SizeIs(1)) << kind.group;
    EXPECT_EQ(framework_.TypeOf(children[0]), kind.type);
    EXPECT_EQ(Value(Group(kind.group), "count"), "1");
    EXPECT_EQ(Value(Group(kind.group), "member_type"), kind.type);
  }
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, OffersTheRescanControlOnEveryGroup) {
  ASSERT_EQ(Start(), 0u);
  for (const auto& kind : kKinds) {
    const auto interfaces = framework_.InterfacesOf(Group(kind.group));
    ASSERT_THAT(interfaces, SizeIs(1)) << kind.group;
    EXPECT_TRUE(kt::EqualGuids(interfaces[0], kRescanInterface));
  }
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, RaisesTheCompleteEventOnceWithTheCounts) {
  TheMachine().devices = UsualDevices();
  TheMachine().devices.push_back(DiskNamed("sdb"));
  ASSERT_EQ(Start(), 0u);
  const auto raised = framework_.RaisedEvents();
  ASSERT_THAT(raised, SizeIs(1));
  EXPECT_EQ(raised[0].name, kCompleteEvent);
  std::vector<std::string> counts;
  for (const auto& property : raised[0].properties) {
    counts.push_back(property.name + "=" + property.text);
    EXPECT_EQ(property.type, TYPE_UINT32);
  }
  EXPECT_THAT(counts,
              ElementsAre("disks=2", "cdroms=1", "oem_partitions=1", "partitions=1", "volumes=1"));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, RaisesTheEventAfterTheLastDeviceIsInItsGroup) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  const auto names = framework_.CallNames();
  const auto event = std::find(names.begin(), names.end(), "EvRaiseEvent");
  ASSERT_NE(event, names.end());
  EXPECT_EQ(std::count(event, names.end(), "ObAttachChildObject"), 0);
  EXPECT_EQ(std::count(event, names.end(), "ObSetProperty"), 0);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, PublishesEmptyGroupsOnAMachineWithoutADiskAndSaysSo) {
  ASSERT_EQ(Start(), 0u);
  for (const auto& kind : kKinds) {
    EXPECT_THAT(ChildrenOf(kind.group), IsEmpty());
    EXPECT_EQ(Value(Group(kind.group), "count"), "0");
  }
  EXPECT_TRUE(
      fake::Traced(4, "blockdev: WARNING: no disk was found; the group \"disks\" is empty."));
  EXPECT_THAT(framework_.RaisedEvents(), SizeIs(1));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, PublishesEmptyGroupsWhenTheMachineCannotBeAsked) {
  TheMachine().while_listing = [] { throw std::runtime_error("udev cannot be opened"); };
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(Value(Group("disks"), "count"), "0");
  EXPECT_TRUE(fake::Traced(6, "blockdev: ERROR: udev cannot be opened"));
  EXPECT_TRUE(
      fake::Traced(4, "blockdev: WARNING: asking for the block devices failed with 0xc1000001."));
  EXPECT_FALSE(framework_.HasTrace(
      4, "blockdev: WARNING: no disk was found; the group \"disks\" is empty."));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, PublishesADeviceThatIsListedTwiceOnce) {
  TheMachine().devices = {DiskNamed("sda"), DiskNamed("sda")};
  ASSERT_EQ(Start(), 0u);
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_disk"), SizeIs(1));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, SkipsADeviceThatCannotBePublishedAndPublishesTheOthers) {
  TheMachine().devices = {DiskNamed("sda"), DiskNamed("sdb"), DiskNamed("sdc")};
  // Five groups are created first.
  framework_.FailCall("ObCreateObject", 7, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_FALSE(kt::IsNullId(Named("qelm_ktvm_disk", "sda")));
  EXPECT_TRUE(kt::IsNullId(Named("qelm_ktvm_disk", "sdb")));
  EXPECT_FALSE(kt::IsNullId(Named("qelm_ktvm_disk", "sdc")));
  EXPECT_EQ(Value(Group("disks"), "count"), "2");
  EXPECT_TRUE(fake::Traced(4, "blockdev: WARNING: publishing sdb failed with 0xc1000001."));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, LeavesNoHalfMadeObjectBehindWhenAPropertyCannotBeWritten) {
  TheMachine().devices = {DiskNamed("sda")};
  // The groups take two writes each.
  framework_.FailCall("ObSetProperty", 13, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_disk"), IsEmpty());
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, PublishesDevicesAlsoWhereTheirGroupIsMissing) {
  TheMachine().devices = {DiskNamed("sda")};
  framework_.FailCall("ObCreateObject", 1, 0xC1000001u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_THAT(framework_.ObjectsOf("qelm_ktvm_disk"), SizeIs(1));
  EXPECT_TRUE(kt::IsNullId(Named("QELM_GenericGroup", "disks")));
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, StartsAnewWhenInitializedASecondTime) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(framework_.ObjectCount(), 10u);
  EXPECT_EQ(Rescan(), 0u);
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(framework_.ObjectCount(), 0u);
}

TEST_F(BlockDevStart, AnswersItsVersion) {
  ASSERT_EQ(Start(), 0u);
  KtWchar* text = nullptr;
  ASSERT_EQ(__KtApiVersion(&text), 0u);
  const std::basic_string<KtWchar> version(text);
  _KtFree(text);
  EXPECT_GE(std::count(version.begin(), version.end(), KtWchar{'.'}), 2);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStart, AnswersOutOfMemoryWhenThereIsNoneForTheVersion) {
  ASSERT_EQ(Start(), 0u);
  framework_.ForgetCalls();
  const std::size_t failures =
      fake::FailEveryCallInTurn({0x8007000Eu}, [](const std::function<void()>& arm, KtStatus) {
        arm();
        KtWchar* text = nullptr;
        KtStatus status = 0;
        EXPECT_NO_THROW(status = __KtApiVersion(&text));
        EXPECT_EQ(status, text == nullptr ? 0x8007000Eu : 0u);
        _KtFree(text);
      });
  EXPECT_EQ(failures, 1u);
  EXPECT_EQ(Stop(), 0u);
}

TEST_F(BlockDevStop, DeletesEveryObjectFromTheBus) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(framework_.ObjectCount(), 10u);
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(framework_.ObjectCount(), 0u);
}

TEST_F(BlockDevStop, FreesTheWrappersBeforeTheModuleIsDetached) {
  TheMachine().devices = UsualDevices();
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(Stop(), 0u);
  EXPECT_TRUE(framework_.Outstanding().EmptyButForSections()) << framework_.Outstanding();
}

TEST_F(BlockDevStop, RefusesARescanAfterwards) {
  ASSERT_EQ(Start(), 0u);
  const KtObjId group = Group("disks");
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(Rescan(group), 0xC10000C9u);
}

// The module refuses what comes after its end (above). What came before it, and gets the server's
// lock only after the stop, is the server's own to refuse.
TEST_F(BlockDevStop, RefusesARescanThatWasOnItsWayWhenTheServerStopped) {
  kt::blockdev::DeviceServer server([] { return UsualDevices(); });
  server.Start();
  server.Stop();
  CKtPropertySet output;
  output.Create();
  const kt::ScopedPropset scope(output);
  EXPECT_EQ(server.Rescan(output), 0xC10000C9u);
  EXPECT_THAT(output.GetKeys(), IsEmpty());
  EXPECT_EQ(framework_.ObjectCount(), 0u);
}

TEST_F(BlockDevStop, OfAProviderThatWasNeverStartedLeavesNothing) {
  framework_.ForgetCalls();
  kt::blockdev::CBlockDev provider([] { return UsualDevices(); });
  EXPECT_EQ(provider.Shutdown(0), 0u);
  EXPECT_THAT(framework_.CallNames(), IsEmpty());
}

TEST_F(BlockDevStop, IsRefusedTheSecondTime) {
  ASSERT_EQ(Start(), 0u);
  EXPECT_EQ(Stop(), 0u);
  EXPECT_EQ(Stop(), 0xC10000C9u);
}

// For every call of a whole life made to fail in turn: nothing escapes, nothing is kept, the
// provider still stops.
class BlockDevLife : public BlockDevTest {};

TEST_F(BlockDevLife, SurvivesEveryFailingCallOfStartRescanAndStop) {
  const std::vector<KtStatus> statuses(std::begin(fake::kFailures), std::end(fake::kFailures));
  const std::size_t failures =
      fake::FailEveryCallInTurn(statuses, [this](const std::function<void()>& arm, KtStatus) {
        framework_.Reset();
        kt::ResetApiState();
        TheMachine() = Machine{};
        TheMachine().devices = UsualDevices();
        arm();
        EXPECT_EQ(Start(), 0u);
        // A client finds a group that is there, changes meanwhile included.
        TheMachine().devices = {DiskNamed("sda"), DiskNamed("sdz"), CdromNamed("sr0")};
        TheMachine().devices[0].size = 5;
        const auto groups = framework_.ObjectsOf("QELM_GenericGroup");
        if (!groups.empty()) Rescan(groups.front());
        EXPECT_EQ(Stop(), 0u);
        kt::ReleaseModule();
        EXPECT_TRUE(fake::NothingKept());
      });
  EXPECT_GT(failures, 100u);
  framework_.Reset();
  kt::ResetApiState();
}

}  // namespace
