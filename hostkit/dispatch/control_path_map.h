// Which handler stands under which control path.
//
// Two structures over one content. An ordered set keeps the paths' texts by plain byte comparison:
// it is what is walked where their order counts. Beside it stands a hash of the forty bytes that a
// path is made of, since each control looks a path up: in an ordered tree that is a comparison of
// texts, and memory that is in no cache, for each doubling of the number of handlers. What a
// look-up needs of a path fills one line of the cache, and those lines stand side by side.
//
// Threads:   none of its own; the control manager's path-map lock is around it.
// Ownership: owns the paths and no handler. A handler that has gone counts as absent, though its
//            path may still stand here.
// Failure:   Put() alone needs memory.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/dense_blocks.h"
#include "dispatch/control_key.h"
#include "dispatch/control_map_entry.h"

namespace kt {

class ControlPathMap {
 public:
  ControlPathMap() = default;
  ControlPathMap(const ControlPathMap&) = delete;
  ControlPathMap& operator=(const ControlPathMap&) = delete;

  // The handler under the key, or null. `hash` is the key's.
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> Find(const ControlKey& key) const noexcept {
    return Find(key, key.Hash());
  }
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> Find(const ControlKey& key,
                                                         std::size_t hash) const noexcept;

  // Both lines of memory that a look-up needs, the path's and its handler's, are in no cache when
  // there are many. Who has something else to do before it looks up asks for the first, and later
  // for the second, which is known once the first has come.
  void ExpectPath(std::size_t hash) const noexcept;
  void ExpectHandler(const ControlKey& key, std::size_t hash) const noexcept;

  // Puts a handler under the key, whose path is that text, in the place of one that has gone.
  // Throws std::bad_alloc; the map is then unchanged.
  void Put(const ControlKey& key, std::string_view path,
           const std::shared_ptr<CKtControlMapEntry>& handler);

  // Drops the key, whose path is that text. Returns whether a handler stood under it that had not
  // gone.
  bool Erase(const ControlKey& key, std::string_view path) noexcept;

  // Drops the first path, in their order, whose handler has not gone and is the one that `matches`
  // tells. Returns whether there was one. Needs no path, and hence no memory.
  template <typename Predicate>
  bool EraseFirst(const Predicate& matches) noexcept {
    for (auto place = in_order_.begin(); place != in_order_.end(); ++place) {
      const auto handler = place->second->handler.lock();
      if (handler == nullptr || !matches(*handler)) continue;
      Drop(place);
      return true;
    }
    return false;
  }

 private:
  // What a look-up needs of a path.
  struct Node {
    ControlKey key;
    std::weak_ptr<CKtControlMapEntry> handler;
    Node* next = nullptr;  // with another key that hashes to the same place

    static void* operator new(std::size_t /*size*/) {
      return DenseBlocksOf<sizeof(Node)>().Allocate();
    }
    static void operator delete(void* node) noexcept { DenseBlocksOf<sizeof(Node)>().Free(node); }
  };

  using InOrder = std::multimap<std::string, std::unique_ptr<Node>, std::less<>>;

  [[nodiscard]] Node* FindNode(const ControlKey& key, std::size_t hash) const noexcept;
  [[nodiscard]] std::size_t PlaceOf(std::size_t hash) const noexcept;
  void GrowFor(std::size_t paths);
  void Drop(InOrder::iterator place) noexcept;

  InOrder in_order_;           // by text
  std::vector<Node*> places_;  // a power of two of them, or none
};

}  // namespace kt
