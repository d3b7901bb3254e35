// The C functions about types, objects and their relations.
#include <algorithm>
#include <new>
#include <vector>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/gate.h"
#include "bus/memory.h"
#include "bus/prefetch.h"
#include "bus/property_set.h"
#include "bus/status.h"

namespace kt::bus {

namespace {

// A block of the account with room for so many ids. Throws std::bad_alloc.
KtObjId* BlockOfIds(std::size_t count, Account& account) {
  void* const block = AllocateBlock(count * sizeof(KtObjId), Kind::kBlock, account);
  if (block == nullptr) throw std::bad_alloc();
  return static_cast<KtObjId*>(block);
}

bool IsName(const char* name) noexcept {
  return name != nullptr && *name != '\0';
}

KtStatus CreateType(KtDatabase database, const char* name, const char* const* superclasses,
                    KtPropset properties, std::uint32_t flags, KtObjId* out) {
  return Answer([&] {
    if (!IsName(name) || out == nullptr) return kInvalidArgument;
    const auto owner = Database::Find(database);
    std::vector<std::string> above;
    for (; superclasses != nullptr && *superclasses != nullptr; ++superclasses) {
      above.emplace_back(*superclasses);
    }
    return owner->types().Create(name, above, flags, CopyProperties(properties), *out);
  });
}

KtStatus CreateObject(KtDatabase database, KtProvider provider, const char* type_name,
                      std::uint32_t flags, KtObjId* out) {
  return Answer([&] {
    if (type_name == nullptr || out == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    auto owner = FindProvider(provider, *found);
    *out = found->CreateObject(found->FindType(type_name), std::move(owner), flags);
    return kOk;
  });
}

}  // namespace
}  // namespace kt::bus

using kt::bus::Account;
using kt::bus::Answer;
using kt::bus::Asker;
using kt::bus::Database;
using kt::bus::FindProvider;
using kt::bus::kInvalidArgument;
using kt::bus::kOk;

KtStatus DbLockDatabase(KtProvider provider) {
  KT_GATE(DbLockDatabase, provider);
  return Answer([&] {
    const auto found = FindProvider(provider);
    return found->database()->lock().Enter(*found);
  });
}

KtStatus DbUnlockDatabase(KtProvider provider) {
  KT_GATE(DbUnlockDatabase, provider);
  return Answer([&] {
    const auto found = FindProvider(provider);
    return found->database()->lock().Leave(*found);
  });
}

KtStatus DbGetObjects(KtDatabase database, const char* typeName, KtObjId** list, uint32_t* count) {
  KT_GATE(DbGetObjects, database, typeName, list, count);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (typeName == nullptr || list == nullptr || count == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    KtObjId* block = nullptr;
    std::size_t size = 0;
    found->types().ListObjects(found->FindType(typeName), [&](std::size_t ids) {
      block = kt::bus::BlockOfIds(ids, asker);
      size = ids;
      return block;
    });
    *list = block;
    *count = static_cast<std::uint32_t>(size);
    return kOk;
  });
}

KtStatus ObCreateTypeObject(KtDatabase database, const char* typeName,
                            const char* const* superclasses, KtPropset properties, KtObjId* out) {
  KT_GATE(ObCreateTypeObject, database, typeName, superclasses, properties, out);
  return kt::bus::CreateType(database, typeName, superclasses, properties, 0, out);
}

KtStatus ObCreateTypeObjectEx(KtDatabase database, const char* typeName,
                              const char* const* superclasses, KtPropset properties, uint32_t flags,
                              uint64_t zero, KtObjId* out) {
  KT_GATE(ObCreateTypeObjectEx, database, typeName, superclasses, properties, flags, zero, out);
  return kt::bus::CreateType(database, typeName, superclasses, properties, flags, out);
}

