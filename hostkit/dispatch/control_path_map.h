// Which handler stands under which control path.
//
// Two structures over one content. An ordered set keeps the paths by plain byte comparison: it is
// what is walked where their order counts. Beside it stands a hash, since each control looks a path
// up: in an ordered tree that is a comparison of texts, and memory that is in no cache, for each
// doubling of the number of handlers. What a look-up needs of a path, its text and its handler, is
// one piece of memory.
//
// Threads:   none of its own; the control manager's path-map lock is around it.
// Ownership: owns the paths and no handler. A handler that has gone counts as absent, though its
//            path may still stand here.
// Failure:   Put() alone needs memory.
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "dispatch/control_map_entry.h"

namespace kt {

class ControlPathMap {
 public:
  ControlPathMap() = default;
  ~ControlPathMap();
  ControlPathMap(const ControlPathMap&) = delete;
  ControlPathMap& operator=(const ControlPathMap&) = delete;

  // The handler under the path, or null.
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> Find(std::string_view path) const noexcept;

  // Puts a handler under the path, in the place of one that has gone. Throws std::bad_alloc; the
  // map is then unchanged.
  void Put(std::string_view path, const std::shared_ptr<CKtControlMapEntry>& handler);

  // Drops the path. Returns whether a handler stood under it that had not gone.
  bool Erase(std::string_view path) noexcept;

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
  // A path. Its text follows in the same piece of memory.
  struct Node {
    Node* next = nullptr;  // with another path that hashes to the same place
    std::size_t hash = 0;
    std::size_t size = 0;
    std::weak_ptr<CKtControlMapEntry> handler;

    [[nodiscard]] std::string_view Text() const noexcept {
      return {reinterpret_cast<const char*>(this + 1), size};
    }
  };
  struct Release {
    void operator()(Node* node) const noexcept;
  };
  struct ByText {
    bool operator()(const Node* left, const Node* right) const noexcept {
      return left->Text() < right->Text();
    }
  };

  static std::unique_ptr<Node, Release> MakeNode(std::string_view path, std::size_t hash);

  [[nodiscard]] Node* FindNode(std::string_view path, std::size_t hash) const noexcept;
  [[nodiscard]] std::size_t PlaceOf(std::size_t hash) const noexcept;
  void GrowFor(std::size_t paths);
  void Drop(Node* node) noexcept;

  std::set<Node*, ByText> in_order_;  // owns its nodes
  std::vector<Node*> places_;         // a power of two of them, or none
};

}  // namespace kt
