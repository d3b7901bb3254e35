#include "bus/property_set.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <new>
#include <utility>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/handle_slots.h"
#include "bus/memory.h"
#include "bus/property_record.h"
#include "bus/status.h"
#include "bus/wrong_free.h"

namespace kt::bus {

void PropertySet::Put(const PropertyDraft& property) {
  const MutexGuard guard(lock_);
  properties_.Put(property);
}

cuvo_property* PropertySet::Find(const PropertyName& name, Account& account) {
  const MutexGuard guard(lock_);
  const PropertyInMap property = properties_.Find(name);
  return property.IsThere() ? MakeRecord(property, account) : nullptr;
}

PropertyMap PropertySet::Copy() {
  const MutexGuard guard(lock_);
  return PropertyMap(properties_);
}

namespace {

// An enumeration: the set that it belongs to and the next place in it.
struct Iterator {
  KtPropset propset = nullptr;
  std::size_t next = 0;
};

using PropsetTable = HandleSlots<PropertyMap, KtPropset, HandleKind::kPropset>;
using IteratorTable = HandleSlots<Iterator, KtIterator, HandleKind::kIterator>;

// There before anything runs, and never destroyed: providers return handles very late.
template <typename Table>
union ForGood {
  constexpr ForGood() noexcept : table() {}
  ~ForGood() {}
  Table table;
};
constinit ForGood<PropsetTable> g_propsets;
constinit ForGood<IteratorTable> g_iterators;

PropsetTable& Propsets() noexcept {
  return g_propsets.table;
}

IteratorTable& Iterators() noexcept {
  return g_iterators.table;
}

// Runs the body, which returns a status, on the properties of a set.
template <typename Body>
KtStatus OnPropset(KtPropset handle, Body&& body) {
  KtStatus status = kNoObject;
  Propsets().With(handle, [&](PropertyMap& properties) { status = body(properties); });
  return status;
}

// "p" and the number of an insertion.
class InsertionName {
 public:
  explicit InsertionName(std::uint32_t number) noexcept {
    *std::to_chars(text_.data() + 1, text_.data() + text_.size() - 1, number).ptr = '\0';
  }
  [[nodiscard]] const char* get() const noexcept { return text_.data(); }

 private:
  std::array<char, 12> text_{'p'};
};

// Adds or replaces an insertion of a message.
KtStatus PutInsertion(KtPropset handle, const cuvo_property& record) {
  const PropertyDraft insertion(record);
  return OnPropset(handle, [&](PropertyMap& properties) {
    properties.Put(insertion);
    return kOk;
  });
}

}  // namespace

void RequirePropset(KtPropset handle) {
  if (!Propsets().Has(handle)) throw StatusError(kNoObject);
}

PropertyMap CopyOf(KtPropset handle) {
  PropertyMap copy;
  if (!Propsets().With(handle, [&](PropertyMap& properties) { copy = PropertyMap(properties); })) {
    throw StatusError(kNoObject);
  }
  return copy;
}

PropertyMap CopyProperties(KtPropset handle) {
  return handle == nullptr ? PropertyMap() : CopyOf(handle);
}

KtPropset NewPropset(PropertyMap&& properties, Account* account) {
  const KtPropset handle = Propsets().Insert(std::move(properties), account);
  if (account != nullptr) account->HandOut(Kind::kPropertySet);
  return handle;
}

KtPropset NewPropset(const PropertyMap& properties, Account* account) {
  return NewPropset(PropertyMap(properties), account);
}

bool DestroyPropset(KtPropset handle) noexcept {
  Account* account = nullptr;
  if (!Propsets().Remove(handle, account)) return false;
  if (account != nullptr) account->Return(Kind::kPropertySet);
  return true;
}

std::optional<Kind> KindOfHandle(const void* pointer) noexcept {
  const auto bits = std::bit_cast<std::uintptr_t>(pointer);
  if (Propsets().Has(std::bit_cast<KtPropset>(bits))) return Kind::kPropertySet;
  if (Iterators().Has(std::bit_cast<KtIterator>(bits))) return Kind::kIterator;
  return std::nullopt;
}

}  // namespace kt::bus

using kt::bus::Account;
using kt::bus::Answer;
using kt::bus::Asker;
using kt::bus::Kind;
using kt::bus::OnPropset;
using kt::bus::PropertyMap;

KtStatus PsCreatePropset(KtPropset* out) {
  KT_GATE(PsCreatePropset, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (out == nullptr) return kt::bus::kInvalidArgument;
    *out = kt::bus::NewPropset(PropertyMap(), &asker);
    return kt::bus::kOk;
  });
}

KtStatus PsDestroyPropset(KtPropset propset) {
  KT_GATE(PsDestroyPropset, propset);
  if (kt::bus::DestroyPropset(propset)) return kt::bus::kOk;
  // A block or an iterator here is a mix-up worth a count; a stale handle is a plain status.
  if (kt::bus::KindOfBlock(propset) || kt::bus::KindOfHandle(propset)) {
    kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), propset, "PsDestroyPropset");
  }
  return kt::bus::kNoObject;
}

