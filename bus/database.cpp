#include "bus/database.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "bus/attribution.h"
#include "bus/handle_table.h"
#include "bus/property_record.h"
#include "bus/property_set.h"
#include "bus/status.h"
#include "bus/trace.h"

namespace kt::bus {
namespace {

using DatabaseTable = HandleTable<Database, KtDatabase, HandleKind::kDatabase>;
using ProviderHandles = HandleTable<Provider, KtProvider, HandleKind::kProvider>;

// Never destroyed: modules ask until the process ends.
DatabaseTable& Databases() {
  static DatabaseTable* const table = new DatabaseTable;
  return *table;
}

ProviderHandles& ProviderTable() {
  static ProviderHandles* const table = new ProviderHandles;
  return *table;
}

}  // namespace

std::shared_ptr<Provider> FindProvider(KtProvider handle) {
  auto provider = ProviderTable().Find(handle);
  if (provider == nullptr) throw StatusError(kNoObject);
  return provider;
}

std::shared_ptr<Provider> FindProvider(KtProvider handle, const Database& database) {
  auto provider = FindProvider(handle);
  if (provider->database().get() != &database) throw StatusError(kNoObject);
  return provider;
}

KtDatabase Database::Open() {
  auto database = std::make_shared<Database>();
  Database& made = *database;
  made.handle_ = Databases().Insert(std::move(database), nullptr);
  return made.handle_;
}

KtStatus Database::Close(KtDatabase handle) {
  const auto database = Find(handle);
  std::vector<std::shared_ptr<Provider>> providers = database->Providers();
  for (const auto& provider : providers) {
    if (provider->RunsHere()) return kInvalidArgument;
  }
  if (database->observers_.RunsHere()) return kInvalidArgument;
  {
    const MutexGuard guard(database->providers_lock_);
    database->closed_ = true;
    providers = database->providers_;
  }
  std::reverse(providers.begin(), providers.end());
  for (const auto& provider : providers) database->Detach(provider);
  database->observers_.Close();
  Databases().Remove(handle);
  return kOk;
}

std::shared_ptr<Database> Database::Find(KtDatabase handle) {
  auto database = Databases().Find(handle);
  if (database == nullptr) throw StatusError(kNoObject);
  return database;
}

void Database::ThrowNoObject() {
  throw StatusError(kNoObject);
}

Type& Database::FindType(const char* name) const {
  Type* const type = types_.Find(name);
  if (type == nullptr) throw StatusError(kUnknownType);
  return *type;
}

Type& Database::TypeOfObject(const KtObjId& id) const {
  Type* type = nullptr;
  WithObject(id, [&](Object& object) { type = &object.type(); });
  return *type;
}

Type& Database::TypeOf(const KtObjId& id) const {
  if (Type* const type = types_.Find(id)) return *type;
  return TypeOfObject(id);
}

std::optional<ObjectPicture> Database::Picture(const KtObjId& id) const {
  ObjectPicture picture;
  const bool there = objects_.With(id, [&](Object& object) {
    picture.id = object.id();
    picture.flags = object.flags();
    picture.sequence = object.sequence();
    picture.type = &object.type();
    picture.owner = object.owner();
    if (object.interfaces() != nullptr) picture.interfaces = object.interfaces()->All();
  });
  return there ? std::optional(std::move(picture)) : std::nullopt;
}

cuvo_property* Database::FindProperty(const KtObjId& id, const char* name, Account& account) const {
  cuvo_property* record = nullptr;
  if (objects_.With(id, [&](Object& object) { record = object.FindProperty(name, account); })) {
    return record;
  }
  Type* const type = types_.Find(id);
  if (type == nullptr) ThrowNoObject();
  return type->properties().Find(PropertyName(name), account);
}

void Database::PutProperty(const KtObjId& id, const cuvo_property& record) {
  std::optional<PropertyDraft> property;
  try {
    property.emplace(record);
  } catch (...) {
    static_cast<void>(TypeOf(id));  // that there is no such object comes first
    throw;
  }
  if (objects_.Put(id, *property)) return;
  Type* const type = types_.Find(id);
  if (type == nullptr) ThrowNoObject();
  type->properties().Put(*property);
}

PropertyMap Database::CopyProperties(const KtObjId& id) const {
  PropertyMap properties;
  if (objects_.With(id, [&](Object& object) { properties = object.Properties(); })) {
    return properties;
  }
  Type* const type = types_.Find(id);
  if (type == nullptr) ThrowNoObject();
  return type->properties().Copy();
}

std::shared_ptr<Provider> Database::Serves(const KtObjId& id, const KtGuid& interface_id) const {
  Type* type = nullptr;
  std::shared_ptr<Provider> provider;
  WithObject(id, [&](Object& object) {
    type = &object.type();
    if (object.interfaces() != nullptr) provider = object.interfaces()->Find(interface_id);
  });
  if (provider != nullptr) return provider;
  for (Type* const one : type->line()) {
    if (auto owner = one->interfaces().Find(interface_id)) return owner;
  }
  return nullptr;
}

KtStatus Database::RegisterInterface(const KtObjId& id, const KtGuid& interface_id,
                                     std::shared_ptr<Provider> owner) {
  KtStatus added = kOk;
  WithObject(id,
             [&](Object& object) { added = object.AddInterface(interface_id, std::move(owner)); });
  if (added == kOk) TellChanged(id);
  return added;
}

KtObjId Database::CreateObject(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags) {
  const Provider& provider = *owner;
  Object::Pointer object = objects_.Make(type, std::move(owner), flags);
  const KtObjId id = object->id();
  // Nobody deletes it before the observer is told that it is there; so its provider stays, too.
  const ReadGuard guard(family_lock_);
  type.Add(id, next_object_, [&](std::uint64_t number, std::size_t place) {
    object->SetPlace(number, place);
    objects_.Enter(std::move(object));
  });
  TellOf(KTBUS_OBSERVED_CREATED, id, type, provider);
  return id;
}

KtStatus Database::DeleteObject(const KtObjId& id) {
  Object::Pointer object;
  {
    const WriteGuard guard(family_lock_);
    object = objects_.Take(id);
    if (object == nullptr) return kNoObject;
    family_.Remove(id);
    TellOf(KTBUS_OBSERVED_DELETED, id, object->type(), *object->owner());
  }
  object->type().Remove(object->sequence(), object->place());
  return kOk;
}

KtStatus Database::AttachChild(const KtObjId& parent, const KtObjId& child) {
  const WriteGuard guard(family_lock_);
  if (!objects_.Has(parent) || !objects_.Has(child)) return kNoObject;
  if (!family_.Attach(parent, child)) return kInvalidArgument;
  TellChanged(parent);
  return kOk;
}

KtStatus Database::DetachChild(const KtObjId& parent, const KtObjId& child) {
  const WriteGuard guard(family_lock_);
  if (!objects_.Has(parent) || !objects_.Has(child)) return kNoObject;
  if (!family_.Detach(parent, child)) return kInvalidArgument;
  TellChanged(parent);
  return kOk;
}

std::vector<KtObjId> Database::ChildrenOf(const KtObjId& parent) const {
  const ReadGuard guard(family_lock_);
  if (!objects_.Has(parent)) ThrowNoObject();
  return family_.ChildrenOf(parent);
}

KtProvider Database::Attach(const char* name, const KtProviderTable& table) {
  const auto provider = std::make_shared<Provider>(weak_from_this(), name, table);
  const MutexGuard guard(providers_lock_);
  if (closed_) throw StatusError(kNoObject);
  for (const auto& other : providers_) {
    if (other->name() == provider->name()) throw StatusError(KTBUS_PROVIDER_NAME_TAKEN);
  }
  providers_.reserve(providers_.size() + 1);
  provider->set_handle(ProviderTable().Insert(provider, nullptr));
  providers_.push_back(provider);
  return provider->handle();
}

KtStatus Database::Detach(const std::shared_ptr<Provider>& provider) {
  if (provider->RunsHere()) return kInvalidArgument;
  if (!provider->Go()) return kNoObject;
  // From here on nothing new begins. What it waits for is dropped first, so that no notice is on
  // its way when its queue ends.
  const std::size_t kept = subscriptions_.DropAll(*provider);
  if (kept != 0) {
    WriteTrace(kTraceError, "ktbus3: provider %s left %I64u registrations behind; they are dropped",
               provider->name().c_str(), static_cast<std::uint64_t>(kept));
  }
  alerts_.DropAll(*provider);
  database_lock_.Wake();  // its calls must not wait for the lock now
  provider->queue().Stop();
  provider->WaitForCalls();
  const std::size_t held = database_lock_.GiveUp(*provider);
  if (held != 0) {
    WriteTrace(kTraceError, "ktbus3: provider %s left the database locked (%I64u times)",
               provider->name().c_str(), static_cast<std::uint64_t>(held));
  }
  ProviderTable().Remove(provider->handle());
  const MutexGuard guard(providers_lock_);
  std::erase(providers_, provider);
  return kOk;
}

std::vector<std::shared_ptr<Provider>> Database::Providers() const {
  const MutexGuard guard(providers_lock_);
  return providers_;
}

KtStatus Database::Subscribe(const std::shared_ptr<Provider>& provider, const char* name,
                             bool alert, KtCookie& cookie) {
  // The thread ends before the provider is let go and before the database is, so plain references
  // serve it.
  provider->queue().Start(
      [this, target = provider.get()](const Notice& notice) { return Deliver(*target, notice); });
  return subscriptions_.Register(provider, name, alert, cookie);
}

void Database::TellOf(std::uint32_t what, const KtObjId& id, const Type& type,
                      const Provider& owner) noexcept {
  if (!observers_.Active()) return;
  const KtStatus status = Answer([&] {
    Observation observation;
    observation.what = what;
    observation.provider = owner.name();
    observation.object = id;
    observation.type = type.name();
    observers_.Tell(std::move(observation));
    return kOk;
  });
  if (status != kOk) observers_.Lose();
}

void Database::TellChanged(const KtObjId& id) noexcept {
  if (!observers_.Active()) return;
  objects_.With(id, [&](Object& object) {
    TellOf(KTBUS_OBSERVED_CHANGED, id, object.type(), *object.owner());
  });
}

bool Database::WaitForDelivery(std::uint32_t milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  const std::uint64_t told = observers_.Told();
  const auto providers = Providers();
  std::vector<std::uint64_t> counts;
  counts.reserve(providers.size());
  for (const auto& provider : providers) counts.push_back(provider->queue().Pushed());
  for (std::size_t i = 0; i < providers.size(); ++i) {
    if (!providers[i]->queue().WaitFor(counts[i], deadline)) return false;
  }
  return observers_.WaitFor(told, deadline);
}

bool Database::Deliver(Provider& provider, const Notice& notice) {
  bool reached = false;
  const KtStatus status = Answer([&] {
    // What waited in the queue while its last subscription was taken back is not wanted any more.
    if (!subscriptions_.Wants(provider, notice)) return kOk;
    const LentPropset properties(notice.properties == nullptr ? PropertyMap()
                                                              : PropertyMap(*notice.properties));
    KtEventRecord record{};
    record.kind = notice.kind;
    record.name = notice.name();
    record.properties = properties.get();
    record.database = handle_;
    // The provider's own status says only whether anybody there listened.
    reached = provider.ChangeNotify(record) != KTBUS_PROVIDER_GONE;
    return kOk;
  });
  if (status != kOk) {
    WriteTrace(kTraceError, "ktbus3: notice %s for provider %s is lost, 0x%x", notice.name(),
               provider.name().c_str(), status);
  }
  return reached;
}

}  // namespace kt::bus
