// The interfaces that an object or a type offers, each with the provider that serves it.
//
// Threads: InterfaceList from any thread; InterfaceEntries have no lock of their own.
#pragma once

#include <memory>
#include <vector>

#include "bus/guid.h"
#include "bus/lock.h"
#include "bus/provider.h"
#include "bus/status.h"

namespace kt::bus {

class InterfaceEntries {
 public:
  struct Entry {
    KtGuid interface_id;
    std::shared_ptr<Provider> owner;
  };

  // 0xC1000029 when it is there, unless its owner is gone: then the new owner takes over.
  KtStatus Add(const KtGuid& interface_id, std::shared_ptr<Provider> owner) {
    for (Entry& entry : entries_) {
      if (!SameGuid(entry.interface_id, interface_id)) continue;
      if (!entry.owner->gone()) return kDuplicateInterface;
      entry.owner = std::move(owner);
      return kOk;
    }
    entries_.push_back({interface_id, std::move(owner)});
    return kOk;
  }

  // The owner, or null when the interface is not here.
  [[nodiscard]] std::shared_ptr<Provider> Find(const KtGuid& interface_id) const {
    for (const Entry& entry : entries_) {
      if (SameGuid(entry.interface_id, interface_id)) return entry.owner;
    }
    return nullptr;
  }

  // All, in the order of registration.
  [[nodiscard]] const std::vector<Entry>& All() const noexcept { return entries_; }

 private:
  std::vector<Entry> entries_;
};

// The same behind a lock.
class InterfaceList {
 public:
  KtStatus Add(const KtGuid& interface_id, std::shared_ptr<Provider> owner) KT_EXCLUDES(lock_) {
    const WriteGuard guard(lock_);
    return entries_.Add(interface_id, std::move(owner));
  }

  std::shared_ptr<Provider> Find(const KtGuid& interface_id) const KT_EXCLUDES(lock_) {
    const ReadGuard guard(lock_);
    return entries_.Find(interface_id);
  }

  std::vector<InterfaceEntries::Entry> All() const KT_EXCLUDES(lock_) {
    const ReadGuard guard(lock_);
    return entries_.All();
  }

 private:
  mutable SharedMutex lock_;
  InterfaceEntries entries_ KT_GUARDED_BY(lock_);
};

}  // namespace kt::bus
