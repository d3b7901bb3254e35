#include "dispatch/control_path_map.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

namespace kt {
namespace {

constexpr std::size_t kFirstPlaces = 64;

std::size_t HashOf(std::string_view path) noexcept {
  return std::hash<std::string_view>()(path);
}

}  // namespace

ControlPathMap::~ControlPathMap() {
  std::for_each(in_order_.begin(), in_order_.end(), Release());
}

std::shared_ptr<CKtControlMapEntry> ControlPathMap::Find(std::string_view path) const noexcept {
  const Node* const node = FindNode(path, HashOf(path));
  return node == nullptr ? nullptr : node->handler.lock();
}

void ControlPathMap::Put(std::string_view path,
                         const std::shared_ptr<CKtControlMapEntry>& handler) {
  const std::size_t hash = HashOf(path);
  if (Node* const node = FindNode(path, hash)) {
    node->handler = handler;
    return;
  }
  auto node = MakeNode(path, hash);
  node->handler = handler;
  GrowFor(in_order_.size() + 1);
  in_order_.insert(node.get());
  Node*& first = places_[PlaceOf(hash)];
  node->next = first;
  first = node.release();
}

bool ControlPathMap::Erase(std::string_view path) noexcept {
  Node* const node = FindNode(path, HashOf(path));
  if (node == nullptr) return false;
  const bool stood = !node->handler.expired();
  Drop(node);
  return stood;
}

std::unique_ptr<ControlPathMap::Node, ControlPathMap::Release> ControlPathMap::MakeNode(
    std::string_view path, std::size_t hash) {
  void* const room = ::operator new(sizeof(Node) + path.size());
  auto* const node = new (room) Node;
  node->hash = hash;
  node->size = path.size();
  std::memcpy(static_cast<std::byte*>(room) + sizeof(Node), path.data(), path.size());
  return std::unique_ptr<Node, Release>(node);
}

void ControlPathMap::Release::operator()(Node* node) const noexcept {
  node->~Node();
  ::operator delete(node);
}

ControlPathMap::Node* ControlPathMap::FindNode(std::string_view path,
                                               std::size_t hash) const noexcept {
  if (places_.empty()) return nullptr;
  Node* node = places_[PlaceOf(hash)];
  while (node != nullptr && (node->hash != hash || node->Text() != path)) node = node->next;
  return node;
}

std::size_t ControlPathMap::PlaceOf(std::size_t hash) const noexcept {
  return hash & (places_.size() - 1);
}

// There are at least as many places as paths.
void ControlPathMap::GrowFor(std::size_t paths) {
  if (paths <= places_.size()) return;
  places_ = std::vector<Node*>(std::max(kFirstPlaces, places_.size() * 2));
  for (Node* const node : in_order_) {
    Node*& first = places_[PlaceOf(node->hash)];
    node->next = first;
    first = node;
  }
}

void ControlPathMap::Drop(Node* node) noexcept {
  Node** link = &places_[PlaceOf(node->hash)];
  while (*link != node) link = &(*link)->next;
  *link = node->next;
  in_order_.erase(node);
  Release()(node);
}

}  // namespace kt
