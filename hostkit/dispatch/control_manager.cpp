#include "dispatch/control_manager.h"

#include <algorithm>
#include <vector>

#include "base/guid_order.h"
#include "base/owned.h"
#include "base/trace.h"
#include "dispatch/activity_scope.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/entering_call.h"
#include "lifetime/singleton.h"

namespace {

// The level at which a client wants its request told: lower when it says "pwb trace" is false.
std::uint32_t LevelFor(const CKtControlRequest& request) {
  cuvo_bool trace = 1;
  try {
    request.input.GetProp("pwb trace", trace, true);
  } catch (...) {
    return kt::kError;  // the getter has told what is wrong with the property
  }
  return trace != 0 ? kt::kError : kt::kWarning;
}

// Runs the handler with the lines about it. A handler that throws reports success to the host: only
// its return writes the status. This is deliberate.
KtStatus RunHandler(const CKtControlMapEntry& entry, CKtControlRequest& request, const char* path) {
  const std::uint32_t level = LevelFor(request);
  kt::Trace(level, "%S: CKtControlManager::Invoke(), going to invoke (%s, %d, %d)", path,
            request.selector, request.controlCode);
  KtStatus status = 0;
  try {
    status = entry.Invoke(request);
    kt::Trace(kt::StatusFails(status) ? kt::kError : level,
              "%S: CKtControlManager::Invoke(), finished service request %s. (err = 0x%x) ", path,
              status);
  } catch (std::uint32_t thrown) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::Invoke(), Unresolved exception (%x) in Invoke(%s)",
              thrown, path);
  } catch (...) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::Invoke(), Unresolved exception in Invoke(%s)", path);
  }
  return status;
}

}  // namespace

std::atomic<CKtControlManager*> CKtControlManager::instance_{nullptr};

CKtControlManager& CKtControlManager::MakeInstance() {
  return kt::InstanceOf(instance_,
                        [] { return std::unique_ptr<CKtControlManager>(new CKtControlManager); });
}

void CKtControlManager::ReleaseInstance() noexcept {
  while (CKtControlManager* const instance = instance_.load(std::memory_order_acquire)) {
    delete instance;
  }
}

CKtControlManager::~CKtControlManager() {
  static_cast<void>(WaitForIdle());
  CKtControlManager* self = this;
  instance_.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
}

KtStatus CKtControlManager::Invoke(CKtControlRequest& request) {
  if (request.InterfaceId() == nullptr) return E_INVALIDARG;
  const CKtActivityScope scope;
  kt::EnteringCall::HandOver();  // the scope counts the call from here on

  const KtStatus verdict = RunFilters(request);
  if (verdict != KTSTATUS_CONTINUE) return verdict;

  kt::ControlPath path;
  bool built = false;
  const std::shared_ptr<CKtControlMapEntry> entry = FindHandler(request, path, built);
  if (!built) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::Invoke(), no memory for the control path.");
    return E_OUTOFMEMORY;
  }
  if (entry == nullptr) {
    kt::Trace(kt::kError, "%S: ERROR: CKtControlManager::Invoke(), Control path not found (%s)",
              path.Text());
    return KTERROR_UNEXPECTED;
  }
  return RunHandler(*entry, request, path.Text());
}

KtStatus CKtControlManager::RegisterPath(const std::shared_ptr<CKtControlMapEntry>& entry) {
  const kt::LockGuard guard(path_map_lock_);
  const std::uint32_t control_code = entry->GetControlCode();
  const std::uint32_t selector = entry->GetSelector();
  KtGuid interface_id{};
  KtObjId object_id{};
  entry->GetInterfaceId(interface_id);
  entry->GetObjectId(object_id);

  kt::ControlPath path;
  if (!path.Build(interface_id, selector, control_code, object_id)) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::RegisterPath() : no memory for the control path.");
    return E_OUTOFMEMORY;
  }
  const kt::ControlKey key{interface_id, object_id, selector, control_code};
  if (paths_.Find(key) != nullptr) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::RegisterPath() : KTERROR_DUPLICATE_INTERFACE %s",
              path.Text());
    return KTERROR_DUPLICATE_INTERFACE;
  }
  paths_.Put(key, path.View(), entry);
  return 0;
}

KtStatus CKtControlManager::UnRegisterPath(const KtGuid& interface_id,
                                           const std::uint32_t& selector,
                                           const std::uint32_t& control_code,
                                           const KtObjId& object_id) noexcept {
  const kt::LockGuard guard(path_map_lock_);
  kt::ControlPath path;
  const bool built = path.Build(interface_id, selector, control_code, object_id);
  const bool stood =
      built ? paths_.Erase({interface_id, object_id, selector, control_code}, path.View())
            : paths_.EraseFirst([&](const CKtControlMapEntry& entry) {
                return entry.Matches(interface_id, selector, control_code, object_id);
              });
  if (stood) return 0;
  if (!built) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::UnRegisterPath() : no memory for the control path.");
    return E_OUTOFMEMORY;
  }
  // Level 1, although the text says ERROR: required.
  kt::Trace(kt::kInfo,
            "%S: ERROR: CKtControlManager::UnRegisterPath() : specified path %s not found. "
            "KTERROR_UNEXPECTED",
            path.Text());
  return KTERROR_UNEXPECTED;
}

