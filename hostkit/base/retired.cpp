#include "base/retired.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

namespace kt {
namespace {

// A chain of nodes that are allocated one by one: nothing is moved or freed when one is added.
struct Node {
  void* thing = nullptr;
  void (*destroy)(void*) = nullptr;
  Node* next = nullptr;
};

// The standard library's lock: the list must work when the framework's is not to be called.
std::mutex g_lock;
Node* g_first = nullptr;

// Where the memory has run out. A life retires a handful of things, so that these last.
constexpr std::size_t kSpares = 32;
std::array<Node, kSpares> g_spares{};

bool IsSpare(const Node* node) {
  return std::any_of(g_spares.begin(), g_spares.end(),
                     [node](const Node& spare) { return &spare == node; });
}

// Under the lock; null when all are in use.
Node* FreeSpare() {
  const auto spare = std::find_if(g_spares.begin(), g_spares.end(),
                                  [](const Node& each) { return each.destroy == nullptr; });
  return spare == g_spares.end() ? nullptr : &*spare;
}

// The last one added, out of the chain; `destroy` is null when there is none.
Node TakeFirst() {
  const std::lock_guard guard(g_lock);
  Node* const node = g_first;
  if (node == nullptr) return {};
  g_first = node->next;
  const Node taken = *node;
  if (IsSpare(node)) {
    *node = {};
  } else {
    delete node;
  }
  return taken;
}

}  // namespace

void RetireRaw(void* thing, void (*destroy)(void*)) noexcept {
  auto* node = new (std::nothrow) Node;
  const std::lock_guard guard(g_lock);
  if (node == nullptr) node = FreeSpare();
  if (node == nullptr) return;
  *node = {thing, destroy, std::exchange(g_first, node)};
}

void ReleaseRetired() noexcept {
  for (Node node = TakeFirst(); node.destroy != nullptr; node = TakeFirst()) {
    try {
      node.destroy(node.thing);
    } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to hear of it
    }
  }
}

}  // namespace kt
