#include "lifetime/custom_object_container.h"

#include <algorithm>
#include <iterator>
#include <tuple>
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

CKtCustomObjectContainer& CKtCustomObjectContainer::MakeInstance() {
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
    ++departures_;
    auto node = objects_.extract(objects_.begin());
    static_cast<void>(DeleteThrows(node.mapped().object));
    kt::WrapperList::TakeOut(node.mapped());
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
  ++departures_;
  objects_.clear();
  adrift_.clear();
  for (auto& [id, row] : queue_) row.list = nullptr;
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
  counts.objects =
      static_cast<std::size_t>(std::count_if(objects_.begin(), objects_.end(), [](const auto& row) {
        return row.second.object != nullptr;
      }));
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
  std::vector<CKtObject*> objects;
  const auto found = types_.find(type_name);
  if (found == types_.end() || found->second == nullptr) return objects;
  const kt::WrapperRow* row = found->second->First();
  for (; row != nullptr; row = row->behind) objects.push_back(row->object);
  return objects;
}

KtStatus CKtCustomObjectContainer::AddLocked(std::unique_ptr<CKtObject>&& object) {
  if (object == nullptr || kt::IsNullId(object->Id())) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Add() : Object is NULL.");
    return KTERROR_NO_OBJECT;
  }
  const std::string type = object->GetType();
  kt::WrapperRow& row = objects_[object->Id()];
  if (row.object != nullptr) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtCustomObjectContainer::Add() : Another object has the same id.");
    return KTERROR_UNEXPECTED;
  }
  auto& list = types_[type];
  if (list == nullptr) list = std::make_unique<kt::WrapperList>();
  row.object = object.release();
  list->Append(row);
  return 0;
}

KtStatus CKtCustomObjectContainer::RemoveLocked(CKtObject* object) {
  if (object == nullptr || kt::IsNullId(object->Id())) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Remove() : Object is NULL.");
    return KTERROR_NO_OBJECT;
  }
  // Before the type is asked for, on purpose: an object that is missing from its type's list is
  // gone from the object map all the same.
  kt::WrapperRow* const row = SetAdriftLocked(object->Id());
  return TakeFromTypeLocked(object, row);
}

// Takes the id out of the object map. A row that the list of its type still has is kept for that.
kt::WrapperRow* CKtCustomObjectContainer::SetAdriftLocked(const KtObjId& id) noexcept {
  const auto found = objects_.find(id);
  if (found == objects_.end()) return nullptr;
  ++departures_;
  if (found->second.list == nullptr) {
    objects_.erase(found);
    return nullptr;
  }
  return &adrift_.insert(objects_.extract(found))->second;
}

// Takes a wrapper out of the list of its type. `row` is the one that was found under its id, if
// any: the wrapper's own as a rule.
KtStatus CKtCustomObjectContainer::TakeFromTypeLocked(const CKtObject* object,
                                                      kt::WrapperRow* row) {
  const auto& list = types_[object->GetType()];
  if (list == nullptr) {
    kt::Trace(
        kt::kError,
        "%S: ERROR: CKtCustomObjectContainer::Remove() : Object containter not found for type.");
    return KTERROR_NO_OBJECT;
  }
  if (row == nullptr || row->object != object || row->list != list.get()) row = list->Find(object);
  if (row == nullptr) {
    kt::Trace(kt::kError, "%S: ERROR: CKtCustomObjectContainer::Remove() : Object not found.");
    return KTERROR_NO_OBJECT;
  }
  kt::WrapperList::TakeOut(*row);
  const auto [first, last] = adrift_.equal_range(object->Id());
  const auto found =
      std::find_if(first, last, [row](const auto& adrift) { return &adrift.second == row; });
  if (found != last) adrift_.erase(found);
  return 0;
}

