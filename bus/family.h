// Family keeps which object is whose child. An object may have several parents; no object is its
// own descendant.
//
// Threads: none of its own; the database locks around it, together with the comings and goings of
//          the objects, so that no relation to a deleted object is left.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "bus/guid.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

class Family {
 public:
  // False for a child that is there already, for the object itself, and where it would close a
  // circle.
  bool Attach(const KtObjId& parent, const KtObjId& child);

  // False when the child is not there.
  bool Detach(const KtObjId& parent, const KtObjId& child);

  // Drops every relation of the object, as a parent and as a child.
  void Remove(const KtObjId& object);

  // In the order in which they were attached.
  [[nodiscard]] std::vector<KtObjId> ChildrenOf(const KtObjId& parent) const;

 private:
  using Ids = std::unordered_set<KtObjId, ObjIdHash, ObjIdEqual>;

  // Children by the order of attaching and back, so that a parent of many loses one quickly.
  struct Node {
    std::map<std::uint64_t, KtObjId> children;
    std::unordered_map<KtObjId, std::uint64_t, ObjIdHash, ObjIdEqual> order;
    Ids parents;
  };

  [[nodiscard]] bool IsAncestor(const KtObjId& ancestor, const KtObjId& object) const;
  void RemoveChild(const KtObjId& parent, const KtObjId& child);
  void DropIfEmpty(const KtObjId& object);

  std::unordered_map<KtObjId, Node, ObjIdHash, ObjIdEqual> nodes_;
  std::uint64_t next_ = 0;
};

}  // namespace kt::bus
