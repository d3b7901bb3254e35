// The types of a database. A type, once made, stays as long as the database.
//
// Threads: everything from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bus/guid.h"
#include "bus/id_roll.h"
#include "bus/interface_list.h"
#include "bus/lock.h"
#include "bus/property_set.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// Room for so many ids; not asked for none. May throw.
using IdRoom = std::function<KtObjId*(std::size_t)>;

class Type {
 public:
  Type(std::string name, std::uint32_t flags, std::vector<Type*> superclasses,
       const PropertyMap& properties);

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const KtObjId& id() const noexcept { return id_; }
  [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }
  // The direct superclasses, in the order given.
  [[nodiscard]] const std::vector<Type*>& superclasses() const noexcept { return superclasses_; }
  // This type, then all that it derives from, from near to far, each once.
  [[nodiscard]] const std::vector<Type*>& line() const noexcept { return line_; }

  PropertySet& properties() noexcept { return properties_; }
  InterfaceList& interfaces() noexcept { return interfaces_; }

  // The objects of exactly this type, in the order of creation: their ids, each with its number,
  // which `next` counts over all types.

  // Enters a new one. `enter` makes it an object of the bus meanwhile, of that number, at that
  // place of the list; what it throws, as std::bad_alloc, leaves the list as it was.
  template <typename Enter>
  void Add(const KtObjId& id, std::atomic<std::uint64_t>& next, Enter&& enter)
      KT_EXCLUDES(objects_lock_) {
    const WriteGuard guard(objects_lock_);
    objects_.MakeRoom();
    const std::uint64_t number = next.fetch_add(1, std::memory_order_relaxed);
    enter(number, objects_.NextPlace());
    objects_.Append(number, id);
  }
  void Remove(std::uint64_t number, std::size_t place) noexcept KT_EXCLUDES(objects_lock_);

  [[nodiscard]] std::size_t ObjectCount() const KT_EXCLUDES(objects_lock_);
  void ListObjects(const IdRoom& room) const KT_EXCLUDES(objects_lock_);
  void AppendObjects(std::vector<IdRoll::Entry>& out) const KT_EXCLUDES(objects_lock_);

 private:
  const std::string name_;
  const KtObjId id_;
  const std::uint32_t flags_;
  const std::vector<Type*> superclasses_;
  std::vector<Type*> line_;
  PropertySet properties_;
  InterfaceList interfaces_;

  mutable SharedMutex objects_lock_;
  IdRoll objects_ KT_GUARDED_BY(objects_lock_);
};

class TypeTable {
 public:
  // With the base types, which are there on every bus.
  TypeTable();

  // Makes a type. Without a superclass it derives from the root. 0xC1000038 when it is there,
  // 0xC1000037 when a superclass is not.
  KtStatus Create(std::string name, const std::vector<std::string>& superclasses,
                  std::uint32_t flags, const PropertyMap& properties, KtObjId& id)
      KT_EXCLUDES(lock_);

  // The type of that name or id, or null.
  Type* Find(std::string_view name) const KT_EXCLUDES(lock_);
  Type* Find(const KtObjId& id) const KT_EXCLUDES(lock_);

  // All types in the order of creation.
  std::vector<Type*> All() const KT_EXCLUDES(lock_);

  // The ids of the objects of the type and of types derived from it, in the order of creation.
  void ListObjects(const Type& type, const IdRoom& room) const KT_EXCLUDES(lock_);

 private:
  std::vector<const Type*> WithDerived(const Type& type) const KT_EXCLUDES(lock_);

  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept {
      return std::hash<std::string_view>{}(name);
    }
  };

  mutable SharedMutex lock_;
  std::vector<std::unique_ptr<Type>> types_ KT_GUARDED_BY(lock_);
  std::unordered_map<std::string, Type*, NameHash, std::equal_to<>> by_name_ KT_GUARDED_BY(lock_);
  std::unordered_map<KtObjId, Type*, ObjIdHash, ObjIdEqual> by_id_ KT_GUARDED_BY(lock_);
  // Every type, and the types that derive from it at any distance.
  std::unordered_map<const Type*, std::vector<const Type*>> derived_ KT_GUARDED_BY(lock_);
};

}  // namespace kt::bus
