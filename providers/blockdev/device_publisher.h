// DevicePublisher keeps the bus like the machine: one object for each device, in the group of its
// kind.
//
// A device is known again by its kind, its device path and its serial number. One that is known
// keeps its object, and so its id, for as long as it is there; another disk under the same path is
// another device.
//
// Threads:   one at a time; the owner guards it.
// Ownership: the wrappers belong to the custom object container and leave it through LazyDelete, so
//            that a control that still holds one never touches freed memory. Withdraw(), and
//            Refresh() once there are devices, are called inside an activity scope, whose end frees
//            them.
// Failure:   each device stands for itself. One that cannot be published, linked, brought up to
//            date or deleted is traced, counted and tried again by the next Refresh().
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "blockdev/device_group.h"
#include "blockdev/devices/device_source.h"
#include "ktbus3/ktbus3.h"

class CKtObject;

namespace kt::blockdev {

// What a Refresh() found and did.
struct RefreshResult {
  std::array<std::uint32_t, kKinds.size()> published{};  // devices on the bus, by KindIndex()
  std::uint32_t added = 0;                               // devices that have come into their group
  std::uint32_t removed = 0;  // objects deleted, of devices that are gone
  std::uint32_t changed = 0;
  std::uint32_t failed = 0;  // devices that are not, or not fully, as they should be
  std::uint32_t status = 0;  // of the listing itself; not 0: the devices were left as they were
};

class DevicePublisher {
 public:
  explicit DevicePublisher(DeviceSource source);
  ~DevicePublisher();
  DevicePublisher(const DevicePublisher&) = delete;
  DevicePublisher& operator=(const DevicePublisher&) = delete;

  // Asks the source and makes the bus like its answer: publishes the groups that are missing,
  // deletes the objects of devices that are gone, publishes new ones, updates changed ones. When
  // the source fails, the groups are published and the devices left alone.
  RefreshResult Refresh() noexcept;

  // Deletes every object of every device and group from the bus.
  void Withdraw() noexcept;

  // The group objects that are published, in the order of kKinds.
  [[nodiscard]] std::vector<KtObjId> GroupIds() const;

 private:
  using Key = std::tuple<DeviceKind, std::string, std::string>;
  using ObjectsByPath = std::map<std::string_view, KtObjId>;
  // An object that could not be deleted. Its wrapper is on its way out all the same.
  struct Leftover {
    KtObjId object;
    std::string name;
  };
  struct Published {
    CKtObject* object = nullptr;
    BlockDevice device;       // as it was last written
    bool up_to_date = false;  // false: writing it failed half-way
    bool attached = false;    // to its group
    bool linked = false;      // "parents" was written
    std::vector<KtObjId> parents;
  };

  static Key KeyOf(const BlockDevice& device);
  void RemoveLeftovers(RefreshResult& result);
  void RemoveGone(const std::map<Key, const BlockDevice*>& there, RefreshResult& result);
  void Keep(const Key& key, const BlockDevice& device, RefreshResult& result);
  bool PublishNew(const Key& key, const BlockDevice& device);
  bool Update(Published& published, const BlockDevice& device, RefreshResult& result) noexcept;
  void LinkAll(RefreshResult& result);
  static void Link(Published& published, const ObjectsByPath& by_path);
  void Count(RefreshResult& result) noexcept;

  DeviceSource source_;
  std::array<DeviceGroup, kKinds.size()> groups_;
  std::map<Key, Published> published_;
  std::vector<Leftover> leftovers_;
};

}  // namespace kt::blockdev
