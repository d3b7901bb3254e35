#include "dispatch/control_map_entry.h"

#include "base/guid_order.h"

CKtControlMapEntry::CKtControlMapEntry(void* context, std::uint32_t selector,
                                       std::uint32_t control_code, const KtGuid& interface_id,
                                       KtControlHandler handler, const KtObjId& object_id) noexcept
    : context_(context),
      selector_(selector),
      control_code_(control_code),
      interface_id_(interface_id),
      handler_(handler),
      object_id_(object_id) {}

KtStatus CKtControlMapEntry::Invoke(CKtControlRequest& request) const {
  return handler_(context_, request);
}

bool CKtControlMapEntry::Matches(const KtGuid& interface_id, const std::uint32_t& selector,
                                 const std::uint32_t& control_code,
                                 const KtObjId& object_id) const noexcept {
  return selector_ == selector && control_code_ == control_code &&
         kt::EqualGuids(interface_id_, interface_id) && ObCompareId(&object_id_, &object_id) != 0;
}

std::uint32_t CKtControlMapEntry::GetSelector() const noexcept {
  return selector_;
}

std::uint32_t CKtControlMapEntry::GetControlCode() const noexcept {
  return control_code_;
}

KtObjId& CKtControlMapEntry::GetObjectId(KtObjId& out) const noexcept {
  return out = object_id_;
}

KtGuid& CKtControlMapEntry::GetInterfaceId(KtGuid& out) const noexcept {
  return out = interface_id_;
}