KtStatus PsCopyPropset(KtPropset from, KtPropset* out) {
  KT_GATE(PsCopyPropset, from, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (out == nullptr) return kt::bus::kInvalidArgument;
    *out = kt::bus::NewPropset(kt::bus::CopyOf(from), &asker);
    return kt::bus::kOk;
  });
}

KtStatus PsAddProperty(KtPropset propset, const cuvo_property* property) {
  KT_GATE(PsAddProperty, propset, property);
  return Answer([&] {
    if (property == nullptr) return kt::bus::kInvalidArgument;
    const kt::bus::PropertyDraft draft(*property);
    return OnPropset(propset, [&](PropertyMap& properties) { return properties.Add(draft); });
  });
}

KtStatus PsSetProperty(KtPropset propset, const cuvo_property* property) {
  KT_GATE(PsSetProperty, propset, property);
  return Answer([&] {
    if (property == nullptr) return kt::bus::kInvalidArgument;
    const kt::bus::PropertyDraft draft(*property);
    return OnPropset(propset, [&](PropertyMap& properties) { return properties.Replace(draft); });
  });
}

KtStatus PsFindProperty(KtPropset propset, const char* name, cuvo_property** found) {
  KT_GATE(PsFindProperty, propset, name, found);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (name == nullptr || found == nullptr) return kt::bus::kInvalidArgument;
    const kt::bus::PropertyName wanted(name);
    return OnPropset(propset, [&](PropertyMap& properties) {
      const kt::bus::PropertyInMap property = properties.Find(wanted);
      if (!property.IsThere()) return kt::bus::kNoProperty;
      *found = kt::bus::MakeRecord(property, asker);
      return kt::bus::kOk;
    });
  });
}

KtStatus PsOpenPropset(KtPropset propset, KtIterator* out) {
  KT_GATE(PsOpenPropset, propset, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (out == nullptr) return kt::bus::kInvalidArgument;
    kt::bus::RequirePropset(propset);
    *out = kt::bus::Iterators().Insert({propset, 0}, &asker);
    asker.HandOut(Kind::kIterator);
    return kt::bus::kOk;
  });
}

KtStatus PsFindNextProperty(KtPropset propset, KtIterator iterator, cuvo_property** found) {
  KT_GATE(PsFindNextProperty, propset, iterator, found);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (found == nullptr) return kt::bus::kInvalidArgument;
    return OnPropset(propset, [&](PropertyMap& properties) {
      KtStatus status = kt::bus::kNoObject;
      kt::bus::Iterators().With(iterator, [&](kt::bus::Iterator& position) {
        if (position.propset != propset) return;
        if (position.next >= properties.size()) {
          status = kt::bus::kNoMoreProperties;
          return;
        }
        *found = kt::bus::MakeRecord(properties.Look(position.next), asker);
        ++position.next;
        status = kt::bus::kOk;
      });
      return status;
    });
  });
}

KtStatus KtCloseHandle(void* handle) {
  KT_GATE(KtCloseHandle, handle);
  Account* account = nullptr;
  if (kt::bus::Iterators().Remove(std::bit_cast<KtIterator>(handle), account)) {
    if (account != nullptr) account->Return(Kind::kIterator);
    return kt::bus::kOk;
  }
  if (kt::bus::KindOfBlock(handle) || kt::bus::KindOfHandle(handle)) {
    kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), handle, "KtCloseHandle");
  }
  return kt::bus::kNoObject;
}

KtStatus PsFreeProperty(cuvo_property* property) {
  KT_GATE(PsFreeProperty, property);
  if (property == nullptr) return kt::bus::kInvalidArgument;
  if (kt::bus::FreeRecord(property)) return kt::bus::kOk;
  kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), property, "PsFreeProperty");
  return kt::bus::kNoObject;
}

KtStatus I18nAddInsertionString(KtPropset propset, uint32_t number, const char* text) {
  KT_GATE(I18nAddInsertionString, propset, number, text);
  return Answer([&] {
    if (text == nullptr) return kt::bus::kInvalidArgument;
    const kt::bus::InsertionName name(number);
    return kt::bus::PutInsertion(propset, kt::bus::TextRecord(name.get(), text));
  });
}

KtStatus I18nAddInsertionWideString(KtPropset propset, uint32_t number, const KtWchar* text) {
  KT_GATE(I18nAddInsertionWideString, propset, number, text);
  return Answer([&] {
    if (text == nullptr) return kt::bus::kInvalidArgument;
    const kt::bus::InsertionName name(number);
    return kt::bus::PutInsertion(propset, kt::bus::WideTextRecord(name.get(), text));
  });
}
