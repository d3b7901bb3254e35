#include "dispatch/control_path_map.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "base/prefetch.h"

namespace kt {
namespace {

constexpr std::size_t kFirstPlaces = 64;

// Where the counts are that lock() looks at, in front of the handler itself: the second of the two
// pointers, in each library that there is. It is only a hint; were it another one, nothing but its
// use would be lost.
const void* CountsOf(const std::weak_ptr<CKtControlMapEntry>& handler) noexcept {
  std::array<const void*, 2> pointers{};
  static_assert(sizeof(pointers) == sizeof(handler));
  std::memcpy(pointers.data(), reinterpret_cast<const std::byte*>(&handler), sizeof(pointers));
  return pointers[1];
}

}  // namespace

std::shared_ptr<CKtControlMapEntry> ControlPathMap::Find(const ControlKey& key,
                                                         std::size_t hash) const noexcept {
  const Node* const node = FindNode(key, hash);
  return node == nullptr ? nullptr : node->handler.lock();
}

void ControlPathMap::ExpectPath(std::size_t hash) const noexcept {
  if (!places_.empty()) Prefetch(places_[PlaceOf(hash)]);
}

void ControlPathMap::ExpectHandler(const ControlKey& key, std::size_t hash) const noexcept {
  if (const Node* const node = FindNode(key, hash)) Prefetch(CountsOf(node->handler));
}

void ControlPathMap::Put(const ControlKey& key, std::string_view path,
                         const std::shared_ptr<CKtControlMapEntry>& handler) {
  const std::size_t hash = key.Hash();
  if (Node* const node = FindNode(key, hash)) {
    node->handler = handler;
    return;
  }
  auto made = std::make_unique<Node>();
  Node* const node = made.get();
  node->key = key;
  node->handler = handler;
  GrowFor(in_order_.size() + 1);
  in_order_.emplace(path, std::move(made));
  Node*& first = places_[PlaceOf(hash)];
  node->next = first;
  first = node;
}

bool ControlPathMap::Erase(const ControlKey& key, std::string_view path) noexcept {
  const Node* const node = FindNode(key, key.Hash());
  if (node == nullptr) return false;
  const bool stood = !node->handler.expired();
  auto place = in_order_.lower_bound(path);
  while (place != in_order_.end() && place->second.get() != node) ++place;
  if (place == in_order_.end()) {
    // It was put there under another text.
    place = std::find_if(in_order_.begin(), in_order_.end(),
                         [node](const auto& path_of) { return path_of.second.get() == node; });
  }
  Drop(place);
  return stood;
}

ControlPathMap::Node* ControlPathMap::FindNode(const ControlKey& key,
                                               std::size_t hash) const noexcept {
  if (places_.empty()) return nullptr;
  Node* node = places_[PlaceOf(hash)];
  while (node != nullptr && !(node->key == key)) node = node->next;
  return node;
}

std::size_t ControlPathMap::PlaceOf(std::size_t hash) const noexcept {
  return hash & (places_.size() - 1);
}

// There are at least as many places as paths.
void ControlPathMap::GrowFor(std::size_t paths) {
  if (paths <= places_.size()) return;
  places_ = std::vector<Node*>(std::max(kFirstPlaces, places_.size() * 2));
  for (const auto& [path, node] : in_order_) {
    Node*& first = places_[PlaceOf(node->key.Hash())];
    node->next = first;
    first = node.get();
  }
}

void ControlPathMap::Drop(InOrder::iterator place) noexcept {
  const Node* const node = place->second.get();
  Node** link = &places_[PlaceOf(node->key.Hash())];
  while (*link != node) link = &(*link)->next;
  *link = node->next;
  in_order_.erase(place);
}

}  // namespace kt
