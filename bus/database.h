// Database is one object bus: its types, objects, relations, subscriptions, alerts and providers.
//
// Threads:   everything from any thread.
// Ownership: reached by handle; a call that looked it up keeps it until it ends. Providers refer
//            to it weakly.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus/alert_table.h"
#include "bus/database_lock.h"
#include "bus/family.h"
#include "bus/lock.h"
#include "bus/object_table.h"
#include "bus/observers.h"
#include "bus/provider.h"
#include "bus/subscriptions.h"
#include "bus/type_table.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// An object as a visitor is shown it.
struct ObjectPicture {
  KtObjId id{};
  std::uint32_t flags = 0;
  std::uint64_t sequence = 0;
  Type* type = nullptr;
  std::shared_ptr<Provider> owner;
  std::vector<InterfaceEntries::Entry> interfaces;
};

class Database : public std::enable_shared_from_this<Database> {
 public:
  // A new database and its handle.
  static KtDatabase Open();

  // Detaches what is attached and makes the handle stale.
  static KtStatus Close(KtDatabase handle);

  // The database behind a handle; throws StatusError(kNoObject) for a handle that is none.
  static std::shared_ptr<Database> Find(KtDatabase handle);

  Database() = default;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database() = default;

  [[nodiscard]] KtDatabase handle() const noexcept { return handle_; }

  TypeTable& types() noexcept { return types_; }
  Subscriptions& subscriptions() noexcept { return subscriptions_; }
  AlertTable& alerts() noexcept { return alerts_; }
  DatabaseLock& lock() noexcept { return database_lock_; }
  Observers& observers() noexcept { return observers_; }

  // The type of that name; of the object of that id; of that object or type object. Each throws
  // StatusError when there is none.
  Type& FindType(const char* name) const;
  Type& TypeOfObject(const KtObjId& id) const;
  Type& TypeOf(const KtObjId& id) const;

  // What an object is at this moment; nothing when there is none.
  std::optional<ObjectPicture> Picture(const KtObjId& id) const;

  // The properties of an object, or of a type by the id of its type object. Each throws
  // StatusError(kNoObject) for an id that is neither, and std::bad_alloc.
  // A new record of one of them, put down to the account; null when there is none of that name.
  cuvo_property* FindProperty(const KtObjId& id, const char* name, Account& account) const;
  // Adds or replaces. Throws StatusError for a record that is not well formed.
  void PutProperty(const KtObjId& id, const cuvo_property& record);
  PropertyMap CopyProperties(const KtObjId& id) const;

  // The provider that serves the interface: registered on the object, else on its type, else on a
  // superclass, the nearest first. Null when none is.
  std::shared_ptr<Provider> Serves(const KtObjId& id, const KtGuid& interface_id) const;
  KtStatus RegisterInterface(const KtObjId& id, const KtGuid& interface_id,
                             std::shared_ptr<Provider> owner);

  KtObjId CreateObject(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags)
      KT_EXCLUDES(family_lock_);
  KtStatus DeleteObject(const KtObjId& id) KT_EXCLUDES(family_lock_);

  KtStatus AttachChild(const KtObjId& parent, const KtObjId& child) KT_EXCLUDES(family_lock_);
  KtStatus DetachChild(const KtObjId& parent, const KtObjId& child) KT_EXCLUDES(family_lock_);
  std::vector<KtObjId> ChildrenOf(const KtObjId& parent) const KT_EXCLUDES(family_lock_);

  // Providers in the order of attachment.
  KtProvider Attach(const char* name, const KtProviderTable& table) KT_EXCLUDES(providers_lock_);
  KtStatus Detach(const std::shared_ptr<Provider>& provider) KT_EXCLUDES(providers_lock_);
  std::vector<std::shared_ptr<Provider>> Providers() const KT_EXCLUDES(providers_lock_);

  // Registers for events or alerts; the first registration starts the provider's delivery thread.
  KtStatus Subscribe(const std::shared_ptr<Provider>& provider, const char* name, bool alert,
                     KtCookie& cookie);
  bool WaitForDelivery(std::uint32_t milliseconds);

  // Tells the observer that the object has changed; nothing for a type or an unknown object.
  void TellChanged(const KtObjId& id) noexcept;

 private:
  bool Deliver(Provider& provider, const Notice& notice);
  void TellOf(std::uint32_t what, const KtObjId& id, const Type& type,
              const Provider& owner) noexcept;
  [[noreturn]] static void ThrowNoObject();
  // Calls `use` with the object as ObjectTable::With() does; throws StatusError(kNoObject).
  template <typename Use>
  void WithObject(const KtObjId& id, Use&& use) const {
    if (!objects_.With(id, std::forward<Use>(use))) ThrowNoObject();
  }

  KtDatabase handle_ = nullptr;

  TypeTable types_;
  ObjectTable objects_;
  std::atomic<std::uint64_t> next_object_{0};

  mutable SharedMutex family_lock_;
  Family family_ KT_GUARDED_BY(family_lock_);

  Subscriptions subscriptions_;
  AlertTable alerts_;
  DatabaseLock database_lock_;
  Observers observers_;

  mutable Mutex providers_lock_;
  std::vector<std::shared_ptr<Provider>> providers_ KT_GUARDED_BY(providers_lock_);
  bool closed_ KT_GUARDED_BY(providers_lock_) = false;
};

// The provider behind a handle; throws StatusError(kNoObject) for a handle that is none.
std::shared_ptr<Provider> FindProvider(KtProvider handle);
// The same; also refuses a provider of another database.
std::shared_ptr<Provider> FindProvider(KtProvider handle, const Database& database);

}  // namespace kt::bus
