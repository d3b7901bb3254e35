// The database: types, objects, interfaces and children.

#include <algorithm>
#include <cstring>
#include <string>

#include "fake/fake_state.h"

using fake::Attachment;
using fake::Guard;
using fake::kHasInterface;
using fake::kInvalidArgument;
using fake::kNoObject;
using fake::kNoProperty;
using fake::kNoType;
using fake::NamedValue;
using fake::Object;
using fake::SetData;
using fake::State;
using fake::Type;

namespace {

KtStatus CreateType(State& state, KtDatabase database, const char* name,
                    const char* const* superclasses, KtPropset properties, KtObjId* out) {
  if (!state.IsDatabase(database)) return kNoObject;
  if (name == nullptr || out == nullptr) return kInvalidArgument;
  const SetData* set = state.FindSet(properties);
  if (properties != nullptr && set == nullptr) return kNoObject;
  return state.CreateType(name, superclasses, set, out);
}

KtStatus CreateObject(State& state, KtDatabase database, KtProvider provider, const char* type,
                      KtObjId* out) {
  if (!state.IsDatabase(database) || !state.IsProvider(provider)) return kNoObject;
  if (type == nullptr || out == nullptr) return kInvalidArgument;
  if (state.FindType(type) == nullptr) return kNoType;
  *out = state.CreateObject(type);
  return 0;
}

KtStatus Attach(State& state, std::vector<Attachment>& interfaces, KtProvider owner,
                const KtGuid* interface_id) {
  if (!state.IsProvider(owner)) return kNoObject;
  for (const Attachment& there : interfaces) {
    if (std::memcmp(&there.interface_id, interface_id, sizeof(KtGuid)) == 0) return kHasInterface;
  }
  interfaces.push_back({*interface_id, owner});
  return 0;
}

bool SameId(const KtObjId& left, const KtObjId& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

// Finds an object of a database; otherwise says why there is none.
KtStatus Find(State& state, KtDatabase database, const KtObjId* id, Object*& object) {
  if (!state.IsDatabase(database)) return kNoObject;
  if (id == nullptr) return kInvalidArgument;
  object = state.FindObject(*id);
  return object != nullptr ? 0 : kNoObject;
}

}  // namespace

extern "C" {

KT_BUS_API KtStatus DbLockDatabase(KtProvider provider) {
  State& state = State::Get();
  {
    const Guard guard(state.mutex);
    if (const auto failed = state.Begin("DbLockDatabase", provider)) {
      ++state.db_refused;
      return *failed;
    }
    if (!state.IsProvider(provider)) return kNoObject;
  }
  state.db_lock.lock();
  const Guard guard(state.mutex);
  state.db_owner = std::this_thread::get_id();
  ++state.db_depth;
  return 0;
}

KT_BUS_API KtStatus DbUnlockDatabase(KtProvider provider) {
  State& state = State::Get();
  std::optional<KtStatus> failed;
  {
    const Guard guard(state.mutex);
    failed = state.Begin("DbUnlockDatabase", provider);
    if (state.db_depth == 0 || state.db_owner != std::this_thread::get_id()) {
      // Whoever asked for the lock and does not look at the answer gives it back all the same.
      if (state.db_refused != 0) {
        --state.db_refused;
        return failed.value_or(0xC1000001u);
      }
      state.WrongFree("DbUnlockDatabase by a thread that does not hold the lock");
      return failed.value_or(0xC1000001u);
    }
    if (!state.IsProvider(provider)) return failed.value_or(kNoObject);
    --state.db_depth;
  }
  state.db_lock.unlock();
  return failed.value_or(0);
}

KT_BUS_API KtStatus DbGetObjects(KtDatabase database, const char* typeName, KtObjId** list,
                                 uint32_t* count) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("DbGetObjects", database, typeName)) return *failed;
  if (!state.IsDatabase(database)) return kNoObject;
  if (typeName == nullptr || list == nullptr || count == nullptr) return kInvalidArgument;
  if (state.FindType(typeName) == nullptr) return kNoType;
  std::vector<std::pair<std::uint64_t, KtObjId>> found;
  for (const auto& [id, object] : state.objects) {
    if (state.IsA(object.type, typeName)) found.emplace_back(object.order, id);
  }
  std::sort(found.begin(), found.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
  std::vector<KtObjId> ids;
  ids.reserve(found.size());
  for (const auto& [order, id] : found) ids.push_back(id);
  *count = static_cast<std::uint32_t>(ids.size());
  *list = state.AllocateIds(ids);
  return 0;
}

KT_BUS_API KtStatus ObCreateTypeObject(KtDatabase database, const char* typeName,
                                       const char* const* superclasses, KtPropset properties,
                                       KtObjId* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed =
          state.Begin("ObCreateTypeObject", database, typeName, superclasses, properties)) {
    return *failed;
  }
  return CreateType(state, database, typeName, superclasses, properties, out);
}

KT_BUS_API KtStatus ObCreateTypeObjectEx(KtDatabase database, const char* typeName,
                                         const char* const* superclasses, KtPropset properties,
                                         uint32_t flags, uint64_t zero, KtObjId* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObCreateTypeObjectEx", database, typeName, superclasses,
                                      properties, flags, zero)) {
    return *failed;
  }
  return CreateType(state, database, typeName, superclasses, properties, out);
}

