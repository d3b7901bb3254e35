// Which handler stands under which control path.
//
// Two structures over one content. An ordered set keeps the paths' texts by plain byte comparison:
// it is what is walked where their order counts. Beside it stands a hash of the forty bytes that a
// path is made of, since each control looks a path up: in an ordered tree that is a comparison of
// texts, and memory that is in no cache, for each doubling of the number of handlers. What a
// look-up needs of a path fills one line of the cache.
//
// Threads:   none of its own; the control manager's path-map lock is around it.
// Ownership: owns the paths and no handler. A handler that has gone counts as absent, though its
//            path may still stand here.
// Failure:   Put() alone needs memory.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "dispatch/control_key.h"
#include "dispatch/control_map_entry.h"

namespace kt {

class ControlPathMap {
 public:
  ControlPathMap() = default;
  ~ControlPathMap();
  ControlPathMap(const ControlPathMap&) = delete;
  ControlPathMap& operator=(const ControlPathMap&) = delete;

  // Says that a key will be looked up soon: its memory comes nearer while the caller does something
  // else. Of no other effect.
  void Expect(const ControlKey& key) const noexcept;

  // The handler under the key, or null.
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> Find(const ControlKey& key) const noexcept;

  // Puts a handler under the key, whose path is that text, in the place of one that has gone.
  // Throws std::bad_alloc; the map is then unchanged.
  void Put(const ControlKey& key, std::string_view path,
           const std::shared_ptr<CKtControlMapEntry>& handler);

  // Drops the path. Returns whether a handler stood under it that had not gone.
  bool Erase(const ControlKey& key) noexcept;

  // Drops the first path, in their order, whose handler has not gone and is the one that `matches`
  // tells. Returns whether there was one. Needs no path, and hence no memory.
  template <typename Predicate>
  bool EraseFirst(const Predicate& matches) noexcept {
    for (Node* const node : in_order_) {
      const auto handler = node->handler.lock();
      if (handler == nullptr || !matches(*handler)) continue;
      Drop(node);
      return true;
    }
    return false;
  }

 private:
  // A path. Its text follows in the same piece of memory: its size, then its characters.
  struct alignas(64) Node {
    ControlKey key;
    std::weak_ptr<CKtControlMapEntry> handler;
    Node* next = nullptr;  // with another key that hashes to the same place

    [[nodiscard]] std::string_view Text() const noexcept;
  };
  struct Release {
    void operator()(Node* node) const noexcept;
  };
  struct ByText {
    bool operator()(const Node* left, const Node* right) const noexcept {
      const int order = left->Text().compare(right->Text());
      return order != 0 ? order < 0 : std::less<>()(left, right);
    }
  };

  static std::unique_ptr<Node, Release> MakeNode(const ControlKey& key, std::string_view path);

  [[nodiscard]] Node* FindNode(const ControlKey& key) const noexcept;
  [[nodiscard]] std::size_t PlaceOf(const ControlKey& key) const noexcept;
  void GrowFor(std::size_t paths);
  void Drop(Node* node) noexcept;

  std::set<Node*, ByText> in_order_;  // owns its nodes
  std::vector<Node*> places_;         // a power of two of them, or none
};

}  // namespace kt
