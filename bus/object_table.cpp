#include "bus/object_table.h"

#include <algorithm>
#include <new>
#include <utility>

#include "bus/property_record.h"

namespace kt::bus {
namespace {

// Two or three short properties. What goes before them takes 80 bytes: 184 in all are what the
// usual allocators have.
constexpr std::size_t kFirstRoom = 104;

}  // namespace

// ---- Memory ------------------------------------------------------------------------------------

Object::Object(const KtObjId& id, Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags)
    : flags_(flags), type_(&type), owner_(std::move(owner)), id_(id) {}

template <typename... Arguments>
Object::Pointer Object::MakeWithRoom(std::size_t room, Arguments&&... arguments) {
  static_assert(sizeof(Object) % alignof(PropertyRow) == 0 && sizeof(Object) % 8 == 0);
  void* const memory = ::operator new(sizeof(Object) + sizeof(PropertyRow) + room);
  Object* const object = new (memory) Object(std::forward<Arguments>(arguments)...);
  new (object + 1) PropertyRow(room);
  return Pointer(object);
}

void Object::Delete::operator()(Object* object) const noexcept {
  object->~Object();
  ::operator delete(object);
}

Object::Pointer Object::Make(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags) {
  return MakeWithRoom(kFirstRoom, NewId(), type, std::move(owner), flags);
}

PropertyRow& Object::row() const noexcept {
  return *reinterpret_cast<PropertyRow*>(const_cast<Object*>(this) + 1);
}

// ---- Interfaces and properties -----------------------------------------------------------------

KtStatus Object::AddInterface(const KtGuid& interface_id, std::shared_ptr<Provider> owner) {
  if (interfaces_ == nullptr) interfaces_ = std::make_unique<InterfaceEntries>();
  return interfaces_->Add(interface_id, std::move(owner));
}

cuvo_property* Object::FindProperty(const char* name, Account& account) {
  if (many_ == nullptr) {
    const auto found = row().Find(name);
    return found ? MakeRecord(*found, account) : nullptr;
  }
  const std::size_t place = many_->PlaceOf(PropertyName(name));
  return place == PropertyMap::kNowhere ? nullptr : MakeRecord(many_->At(place), account);
}

PropertyMap Object::Properties() const {
  if (many_ != nullptr) return PropertyMap(*many_);
  PropertyMap properties;
  for (std::size_t i = 0; i < row().size(); ++i) {
    properties.Put(PropertyDraft(RecordOf(row().At(i))));
  }
  return properties;
}

Object::Pointer Object::Put(const PropertyDraft& property) {
  if (many_ != nullptr) {
    many_->Put(property);
    return nullptr;
  }
  const auto flat = property.Flat();
  const std::size_t room = flat ? row().RoomWith(*flat) : PropertyRow::kNoRoom;
  if (room <= row().room()) {
    row().Put(*flat);
    return nullptr;
  }
  if (room == PropertyRow::kNoRoom) {
    auto many = std::make_unique<PropertyMap>(Properties());
    many->Put(property);
    many_ = std::move(many);
    row().Clear();
    return nullptr;
  }
  Pointer larger = MakeWithRoom(std::max(room, row().room() * 3 / 16 * 8), std::move(*this));
  larger->row().CopyFrom(row());
  larger->row().Put(*flat);
  return larger;
}

// ---- The table ---------------------------------------------------------------------------------

void ObjectTable::Enter(Object::Pointer&& object) {
  Shard& shard = shards_[ShardOf(object->id())];
  const MutexGuard guard(shard.lock);
  shard.objects.Add(std::move(object));
}

Object::Pointer ObjectTable::Take(const KtObjId& id) {
  Shard& shard = shards_[ShardOf(id)];
  const MutexGuard guard(shard.lock);
  return shard.objects.Take(id);
}

bool ObjectTable::Put(const KtObjId& id, const PropertyDraft& property) {
  Shard& shard = shards_[ShardOf(id)];
  const MutexGuard guard(shard.lock);
  Object* const object = shard.objects.Find(id);
  if (object == nullptr) return false;
  if (auto larger = object->Put(property)) shard.objects.Replace(std::move(larger));
  return true;
}

bool ObjectTable::Has(const KtObjId& id) const {
  return With(id, [](const Object&) {});
}

}  // namespace kt::bus
