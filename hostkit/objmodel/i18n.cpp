#include "objmodel/i18n.h"

#include <utility>

CKtI18N::CKtI18N() noexcept {
  Aim();
}

CKtI18N::CKtI18N(const KtI18NDef& definition)
    : definition_(definition), name_(definition.name == nullptr ? "" : definition.name) {
  Aim();
}

CKtI18N::CKtI18N(const CKtI18N& other) : definition_(other.definition_), name_(other.name_) {
  Aim();
}

// A short text lives inside its string: moving one moves the characters too, so both sides aim
// anew.
CKtI18N::CKtI18N(CKtI18N&& other) noexcept
    : definition_(other.definition_), name_(std::move(other.name_)) {
  Aim();
  other.Aim();
}

CKtI18N& CKtI18N::operator=(const CKtI18N& other) {
  if (this != &other) *this = CKtI18N(other);
  return *this;
}

CKtI18N& CKtI18N::operator=(CKtI18N&& other) noexcept {
  if (this != &other) {
    definition_ = other.definition_;
    name_ = std::move(other.name_);
    Aim();
    other.Aim();
  }
  return *this;
}