KT_BUS_API KtStatus ObRegisterInterfaceOnType(KtDatabase database, const char* typeName,
                                              KtProvider owner, const KtGuid* interfaceId) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed =
          state.Begin("ObRegisterInterfaceOnType", database, typeName, owner, interfaceId)) {
    return *failed;
  }
  if (!state.IsDatabase(database)) return kNoObject;
  if (typeName == nullptr || interfaceId == nullptr) return kInvalidArgument;
  Type* type = state.FindType(typeName);
  return type != nullptr ? Attach(state, type->interfaces, owner, interfaceId) : kNoType;
}

KT_BUS_API KtStatus ObCreateObject(KtDatabase database, KtProvider provider, const char* typeName,
                                   KtObjId* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObCreateObject", database, provider, typeName)) {
    return *failed;
  }
  return CreateObject(state, database, provider, typeName, out);
}

KT_BUS_API KtStatus ObCreateObjectEx(KtDatabase database, KtProvider provider, const char* typeName,
                                     uint32_t flags, void* null, KtObjId* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObCreateObjectEx", database, provider, typeName, flags,
                                      static_cast<const void*>(null))) {
    return *failed;
  }
  return CreateObject(state, database, provider, typeName, out);
}

KT_BUS_API KtStatus ObDeleteObject(KtDatabase database, const KtObjId* object) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObDeleteObject", database, object)) return *failed;
  Object* found = nullptr;
  if (const KtStatus status = Find(state, database, object, found); status != 0) return status;
  state.DeleteObject(*object);
  return 0;
}

KT_BUS_API KtStatus ObGetProperty(KtDatabase database, const KtObjId* object, const char* name,
                                  cuvo_property** found) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObGetProperty", database, object, name)) return *failed;
  if (name == nullptr || found == nullptr) return kInvalidArgument;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  const NamedValue* property = there->properties.Find(name);
  if (property == nullptr) return kNoProperty;
  *found = state.HandOutRecord(*property);
  return 0;
}

KT_BUS_API KtStatus ObSetProperty(KtDatabase database, const KtObjId* object,
                                  const cuvo_property* property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObSetProperty", database, object, property)) return *failed;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  return state.AddOrReplace(there->properties, property);
}

KT_BUS_API KtStatus ObGetProperties(KtDatabase database, const KtObjId* object, KtPropset* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObGetProperties", database, object)) return *failed;
  if (out == nullptr) return kInvalidArgument;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  *out = state.HandOut(there->properties);
  return 0;
}

KT_BUS_API KtStatus ObGetObjectType(KtDatabase database, const KtObjId* object, char** typeName) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObGetObjectType", database, object)) return *failed;
  if (typeName == nullptr) return kInvalidArgument;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  *typeName = state.AllocateText(there->type);
  return 0;
}

KT_BUS_API KtStatus ObGetChildObjects(KtDatabase database, const KtObjId* object, KtObjId** list,
                                      uint32_t* count) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObGetChildObjects", database, object)) return *failed;
  if (list == nullptr || count == nullptr) return kInvalidArgument;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  *count = static_cast<std::uint32_t>(there->children.size());
  *list = state.AllocateIds(there->children);
  return 0;
}

KT_BUS_API KtStatus ObRegisterInterface(KtDatabase database, const KtObjId* object,
                                        KtProvider owner, const KtGuid* interfaceId) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed =
          state.Begin("ObRegisterInterface", database, object, owner, interfaceId)) {
    return *failed;
  }
  if (interfaceId == nullptr) return kInvalidArgument;
  Object* there = nullptr;
  if (const KtStatus status = Find(state, database, object, there); status != 0) return status;
  return Attach(state, there->interfaces, owner, interfaceId);
}

KT_BUS_API cuvo_bool ObCompareId(const KtObjId* left, const KtObjId* right) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.Note("ObCompareId", left, right);
  return left != nullptr && right != nullptr && SameId(*left, *right) ? 1 : 0;
}

KT_BUS_API KtStatus ObAttachChildObject(KtDatabase database, const KtObjId* parent,
                                        const KtObjId* child) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObAttachChildObject", database, parent, child)) {
    return *failed;
  }
  Object* above = nullptr;
  Object* below = nullptr;
  if (const KtStatus status = Find(state, database, parent, above); status != 0) return status;
  if (const KtStatus status = Find(state, database, child, below); status != 0) return status;
  const bool there = std::any_of(above->children.begin(), above->children.end(),
                                 [&](const KtObjId& id) { return SameId(id, *child); });
  if (there || state.Reaches(*child, *parent)) return kInvalidArgument;
  above->children.push_back(*child);
  return 0;
}

KT_BUS_API KtStatus ObDetachChildObject(KtDatabase database, const KtObjId* parent,
                                        const KtObjId* child) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObDetachChildObject", database, parent, child)) {
    return *failed;
  }
  Object* above = nullptr;
  if (const KtStatus status = Find(state, database, parent, above); status != 0) return status;
  if (child == nullptr) return kInvalidArgument;
  const auto at = std::find_if(above->children.begin(), above->children.end(),
                               [&](const KtObjId& id) { return SameId(id, *child); });
  if (at == above->children.end()) return kNoObject;
  above->children.erase(at);
  return 0;
}

}  // extern "C"