void CKtCustomObjectContainer::LazyDeleteLocked(CKtObject* object) noexcept {
  try {
    const KtObjId id = object->Id();
    auto found = objects_.find(id);
    if (found == objects_.end()) found = objects_.try_emplace(id).first;  // it stays, with null
    if (found->second.object != object) return;
    const std::uint64_t departures = departures_;
    try {
      const KtWString name = object->GetName();
      kt::Trace(kt::kInfo,
                "%S: INFO: CKtCustomObjectContainer::LazyDelete() Destroying Object [%S]",
                name.c_str());
    } catch (...) {
      QueueBesideLocked(id, object);
      return;
    }
    // Its own GetName() may have taken it out.
    if (departures != departures_) found = objects_.find(id);
    kt::WrapperRow& row = MoveToQueueLocked(found, object, id);
    TakeFromTypeLocked(object, &row);
    object->Destroy();
  } catch (...) {
    // Required: the rest is left out without a word, and the wrapper is freed by the next flush.
  }
}

// Out of the object map into the queue, with the wrapper's one row.
kt::WrapperRow& CKtCustomObjectContainer::MoveToQueueLocked(Rows::iterator found, CKtObject* object,
                                                            const KtObjId& id) {
  if (found == objects_.end() || found->second.object != object) {
    return QueueBesideLocked(id, object);
  }
  if (found->second.twice) {
    const auto [first, last] = queue_.equal_range(id);
    queue_.erase(std::find_if(
        first, last, [object](const auto& queued) { return queued.second.object == object; }));
    found->second.twice = false;
  }
  ++departures_;
  return queue_.insert(objects_.extract(found))->second;
}

// Queues a wrapper that stays registered, with a row of its own; once, however often it is asked.
// Two wrappers may be queued under one id: the bus object of the first could not be deleted.
kt::WrapperRow& CKtCustomObjectContainer::QueueBesideLocked(const KtObjId& id, CKtObject* object) {
  const auto [first, last] = queue_.equal_range(id);
  const auto queued =
      std::find_if(first, last, [object](const auto& row) { return row.second.object == object; });
  if (queued != last) return queued->second;
  kt::WrapperRow& row =
      queue_.emplace_hint(last, std::piecewise_construct, std::tuple(id), std::tuple())->second;
  row.object = object;
  row.twice = true;
  const auto registered = objects_.find(id);
  if (registered != objects_.end() && registered->second.object == object) {
    registered->second.twice = true;
  }
  return row;
}

// One wrapper at a time leaves the queue before it is freed: its destructor may queue others, and
// may even flush.
void CKtCustomObjectContainer::DrainQueueLocked() noexcept {
  while (!queue_.empty()) {
    auto node = queue_.extract(queue_.begin());
    kt::WrapperRow& row = node.mapped();
    const std::uintptr_t address = AddressOf(row.object);
    const bool threw = DeleteThrows(row.object);
    kt::WrapperList::TakeOut(row);
    if (row.twice) ForgetLocked(node.key(), address);
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
      if (next->second.object != nullptr) {
        DeleteLocked(id, next->second.object);
        deleted = true;
      }
      next = objects_.upper_bound(id);
    }
  }
}

void CKtCustomObjectContainer::DeleteLocked(KtObjId id, CKtObject* object) {
  const std::uintptr_t address = AddressOf(object);
  try {
    delete object;
  } catch (...) {
    ForgetLocked(id, address);
    throw;  // required: nothing is contained here
  }
  ForgetLocked(id, address);
}

// Takes a wrapper that has been freed out of whatever still names it under the id. This comes after
// its destructor, which may have wanted to Remove() the wrapper itself.
void CKtCustomObjectContainer::ForgetLocked(const KtObjId& id, std::uintptr_t address) noexcept {
  const auto clear = [address](kt::WrapperRow& row) {
    if (AddressOf(row.object) != address) return;
    kt::WrapperList::TakeOut(row);
    row.object = nullptr;
    row.twice = false;
  };
  const auto found = objects_.find(id);
  if (found != objects_.end()) clear(found->second);
  const auto [first, last] = queue_.equal_range(id);
  std::for_each(first, last, [&](auto& queued) { clear(queued.second); });
  auto [next, end] = adrift_.equal_range(id);
  while (next != end) {
    clear(next->second);
    next = next->second.object == nullptr ? adrift_.erase(next) : std::next(next);
  }
}
