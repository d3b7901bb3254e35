// Property records and their text form: properties of every type through the framework and back,
// the toolkit's text form against a plain second formatter, every getter on every type, and records
// whose words contradict each other.
//
// Input: properties (support/property_source.h), then any number of hostile records.

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "api/random_properties.h"
#include "base/owned.h"
#include "base/status.h"
#include "ktbus3/ktbus3_host.h"
#include "objmodel/property_set.h"
#include "owned_set.h"
#include "property_writer.h"
#include "support/byte_source.h"
#include "support/ledger_check.h"
#include "support/plain_property_text.h"
#include "support/property_source.h"
#include "support/require.h"

namespace {

using kt::fuzz::ByteSource;
using kt::fuzz::Finding;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using ktsvc::Property;
using ktsvc::PropertyList;

constexpr unsigned kDepth = 3;

template <typename Function>
std::optional<std::string> TextOrStatus(Function function) {
  try {
    return function();
  } catch (KtStatus status) {
    Require(kt::StatusFails(status), "what is thrown is a status that fails");
    return std::nullopt;
  }
}

void RequireSameText(const std::optional<std::string>& expected,
                     const std::optional<std::string>& found, const char* rule) {
  Require(expected.has_value() == found.has_value(), rule);
  if (expected) RequireSame(*expected, *found, rule);
}

void CompareTexts(const CKtPropertySet& set, const PropertyList& list) {
  for (const bool show_type : {false, true}) {
    RequireSameText(kt::fuzz::PlainSetText(list, show_type),
                    TextOrStatus([&] { return set.ToString(show_type); }),
                    "the text form of the set is the plain one");
    for (const Property& property : list) {
      for (const bool optional : {false, true}) {
        RequireSameText(kt::fuzz::PlainPropertyText(property, show_type), TextOrStatus([&] {
                          return set.ToString(property.name.c_str(), optional, show_type);
                        }),
                        "the text form of a property is the plain one");
      }
    }
  }
}

// ---- Every getter on every property -------------------------------------------------------------

template <typename T>
void Read(const CKtPropertySet& set, const char* name) {
  try {
    T value{};
    set.GetProp(name, value, false);
    if constexpr (std::is_same_v<T, std::vector<KtPropset>>) {
      for (const KtPropset nested : value) {
        if (nested != nullptr) PsDestroyPropset(nested);
      }
    }
  } catch (KtStatus status) {
    Require(status == KTERROR_WRONG_PROPERTY_TYPE, "a getter refuses another type, and that alone");
  }
}

template <typename... T>
void ReadEach(const CKtPropertySet& set, const char* name, std::tuple<T...>*) {
  (Read<T>(set, name), ...);
  (Read<std::vector<T>>(set, name), ...);
}

using Scalars = std::tuple<cuvo_bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                           KtTime, std::string, KtWString, KtGuid, KtObjId>;
using Lists = std::tuple<std::vector<KtPropset>, std::vector<KtI18NDef>, std::vector<CKtI18N>,
                         std::vector<KtI18NFormatString>, std::vector<CKtI18NFM>>;

template <typename... T>
void ReadLists(const CKtPropertySet& set, const char* name, std::tuple<T...>*) {
  (Read<T>(set, name), ...);
}

void ReadEverything(const CKtPropertySet& set, const PropertyList& list) {
  for (const Property& property : list) {
    const char* const name = property.name.c_str();
    ReadEach(set, name, static_cast<Scalars*>(nullptr));
    ReadLists(set, name, static_cast<Lists*>(nullptr));
    try {
      void* data = nullptr;
      std::uint32_t length = 0;
      set.GetProp(name, data, length, false);
      kt::FreeBinary(data);
    } catch (KtStatus status) {
      Require(status == KTERROR_WRONG_PROPERTY_TYPE, "the bytes of another type are refused");
    }
  }
}

// ---- Records whose words contradict each other --------------------------------------------------

// Any type code and any length, with a value that is as long as the longest of them says.
void TryHostileRecord(KtPropset set, ByteSource& source) {
  constexpr std::size_t kMost = 64;
  // Lists of pointers are followed: each element is the address of an empty text and of no handle.
  static constexpr std::array<char, 16> kEmpty{};
  std::vector<std::uint64_t> block(kMost * sizeof(KtI18NFormatString) / 8);
  cuvo_property record{};
  const std::string name = source.TextWithoutZero();
  record.name = source.Below(16) == 0 ? nullptr : name.c_str();
  record.type = source.Flag() ? kt::fuzz::ReadType(source) : source.Number32();
  record.flags = source.Number32();
  record.length = static_cast<std::uint32_t>(source.Below(kMost));
  record.padding = source.Number32();
  const std::uint32_t scalar = record.type & 0x7FFFFFFFU;
  const bool list = scalar != record.type;
  const bool texts = list && (scalar == TYPE_STR || scalar == TYPE_WSTR);
  const std::string bytes = source.Text();
  const bool messages = scalar == TYPE_I18N || scalar == TYPE_I18NFORMATSTRING;
  if (texts) {
    for (std::uint64_t& word : block) {
      word = source.Below(8) == 0 ? 0 : std::bit_cast<std::uint64_t>(kEmpty.data());
    }
  } else if (!messages) {
    std::memcpy(block.data(), bytes.data(), bytes.size());  // handles among it: stale ones
  }
  record.value = source.Below(8) == 0 ? nullptr : block.data();
  if (scalar == TYPE_PROPSET && !list) {
    record.value = std::bit_cast<void*>(source.Number64());
  }

  const KtStatus added = source.Flag() ? PsAddProperty(set, &record) : PsSetProperty(set, &record);
  if (kt::StatusFails(added)) return;
  cuvo_property* found = nullptr;
  Require(PsFindProperty(set, record.name, &found) == 0, "what was added is found");
  const kt::FoundProperty owner(found);
  Require(found->type == record.type && found->flags == record.flags, "as it was added");
}

void Compare(const PropertyList& list, KtPropset handle, const char* rule) {
  if (!ktsvc_test::Same(list, ktsvc::ReadPropertySet(handle))) Finding(rule);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  KtSetTraceLevel(0);  // every line is formatted; none is written anywhere
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kt::fuzz::LedgerCheck ledger;
  {
    ByteSource source(data, size);
    const PropertyList list = kt::fuzz::ReadProperties(source, kDepth);
    const ktsvc::OwnedSet set = ktsvc::MakePropertySet(list);
    const CKtPropertySet view(set.get());
    Compare(list, set.get(), "a set comes back from the framework as it was put in");
    CompareTexts(view, list);
    ReadEverything(view, list);

    KtPropset copied = nullptr;
    Require(PsCopyPropset(set.get(), &copied) == 0, "a set can be copied");
    const ktsvc::OwnedSet copy(copied);
    Compare(list, copy.get(), "a copy is as its set");
    while (!source.Empty()) TryHostileRecord(copy.get(), source);
    Compare(list, set.get(), "what is done to a copy leaves its set alone");
    static_cast<void>(TextOrStatus([&] { return CKtPropertySet(copy.get()).ToString(true); }));
    static_cast<void>(ktsvc::ReadPropertySet(copy.get()));
  }
  ledger.RequireSettled("when all sets are destroyed");
  return 0;
}
