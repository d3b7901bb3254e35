// The objects of a database, by id.
//
// Threads: everything from any thread; the table is cut into shards by id.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "bus/guid.h"
#include "bus/id_table.h"
#include "bus/interface_list.h"
#include "bus/lock.h"
#include "bus/property_draft.h"
#include "bus/property_map.h"
#include "bus/property_row.h"
#include "bus/type_table.h"

namespace kt::bus {

// An object: who made it, what it is, its properties and its interfaces. It is one piece of memory,
// its properties (bus/property_row.h) included; what a row cannot keep makes it a map of them.
//
// Threads: none of its own. Once it stands in a table it is only touched under the lock that
//          ObjectTable::With() holds; there it may move, so nobody keeps its address.
class Object {
 public:
  struct Delete {
    void operator()(Object* object) const noexcept;
  };
  using Pointer = std::unique_ptr<Object, Delete>;

  // With a new id and room for some properties. Throws std::bad_alloc.
  static Pointer Make(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags);

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  [[nodiscard]] const KtObjId& id() const noexcept { return id_; }
  [[nodiscard]] Type& type() const noexcept { return *type_; }
  [[nodiscard]] const std::shared_ptr<Provider>& owner() const noexcept { return owner_; }
  [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }

  // The number in the order of creation, over all types, and where its type's list has it, or the
  // last place that there is a number for.
  [[nodiscard]] std::uint64_t sequence() const noexcept { return sequence_; }
  [[nodiscard]] std::size_t place() const noexcept { return place_; }
  void SetPlace(std::uint64_t sequence, std::size_t place) noexcept {
    sequence_ = sequence;
    place_ = static_cast<std::uint32_t>(std::min<std::size_t>(place, UINT32_MAX));
  }

  // Null when it has none of its own.
  [[nodiscard]] const InterfaceEntries* interfaces() const noexcept { return interfaces_.get(); }
  // As InterfaceEntries::Add(); throws std::bad_alloc.
  KtStatus AddInterface(const KtGuid& interface_id, std::shared_ptr<Provider> owner);

  // A record of the property of that name, put down to the account; null when there is none. Throws
  // std::bad_alloc.
  cuvo_property* FindProperty(const char* name, Account& account);
  // All in the order of adding. Throws std::bad_alloc.
  [[nodiscard]] PropertyMap Properties() const;

  // Adds or replaces. It may need more room: then the answer is an object that has it, to be put in
  // the place of this one, which has nothing any more. Null otherwise. Throws std::bad_alloc, and
  // nothing has changed then.
  [[nodiscard]] Pointer Put(const PropertyDraft& property);

 private:
  Object(const KtObjId& id, Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags);
  Object(Object&& other) noexcept = default;
  ~Object() = default;

  // A row of that room is made behind it.
  template <typename... Arguments>
  static Pointer MakeWithRoom(std::size_t room, Arguments&&... arguments);
  [[nodiscard]] PropertyRow& row() const noexcept;

  // What a read needs comes last, so that it stands beside the row.
  std::uint32_t flags_;
  std::uint32_t place_ = 0;
  Type* type_;
  std::shared_ptr<Provider> owner_;
  std::unique_ptr<InterfaceEntries> interfaces_;
  std::uint64_t sequence_ = 0;
  KtObjId id_;
  std::unique_ptr<PropertyMap> many_;  // all, when the row cannot take all; it is empty then
};

class ObjectTable {
 public:
  // Throws std::bad_alloc; the object is then still the caller's.
  void Enter(Object::Pointer&& object);
  // The object taken out, or null when it is not there.
  Object::Pointer Take(const KtObjId& id);
  [[nodiscard]] bool Has(const KtObjId& id) const;

  // Object::Put(); false when the object is not there.
  bool Put(const KtObjId& id, const PropertyDraft& property);

  // Calls `use` with the object, while nobody else may touch it; false when it is not there. `use`
  // is short: it looks, copies or changes, calls nobody outside the framework and takes no lock but
  // those to the right of "objects" in bus/lock.h.
  template <typename Use>
  bool With(const KtObjId& id, Use&& use) const {
    Shard& shard = shards_[ShardOf(id)];
    const MutexGuard guard(shard.lock);
    Object* const object = shard.objects.Find(id);
    if (object == nullptr) return false;
    use(*object);
    return true;
  }

 private:
  static constexpr std::size_t kShards = 64;

  struct Shard {
    Mutex lock;
    IdTable<Object::Pointer> objects KT_GUARDED_BY(lock);
  };

  // The last byte of an id counts up, so shards fill evenly.
  static std::size_t ShardOf(const KtObjId& id) noexcept { return id.guid.Data4[7] % kShards; }

  mutable std::array<Shard, kShards> shards_;
};

}  // namespace kt::bus
