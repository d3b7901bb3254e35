#include "objmodel/property_set.h"

#include <utility>

#include "base/owned.h"
#include "base/trace.h"
#include "objmodel/property_text.h"

void CKtPropertySet::Create() {
  KtPropset created = nullptr;
  kt::ThrowIfFailed(PsCreatePropset(&created), kt::kError,
                    "%S: ERROR: in CKtPropertySet::Create() PsCreatePropset() failed");
  handle_ = created;
}

void CKtPropertySet::Destroy() {
  const KtPropset old = Release();
  if (old == nullptr) return;
  kt::ThrowIfFailed(PsDestroyPropset(old), kt::kError,
                    "%S: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed");
}

KtPropset CKtPropertySet::Release() noexcept {
  return std::exchange(handle_, nullptr);
}

std::vector<std::string> CKtPropertySet::GetKeys() const {
  if (handle_ == nullptr) {
    kt::TraceAndThrow(
        KTERROR_UNEXPECTED, kt::kError,
        "%S: ERROR: in CKtPropertySet::GetKeys() Attempt to get keys on NULL propset failed");
  }
  kt::OwnedIterator iterator;
  if (PsOpenPropset(handle_, iterator.out()) != 0) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: in CKtPropertySet::GetKeys() PsOpenPropset() failed");
  }
  std::vector<std::string> keys;
  keys.reserve(16);  // most sets have no more
  for (;;) {
    cuvo_property* found = nullptr;
    const KtStatus status = PsFindNextProperty(handle_, iterator.get(), &found);
    // Ours whatever the status: one that is neither 0 nor a failure may bring a record too.
    const kt::FoundProperty record(found);
    // Any status but 0 is the end, and none of them an error.
    if (status != 0 || record == nullptr) return keys;
    keys.emplace_back(record->name == nullptr ? "" : record->name);
  }
}

bool CKtPropertySet::GetProp(const char* name, cuvo_property*& found, bool isOptionalProp) const {
  cuvo_property* record = nullptr;
  KtStatus status = PsFindProperty(handle_, name, &record);
  if (!kt::StatusFails(status)) {
    if (record != nullptr) {
      found = record;
      return true;
    }
    status = KTERROR_UNEXPECTED;  // a success that brings no record is none
  }
  if (isOptionalProp) return false;
  kt::TraceAndThrow(status, kt::kWarning,
                    "%S: ERROR: CKtPropertySet::FindProperty() : Unable to find property %s", name);
}

KtStatus CKtPropertySet::AddProperty(const cuvo_property& property) {
  const KtStatus status = PsAddProperty(handle_, &property);
  kt::ThrowIfFailed(status, kt::kError,
                    "%S: ERROR: in CKtPropertySet::AddProperty(property) Failed to add property %s",
                    property.name);
  return status;
}

KtStatus CKtPropertySet::AddProperty(const CKtProperty& property) {
  cuvo_property* found = nullptr;
  const KtStatus lookup = PsFindProperty(handle_, property.name, &found);
  const kt::FoundProperty record(found);
  if (!kt::StatusFails(lookup)) {
    SetProperty(property);
    return lookup;
  }
  const KtStatus status = PsAddProperty(handle_, &property);
  // "%d" shows the value field as it stands, whatever it is: its low 32 bits.
  kt::ThrowIfFailed(
      status, kt::kError,
      "%S: ERROR: %x CKtPropertySet::AddProperty(CKtProperty) Failed to add property %s, %d",
      status, property.name,
      static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(property.value)));
  return status;
}

KtStatus CKtPropertySet::SetProperty(const CKtProperty& property) {
  const KtStatus status = PsSetProperty(handle_, &property);
  if (status == KTSTATUS_UNCHANGED) return 0;
  kt::ThrowIfFailed(status, kt::kError,
                    "%S: ERROR: CKtPropertySet::SetProperty(CKtProperty) Failed to set property "
                    "%s, setting a property to the same value twice is invalid.",
                    property.name);
  return status;
}

// The look-up has a line of its own; this one says who asked.
std::uint32_t CKtPropertySet::GetTypeForText(const char* propId) const {
  try {
    return GetPropType(propId);
  } catch (std::uint32_t status) {
    kt::TraceAndThrow(status, kt::kError,
                      "%S: ERROR: CKtPropertySet::ToString(propId), property (%s) doesn't exist in "
                      "this property set, and isOptionalProp=cuvo_false.",
                      propId);
  }
}

std::string CKtPropertySet::ToString(const char* propId, bool isOptionalProp, bool showType) const {
  std::uint32_t type = 0;
  if (isOptionalProp) {
    cuvo_property* found = nullptr;
    if (!GetProp(propId, found, true)) return {};
    type = kt::FoundProperty(found)->type;
  } else {
    type = GetTypeForText(propId);
  }
  return kt::PropertyText(*this, propId, type, showType);
}

std::string CKtPropertySet::ToString(bool showType) const {
  const std::vector<std::string> keys = GetKeys();
  std::string text = "{";
  text.reserve(2 + 32 * keys.size());
  for (const std::string& key : keys) {
    text += key;
    text += " = ";
    text += ToString(key.c_str(), false, showType);
    text += ", ";
  }
  if (text.size() > 2) text.resize(text.size() - 2);
  text += "}";
  return text;
}

namespace kt {

ScopedPropset::~ScopedPropset() {
  try {
    set_.Destroy();
  } catch (...) {
    // Destroy() has traced it.
  }
}

}  // namespace kt
