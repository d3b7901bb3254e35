#include "blockdev/device_group.h"

#include "base/guid_order.h"
#include "base/module.h"
#include "base/trace.h"
#include "blockdev/publishing.h"
#include "objmodel/object.h"

namespace kt::blockdev {

bool DeviceGroup::Ensure() noexcept {
  if (object_ != nullptr) return true;
  return Try("publishing the group", kind_->group, [this] {
           object_ = PublishObject(kGroupType, [this](CKtObject& group) {
             group.SetName(kind_->group_name);
             group.AddProp("member_type", kind_->type, 0);
           });
         }) == 0;
}

bool DeviceGroup::Attach(const KtObjId& child) noexcept {
  if (object_ == nullptr) return false;
  return Try("adding a device to the group", kind_->group, [this, &child] {
           kt::ThrowIfFailed(ObAttachChildObject(kt::DatabaseHandle(), &object_->Id(), &child),
                             kt::kError, "%S: ERROR: ObAttachChildObject() failed");
         }) == 0;
}

bool DeviceGroup::SetCount(std::uint32_t count) noexcept {
  if (object_ == nullptr) return false;
  if (count == count_) return true;
  return Try("counting the group", kind_->group, [this, count] {
           object_->AddProp("count", count, 0);
           count_ = count;
         }) == 0;
}

void DeviceGroup::Withdraw() noexcept {
  if (object_ == nullptr) return;
  Try("withdrawing the group", kind_->group, [this] { object_->LazyDelete(); });
  object_ = nullptr;
  count_ = kNeverWritten;
}

KtObjId DeviceGroup::Id() const noexcept {
  return object_ == nullptr ? kt::kNullObjId : object_->Id();
}

}  // namespace kt::blockdev
