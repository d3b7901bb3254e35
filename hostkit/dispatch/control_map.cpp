#include "dispatch/control_map.h"

#include <algorithm>
#include <utility>

#include "base/dense_blocks.h"
#include "base/guid_order.h"
#include "base/trace.h"
#include "dispatch/control_manager.h"
#include "lifetime/singleton.h"
#include "objmodel/object.h"

namespace {

// Without a manager, and memory for one, nothing can be registered.
void UnRegisterPathOf(const CKtControlMapEntry& entry) noexcept {
  auto* const manager = kt::InstanceOrNull<CKtControlManager>();
  if (manager == nullptr) return;
  KtGuid interface_id{};
  KtObjId object_id{};
  static_cast<void>(manager->UnRegisterPath(entry.GetInterfaceId(interface_id), entry.GetSelector(),
                                            entry.GetControlCode(), entry.GetObjectId(object_id)));
}

// Entries of all maps stand side by side: each control looks at one of them.
template <typename... Values>
std::shared_ptr<CKtControlMapEntry> MakeEntry(const Values&... values) {
  return std::allocate_shared<CKtControlMapEntry>(kt::DenseAllocator<CKtControlMapEntry>(),
                                                  values...);
}

}  // namespace

CKtControlMap::~CKtControlMap() {
  CKtControlMap::UnRegisterAll();
}

void CKtControlMap::UnRegisterAll() noexcept {
  for (auto& entry : entries_) {
    UnRegisterPathOf(*entry);
    entry.reset();
  }
  entries_.clear();
}

bool CKtControlMap::IsRegistered(const KtGuid& interface_id, const std::uint32_t& selector,
                                 const std::uint32_t& control_code,
                                 const KtObjId& object_id) const noexcept {
  return Find(interface_id, selector, control_code, object_id) != entries_.end();
}

KtStatus CKtControlMap::Register(const KtGuid& interface_id, const std::uint32_t& selector,
                                 const std::uint32_t& control_code, KtControlHandler handler,
                                 const KtObjId& object_id, void* context) {
  try {
    CKtObject(object_id).RegisterInterface(interface_id, nullptr);
  } catch (std::uint32_t) {
    KtTrace(kt::kError,
            "ERROR: CKtControlMap::Register() : Unable to register specified interface on this "
            "object.");
    return KTERROR_UNEXPECTED;
  }
  return Record(MakeEntry(context, selector, control_code, interface_id, handler, object_id));
}

KtStatus CKtControlMap::Register(const KtGuid& interface_id, const std::uint32_t& selector,
                                 const std::uint32_t& control_code, KtControlHandler handler) {
  return Record(MakeEntry(this, selector, control_code, interface_id, handler, kt::kNullObjId));
}

KtStatus CKtControlMap::UnRegister(const KtGuid& interface_id, const std::uint32_t& selector,
                                   const std::uint32_t& control_code, const KtObjId& object_id) {
  static_cast<void>(CKtControlManager::Instance().UnRegisterPath(interface_id, selector,
                                                                 control_code, object_id));
  const auto found = Find(interface_id, selector, control_code, object_id);
  if (found == entries_.end()) {
    KtTrace(kt::kError, "ERROR: CKtControlMap::UnRegister() : Method not found.");
    return KTERROR_UNEXPECTED;
  }
  entries_.erase(found);
  return 0;
}

// The entry is in the map before its path goes live, so that nothing can fail afterwards.
KtStatus CKtControlMap::Record(std::shared_ptr<CKtControlMapEntry> entry) {
  entries_.push_back(std::move(entry));
  KtStatus status = 0;
  try {
    status = CKtControlManager::Instance().RegisterPath(entries_.back());
  } catch (...) {
    entries_.pop_back();
    throw;
  }
  if (kt::StatusFails(status)) {
    KtTrace(kt::kError, "ERROR: CKtControlMap::Register() : KTERROR_DUPLICATE_INTERFACE");
    entries_.pop_back();
    return KTERROR_DUPLICATE_INTERFACE;
  }
  return 0;
}

CKtControlMap::Entries::const_iterator CKtControlMap::Find(
    const KtGuid& interface_id, std::uint32_t selector, std::uint32_t control_code,
    const KtObjId& object_id) const noexcept {
  return std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
    return entry->Matches(interface_id, selector, control_code, object_id);
  });
}
