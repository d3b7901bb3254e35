// CKtI18N is a message definition with a name text of its own.
//
// A KtI18NDef as the framework hands it out points into a record that is soon released. A CKtI18N
// keeps catalog and id and owns a copy of the name; its definition's name pointer aims at that copy
// at all times, through copies, moves and assignments. It begins with the complete definition, so
// that its first 32 bytes can be written as a TYPE_I18N value.
//
// Threads:  a plain value; no framework call is made.
// Failure:  only std::bad_alloc. A null name is the empty text.
#pragma once

#include <string>
#include <type_traits>

#include "ktbus3/ktbus3.h"

class CKtI18N {
 public:
  CKtI18N() noexcept;
  explicit CKtI18N(const KtI18NDef& definition);
  CKtI18N(const CKtI18N& other);
  CKtI18N(CKtI18N&& other) noexcept;
  CKtI18N& operator=(const CKtI18N& other);
  CKtI18N& operator=(CKtI18N&& other) noexcept;
  ~CKtI18N() = default;

  // Lent; its name pointer is valid until this object is changed or goes away.
  [[nodiscard]] const KtI18NDef& Definition() const noexcept { return definition_; }
  [[nodiscard]] const std::string& Name() const noexcept { return name_; }

 private:
  void Aim() noexcept { definition_.name = name_.c_str(); }

  KtI18NDef definition_{};
  std::string name_;
};

static_assert(std::is_standard_layout_v<CKtI18N>, "the definition stands at the very beginning");
