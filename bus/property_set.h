// PropertySet is what a property set handle stands for: a property map under a lock of its own.
//
// Threads:   everything from any thread; two calls on one set exclude each other.
// Ownership: sets are reached by handle and live until the handle is destroyed and the calls that
//            looked it up have ended.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "bus/handle_table.h"
#include "bus/ledger.h"
#include "bus/lock.h"
#include "bus/property_map.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

class PropertySet {
 public:
  PropertySet() = default;
  explicit PropertySet(const PropertyMap& properties) : properties_(properties) {}

  KtStatus Add(std::shared_ptr<const Property> property) KT_EXCLUDES(lock_);
  KtStatus Replace(std::shared_ptr<const Property> property) KT_EXCLUDES(lock_);
  void Put(std::shared_ptr<const Property> property) KT_EXCLUDES(lock_);

  // The property, or null. Place counts from 0 in the order of adding.
  std::shared_ptr<const Property> Find(std::string_view name) KT_EXCLUDES(lock_);
  std::shared_ptr<const Property> At(std::size_t place) KT_EXCLUDES(lock_);

  // The properties as they are now, never to change again.
  std::shared_ptr<const PropertyMap> Snapshot() KT_EXCLUDES(lock_);

 private:
  Mutex lock_;
  PropertyMap properties_ KT_GUARDED_BY(lock_);
};

// The set behind a handle; throws StatusError(kNoObject) for a handle that is none.
std::shared_ptr<PropertySet> FindPropset(KtPropset handle);

// A copy of what a handle holds; an empty map for the null handle. Throws as FindPropset does.
PropertyMap CopyProperties(KtPropset handle);

// A new set with a copy of the properties, put down to the account. A null account: the framework's
// own, which the ledger does not count.
KtPropset NewPropset(const PropertyMap& properties, Account* account);

// Destroys a set; false for a handle that is none.
bool DestroyPropset(KtPropset handle) noexcept;

// A set of the framework's own that is lent to foreign code for as long as this lives.
class LentPropset {
 public:
  explicit LentPropset(const PropertyMap& properties) : handle_(NewPropset(properties, nullptr)) {}
  ~LentPropset() { DestroyPropset(handle_); }
  LentPropset(const LentPropset&) = delete;
  LentPropset& operator=(const LentPropset&) = delete;

  [[nodiscard]] KtPropset get() const noexcept { return handle_; }

 private:
  KtPropset handle_;
};

// Whether the pointer is a live property set or iterator handle, and which.
std::optional<Kind> KindOfHandle(const void* pointer) noexcept;

}  // namespace kt::bus
