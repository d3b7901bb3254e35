// kt::ControlFilterList is the control manager's list of filters: each control reads it, hardly
// anybody changes it.
//
// So it is read without a lock and without a count that all controls would share. A filter that is
// added makes a new list, which takes the place of the former one; a filter that is taken out
// leaves an empty place, for which no memory is needed. Former lists stay until nobody can be
// reading them any more, which the manager knows: when no control and no event is in flight.
//
// Threads:   Add() and Remove() one at a time (the manager's path-map lock is around them); Walk()
//            on any thread that is counted as in flight, meanwhile; DropFormer() as it says.
// Ownership: filters are lent.
// Failure:   Add() alone needs memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "ktbus3/ktbus3.h"

class CKtControlFilter;

namespace kt {

class ControlFilterList {
 public:
  ControlFilterList() = default;
  ~ControlFilterList();
  ControlFilterList(const ControlFilterList&) = delete;
  ControlFilterList& operator=(const ControlFilterList&) = delete;

  // Behind the others. Throws std::bad_alloc; the list is then as it was.
  void Add(CKtControlFilter& filter);

  // Wherever it stands. A walk that is under way may still meet it, or not.
  void Remove(const CKtControlFilter& filter) noexcept;

  // Calls `call` with each filter in the order of adding, as long as it answers with true.
  template <typename Call>
  void Walk(const Call& call) const {
    const List* const list = current_.load(std::memory_order_acquire);
    if (list == nullptr) return;
    for (const Place& place : list->places) {
      CKtControlFilter* const filter = place.load(std::memory_order_acquire);
      if (filter != nullptr && !call(*filter)) return;
    }
  }

  // Frees the former lists. For the moment when no thread walks: none that starts later reaches
  // them.
  void DropFormer() noexcept {
    if (former_.load(std::memory_order_relaxed) != nullptr) FreeFormer();
  }

 private:
  using Place = std::atomic<CKtControlFilter*>;
  struct List {
    explicit List(std::size_t size) : places(size) {}
    std::vector<Place> places;
    List* former = nullptr;
  };

  void FreeFormer() noexcept;

  std::atomic<List*> current_{nullptr};
  std::atomic<List*> former_{nullptr};  // the newest of them
};

}  // namespace kt