KtStatus ObRegisterInterfaceOnType(KtDatabase database, const char* typeName, KtProvider owner,
                                   const KtGuid* interfaceId) {
  KT_GATE(ObRegisterInterfaceOnType, database, typeName, owner, interfaceId);
  return Answer([&] {
    if (typeName == nullptr || interfaceId == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    auto provider = FindProvider(owner, *found);
    return found->FindType(typeName).interfaces().Add(*interfaceId, std::move(provider));
  });
}

KtStatus ObCreateObject(KtDatabase database, KtProvider provider, const char* typeName,
                        KtObjId* out) {
  KT_GATE(ObCreateObject, database, provider, typeName, out);
  return kt::bus::CreateObject(database, provider, typeName, 0, out);
}

KtStatus ObCreateObjectEx(KtDatabase database, KtProvider provider, const char* typeName,
                          uint32_t flags, void* null, KtObjId* out) {
  KT_GATE(ObCreateObjectEx, database, provider, typeName, flags, null, out);
  return kt::bus::CreateObject(database, provider, typeName, flags, out);
}

KtStatus ObDeleteObject(KtDatabase database, const KtObjId* object) {
  KT_GATE(ObDeleteObject, database, object);
  return Answer([&] {
    if (object == nullptr) return kInvalidArgument;
    return Database::Find(database)->DeleteObject(*object);
  });
}

KtStatus ObGetProperty(KtDatabase database, const KtObjId* object, const char* name,
                       cuvo_property** found) {
  KT_GATE(ObGetProperty, database, object, name, found);
  kt::bus::Prefetch(object);  // it comes while the database is looked up
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (object == nullptr || name == nullptr || found == nullptr) return kInvalidArgument;
    const auto owner = Database::Find(database);
    cuvo_property* const record = owner->FindProperty(*object, name, asker);
    if (record == nullptr) return kt::bus::kNoProperty;
    *found = record;
    return kOk;
  });
}

KtStatus ObSetProperty(KtDatabase database, const KtObjId* object, const cuvo_property* property) {
  KT_GATE(ObSetProperty, database, object, property);
  kt::bus::Prefetch(object);
  return Answer([&] {
    if (object == nullptr || property == nullptr) return kInvalidArgument;
    const auto owner = Database::Find(database);
    owner->PutProperty(*object, *property);
    owner->TellChanged(*object);
    return kOk;
  });
}

KtStatus ObGetProperties(KtDatabase database, const KtObjId* object, KtPropset* out) {
  KT_GATE(ObGetProperties, database, object, out);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (object == nullptr || out == nullptr) return kInvalidArgument;
    const auto owner = Database::Find(database);
    *out = kt::bus::NewPropset(owner->CopyProperties(*object), &asker);
    return kOk;
  });
}

KtStatus ObGetObjectType(KtDatabase database, const KtObjId* object, char** typeName) {
  KT_GATE(ObGetObjectType, database, object, typeName);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (object == nullptr || typeName == nullptr) return kInvalidArgument;
    const auto owner = Database::Find(database);
    char* const text = kt::bus::AllocateText(owner->TypeOf(*object).name(), asker);
    if (text == nullptr) return kt::bus::kOutOfMemory;
    *typeName = text;
    return kOk;
  });
}

KtStatus ObGetChildObjects(KtDatabase database, const KtObjId* object, KtObjId** list,
                           uint32_t* count) {
  KT_GATE(ObGetChildObjects, database, object, list, count);
  Account& asker = Asker(KT_RETURN_ADDRESS());
  return Answer([&] {
    if (object == nullptr || list == nullptr || count == nullptr) return kInvalidArgument;
    const std::vector<KtObjId> children = Database::Find(database)->ChildrenOf(*object);
    KtObjId* block = nullptr;
    if (!children.empty()) {
      block = kt::bus::BlockOfIds(children.size(), asker);
      std::copy(children.begin(), children.end(), block);
    }
    *list = block;
    *count = static_cast<std::uint32_t>(children.size());
    return kOk;
  });
}

KtStatus ObRegisterInterface(KtDatabase database, const KtObjId* object, KtProvider owner,
                             const KtGuid* interfaceId) {
  KT_GATE(ObRegisterInterface, database, object, owner, interfaceId);
  return Answer([&] {
    if (object == nullptr || interfaceId == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    return found->RegisterInterface(*object, *interfaceId, FindProvider(owner, *found));
  });
}

KtStatus ObAttachChildObject(KtDatabase database, const KtObjId* parent, const KtObjId* child) {
  KT_GATE(ObAttachChildObject, database, parent, child);
  return Answer([&] {
    if (parent == nullptr || child == nullptr) return kInvalidArgument;
    return Database::Find(database)->AttachChild(*parent, *child);
  });
}

KtStatus ObDetachChildObject(KtDatabase database, const KtObjId* parent, const KtObjId* child) {
  KT_GATE(ObDetachChildObject, database, parent, child);
  return Answer([&] {
    if (parent == nullptr || child == nullptr) return kInvalidArgument;
    return Database::Find(database)->DetachChild(*parent, *child);
  });
}