// A queue may open activity scopes: the activity lock comes first, whoever calls.
void CKtControlManager::FlushLazyDeleteQueues() noexcept {
  const kt::LockGuard guard(activity_lock_);
  FlushQueues();
}

void CKtControlManager::FlushQueues() noexcept {
  kt::Trace(kt::kInfo, "%S: INFO: CKtControlManager::FlushLazyDeleteQueues() Entered...");
  const kt::LockGuard guard(queue_list_lock_);
  if (!flushing_queues_) {
    flushing_queues_ = true;
    FlushQueuesLocked();
    flushing_queues_ = false;
  }
  kt::Trace(kt::kInfo, "%S: INFO: CKtControlManager::FlushLazyDeleteQueues() Exiting...");
}

void CKtControlManager::AddFilter(CKtControlFilter& filter) {
  const kt::LockGuard guard(path_map_lock_);
  filters_.Add(filter);
}

void CKtControlManager::RemoveFilter(CKtControlFilter& filter) noexcept {
  const kt::LockGuard guard(path_map_lock_);
  filters_.Remove(filter);
}

void CKtControlManager::AddQueue(CKtLazyDeleteQueue& queue) {
  const kt::LockGuard guard(queue_list_lock_);
  queues_.push_back(&queue);
}

void CKtControlManager::RemoveQueue(CKtLazyDeleteQueue& queue) noexcept {
  const kt::LockGuard guard(queue_list_lock_);
  std::erase(queues_, &queue);
}

bool CKtControlManager::WaitForIdle() const noexcept {
  for (std::uint32_t check = 0; check < kIdleChecks; ++check) {
    if (ActivityCount() == 0) return true;
    KtSleep(kIdleSleepMs);
  }
  return false;
}

std::uint32_t CKtControlManager::ActivityCount() const noexcept {
  const kt::LockGuard guard(activity_lock_);
  return activity_count_;
}

void CKtControlManager::EnterActivity() noexcept {
  const kt::LockGuard guard(activity_lock_);
  ++activity_count_;
}

// The flush runs with the activity lock held: a call that starts on another thread meanwhile waits
// until it is over. On this thread a destructor or a queue may open and close scopes of its own;
// their return to zero is part of the flush that is running. A flush of its own would have no end
// with a queue that opens a scope each time.
void CKtControlManager::LeaveActivity() noexcept {
  const kt::LockGuard guard(activity_lock_);
  if (--activity_count_ != 0 || flushing_) return;
  flushing_ = true;
  FlushAtZero();
  flushing_ = false;
}

void CKtControlManager::FlushAtZero() noexcept {
  FlushQueues();
  auto* const container = kt::InstanceOrNull<CKtCustomObjectContainer>();
  if (container != nullptr) container->FlushInActivityLock();
  filters_.DropFormer();
}

void CKtControlManager::FlushQueuesLocked() noexcept {
  if (queues_.empty()) return;
  try {
    // A flush may add and remove queues: walk a copy, leave out those that have gone.
    const std::vector<CKtLazyDeleteQueue*> queues = queues_;
    for (CKtLazyDeleteQueue* const queue : queues) {
      if (std::find(queues_.begin(), queues_.end(), queue) != queues_.end()) queue->Flush();
    }
  } catch (std::uint32_t thrown) {
    // The text speaks of a control filter, and is kept so.
    kt::Trace(kt::kWarning,
              "%S: WARNING: CKtControlManager::FlushLazyDeleteQueues() A control filter threw "
              "exception %x.",
              thrown);
  } catch (...) {
    kt::Trace(kt::kError,
              "%S: ERROR: CKtControlManager::FlushLazyDeleteQueues() caught exception.");
  }
}

KtStatus CKtControlManager::RunFilters(CKtControlRequest& request) {
  KtStatus status = KTSTATUS_CONTINUE;
  try {
    filters_.Walk([&](CKtControlFilter& filter) {
      status = filter.filter(request);
      return status == KTSTATUS_CONTINUE;
    });
  } catch (std::uint32_t thrown) {
    kt::Trace(kt::kWarning,
              "%S: WARNING: CKtControlManager::Invoke()  A control filter threw exception %x.",
              thrown);
    return thrown;
  }
  return status;
}

// `path` is the request's own path in either case; it is what the trace lines name.
std::shared_ptr<CKtControlMapEntry> CKtControlManager::FindHandler(const CKtControlRequest& request,
                                                                   kt::ControlPath& path,
                                                                   bool& built) const {
  const kt::ControlKey key{*request.InterfaceId(), request.target.Id(), request.selector,
                           request.controlCode};
  const std::size_t hash = key.Hash();
  const kt::LockGuard guard(path_map_lock_);
  paths_.ExpectPath(hash);
  {
    const kt::FrameworkText interface_text(KtGUIDToString(&key.interface_id));
    paths_.ExpectHandler(key, hash);
    built = path.Build(interface_text.get(), key.selector, key.control_code, key.object_id);
  }
  if (!built) return nullptr;
  if (auto entry = paths_.Find(key, hash)) return entry;
  // Only whether the framework can name it is of interest.
  kt::ControlPath any_object;
  built = any_object.Build(key.interface_id, key.selector, key.control_code, kt::kNullObjId);
  if (!built) return nullptr;
  return paths_.Find(key.ForAnyObject());
}
