// CKtPropertySetBase is the one way in which provider code reads and writes named, typed values,
// be they in a property set (CKtPropertySet) or on an object of the bus (CKtObject).
//
// The typed operations are written here once, on top of three primitives that a derived class
// supplies: the raw look-up and the two AddProperty(). A derived class says
// `using CKtPropertySetBase::GetProp;`, or its own raw look-up hides the typed ones.
//
// Which C++ type stands for which type code is the table in objmodel/property_traits.h. Lists are
// std::vector throughout, lists of texts too. A boolean is a cuvo_bool, one byte; bool is accepted
// and turned into it. Numbers of other widths are refused by the compiler: say which one is meant.
//
// Getters   (name, out, isOptionalProp) fill `out` and return it. A missing property throws; with
//           isOptionalProp it leaves `out` as the caller set it and is not traced, which is how a
//           default is given. Lists are appended to, not cleared; when the getter throws, the list
//           is as it was. What is copied out is deep, unless stated. A record of another type, or
//           one whose length or value contradicts its type, is traced and throws
//           KTERROR_WRONG_PROPERTY_TYPE.
// Setters   (name, value, flags) add the property or replace it and return the status. Flags are
//           passed through to the framework; zero unless you know better. Nothing is kept of what
//           was passed. A null text is the empty text.
// Failure   One trace line, then the bare 32-bit status is thrown. std::bad_alloc may pass.
// Threads   No lock here; see the derived class.
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "base/owned.h"
#include "base/text.h"
#include "ktbus3/ktbus3.h"
#include "objmodel/i18n.h"
#include "objmodel/i18n_fm.h"
#include "objmodel/property.h"

namespace kt {

// What the TYPE_BINARY getter hands out: an array made with new unsigned char[]. Put it into this
// owner, or release it with FreeBinary.
using BinaryBlock = std::unique_ptr<unsigned char[]>;
inline void FreeBinary(void* data) noexcept {
  BinaryBlock(static_cast<unsigned char*>(data)).reset();
}

// The integers that a typed setter takes as they are.
template <typename T>
concept SettableInteger =
    std::same_as<T, cuvo_bool> || std::same_as<T, std::int32_t> || std::same_as<T, std::uint32_t> ||
    std::same_as<T, std::int64_t> || std::same_as<T, std::uint64_t>;

// Numbers that would become another type by a silent conversion.
template <typename T>
concept UnsettableNumber = std::is_arithmetic_v<T> && !SettableInteger<T> && !std::same_as<T, bool>;

}  // namespace kt

class CKtPropertySetBase {
 public:
  template <typename T>
  using List = std::vector<T>;
  using Flags = std::uint32_t;

  // May throw, because a provider's own wrapper may: the flush of deferred deletions contains it.
  virtual ~CKtPropertySetBase() noexcept(false) = default;

  // ---- Primitives and getters ----

  // The raw look-up: true and a record that the caller releases with PsFreeProperty, or false
  // (isOptionalProp only).
  virtual bool GetProp(const char* name, cuvo_property*& found, bool isOptionalProp) const = 0;

  // The flags word of the property, as it was written. A missing one throws.
  virtual Flags GetPropFlags(const char* name) const;

