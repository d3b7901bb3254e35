#include "bus/property_set.h"

#include <atomic>
#include <bit>
#include <string>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/memory.h"
#include "bus/property_record.h"
#include "bus/status.h"
#include "bus/wrong_free.h"

namespace kt::bus {

KtStatus PropertySet::Add(std::shared_ptr<const Property> property) {
  const MutexGuard guard(lock_);
  return properties_.Add(std::move(property));
}

KtStatus PropertySet::Replace(std::shared_ptr<const Property> property) {
  const MutexGuard guard(lock_);
  return properties_.Replace(std::move(property));
}

void PropertySet::Put(std::shared_ptr<const Property> property) {
  const MutexGuard guard(lock_);
  properties_.Put(std::move(property));
}

std::shared_ptr<const Property> PropertySet::Find(std::string_view name) {
  const MutexGuard guard(lock_);
  return properties_.Find(name);
}

std::shared_ptr<const Property> PropertySet::At(std::size_t place) {
  const MutexGuard guard(lock_);
  return place < properties_.size() ? properties_.At(place) : nullptr;
}

std::shared_ptr<const PropertyMap> PropertySet::Snapshot() {
  const MutexGuard guard(lock_);
  return std::make_shared<const PropertyMap>(properties_);
}

namespace {

// An enumeration: the set that it belongs to and the next place in it.
struct Iterator {
  KtPropset propset;
  std::atomic<std::size_t> next{0};
};

using PropsetTable = HandleTable<PropertySet, KtPropset, HandleKind::kPropset>;
using IteratorTable = HandleTable<Iterator, KtIterator, HandleKind::kIterator>;

// Never destroyed: providers return handles very late.
PropsetTable& Propsets() {
  static PropsetTable* const table = new PropsetTable;
  return *table;
}

IteratorTable& Iterators() {
  static IteratorTable* const table = new IteratorTable;
  return *table;
}

// Adds or replaces insertion `number` of a message.
KtStatus PutInsertion(KtPropset handle, std::uint32_t number, PropertyValue value) {
  FindPropset(handle)->Put(
      std::make_shared<const Property>(Property{"p" + std::to_string(number), std::move(value)}));
  return kOk;
}

}  // namespace

std::shared_ptr<PropertySet> FindPropset(KtPropset handle) {
  auto set = Propsets().Find(handle);
  if (set == nullptr) throw StatusError(kNoObject);
  return set;
}

PropertyMap CopyProperties(KtPropset handle) {
  return handle == nullptr ? PropertyMap() : PropertyMap(*FindPropset(handle)->Snapshot());
}

KtPropset NewPropset(const PropertyMap& properties, Account* account) {
  const KtPropset handle = Propsets().Insert(std::make_shared<PropertySet>(properties), account);
  if (account != nullptr) account->HandOut(Kind::kPropertySet);
  return handle;
}

bool DestroyPropset(KtPropset handle) noexcept {
  const auto entry = Propsets().Remove(handle);
  if (!entry) return false;
  if (entry.account != nullptr) entry.account->Return(Kind::kPropertySet);
  return true;
}

std::optional<Kind> KindOfHandle(const void* pointer) noexcept {
  const auto bits = std::bit_cast<std::uintptr_t>(pointer);
  if (Propsets().Find(std::bit_cast<KtPropset>(bits)) != nullptr) return Kind::kPropertySet;
  if (Iterators().Find(std::bit_cast<KtIterator>(bits)) != nullptr) return Kind::kIterator;
  return std::nullopt;
}

}  // namespace kt::bus

using kt::bus::Account;
using kt::bus::Answer;
using kt::bus::Asker;
using kt::bus::FindPropset;
using kt::bus::Kind;

KtStatus PsCreatePropset(KtPropset* out) {
  KT_GATE(PsCreatePropset, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (out == nullptr) return kt::bus::kInvalidArgument;
    *out = kt::bus::NewPropset({}, &asker);
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
    *out = kt::bus::NewPropset(*FindPropset(from)->Snapshot(), &asker);
    return kt::bus::kOk;
  });
}

KtStatus PsAddProperty(KtPropset propset, const cuvo_property* property) {
  KT_GATE(PsAddProperty, propset, property);
  return Answer([&] {
    if (property == nullptr) return kt::bus::kInvalidArgument;
    const auto set = FindPropset(propset);
    return set->Add(kt::bus::ReadProperty(*property));
  });
}

KtStatus PsSetProperty(KtPropset propset, const cuvo_property* property) {
  KT_GATE(PsSetProperty, propset, property);
  return Answer([&] {
    if (property == nullptr) return kt::bus::kInvalidArgument;
    const auto set = FindPropset(propset);
    return set->Replace(kt::bus::ReadProperty(*property));
  });
}

KtStatus PsFindProperty(KtPropset propset, const char* name, cuvo_property** found) {
  KT_GATE(PsFindProperty, propset, name, found);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (name == nullptr || found == nullptr) return kt::bus::kInvalidArgument;
    const auto property = FindPropset(propset)->Find(name);
    if (property == nullptr) return kt::bus::kNoProperty;
    *found = kt::bus::MakeRecord(*property, asker);
    return kt::bus::kOk;
  });
}

KtStatus PsOpenPropset(KtPropset propset, KtIterator* out) {
  KT_GATE(PsOpenPropset, propset, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (out == nullptr) return kt::bus::kInvalidArgument;
    FindPropset(propset);
    auto iterator = std::make_shared<kt::bus::Iterator>();
    iterator->propset = propset;
    *out = kt::bus::Iterators().Insert(std::move(iterator), &asker);
    asker.HandOut(Kind::kIterator);
    return kt::bus::kOk;
  });
}

KtStatus PsFindNextProperty(KtPropset propset, KtIterator iterator, cuvo_property** found) {
  KT_GATE(PsFindNextProperty, propset, iterator, found);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (found == nullptr) return kt::bus::kInvalidArgument;
    const auto set = FindPropset(propset);
    const auto position = kt::bus::Iterators().Find(iterator);
    if (position == nullptr || position->propset != propset) return kt::bus::kNoObject;
    // Two threads with one iterator may be given the same property; none is passed over.
    const std::size_t place = position->next.load();
    const auto property = set->At(place);
    if (property == nullptr) return kt::bus::kNoMoreProperties;
    *found = kt::bus::MakeRecord(*property, asker);
    position->next.store(place + 1);
    return kt::bus::kOk;
  });
}

KtStatus KtCloseHandle(void* handle) {
  KT_GATE(KtCloseHandle, handle);
  const auto entry = kt::bus::Iterators().Remove(std::bit_cast<KtIterator>(handle));
  if (entry) {
    if (entry.account != nullptr) entry.account->Return(Kind::kIterator);
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
    return kt::bus::PutInsertion(propset, number, kt::bus::PropertyValue::FromText(text));
  });
}

KtStatus I18nAddInsertionWideString(KtPropset propset, uint32_t number, const KtWchar* text) {
  KT_GATE(I18nAddInsertionWideString, propset, number, text);
  return Answer([&] {
    if (text == nullptr) return kt::bus::kInvalidArgument;
    return kt::bus::PutInsertion(propset, number, kt::bus::PropertyValue::FromWideText(text));
  });
}
