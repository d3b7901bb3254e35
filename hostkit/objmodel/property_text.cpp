#include "objmodel/property_text.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/owned.h"
#include "base/trace.h"
#include "objmodel/property_set.h"
#include "objmodel/property_traits.h"
#include "objmodel/value_text.h"

namespace kt {
namespace {

// The text of a value without its prefix. The last argument is showType, for nested sets.
using ValueWriter = std::string (*)(const CKtPropertySet&, const char*, bool);

template <typename T>
std::string ScalarText(const CKtPropertySet& set, const char* name, bool) {
  T value{};
  set.GetProp(name, value, false);
  if constexpr (std::is_same_v<T, std::string>) {
    return value;
  } else {
    return ValueText(value);
  }
}

// The separator stays after the last element: "{1, 2, }". The form of a whole set drops it.
template <typename T>
std::string ListText(const CKtPropertySet& set, const char* name, bool) {
  std::vector<T> values;
  set.GetProp(name, values, false);
  std::string text = "{";
  for (const T& value : values) {
    text += ValueText(value);
    text += ", ";
  }
  text += "}";
  return text;
}

// Times are printed through the getter of plain 64-bit numbers, which refuses them. Required: the
// text form of a list of times fails with that getter's line, and callers know it.
std::string TimeListText(const CKtPropertySet& set, const char* name, bool) {
  return ListText<std::uint64_t>(set, name, false);
}

std::string BinaryText(const CKtPropertySet& set, const char* name, bool) {
  void* data = nullptr;
  std::uint32_t length = 0;
  set.GetProp(name, data, length, false);
  const BinaryBlock owned(static_cast<unsigned char*>(data));
  return BytesText(data, length);
}

template <typename T>
FoundProperty FindOfType(const CKtPropertySet& set, const char* name) {
  cuvo_property* found = nullptr;
  set.GetProp(name, found, false);
  FoundProperty record(found);
  if (!PropertyTraits<T>::Accepts(record->type)) {
    TraceAndThrow(KTERROR_WRONG_PROPERTY_TYPE, kError, PropertyTraits<T>::kWrongType, name);
  }
  return record;
}

// A nested set that passed to us: printed, then destroyed, on every path.
std::string TakenSetText(KtPropset handle, bool showType) {
  ScopedPropset nested{CKtPropertySet(handle)};
  std::string text = nested->ToString(showType);
  nested->Destroy();
  return text;
}

std::string PropsetText(const CKtPropertySet& set, const char* name, bool showType) {
  KtPropset nested = nullptr;
  {
    // Released with _KtFree: the nested set lives on and is ours to destroy.
    const FoundRecordOnly record(FindOfType<KtPropset>(set, name).release());
    PropertyTraits<KtPropset>::Read(*record, nested);
  }
  return TakenSetText(nested, showType);
}

std::string PropsetListText(const CKtPropertySet& set, const char* name, bool showType) {
  std::vector<KtPropset> handles;
  set.GetProp(name, handles, false);
  std::size_t next = 0;
  try {
    std::string text = "{";
    while (next < handles.size()) {
      text += TakenSetText(handles[next++], showType);
      text += ", ";
    }
    text += "}";
    return text;
  } catch (...) {
    while (next < handles.size()) {
      const ScopedPropset unprinted{CKtPropertySet(handles[next++])};
    }
    throw;
  }
}

std::string MessageText(const CKtPropertySet& set, const char* name, bool) {
  CKtI18N message;
  cuvo_property* found = nullptr;
  set.GetProp(name, found, false);
  return ValueText(CKtPropertySetBase::GetProp(name, message, found));
}

// Printed from the record: a copy of the message would have an insertion set in any case, and one
// without must print "Insertions={}".
std::string FormatStringText(const CKtPropertySet& set, const char* name, bool) {
  const FoundProperty record = FindOfType<KtI18NFormatString>(set, name);
  KtI18NFormatString message{};
  if (!ReadBytes(*record, message)) {
    TraceAndThrow(KTERROR_WRONG_PROPERTY_TYPE, kError,
                  PropertyTraits<KtI18NFormatString>::kWrongType, name);
  }
  std::string text = "FormatSpec={" + ValueText(message.message) + "}, Insertions={";
  if (message.insertions != nullptr) text += CKtPropertySet(message.insertions).ToString(false);
  text += "}";
  return text;
}

struct TextForm {
  std::uint32_t type;
  const char* prefix;
  ValueWriter write;
};

constexpr std::array kRows{
    TextForm{TYPE_UINT32, "(TYPE_UINT32) ", &ScalarText<std::uint32_t>},
    TextForm{TYPE_INT32, "(TYPE_INT32) ", &ScalarText<std::int32_t>},
    TextForm{TYPE_UINT64, "(TYPE_UINT64) ", &ScalarText<std::uint64_t>},
    TextForm{TYPE_INT64, "(TYPE_INT64) ", &ScalarText<std::int64_t>},
    TextForm{TYPE_TIME, "(TYPE_TIME) ", &ScalarText<KtTime>},
    TextForm{TYPE_BOOLEAN, "(TYPE_BOOLEAN) ", &ScalarText<cuvo_bool>},
    TextForm{TYPE_STR, "(TYPE_STR) ", &ScalarText<std::string>},
    TextForm{TYPE_WSTR, "(TYPE_WSTR) ", &ScalarText<KtWString>},
    TextForm{TYPE_BINARY, "(TYPE_BINARY) ", &BinaryText},
    TextForm{TYPE_GUID, "(TYPE_GUID) ", &ScalarText<KtGuid>},
    TextForm{TYPE_KTOBJID, "(TYPE_KTOBJID) ", &ScalarText<KtObjId>},
    TextForm{TYPE_PROPSET, "(TYPE_PROPSET) ", &PropsetText},
    TextForm{TYPE_I18N, "(TYPE_I18N) ", &MessageText},
    TextForm{TYPE_I18NFORMATSTRING, "(TYPE_I18NFORMATSTRING) ", &FormatStringText},
    TextForm{TYPE_STRZ, "(TYPE_STRZ) ", &ListText<std::string>},
    TextForm{TYPE_WSTRZ, "(TYPE_WSTRZ) ", &ListText<KtWString>},
    TextForm{TYPE_INT32Z, "(TYPE_INT32Z) ", &ListText<std::int32_t>},
    TextForm{TYPE_UINT32Z, "(TYPE_UINT32Z) ", &ListText<std::uint32_t>},
    TextForm{TYPE_INT64Z, "(TYPE_INT64Z) ", &ListText<std::int64_t>},
    TextForm{TYPE_UINT64Z, "(TYPE_UINT64Z) ", &ListText<std::uint64_t>},
    TextForm{TYPE_BOOLEANZ, "(TYPE_BOOLEANZ) ", &ListText<cuvo_bool>},
    TextForm{TYPE_GUIDZ, "(TYPE_GUIDZ) ", &ListText<KtGuid>},
    TextForm{TYPE_KTOBJIDZ, "(TYPE_KTOBJIDZ) ", &ListText<KtObjId>},
    TextForm{TYPE_I18NZ, "(TYPE_I18NZ) ", &ListText<CKtI18N>},
    TextForm{TYPE_PROPSETZ, "(TYPE_PROPSETZ) ", &PropsetListText},
    TextForm{TYPE_TIMEZ, "(TYPE_TIMEZ) ", &TimeListText},
};

}  // namespace

std::string PropertyText(const CKtPropertySet& set, const char* name, std::uint32_t type,
                         bool showType) {
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [type](const TextForm& each) { return each.type == type; });
  if (row == kRows.end()) return {};
  std::string text = row->write(set, name, showType);
  if (!showType) return text;
  // Required, and relied upon by readers of old logs: with its prefix a GUID prints nothing else.
  if (type == TYPE_GUID) return row->prefix;
  return row->prefix + text;
}

}  // namespace kt
