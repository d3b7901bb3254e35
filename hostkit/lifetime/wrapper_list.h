// What the custom object container knows of a wrapper, and the list of the wrappers of one type.
//
// A row is made once, when its wrapper is registered: it is the value of a map's node, and goes
// with that node to the queue when the wrapper is to go. So neither needs memory on the way out. It
// is also its own link in the list of its type, so that a wrapper leaves the list in a few steps,
// however many others there are and wherever it stands.
//
// Threads:   none of its own; the container's lock is around it.
// Ownership: neither wrappers nor rows are owned. A row that goes must have been taken out of its
//            list; a list that goes must have been left by its rows, or they be told (their `list`
//            set to null).
// Failure:   nothing throws, nothing allocates.
#pragma once

class CKtObject;

namespace kt {

class WrapperList;

struct WrapperRow {
  WrapperRow() = default;
  WrapperRow(const WrapperRow&) = delete;
  WrapperRow& operator=(const WrapperRow&) = delete;

  CKtObject* object = nullptr;
  // Of a registered wrapper: it has a row in the queue as well. Of a queued one: it may still be
  // registered, with a row of its own.
  bool twice = false;
  WrapperList* list = nullptr;  // the one that it is in
  WrapperRow* before = nullptr;
  WrapperRow* behind = nullptr;
};

class WrapperList {
 public:
  WrapperList() = default;
  WrapperList(const WrapperList&) = delete;
  WrapperList& operator=(const WrapperList&) = delete;

  // Behind the others. The row is in no list.
  void Append(WrapperRow& row) noexcept {
    row.list = this;
    row.before = last_;
    row.behind = nullptr;
    (last_ == nullptr ? first_ : last_->behind) = &row;
    last_ = &row;
  }

  // Out of the list that it is in; nothing when it is in none.
  static void TakeOut(WrapperRow& row) noexcept {
    if (row.list == nullptr) return;
    (row.before == nullptr ? row.list->first_ : row.before->behind) = row.behind;
    (row.behind == nullptr ? row.list->last_ : row.behind->before) = row.before;
    row.list = nullptr;
  }

  // The rows in the order in which they were appended: the first, and each one's `behind`.
  [[nodiscard]] WrapperRow* First() const noexcept { return first_; }

  // The first row of that wrapper, or null. Looks at all.
  [[nodiscard]] WrapperRow* Find(const CKtObject* object) const noexcept {
    WrapperRow* row = first_;
    while (row != nullptr && row->object != object) row = row->behind;
    return row;
  }

 private:
  WrapperRow* first_ = nullptr;
  WrapperRow* last_ = nullptr;
};

}  // namespace kt
