#include "bus/object_table.h"

#include <algorithm>
#include <new>
#include <utility>

#include "bus/property_record.h"

namespace kt::bus {

// ---- Memory ------------------------------------------------------------------------------------

Object::Object(const KtObjId& id, Type& type, std::shared_ptr<Provider> owner,
               std::uint32_t flags) noexcept
    : id_(id), type_(&type), owner_(std::move(owner)), flags_(flags) {}

void Object::Delete::operator()(Object* object) const noexcept {
  const Shelf::Number number = table->NumberIn(object->id());
  object->~Object();
  table->shelf_.Give(number);
}

Object::RowPointer Object::MakeRow(std::size_t room) {
  return RowPointer(new (::operator new(sizeof(PropertyRow) + room)) PropertyRow(room));
}

void Object::DeleteRow::operator()(PropertyRow* row) const noexcept {
  row->~PropertyRow();
  ::operator delete(row);
}

// ---- Interfaces and properties -----------------------------------------------------------------

KtStatus Object::AddInterface(const KtGuid& interface_id, std::shared_ptr<Provider> owner) {
  if (interfaces_ == nullptr) interfaces_ = std::make_unique<InterfaceEntries>();
  return interfaces_->Add(interface_id, std::move(owner));
}

cuvo_property* Object::FindProperty(const char* name, Account& account) {
  if (many_ == nullptr) {
    const auto found = Row().Find(name);
    return found ? MakeRecord(*found, account) : nullptr;
  }
  const std::size_t place = many_->PlaceOf(PropertyName(name));
  return place == PropertyMap::kNowhere ? nullptr : MakeRecord(many_->At(place), account);
}

PropertyMap Object::Properties() const {
  if (many_ != nullptr) return PropertyMap(*many_);
  PropertyMap properties;
  for (std::size_t i = 0; i < Row().size(); ++i) {
    properties.Put(PropertyDraft(RecordOf(Row().At(i))));
  }
  return properties;
}

void Object::Put(const PropertyDraft& property) {
  if (many_ != nullptr) {
    many_->Put(property);
    return;
  }
  PropertyRow& row = Row();
  const auto flat = property.Flat();
  const std::size_t room = flat ? row.RoomWith(*flat) : PropertyRow::kNoRoom;
  if (room <= row.room()) {
    row.Put(*flat);
  } else if (room == PropertyRow::kNoRoom) {
    auto many = std::make_unique<PropertyMap>(Properties());
    many->Put(property);
    many_ = std::move(many);
    first_.row.Clear();
    large_.reset();
  } else {
    RowPointer larger = MakeRow(std::max(room, row.room() * 3 / 16 * 8));
    larger->CopyFrom(row);
    larger->Put(*flat);
    first_.row.Clear();
    large_ = std::move(larger);
  }
}

// ---- The table ---------------------------------------------------------------------------------

ObjectTable::ObjectTable()
    : shelf_(Shelf::kHeadSize + sizeof(Object)), turned_(NewId().guid.Data1) {
  static_assert((Shelf::kHeadSize + sizeof(Object)) % Shelf::kLine == 0);
  static_assert(alignof(Object) <= Shelf::kHeadSize);
}

ObjectTable::~ObjectTable() {
  shelf_.ForEach([](void* memory) { static_cast<Object*>(memory)->~Object(); });
}

Object::Pointer ObjectTable::Make(Type& type, std::shared_ptr<Provider> owner,
                                  std::uint32_t flags) {
  KtObjId id = NewId();
  const Shelf::Place place = shelf_.Take();
  id.guid.Data1 = (place.number * kSpread) ^ turned_;
  return Object::Pointer(new (place.memory) Object(id, type, std::move(owner), flags),
                         Object::Delete{this});
}

void ObjectTable::Enter(Object::Pointer&& object) noexcept {
  const Shelf::Number number = NumberIn(object->id());
  const MutexGuard guard(shelf_.LockOf(number));
  shelf_.Show(number);
  static_cast<void>(object.release());
}

Object::Pointer ObjectTable::Take(const KtObjId& id) noexcept {
  const Shelf::Number number = NumberIn(id);
  const MutexGuard guard(shelf_.LockOf(number));
  Object* const object = Find(number, id);
  if (object != nullptr) shelf_.Hide(number);
  return Object::Pointer(object, Object::Delete{this});
}

bool ObjectTable::Put(const KtObjId& id, const PropertyDraft& property) {
  return With(id, [&](Object& object) { object.Put(property); });
}

bool ObjectTable::Has(const KtObjId& id) const {
  return With(id, [](const Object&) {});
}

}  // namespace kt::bus
