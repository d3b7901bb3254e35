#include "blockdev/device_publisher.h"

#include <algorithm>
#include <utility>

#include "base/guid_order.h"
#include "base/module.h"
#include "base/status.h"
#include "base/trace.h"
#include "blockdev/device_properties.h"
#include "blockdev/publishing.h"
#include "objmodel/object.h"

namespace kt::blockdev {
namespace {

std::array<DeviceGroup, kKinds.size()> MakeGroups() noexcept {
  static_assert(kKinds.size() == 5);
  return {DeviceGroup(kKinds[0]), DeviceGroup(kKinds[1]), DeviceGroup(kKinds[2]),
          DeviceGroup(kKinds[3]), DeviceGroup(kKinds[4])};
}

void ReportLeftover(const std::string& name) noexcept {
  kt::Trace(kt::kWarning, "%S: WARNING: %s could not be withdrawn; the next rescan tries again.",
            name.c_str());
}

}  // namespace

DevicePublisher::DevicePublisher(DeviceSource source)
    : source_(std::move(source)), groups_(MakeGroups()) {}

DevicePublisher::~DevicePublisher() = default;

DevicePublisher::Key DevicePublisher::KeyOf(const BlockDevice& device) {
  return {device.kind, device.device_path, device.serial};
}

RefreshResult DevicePublisher::Refresh() noexcept {
  RefreshResult result;
  for (DeviceGroup& group : groups_) group.Ensure();
  result.status = Try("asking for", "the block devices", [&] {
    const std::vector<BlockDevice> devices = source_();
    std::map<Key, const BlockDevice*> there;
    for (const BlockDevice& device : devices) there.try_emplace(KeyOf(device), &device);
    RemoveLeftovers(result);
    RemoveGone(there, result);
    for (const auto& [key, device] : there) Keep(key, *device, result);
  });
  Try("linking", "the block devices", [&] { LinkAll(result); });
  Count(result);
  return result;
}

void DevicePublisher::Withdraw() noexcept {
  for (auto& entry : published_) {
    Published& published = entry.second;
    Try("withdrawing", published.device.name.c_str(), [&] { published.object->LazyDelete(); });
  }
  published_.clear();
  RefreshResult ignored;
  RemoveLeftovers(ignored);
  leftovers_.clear();
  for (DeviceGroup& group : groups_) group.Withdraw();
}

std::vector<KtObjId> DevicePublisher::GroupIds() const {
  std::vector<KtObjId> ids;
  for (const DeviceGroup& group : groups_) {
    if (!kt::IsNullId(group.Id())) ids.push_back(group.Id());
  }
  return ids;
}

void DevicePublisher::RemoveLeftovers(RefreshResult& result) {
  const auto removed = [&result](const Leftover& leftover) {
    const KtStatus status = ObDeleteObject(kt::DatabaseHandle(), &leftover.object);
    if (kt::StatusFails(status) && status != KTERROR_NO_OBJECT) {
      ++result.failed;
      ReportLeftover(leftover.name);
      return false;
    }
    ++result.removed;
    return true;
  };
  leftovers_.erase(std::remove_if(leftovers_.begin(), leftovers_.end(), removed), leftovers_.end());
}

void DevicePublisher::RemoveGone(const std::map<Key, const BlockDevice*>& there,
                                 RefreshResult& result) {
  for (auto at = published_.begin(); at != published_.end();) {
    if (there.count(at->first) != 0) {
      ++at;
      continue;
    }
    Published& gone = at->second;
    kt::Trace(kt::kInfo, "%S: INFO: %s is gone.", gone.device.device_path.c_str());
    // Room for the worst case first: an object on the bus is never forgotten.
    Leftover leftover{gone.object->Id(), gone.device.name};
    leftovers_.reserve(leftovers_.size() + 1);
    gone.object->LazyDelete();
    // LazyDelete() says nothing of a failure; a wrapper whose object is deleted has lost its id.
    if (kt::IsNullId(gone.object->Id())) {
      ++result.removed;
    } else {
      ++result.failed;
      ReportLeftover(leftover.name);
      leftovers_.push_back(std::move(leftover));
    }
    at = published_.erase(at);
  }
}

void DevicePublisher::Keep(const Key& key, const BlockDevice& device, RefreshResult& result) {
  const auto found = published_.find(key);
  if (found != published_.end()) {
    if (!Update(found->second, device, result)) ++result.failed;
    return;
  }
  if (PublishNew(key, device)) {
    ++result.added;
  } else {
    ++result.failed;
  }
}

bool DevicePublisher::PublishNew(const Key& key, const BlockDevice& device) {
  const KindRow& kind = kKinds[KindIndex(device.kind)];
  // The place in the map first: once the object is on the bus, nothing may lose it.
  const auto place = published_.try_emplace(key).first;
  const std::uint32_t status = Try("publishing", device.name.c_str(), [&] {
    Published& published = place->second;
    published.device = device;
    published.object =
        PublishObject(kind.type, [&](CKtObject& object) { WriteProperties(object, device); });
    published.up_to_date = true;
    published.attached = groups_[KindIndex(device.kind)].Attach(published.object->Id());
  });
  if (status != 0) {
    published_.erase(place);
    return false;
  }
  kt::Trace(kt::kInfo, "%S: INFO: published %s as %s.", device.device_path.c_str(), kind.type);
  return place->second.attached;
}

bool DevicePublisher::Update(Published& published, const BlockDevice& device,
                             RefreshResult& result) noexcept {
  if (!published.attached) {
    published.attached = groups_[KindIndex(device.kind)].Attach(published.object->Id());
    if (published.attached) ++result.added;
  }
  if (!published.up_to_date || published.device != device) {
    published.up_to_date = Try("updating", device.name.c_str(), [&] {
                             published.device = device;
                             published.up_to_date = false;
                             WriteProperties(*published.object, device);
                           }) == 0;
    if (published.up_to_date) ++result.changed;
  }
  return published.up_to_date && published.attached;
}

void DevicePublisher::LinkAll(RefreshResult& result) {
  // In the order of kinds: a partition and the volume on it share a path, and whoever names the
  // path as its parent means the partition.
  ObjectsByPath by_path;
  for (const auto& [key, published] : published_) {
    by_path.try_emplace(published.device.device_path, published.object->Id());
  }
  for (auto& entry : published_) {
    Published& published = entry.second;
    const std::uint32_t status =
        Try("linking", published.device.name.c_str(), [&] { Link(published, by_path); });
    if (status != 0) ++result.failed;
  }
}

void DevicePublisher::Link(Published& published, const ObjectsByPath& by_path) {
  std::vector<KtObjId> parents;
  for (const std::string& path : published.device.parents) {
    const auto parent = by_path.find(path);
    if (parent != by_path.end()) parents.push_back(parent->second);
  }
  const bool same =
      std::equal(parents.begin(), parents.end(), published.parents.begin(), published.parents.end(),
                 [](const KtObjId& a, const KtObjId& b) { return kt::EqualGuids(a.guid, b.guid); });
  if (published.linked && same) return;
  published.linked = false;
  published.object->AddProp("parents", parents, 0);
  published.parents = std::move(parents);
  published.linked = true;
}

void DevicePublisher::Count(RefreshResult& result) noexcept {
  for (const auto& [key, published] : published_) {
    ++result.published[KindIndex(published.device.kind)];
  }
  for (std::size_t i = 0; i < groups_.size(); ++i) groups_[i].SetCount(result.published[i]);
  if (result.status == 0 && result.published[KindIndex(DeviceKind::kDisk)] == 0) {
    kt::Trace(kt::kWarning, "%S: WARNING: no disk was found; the group \"disks\" is empty.");
  }
}

}  // namespace kt::blockdev
