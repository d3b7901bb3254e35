#include "dispatch/control_path_map.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/prefetch.h"

namespace kt {
namespace {

constexpr std::size_t kFirstPlaces = 64;

}  // namespace

std::string_view ControlPathMap::Node::Text() const noexcept {
  std::size_t size = 0;
  const auto* const place = reinterpret_cast<const char*>(this + 1);
  std::memcpy(&size, place, sizeof(size));
  return {place + sizeof(size), size};
}

ControlPathMap::~ControlPathMap() {
  std::for_each(in_order_.begin(), in_order_.end(), Release());
}

void ControlPathMap::Expect(const ControlKey& key) const noexcept {
  if (!places_.empty()) Prefetch(places_[PlaceOf(key)]);
}

std::shared_ptr<CKtControlMapEntry> ControlPathMap::Find(const ControlKey& key) const noexcept {
  const Node* const node = FindNode(key);
  return node == nullptr ? nullptr : node->handler.lock();
}

void ControlPathMap::Put(const ControlKey& key, std::string_view path,
                         const std::shared_ptr<CKtControlMapEntry>& handler) {
  if (Node* const node = FindNode(key)) {
    node->handler = handler;
    return;
  }
  auto node = MakeNode(key, path);
  node->handler = handler;
  GrowFor(in_order_.size() + 1);
  in_order_.insert(node.get());
  Node*& first = places_[PlaceOf(key)];
  node->next = first;
  first = node.release();
}

bool ControlPathMap::Erase(const ControlKey& key) noexcept {
  Node* const node = FindNode(key);
  if (node == nullptr) return false;
  const bool stood = !node->handler.expired();
  Drop(node);
  return stood;
}

std::unique_ptr<ControlPathMap::Node, ControlPathMap::Release> ControlPathMap::MakeNode(
    const ControlKey& key, std::string_view path) {
  const std::size_t size = path.size();
  void* const room =
      ::operator new (sizeof(Node) + sizeof(size) + size, std::align_val_t{alignof(Node)});
  auto* const node = new (room) Node;
  node->key = key;
  auto* const text = reinterpret_cast<char*>(node + 1);
  std::memcpy(text, &size, sizeof(size));
  std::memcpy(text + sizeof(size), path.data(), size);
  return std::unique_ptr<Node, Release>(node);
}

void ControlPathMap::Release::operator()(Node* node) const noexcept {
  node->~Node();
  ::operator delete (node, std::align_val_t{alignof(Node)});
}

ControlPathMap::Node* ControlPathMap::FindNode(const ControlKey& key) const noexcept {
  if (places_.empty()) return nullptr;
  Node* node = places_[PlaceOf(key)];
  while (node != nullptr && !(node->key == key)) node = node->next;
  return node;
}

std::size_t ControlPathMap::PlaceOf(const ControlKey& key) const noexcept {
  return key.Hash() & (places_.size() - 1);
}

// There are at least as many places as paths.
void ControlPathMap::GrowFor(std::size_t paths) {
  if (paths <= places_.size()) return;
  places_ = std::vector<Node*>(std::max(kFirstPlaces, places_.size() * 2));
  for (Node* const node : in_order_) {
    Node*& first = places_[PlaceOf(node->key)];
    node->next = first;
    first = node;
  }
}

void ControlPathMap::Drop(Node* node) noexcept {
  Node** link = &places_[PlaceOf(node->key)];
  while (*link != node) link = &(*link)->next;
  *link = node->next;
  in_order_.erase(node);
  Release()(node);
}

}  // namespace kt
