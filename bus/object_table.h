// The objects of a database, by id.
//
// Threads: everything from any thread; the table is cut into shards by id.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "bus/guid.h"
#include "bus/interface_list.h"
#include "bus/lock.h"
#include "bus/property_set.h"
#include "bus/type_table.h"

namespace kt::bus {

// An object: who made it, what it is, and under locks of their own its properties and interfaces.
// A call that looked it up may go on with it after it was deleted; nobody sees the difference.
class Object {
 public:
  Object(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags, std::uint64_t sequence)
      : id_(NewId()), type_(type), owner_(std::move(owner)), flags_(flags), sequence_(sequence) {}

  [[nodiscard]] const KtObjId& id() const noexcept { return id_; }
  [[nodiscard]] Type& type() const noexcept { return type_; }
  [[nodiscard]] const Provider& owner() const noexcept { return *owner_; }
  [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }
  // The place in the order of creation, over all types.
  [[nodiscard]] std::uint64_t sequence() const noexcept { return sequence_; }

  PropertySet& properties() noexcept { return properties_; }
  InterfaceList& interfaces() noexcept { return interfaces_; }

  // The provider that serves the interface: registered on the object, else on its type, else on a
  // superclass, the nearest first. Null when none is.
  std::shared_ptr<Provider> Serves(const KtGuid& interface_id) const;

 private:
  const KtObjId id_;
  Type& type_;
  const std::shared_ptr<Provider> owner_;
  const std::uint32_t flags_;
  const std::uint64_t sequence_;
  PropertySet properties_;
  InterfaceList interfaces_;
};

class ObjectTable {
 public:
  void Enter(std::shared_ptr<Object> object);
  // The object taken out, or null when it is not there.
  std::shared_ptr<Object> Take(const KtObjId& id);
  std::shared_ptr<Object> Find(const KtObjId& id) const;

 private:
  static constexpr std::size_t kShards = 64;

  struct Shard {
    mutable SharedMutex lock;
    std::unordered_map<KtObjId, std::shared_ptr<Object>, ObjIdHash, ObjIdEqual> objects
        KT_GUARDED_BY(lock);
  };

  // The last byte of an id counts up, so shards fill evenly.
  static std::size_t ShardOf(const KtObjId& id) noexcept { return id.guid.Data4[7] % kShards; }

  std::array<Shard, kShards> shards_;
};

}  // namespace kt::bus
