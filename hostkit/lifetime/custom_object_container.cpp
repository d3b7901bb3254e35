#include "lifetime/custom_object_container.h"

#include <algorithm>
#include <utility>

#include "base/retired.h"
#include "base/trace.h"
#include "dispatch/activity_hold.h"
#include "lifetime/singleton.h"
#include "objmodel/object.h"

namespace {

// What is left of a wrapper that has been freed: a number to recognise it by.
std::uintptr_t AddressOf(const CKtObject* object) noexcept {
  return reinterpret_cast<std::uintptr_t>(object);
}

// Deletes a wrapper whose destructor is somebody else's code. Returns whether it threw.
bool DeleteThrows(CKtObject* object) noexcept {
  try {
    delete object;
    return false;
  } catch (...) {
    return true;
  }
}

}  // namespace

std::atomic<CKtCustomObjectContainer*> CKtCustomObjectContainer::instance_{nullptr};

CKtCustomObjectContainer& CKtCustomObjectContainer::Instance() {
  return kt::InstanceOf(instance_, [] {
    return std::unique_ptr<CKtCustomObjectContainer>(new CKtCustomObjectContainer);
  });
}

void CKtCustomObjectContainer::ReleaseInstance() noexcept {
  kt::ReleaseInstanceOf(instance_);
}

CKtCustomObjectContainer::CKtCustomObjectContainer() = default;

CKtCustomObjectContainer::~CKtCustomObjectContainer() {
  const kt::LockGuard guard(lock_);
  DrainQueueLocked();
  while (enabled_ && !objects_.empty()) {
    const auto node = objects_.extract(objects_.begin());
    static_cast<void>(DeleteThrows(node.mapped().object));
  }
}

KtStatus CKtCustomObjectContainer::Add(std::unique_ptr<CKtObject>&& object) {
  {
    const kt::LockGuard guard(lock_);
    if (!forgotten_) return AddLocked(std::move(object));
  }
  return Instance().Add(std::move(object));
}

KtStatus CKtCustomObjectContainer::Remove(CKtObject* object) {
  const kt::LockGuard guard(lock_);
  if (!forgotten_) return RemoveLocked(object);
  // The shutdown of this container has deleted its wrappers: they are not to be touched here.
  kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Remove() : Object not found.");
  return KTERROR_NO_OBJECT;
}

KtStatus CKtCustomObjectContainer::LazyDelete(CKtObject* object) noexcept {
  kt::Trace(kt::kInfo, "%S: INFO: CKtCustomObjectContainer::LazyDelete() Entering .....");
  const kt::LockGuard guard(lock_);
  if (object != nullptr && !forgotten_) LazyDeleteLocked(object);
  kt::Trace(kt::kInfo, "%S: INFO: CKtCustomObjectContainer::LazyDelete() Exiting .....");
  return 0;
}

KtStatus CKtCustomObjectContainer::FlushLazyDeleteQueue() noexcept {
  const kt::ActivityHold calls;
  FlushInActivityLock();
  return 0;
}

void CKtCustomObjectContainer::FlushInActivityLock() noexcept {
  const kt::LockGuard guard(lock_);
  kt::Trace(kt::kInfo, "%S: INFO: CKtCustomObjectContainer::FlushLazyDeleteQueue() Entering .....");
  if (!forgotten_) DrainQueueLocked();
  kt::Trace(kt::kInfo, "%S: INFO: CKtCustomObjectContainer::FlushLazyDeleteQueue() Exiting .....");
}

void CKtCustomObjectContainer::Shutdown() {
  const kt::ActivityHold calls;
  const kt::LockGuard guard(lock_);
  if (enabled_) DeleteObjectsLocked();
  objects_.clear();
  for (auto& [id, queued] : queue_) queued.list = nullptr;
  types_.clear();
  CKtCustomObjectContainer* self = this;
  if (instance_.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel)) {
    forgotten_ = true;
    kt::Retire(std::unique_ptr<CKtCustomObjectContainer>(this));
  }
}

void CKtCustomObjectContainer::SetEnabled(bool enabled) noexcept {
  const kt::LockGuard guard(lock_);
  enabled_ = enabled;
}

CKtCustomObjectContainer::Counts CKtCustomObjectContainer::Count() const noexcept {
  const kt::LockGuard guard(lock_);
  Counts counts;
  counts.object_slots = objects_.size();
  counts.objects = static_cast<std::size_t>(
      std::count_if(objects_.begin(), objects_.end(),
                    [](const auto& slot) { return slot.second.object != nullptr; }));
  counts.type_slots = types_.size();
  counts.queued = queue_.size();
  return counts;
}

CKtObject* CKtCustomObjectContainer::Find(const KtObjId& id) const noexcept {
  const kt::LockGuard guard(lock_);
  const auto found = objects_.find(id);
  return found == objects_.end() ? nullptr : found->second.object;
}

std::vector<CKtObject*> CKtCustomObjectContainer::OfType(std::string_view type_name) const {
  const kt::LockGuard guard(lock_);
  const auto found = types_.find(type_name);
  return found == types_.end() || found->second == nullptr ? List() : *found->second;
}

KtStatus CKtCustomObjectContainer::AddLocked(std::unique_ptr<CKtObject>&& object) {
  if (object == nullptr || kt::IsNullId(object->Id())) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Add() : Object is NULL.");
    return KTERROR_NO_OBJECT;
  }
  const std::string type = object->GetType();
  Slot& slot = objects_[object->Id()];
  if (slot.object != nullptr) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtCustomObjectContainer::Add() : Another object has the same id.");
    return KTERROR_UNEXPECTED;
  }
  auto& list = types_[type];
  if (list == nullptr) list = std::make_unique<List>();
  list->push_back(object.get());
  slot = Slot{object.release(), list.get()};
  return 0;
}

