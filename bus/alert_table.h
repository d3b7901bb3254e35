// The alerts that are published in a database, by name.
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "bus/lock.h"
#include "bus/provider.h"
#include "bus/status.h"

namespace kt::bus {

class AlertTable {
 public:
  struct Definition {
    std::string name;
    std::string description;
    std::uint32_t severity = 0;
    const Provider* publisher = nullptr;
  };

  // 0xC100002D when an alert of that name is published, 0xC1000010 when the publisher is gone: a
  // call that it still has in flight must not publish what DropAll() can no longer see.
  KtStatus Publish(Definition definition) KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    if (definition.publisher->gone()) return kNoObject;
    const std::string name = definition.name;
    return definitions_.emplace(name, std::move(definition)).second ? kOk : kAlertPublished;
  }

  // 0xC100002E when the provider has published none of that name.
  KtStatus Unpublish(const Provider& publisher, const std::string& name) KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    const auto found = definitions_.find(name);
    if (found == definitions_.end() || found->second.publisher != &publisher) {
      return kAlertNotPublished;
    }
    definitions_.erase(found);
    return kOk;
  }

  // After Provider::Go() only; nothing of the provider is published from here on.
  void DropAll(const Provider& publisher) KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    std::erase_if(definitions_,
                  [&](const auto& row) { return row.second.publisher == &publisher; });
  }

  std::optional<Definition> Find(const std::string& name) const KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    const auto found = definitions_.find(name);
    return found == definitions_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  mutable Mutex lock_;
  std::unordered_map<std::string, Definition> definitions_ KT_GUARDED_BY(lock_);
};

}  // namespace kt::bus
