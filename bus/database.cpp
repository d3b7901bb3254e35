#include "bus/database.h"

#include <algorithm>
#include <chrono>

#include "bus/attribution.h"
#include "bus/handle_table.h"
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

std::shared_ptr<Object> Database::FindObject(const KtObjId& id) const {
  auto object = objects_.Find(id);
  if (object == nullptr) throw StatusError(kNoObject);
  return object;
}

Type& Database::FindType(const char* name) const {
  Type* const type = types_.Find(name);
  if (type == nullptr) throw StatusError(kUnknownType);
  return *type;
}

PropertySet& Database::FindProperties(const KtObjId& id, std::shared_ptr<Object>& keep) const {
  keep = objects_.Find(id);
  if (keep != nullptr) return keep->properties();
  Type* const type = types_.Find(id);
  if (type == nullptr) throw StatusError(kNoObject);
  return type->properties();
}

KtObjId Database::CreateObject(Type& type, std::shared_ptr<Provider> owner, std::uint32_t flags) {
  auto object = std::make_shared<Object>(type, std::move(owner), flags, next_object_.fetch_add(1));
  // Nobody deletes it before the observer is told that it is there.
  const ReadGuard guard(family_lock_);
  objects_.Enter(object);
  try {
    type.Enter(object);
  } catch (...) {
    objects_.Take(object->id());
    throw;
  }
  TellOf(KTBUS_OBSERVED_CREATED, *object);
  return object->id();
}

KtStatus Database::DeleteObject(const KtObjId& id) {
  std::shared_ptr<Object> object;
  {
    const WriteGuard guard(family_lock_);
    object = objects_.Take(id);
    if (object == nullptr) return kNoObject;
    family_.Remove(id);
    TellOf(KTBUS_OBSERVED_DELETED, *object);
  }
  object->type().Leave(*object);
  return kOk;
}

KtStatus Database::AttachChild(const KtObjId& parent, const KtObjId& child) {
  const WriteGuard guard(family_lock_);
  if (objects_.Find(parent) == nullptr || objects_.Find(child) == nullptr) return kNoObject;
  if (!family_.Attach(parent, child)) return kInvalidArgument;
  TellChanged(parent);
  return kOk;
}

KtStatus Database::DetachChild(const KtObjId& parent, const KtObjId& child) {
  const WriteGuard guard(family_lock_);
  if (objects_.Find(parent) == nullptr || objects_.Find(child) == nullptr) return kNoObject;
  if (!family_.Detach(parent, child)) return kInvalidArgument;
  TellChanged(parent);
  return kOk;
}

std::vector<KtObjId> Database::ChildrenOf(const KtObjId& parent) const {
  const ReadGuard guard(family_lock_);
  if (objects_.Find(parent) == nullptr) throw StatusError(kNoObject);
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

void Database::TellOf(std::uint32_t what, const Object& object) noexcept {
  if (!observers_.Active()) return;
  const KtStatus status = Answer([&] {
    Observation observation;
    observation.what = what;
    observation.provider = object.owner().name();
    observation.object = object.id();
    observation.type = object.type().name();
    observers_.Tell(std::move(observation));
    return kOk;
  });
  if (status != kOk) observers_.Lose();
}

void Database::TellChanged(const KtObjId& id) noexcept {
  if (!observers_.Active()) return;
  if (const auto object = objects_.Find(id)) TellOf(KTBUS_OBSERVED_CHANGED, *object);
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
