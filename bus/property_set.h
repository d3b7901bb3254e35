// Property sets behind handles, and the same with a lock for what keeps properties of its own.
//
// Threads:   everything from any thread; two calls on one set exclude each other.
// Ownership: a set lives until its handle is destroyed and the call that works on it has ended.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "bus/handle_table.h"
#include "bus/ledger.h"
#include "bus/lock.h"
#include "bus/property_map.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// The properties of an object or a type.
class PropertySet {
 public:
  PropertySet() = default;
  explicit PropertySet(const PropertyMap& properties) : properties_(properties) {}

  // Adds or replaces.
  void Put(const PropertyDraft& property) KT_EXCLUDES(lock_);

  // A record of the property of that name, put down to the account; null when there is none.
  cuvo_property* Find(const PropertyName& name, Account& account) KT_EXCLUDES(lock_);

  // The properties as they are now.
  PropertyMap Copy() KT_EXCLUDES(lock_);

 private:
  Mutex lock_;
  PropertyMap properties_ KT_GUARDED_BY(lock_);
};

// Throws StatusError(kNoObject) for a handle that is none.
void RequirePropset(KtPropset handle);

// A copy of what a handle holds. Throws as RequirePropset does; the second one gives an empty map
// for the null handle.
PropertyMap CopyOf(KtPropset handle);
PropertyMap CopyProperties(KtPropset handle);

// A new set with these properties, put down to the account. A null account: the framework's own,
// which the ledger does not count.
KtPropset NewPropset(PropertyMap&& properties, Account* account);

// The same with a copy of the properties.
KtPropset NewPropset(const PropertyMap& properties, Account* account);

// Destroys a set; false for a handle that is none.
bool DestroyPropset(KtPropset handle) noexcept;

// A set of the framework's own that is lent to foreign code for as long as this lives.
class LentPropset {
 public:
  explicit LentPropset(PropertyMap properties)
      : handle_(NewPropset(std::move(properties), nullptr)) {}
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
