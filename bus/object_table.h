// The objects of a database, by id.
//
// An id says where its object stands: in it is the number of a place on the table's shelf
// (bus/shelf.h), made unreadable. The rest is made by chance and by a count (bus/guid.h), so that
// no id is ever that of another object, whoever stands in its place by then.
//
// Threads: everything from any thread; each place has a lock that it shares with others.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "bus/guid.h"
#include "bus/interface_list.h"
#include "bus/lock.h"
#include "bus/property_draft.h"
#include "bus/property_map.h"
#include "bus/property_row.h"
#include "bus/shelf.h"
#include "bus/type_table.h"

namespace kt::bus {

class ObjectTable;

// An object: who made it, what it is, its properties and its interfaces. It stands in one place,
// its properties (bus/property_row.h) included, as long as they are few and short; more of them
// have a larger row beside it, and what a row cannot keep makes it a map of them.
//
// Threads: none of its own. Once it stands in a table it is only touched under the lock that
//          ObjectTable::With() holds; nobody keeps its address.
class Object {
 public:
  // Ends it and gives its place back.
  struct Delete {
    ObjectTable* table = nullptr;
    void operator()(Object* object) const noexcept;
  };
  using Pointer = std::unique_ptr<Object, Delete>;

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

  // Adds or replaces. Throws std::bad_alloc, and nothing has changed then.
  void Put(const PropertyDraft& property);

 private:
  friend class ObjectTable;

  // Two or three short properties; with it an object fills three lines of the cache.
  static constexpr std::size_t kRoom = 96;
  struct FirstRow {
    PropertyRow row{kRoom};
    alignas(8) std::array<std::byte, kRoom> room;  // right behind it
  };
  static_assert(sizeof(FirstRow) == sizeof(PropertyRow) + kRoom);
  struct DeleteRow {
    void operator()(PropertyRow* row) const noexcept;
  };
  using RowPointer = std::unique_ptr<PropertyRow, DeleteRow>;

  Object(const KtObjId& id, Type& type, std::shared_ptr<Provider> owner,
         std::uint32_t flags) noexcept;
  ~Object() = default;

  // With that room behind it.
  static RowPointer MakeRow(std::size_t room);
  [[nodiscard]] PropertyRow& Row() noexcept { return large_ == nullptr ? first_.row : *large_; }
  [[nodiscard]] const PropertyRow& Row() const noexcept {
    return large_ == nullptr ? first_.row : *large_;
  }

  // What a read needs comes first, so that it is in the first two lines.
  KtObjId id_;
  std::unique_ptr<PropertyMap> many_;  // all, when no row can take all; those are empty then
  RowPointer large_;  // all, when `first_` has no room for them; that is empty then
  FirstRow first_;    // all otherwise
  Type* type_;
  std::shared_ptr<Provider> owner_;
  std::unique_ptr<InterfaceEntries> interfaces_;
  std::uint64_t sequence_ = 0;
  std::uint32_t flags_;
  std::uint32_t place_ = 0;
};

class ObjectTable {
 public:
  ObjectTable();
  ObjectTable(const ObjectTable&) = delete;
  ObjectTable& operator=(const ObjectTable&) = delete;
  // All objects are ended.
  ~ObjectTable();

  // A new object with a new id. It is nobody else's until it is entered. Throws std::bad_alloc.
  Object::Pointer Make(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags);

  void Enter(Object::Pointer&& object) noexcept;
  // The object taken out, or null when it is not there.
  Object::Pointer Take(const KtObjId& id) noexcept;
  [[nodiscard]] bool Has(const KtObjId& id) const;

  // Object::Put(); false when the object is not there.
  bool Put(const KtObjId& id, const PropertyDraft& property);

  // Calls `use` with the object, while nobody else may touch it; false when it is not there. `use`
  // is short: it looks, copies or changes, calls nobody outside the framework and takes no lock but
  // those to the right of "objects" in bus/lock.h.
  template <typename Use>
  bool With(const KtObjId& id, Use&& use) const {
    const Shelf::Number number = NumberIn(id);
    const MutexGuard guard(shelf_.LockOf(number));
    Object* const object = Find(number, id);
    if (object == nullptr) return false;
    use(*object);
    return true;
  }

  // How many objects there is memory for: to see that it follows their number.
  [[nodiscard]] std::size_t places() const { return shelf_.places(); }

 private:
  friend struct Object::Delete;

  // Under the lock of that place.
  [[nodiscard]] Object* Find(Shelf::Number number, const KtObjId& id) const noexcept {
    auto* const object = static_cast<Object*>(shelf_.Find(number));
    return object != nullptr && SameGuid(object->id_.guid, id.guid) ? object : nullptr;
  }

  // The first four bytes of an id are the number: times something odd, and so one to one, for those
  // who sort or spread ids by them, and with some bits turned over: others in each database, so
  // that an id of one seldom names a place that is in use in another.
  static constexpr std::uint32_t kSpread = 0x9E3779B1;
  static constexpr std::uint32_t kGather = 0x0E8B2F51;
  static_assert(kSpread * kGather == 1);
  [[nodiscard]] Shelf::Number NumberIn(const KtObjId& id) const noexcept {
    return (id.guid.Data1 ^ turned_) * kGather;
  }

  Shelf shelf_;
  const std::uint32_t turned_;
};

}  // namespace kt::bus
