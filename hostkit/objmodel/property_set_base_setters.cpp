// The setters of the property interface; the getters are in property_set_base.cpp.

#include <type_traits>
#include <vector>

#include "base/trace.h"
#include "objmodel/property_set_base.h"
#include "objmodel/property_traits.h"

using kt::PropertyTraits;

// ---- What all kinds have in common ----

template <typename T>
KtStatus CKtPropertySetBase::WriteScalar(const char* name, const T& value, Flags flags) {
  using Row = PropertyTraits<T>;
  const typename Row::Element& element = Row::ToElement(value);
  return AddProperty(
      CKtProperty(name, Row::kType, flags, Row::Length(value), Row::ValueField(element)));
}

template <typename T>
KtStatus CKtPropertySetBase::WriteScalar(const char* name, const T* value, Flags flags) {
  if (value == nullptr) {
    kt::TraceAndThrow(E_INVALIDARG, kt::kError,
                      "%S: ERROR: CKtPropertySetBase::AddProp(), No value given for property %s",
                      name);
  }
  return WriteScalar(name, *value, flags);
}

template <typename T>
KtStatus CKtPropertySetBase::WriteList(const char* name, const List<T>& values, Flags flags) {
  using Row = PropertyTraits<T>;
  std::vector<typename Row::Element> elements;
  elements.reserve(values.size());
  for (const T& value : values) elements.push_back(Row::ToElement(value));
  return AddProperty(CKtProperty(name, Row::kListType, flags,
                                 static_cast<std::uint32_t>(elements.size()),
                                 elements.empty() ? nullptr : elements.data()));
}

template <typename T, typename Element>
KtStatus CKtPropertySetBase::WriteArray(const char* name, const Element* values,
                                        std::uint32_t count, Flags flags) {
  static_assert(std::is_same_v<Element, typename PropertyTraits<T>::Element>);
  return AddProperty(CKtProperty(name, PropertyTraits<T>::kListType, flags, count, values));
}

// ---- Setters ----

KtStatus CKtPropertySetBase::AddProp(const char* name, const char* const* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<std::string>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtWchar* const* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<KtWString>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::uint64_t* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<std::uint64_t>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::int64_t* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<std::int64_t>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::uint32_t* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<std::uint32_t>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::int32_t* values,
                                     std::uint32_t count, const Flags& flags) {
  return WriteArray<std::int32_t>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const cuvo_bool* values, std::uint32_t count,
                                     const Flags& flags) {
  return WriteArray<cuvo_bool>(name, values, count, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtPropset>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtObjId>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtGuid>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<std::string>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtWString>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<std::int64_t>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<std::uint64_t>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<std::uint32_t>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<CKtI18NFM>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<CKtI18N>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtI18NDef>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtI18NFormatString>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<std::int32_t>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<KtTime>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const List<cuvo_bool>& values,
                                     const Flags& flags) {
  return WriteList(name, values, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, std::uint32_t type, std::uint32_t flags,
                                     std::uint32_t length, void* value) {
  return AddProperty(CKtProperty(name, type, flags, length, value));
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtWchar* value, const Flags& flags) {
  return WriteScalar(name, KtWString(value == nullptr ? KT_W("") : value), flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtTime& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtTime* value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtI18NFormatString& value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtI18NDef& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const CKtI18NFM& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const CKtI18N& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const char* value, const Flags& flags) {
  return WriteScalar(name, std::string(value == nullptr ? "" : value), flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtPropset& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtGuid& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtGuid* value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtObjId& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtObjId* value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::string& value,
                                     const Flags& flags) {
  const KtStatus status = WriteScalar(name, value, flags);
  kt::ThrowIfFailed(
      status, kt::kError,
      "%S: ERROR: CKtPropertySetBase::AddProp(), Failed to add property %s of type string", name);
  return status;
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const KtWString& value, const Flags& flags) {
  const KtStatus status = WriteScalar(name, value, flags);
  kt::ThrowIfFailed(
      status, kt::kError,
      "%S: ERROR: CKtPropertySetBase::AddProp(), Failed to add property %s of type wstring", name);
  return status;
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const cuvo_bool& value, const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::int32_t& value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::uint32_t& value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::int32_t* value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::uint32_t* value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::int64_t& value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const std::uint64_t& value,
                                     const Flags& flags) {
  return WriteScalar(name, value, flags);
}

KtStatus CKtPropertySetBase::AddProp(const char* name, const void* data,
                                     const std::uint32_t& length, const Flags& flags) {
  return AddProperty(CKtProperty(name, TYPE_BINARY, flags, length, data));
}
