// CKtEventDispatcher stands for one subscribed name: the paths to call, and the registrations that
// were made with the database for them, one per path added.
//
// Threads:   none of its own; the event manager's lock guards it.
// Ownership: paths are lent. Registrations are withdrawn by the destructor, all together, when the
//            last path of the name has gone.
// Failure:   a registration that fails is traced; the path stays all the same.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include "ktbus3/ktbus3.h"

class CKtEventPath;

class CKtEventDispatcher {
 public:
  // At most this many characters of the name are kept.
  static constexpr std::size_t kNameLength = 1023;

  explicit CKtEventDispatcher(std::string_view name) noexcept;
  CKtEventDispatcher(const CKtEventDispatcher&) = delete;
  CKtEventDispatcher& operator=(const CKtEventDispatcher&) = delete;

  // Withdraws every registration in the order of making; results are ignored.
  virtual ~CKtEventDispatcher();

  // Appends the path and registers its name with its database. Returns the status of the
  // registration; the path is there in any case. Throws std::bad_alloc with nothing changed.
  KtStatus Add(const CKtEventPath& path);

  // Drops the first occurrence of the path. One that is not there leaves a line at level 6.
  void Remove(const CKtEventPath& path) noexcept;

  // Drops every occurrence of the path without a line. Returns whether there was one.
  bool Forget(const CKtEventPath& path) noexcept;

  // The name as far as it is kept, lent.
  [[nodiscard]] const char* GetName() const noexcept { return name_.data(); }

  // True when the name is this dispatcher's, byte for byte.
  [[nodiscard]] bool IsNamed(std::string_view name) const noexcept;

  // Whether the path, taken by its identity, is among the dispatcher's; it may be gone by now.
  [[nodiscard]] bool Has(const CKtEventPath* path) const noexcept;

  // The paths in order of adding, lent.
  [[nodiscard]] const std::vector<const CKtEventPath*>& Paths() const noexcept { return paths_; }

 private:
  struct Registration {
    KtDatabase database;
    KtProvider context;
    KtCookie cookie;
  };

  std::vector<Registration> registrations_;
  std::array<char, kNameLength + 1> name_{};
  std::vector<const CKtEventPath*> paths_;
};
