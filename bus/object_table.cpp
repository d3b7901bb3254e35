#include "bus/object_table.h"

namespace kt::bus {

std::shared_ptr<Provider> Object::Serves(const KtGuid& interface_id) const {
  if (auto owner = interfaces_.Find(interface_id)) return owner;
  for (Type* const type : type_.line()) {
    if (auto owner = type->interfaces().Find(interface_id)) return owner;
  }
  return nullptr;
}

void ObjectTable::Enter(std::shared_ptr<Object> object) {
  Shard& shard = shards_[ShardOf(object->id())];
  const WriteGuard guard(shard.lock);
  const KtObjId id = object->id();
  shard.objects.emplace(id, std::move(object));
}

std::shared_ptr<Object> ObjectTable::Take(const KtObjId& id) {
  Shard& shard = shards_[ShardOf(id)];
  const WriteGuard guard(shard.lock);
  const auto found = shard.objects.find(id);
  if (found == shard.objects.end()) return nullptr;
  std::shared_ptr<Object> object = std::move(found->second);
  shard.objects.erase(found);
  return object;
}

std::shared_ptr<Object> ObjectTable::Find(const KtObjId& id) const {
  const Shard& shard = shards_[ShardOf(id)];
  const ReadGuard guard(shard.lock);
  const auto found = shard.objects.find(id);
  return found == shard.objects.end() ? nullptr : found->second;
}

}  // namespace kt::bus
