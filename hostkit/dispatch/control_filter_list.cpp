#include "dispatch/control_filter_list.h"

#include <algorithm>

namespace kt {

ControlFilterList::~ControlFilterList() {
  FreeFormer();
  delete current_.load();
}

void ControlFilterList::Add(CKtControlFilter& filter) {
  List* const old = current_.load(std::memory_order_relaxed);
  std::vector<CKtControlFilter*> filters;
  if (old != nullptr) {
    for (const Place& place : old->places) {
      if (auto* const there = place.load(std::memory_order_relaxed)) filters.push_back(there);
    }
  }
  filters.push_back(&filter);
  auto made = std::make_unique<List>(filters.size());
  for (std::size_t i = 0; i < filters.size(); ++i) {
    made->places[i].store(filters[i], std::memory_order_relaxed);
  }
  current_.store(made.release(), std::memory_order_release);
  if (old == nullptr) return;
  // What is put here may be freed at once, on the thread that finds nobody in flight.
  List* newest = former_.load(std::memory_order_relaxed);
  do {
    old->former = newest;
  } while (!former_.compare_exchange_weak(newest, old, std::memory_order_acq_rel));
}

void ControlFilterList::Remove(const CKtControlFilter& filter) noexcept {
  List* const list = current_.load(std::memory_order_relaxed);
  if (list == nullptr) return;
  for (Place& place : list->places) {
    if (place.load(std::memory_order_relaxed) == &filter) {
      place.store(nullptr, std::memory_order_release);
    }
  }
}

void ControlFilterList::FreeFormer() noexcept {
  std::unique_ptr<List> list(former_.exchange(nullptr, std::memory_order_acquire));
  while (list != nullptr) list.reset(list->former);
}

}  // namespace kt