  // Lists: name, out, isOptionalProp.
  virtual List<KtWString>& GetProp(const char*, List<KtWString>&, bool) const;
  virtual List<std::string>& GetProp(const char*, List<std::string>&, bool) const;
  virtual List<std::uint64_t>& GetProp(const char*, List<std::uint64_t>&, bool) const;
  virtual List<std::int64_t>& GetProp(const char*, List<std::int64_t>&, bool) const;
  virtual List<std::uint32_t>& GetProp(const char*, List<std::uint32_t>&, bool) const;
  virtual List<std::int32_t>& GetProp(const char*, List<std::int32_t>&, bool) const;
  virtual List<KtTime>& GetProp(const char*, List<KtTime>&, bool) const;
  // Shallow, these two: the records as they stand, with pointers and handles into a record that is
  // gone when the getter returns. Only ids and catalogs may be used; CKtI18N and CKtI18NFM are
  // deep.
  virtual List<KtI18NFormatString>& GetProp(const char*, List<KtI18NFormatString>&, bool) const;
  virtual List<KtI18NDef>& GetProp(const char*, List<KtI18NDef>&, bool) const;
  virtual List<CKtI18NFM>& GetProp(const char*, List<CKtI18NFM>&, bool) const;
  virtual List<CKtI18N>& GetProp(const char*, List<CKtI18N>&, bool) const;
  virtual List<cuvo_bool>& GetProp(const char*, List<cuvo_bool>&, bool) const;
  virtual List<KtGuid>& GetProp(const char*, List<KtGuid>&, bool) const;
  // TYPE_KTOBJIDZ or TYPE_GUIDZ.
  virtual List<KtObjId>& GetProp(const char*, List<KtObjId>&, bool) const;
  // The listed sets pass to the caller, who destroys each of them.
  virtual List<KtPropset>& GetProp(const char*, List<KtPropset>&, bool) const;

  // TYPE_BINARY: `data` becomes a new block of `length` bytes that the caller frees
  // (kt::BinaryBlock, kt::FreeBinary); null for a length of 0. E_OUTOFMEMORY without memory.
  virtual void GetProp(const char* name, void*& data, std::uint32_t& length,
                       bool isOptionalProp) const;

  // Scalars: name, out, isOptionalProp. An object id may be stored as TYPE_KTOBJID or TYPE_GUID.
  virtual KtGuid GetProp(const char*, KtGuid&, bool) const;
  virtual KtObjId GetProp(const char*, KtObjId&, bool) const;
  virtual KtTime& GetProp(const char*, KtTime&, bool) const;
  virtual std::int64_t& GetProp(const char*, std::int64_t&, bool) const;
  virtual std::uint64_t& GetProp(const char*, std::uint64_t&, bool) const;
  virtual std::int32_t& GetProp(const char*, std::int32_t&, bool) const;
  virtual std::uint32_t& GetProp(const char*, std::uint32_t&, bool) const;
  virtual cuvo_bool& GetProp(const char*, cuvo_bool&, bool) const;
  virtual std::string& GetProp(const char*, std::string&, bool) const;
  virtual KtWString& GetProp(const char*, KtWString&, bool) const;

  // The type code of the property (TYPE_UINT32 and so on, codes that have no getter too). A missing
  // one throws.
  virtual std::uint32_t GetPropType(const char* name) const;

  // ---- Primitives and setters ----

  virtual KtStatus AddProperty(const cuvo_property& property) = 0;
  virtual KtStatus AddProperty(const CKtProperty& property) = 0;

  // Lists from an array that is passed as it is: name, array, number of elements, flags.
  virtual KtStatus AddProp(const char*, const char* const*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const KtWchar* const*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const std::uint64_t*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const std::int64_t*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const std::uint32_t*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const std::int32_t*, std::uint32_t, const Flags&);
  virtual KtStatus AddProp(const char*, const cuvo_bool*, std::uint32_t, const Flags&);

  // Lists: name, elements, flags.
  virtual KtStatus AddProp(const char*, const List<KtPropset>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtObjId>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtGuid>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<std::string>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtWString>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<std::int64_t>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<std::uint64_t>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<std::uint32_t>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<CKtI18NFM>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<CKtI18N>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtI18NDef>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtI18NFormatString>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<std::int32_t>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<KtTime>&, const Flags&);
  virtual KtStatus AddProp(const char*, const List<cuvo_bool>&, const Flags&);

  // A raw record.
  virtual KtStatus AddProp(const char* name, std::uint32_t type, std::uint32_t flags,
                           std::uint32_t length, void* value);

