// CKtPropertySet works on a property set of the framework through its handle.
//
// Ownership: by hand. The class is as good as the handle in it: the constructors create nothing,
//            the destructor destroys nothing, and a copy is a second view of the same set. Whoever
//            calls Create(), or receives a filled handle that is theirs to release (GetProperties()
//            of an object, a nested set), calls Destroy(). Inside a function kt::ScopedPropset does
//            the remembering.
// Failure:   one trace line, then the 32-bit status is thrown.
// Threads:   the framework lets two calls on one set exclude each other; the handle in here is not
//            guarded.
//
// A set is empty (null handle) until Create() or until the framework fills it, and again after
// Destroy(). On an empty set everything but Create(), Destroy() and GetKeys() hands the null handle
// to the framework, which answers with a status.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "objmodel/property_set_base.h"

class CKtPropertySet : public CKtPropertySetBase {
 public:
  using CKtPropertySetBase::GetProp;

  CKtPropertySet() = default;
  explicit CKtPropertySet(KtPropset handle) noexcept : handle_(handle) {}
  CKtPropertySet(const CKtPropertySet&) = default;
  CKtPropertySet& operator=(const CKtPropertySet&) = default;
  ~CKtPropertySet() noexcept override = default;

  // A new, empty set. A set that is already held is forgotten, not destroyed.
  void Create();

  // Destroys the set. The handle is null afterwards in every case; an empty set is left alone.
  void Destroy();

  // Names of all properties in the framework's order. Throws KTERROR_UNEXPECTED for an empty set
  // and when the set cannot be enumerated.
  [[nodiscard]] std::vector<std::string> GetKeys() const;

  bool GetProp(const char* name, cuvo_property*& found, bool isOptionalProp) const override;

  // Adds; a name that is there fails.
  KtStatus AddProperty(const cuvo_property& property) override;

  // Adds or replaces.
  KtStatus AddProperty(const CKtProperty& property) override;

  std::string ToString(const char* propId, bool isOptionalProp, bool showType) const override;

  // Replaces; 0 when the value is the same as before.
  virtual KtStatus SetProperty(const CKtProperty& property);

  // "{Name = x, Size = 5}", "{}" for a set without properties.
  virtual std::string ToString(bool showType) const;

  [[nodiscard]] KtPropset Handle() const noexcept { return handle_; }

  // The place for a framework function to write a handle to. What was there is forgotten.
  [[nodiscard]] KtPropset* Out() noexcept {
    handle_ = nullptr;
    return &handle_;
  }

  // Hands the handle on; the set is empty afterwards.
  [[nodiscard]] KtPropset Release() noexcept;

 private:
  std::uint32_t GetTypeForText(const char* propId) const;

  KtPropset handle_ = nullptr;
};

namespace kt {

// Destroys its set at the end of the scope. A failing destroy is traced and goes no further; where
// it should be thrown, call Destroy() on the set before.
class ScopedPropset {
 public:
  ScopedPropset() = default;
  explicit ScopedPropset(const CKtPropertySet& set) noexcept : set_(set) {}
  ScopedPropset(ScopedPropset&& other) noexcept : set_(other.set_.Release()) {}
  ScopedPropset(const ScopedPropset&) = delete;
  ScopedPropset& operator=(const ScopedPropset&) = delete;
  ScopedPropset& operator=(ScopedPropset&&) = delete;
  ~ScopedPropset();

  CKtPropertySet& operator*() noexcept { return set_; }
  CKtPropertySet* operator->() noexcept { return &set_; }

 private:
  CKtPropertySet set_;
};

}  // namespace kt
