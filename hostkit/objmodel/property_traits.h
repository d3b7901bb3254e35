// What differs between the typed getters and setters: one row for each kind of value.
//
// A row says which type codes stand for the kind, what the trace says when a record is of another
// type, how a value is read from a record, and how it is laid into one. Everything else is common
// and lives in property_set_base.cpp. A kind without a row does not compile.
//
//   Element          the kind's form in a record: as a list element, and (but for pointers) as a
//                    scalar
//   kType, kListType the codes that are written
//   Accepts[List]    the codes that are read
//   kWrong[List]Type the trace of a getter that meets another code
//   ToElement        value to element; a text lends its characters
//   FromElement      element to value; a null text is the empty text
//   Length           `length` of a scalar record
//   ValueField       `value` of a scalar record
//   Read             a scalar out of a record whose code was accepted; false when the record's
//                    length or value contradicts the code
//
// What the rows have in common is in objmodel/property_rows.h.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "base/text.h"
#include "ktbus3/ktbus3.h"
#include "objmodel/i18n.h"
#include "objmodel/i18n_fm.h"
#include "objmodel/property_rows.h"

namespace kt {

template <typename... Kinds>
struct KindList {};

// Every kind that a list is read into or made from.
using ListKinds = KindList<cuvo_bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                           KtTime, std::string, KtWString, KtGuid, KtObjId, KtPropset, KtI18NDef,
                           KtI18NFormatString, CKtI18N, CKtI18NFM>;

// Every kind with a scalar getter by name.
using ScalarKinds = KindList<cuvo_bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                             KtTime, std::string, KtWString, KtGuid, KtObjId>;

template <typename T>
struct PropertyTraits {
  static_assert(sizeof(T) == 0, "this kind of value has no row in objmodel/property_traits.h");
};

template <>
struct PropertyTraits<cuvo_bool> : PlainRow<cuvo_bool, TYPE_BOOLEAN> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_BOOLEAN";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_BOOLEANZ";
};

template <>
struct PropertyTraits<std::int32_t> : PlainRow<std::int32_t, TYPE_INT32> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_INT32";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_INT32Z";
};

template <>
struct PropertyTraits<std::uint32_t> : PlainRow<std::uint32_t, TYPE_UINT32> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_UINT32";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_UINT32Z";
};

template <>
struct PropertyTraits<std::int64_t> : PlainRow<std::int64_t, TYPE_INT64> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_INT64";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_INT64Z";
};

template <>
struct PropertyTraits<std::uint64_t> : PlainRow<std::uint64_t, TYPE_UINT64> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_UINT64";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_UINT64Z";
};

template <>
struct PropertyTraits<KtTime> : PlainRow<KtTime, TYPE_TIME> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_TIME";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_TIMEZ";
};

template <>
struct PropertyTraits<std::string> : TextRow<char, TYPE_STR> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_STR";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_STRZ";
};

template <>
struct PropertyTraits<KtWString> : TextRow<KtWchar, TYPE_WSTR> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_WSTR";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_WSTRZ";
};

template <>
struct PropertyTraits<KtGuid> : PlainRow<KtGuid, TYPE_GUID> {
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_GUID";
  // "not or" is how the line has always read; whoever searches logs for it relies on that.
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not or TYPE_GUIDZ";
};

// An object id has the shape of a GUID and may be stored as one.
template <>
struct PropertyTraits<KtObjId> : PlainRow<KtObjId, TYPE_KTOBJID> {
  static constexpr bool Accepts(std::uint32_t type) noexcept {
    return type == TYPE_KTOBJID || type == TYPE_GUID;
  }
  static constexpr bool AcceptsList(std::uint32_t type) noexcept {
    return type == TYPE_KTOBJIDZ || type == TYPE_GUIDZ;
  }
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_KTOBJID or TYPE_GUID";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_KTOBJIDZ or TYPE_GUIDZ";
};

// The handle itself is the value of a scalar record, whose length is 16 whatever a handle's size.
template <>
struct PropertyTraits<KtPropset> : PlainRow<KtPropset, TYPE_PROPSET> {
  static std::uint32_t Length(const KtPropset&) noexcept { return 16; }
  static const void* ValueField(const Element& element) noexcept { return element; }
  static bool Read(const cuvo_property& record, KtPropset& out) noexcept {
    out = static_cast<KtPropset>(record.value);
    return true;
  }
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_PROPSET";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_PROPSETZ";
};

// Written with a name in any case; read as it stands.
template <>
struct PropertyTraits<KtI18NDef> : PlainRow<KtI18NDef, TYPE_I18N> {
  static KtI18NDef ToElement(const KtI18NDef& value) noexcept {
    KtI18NDef element = value;
    if (element.name == nullptr) element.name = "";
    return element;
  }
  static std::uint32_t Length(const KtI18NDef& value) noexcept {
    const std::size_t name = value.name == nullptr ? 0 : std::strlen(value.name);
    return static_cast<std::uint32_t>(sizeof(KtI18NDef) + name + 1);
  }
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_I18N";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_I18NZ";
};

template <>
struct PropertyTraits<KtI18NFormatString> : PlainRow<KtI18NFormatString, TYPE_I18NFORMATSTRING> {
  static KtI18NFormatString ToElement(const KtI18NFormatString& value) noexcept {
    return {PropertyTraits<KtI18NDef>::ToElement(value.message), value.insertions};
  }
  static constexpr const char* kWrongType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_I18NFORMATSTRING";
  static constexpr const char* kWrongListType =
      "%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_I18NFORMATSTRINGZ";
};

// The owning kinds are written through the record that they begin with or hold, and read by a deep
// copy of it.
template <>
struct PropertyTraits<CKtI18N> : PropertyTraits<KtI18NDef> {
  static const Element& ToElement(const CKtI18N& value) noexcept { return value.Definition(); }
  static CKtI18N FromElement(const Element& element) { return CKtI18N(element); }
  static std::uint32_t Length(const CKtI18N& value) noexcept {
    return PropertyTraits<KtI18NDef>::Length(value.Definition());
  }
  static bool Read(const cuvo_property& record, CKtI18N& out) {
    KtI18NDef definition{};
    if (!ReadBytes(record, definition)) return false;
    out = CKtI18N(definition);
    return true;
  }
};

template <>
struct PropertyTraits<CKtI18NFM> : PropertyTraits<KtI18NFormatString> {
  static const Element& ToElement(const CKtI18NFM& value) noexcept { return value.Record(); }
  static CKtI18NFM FromElement(const Element& element) { return CKtI18NFM(element); }
  static std::uint32_t Length(const CKtI18NFM&) noexcept { return sizeof(Element); }
  static bool Read(const cuvo_property& record, CKtI18NFM& out) {
    KtI18NFormatString element{};
    if (!ReadBytes(record, element)) return false;
    out = CKtI18NFM(element);
    return true;
  }
};

}  // namespace kt
