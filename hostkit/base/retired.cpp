#include "base/retired.h"

#include <mutex>
#include <new>
#include <utility>

namespace kt {
namespace {

// A chain of nodes that are allocated one by one: nothing is moved or freed when one is added.
struct Node {
  void* thing;
  void (*destroy)(void*);
  Node* next;
};

// The standard library's lock: the list must work when the framework's is not to be called.
std::mutex g_lock;
Node* g_first = nullptr;

Node* TakeFirst() {
  const std::lock_guard guard(g_lock);
  Node* node = g_first;
  if (node != nullptr) g_first = node->next;
  return node;
}

}  // namespace

void RetireRaw(void* thing, void (*destroy)(void*)) noexcept {
  auto* node = new (std::nothrow) Node{thing, destroy, nullptr};
  if (node == nullptr) return;
  const std::lock_guard guard(g_lock);
  node->next = std::exchange(g_first, node);
}

void ReleaseRetired() noexcept {
  while (Node* node = TakeFirst()) {
    try {
      node->destroy(node->thing);
    } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to hear of it
    }
    delete node;
  }
}

}  // namespace kt