KtStatus CKtCustomObjectContainer::RemoveLocked(CKtObject* object) {
  if (object == nullptr || kt::IsNullId(object->Id())) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Remove() : Object is NULL.");
    return KTERROR_NO_OBJECT;
  }
  // Before the type is asked for, on purpose: an object that is missing from its type's list is
  // gone from the object map all the same.
  objects_.erase(object->Id());
  const auto& list = types_[object->GetType()];
  if (list == nullptr) {
    kt::Trace(
        kt::kError,
        "%S: ERROR: CKtCustomObjectContainer::Remove() : Object containter not found for type.");
    return KTERROR_NO_OBJECT;
  }
  const auto found = std::find(list->begin(), list->end(), object);
  if (found == list->end()) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Remove() : Object not found.");
    return KTERROR_NO_OBJECT;
  }
  list->erase(found);
  return 0;
}

void CKtCustomObjectContainer::LazyDeleteLocked(CKtObject* object) noexcept {
  try {
    const KtObjId id = object->Id();
    const Slot slot = objects_[id];  // a missing key stays behind with null
    if (slot.object != object) return;
    // One whose destructor runs needs nobody to free it.
    Queued* const queued = slot.going ? nullptr : &QueueLocked(id, slot);
    const KtWString name = object->GetName();
    kt::Trace(kt::kInfo, "%S: INFO: CKtCustomObjectContainer::LazyDelete() Destroying Object [%S]",
              name.c_str());
    if (RemoveLocked(object) == 0 && queued != nullptr) queued->list = nullptr;
    object->Destroy();
  } catch (...) {
    // Required: the rest is left out without a word, and the wrapper is freed by the next flush.
  }
}

// Two wrappers may be queued under one id: the bus object of the first could not be deleted. One
// wrapper is queued once.
CKtCustomObjectContainer::Queued& CKtCustomObjectContainer::QueueLocked(const KtObjId& id,
                                                                        const Slot& slot) {
  const auto [first, last] = queue_.equal_range(id);
  const auto found = std::find_if(
      first, last, [&slot](const auto& queued) { return queued.second.object == slot.object; });
  if (found != last) return found->second;
  return queue_.emplace(id, Queued{slot.object, slot.list})->second;
}

// One wrapper at a time leaves the queue before it is freed: its destructor may queue others, and
// may even flush.
void CKtCustomObjectContainer::DrainQueueLocked() noexcept {
  while (!queue_.empty()) {
    const auto node = queue_.extract(queue_.begin());
    const Queued& queued = node.mapped();
    const std::uintptr_t address = AddressOf(queued.object);
    MarkGoingLocked(node.key(), queued.object);
    const bool threw = DeleteThrows(queued.object);
    if (queued.list != nullptr) ForgetLocked(node.key(), address, queued.list);
    if (threw) {
      kt::Trace(kt::kError,
                "%S: ERROR: CKtCustomObjectContainer::FlushLazyDeleteQueue() : caught exception.");
    }
  }
}

// A destructor may take out, free and register other wrappers: the walk goes from id to id and
// looks each up when its turn comes. No copy is made, since shutdown must not need memory.
void CKtCustomObjectContainer::DeleteObjectsLocked() {
  for (bool deleted = true; deleted;) {
    deleted = false;
    for (auto next = objects_.begin(); next != objects_.end();) {
      const KtObjId id = next->first;
      if (next->second.object != nullptr && !next->second.going) {
        DeleteLocked(id, next->second);
        deleted = true;
      }
      next = objects_.upper_bound(id);
    }
  }
}

void CKtCustomObjectContainer::DeleteLocked(KtObjId id, Slot slot) {
  const std::uintptr_t address = AddressOf(slot.object);
  MarkGoingLocked(id, slot.object);
  try {
    delete slot.object;
  } catch (...) {
    ForgetLocked(id, address, slot.list);
    throw;  // required: nothing is contained here
  }
  ForgetLocked(id, address, slot.list);
}

// A wrapper may be registered and queued at once, and its destructor may flush or shut down: each
// comes to it once.
void CKtCustomObjectContainer::MarkGoingLocked(const KtObjId& id,
                                               const CKtObject* object) noexcept {
  const auto found = objects_.find(id);
  if (found != objects_.end() && found->second.object == object) found->second.going = true;
  const auto [first, last] = queue_.equal_range(id);
  std::for_each(first, last, [object](auto& queued) {
    if (queued.second.object == object) queued.second = Queued{nullptr, nullptr};
  });
}

// Takes a wrapper that has been freed out of whatever still names it. This comes after its
// destructor, which may have wanted to Remove() the wrapper itself.
void CKtCustomObjectContainer::ForgetLocked(const KtObjId& id, std::uintptr_t address,
                                            List* list) noexcept {
  const auto found = objects_.find(id);
  if (found != objects_.end() && AddressOf(found->second.object) == address) {
    found->second = Slot{};
  }
  // A destructor that shut down has ended the lists.
  const bool stands = std::any_of(types_.begin(), types_.end(),
                                  [list](const auto& type) { return type.second.get() == list; });
  if (!stands) return;
  std::erase_if(*list, [address](const CKtObject* named) { return AddressOf(named) == address; });
}