  // Scalars: name, value, flags. Where a kind has two spellings, the pointer is the second; it must
  // not be null (E_INVALIDARG, traced).
  virtual KtStatus AddProp(const char*, const KtWchar*, const Flags&);
  virtual KtStatus AddProp(const char*, const KtTime&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtTime*, const Flags&);
  virtual KtStatus AddProp(const char*, const KtI18NFormatString&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtI18NDef&, const Flags&);
  virtual KtStatus AddProp(const char*, const CKtI18NFM&, const Flags&);
  virtual KtStatus AddProp(const char*, const CKtI18N&, const Flags&);
  virtual KtStatus AddProp(const char*, const char*, const Flags&);
  virtual KtStatus AddProp(const char*, const KtPropset&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtGuid&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtGuid*, const Flags&);
  virtual KtStatus AddProp(const char*, const KtObjId&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtObjId*, const Flags&);
  virtual KtStatus AddProp(const char*, const std::string&, const Flags&);
  virtual KtStatus AddProp(const char*, const KtWString&, const Flags&);
  virtual KtStatus AddProp(const char*, const cuvo_bool&, const Flags&);
  virtual KtStatus AddProp(const char*, const std::int32_t&, const Flags&);
  virtual KtStatus AddProp(const char*, const std::uint32_t&, const Flags&);
  virtual KtStatus AddProp(const char*, const std::int32_t*, const Flags&);
  virtual KtStatus AddProp(const char*, const std::uint32_t*, const Flags&);
  virtual KtStatus AddProp(const char*, const std::int64_t&, const Flags&);
  virtual KtStatus AddProp(const char*, const std::uint64_t&, const Flags&);

  // TYPE_BINARY: `length` bytes. A block of std::uint8_t needs a cast to const void*, since that
  // type is cuvo_bool and makes a list of booleans.
  virtual KtStatus AddProp(const char* name, const void* data, const std::uint32_t& length,
                           const Flags& flags);

  // The text form of one property; a missing one throws, or with isOptionalProp is the empty text.
  // showType puts "(TYPE_UINT32) " and the like in front.
  virtual std::string ToString(const char* propId, bool isOptionalProp, bool showType) const = 0;

  // ---- Not virtual ----

  // Turn a record that the raw look-up found into a message and release it with PsFreeProperty,
  // also when they throw; `found` is null afterwards. `name` is for the trace line only.
  static CKtI18N& GetProp(const char* name, CKtI18N& out, cuvo_property*& found);
  static CKtI18NFM& GetProp(const char* name, CKtI18NFM& out, cuvo_property*& found);

  // A bool is a byte on the bus. Without these two, true would be promoted to TYPE_INT32 without a
  // word, and a bool could not be read.
  template <std::same_as<bool> T>
  KtStatus AddProp(const char* name, T value, const Flags& flags) {
    return AddProp(name, static_cast<cuvo_bool>(value ? 1 : 0), flags);
  }
  template <std::same_as<bool> T>
  T& GetProp(const char* name, T& value, bool isOptionalProp) const {
    cuvo_bool byte = value ? 1 : 0;
    value = GetProp(name, byte, isOptionalProp) != 0;
    return value;
  }

  template <kt::UnsettableNumber T>
  KtStatus AddProp(const char* name, T value, const Flags& flags) = delete;

 protected:
  CKtPropertySetBase() = default;
  CKtPropertySetBase(const CKtPropertySetBase&) = default;
  CKtPropertySetBase& operator=(const CKtPropertySetBase&) = default;

 private:
  kt::FoundProperty Find(const char* name, bool isOptionalProp) const;
  kt::FoundProperty FindOrThrow(const char* name) const;

  template <typename T>
  T& ReadScalar(const char* name, T& out, bool isOptionalProp) const;
  template <typename T>
  List<T>& ReadList(const char* name, List<T>& out, bool isOptionalProp) const;
  template <typename T>
  KtStatus WriteScalar(const char* name, const T& value, Flags flags);
  template <typename T>
  KtStatus WriteScalar(const char* name, const T* value, Flags flags);
  template <typename T>
  KtStatus WriteList(const char* name, const List<T>& values, Flags flags);
  // An array has the elements of its kind, which for texts are pointers.
  template <typename T, typename Element>
  KtStatus WriteArray(const char* name, const Element* values, std::uint32_t count, Flags flags);
};
