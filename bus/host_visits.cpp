// The C functions that show what is there. Each takes a picture first and then calls the visitor
// with no lock held and on the host's account.
#include <optional>
#include <utility>
#include <vector>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/ledger.h"
#include "bus/status.h"
#include "ktbus3/ktbus3_host.h"

using kt::bus::Answer;
using kt::bus::Database;
using kt::bus::kInvalidArgument;
using kt::bus::kOk;

namespace {

// The visitor's call-backs run for the host, whoever's function runs on this thread.
class ForHost {
  const kt::bus::RunningAs host_{kt::bus::Ledger::Get().host()};
};

// Interfaces as a visitor sees them; keeps alive what the infos point to.
class InterfaceInfos {
 public:
  using Entries = std::vector<kt::bus::InterfaceEntries::Entry>;

  void Append(const Entries& entries, const char* offered_by) {
    for (const auto& entry : entries) {
      owners_.push_back(entry.owner);
      KtBusInterfaceInfo info{};
      info.size = sizeof(info);
      info.ownerGone = entry.owner->gone() ? 1 : 0;
      info.interfaceId = entry.interface_id;
      info.owner = entry.owner->name().c_str();
      info.offeredBy = offered_by;
      infos_.push_back(info);
    }
  }
  [[nodiscard]] const KtBusInterfaceInfo* data() const noexcept { return infos_.data(); }
  [[nodiscard]] std::size_t size() const noexcept { return infos_.size(); }

 private:
  std::vector<std::shared_ptr<kt::bus::Provider>> owners_;
  std::vector<KtBusInterfaceInfo> infos_;
};

bool VisitType(kt::bus::Type& type, KtBusTypeVisitor visitor, void* context) {
  std::vector<const char*> superclasses;
  for (const kt::bus::Type* const above : type.superclasses()) {
    superclasses.push_back(above->name().c_str());
  }
  superclasses.push_back(nullptr);
  InterfaceInfos interfaces;
  interfaces.Append(type.interfaces().All(), type.name().c_str());
  const kt::bus::LentPropset properties(type.properties().Copy());

  KtBusTypeInfo info{};
  info.size = sizeof(info);
  info.flags = type.flags();
  info.name = type.name().c_str();
  info.id = type.id();
  info.superclasses = superclasses.data();
  info.interfaces = interfaces.data();
  info.interfaceCount = interfaces.size();
  info.properties = properties.get();
  info.objectCount = type.ObjectCount();
  return visitor(&info, context) != 0;
}

bool VisitObject(const kt::bus::ObjectPicture& object, KtBusObjectVisitor visitor, void* context) {
  InterfaceInfos interfaces;
  interfaces.Append(object.interfaces, "");
  for (kt::bus::Type* const type : object.type->line()) {
    interfaces.Append(type->interfaces().All(), type->name().c_str());
  }
  KtBusObjectInfo info{};
  info.size = sizeof(info);
  info.flags = object.flags;
  info.id = object.id;
  info.type = object.type->name().c_str();
  info.owner = object.owner->name().c_str();
  info.interfaces = interfaces.data();
  info.interfaceCount = interfaces.size();
  info.sequence = object.sequence;
  return visitor(&info, context) != 0;
}

}  // namespace

KtStatus KtBusVisitTypes(KtDatabase database, KtBusTypeVisitor visitor, void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    for (kt::bus::Type* const type : found->types().All()) {
      if (!VisitType(*type, visitor, context)) break;
    }
    return kOk;
  });
}

KtStatus KtBusVisitObjects(KtDatabase database, const char* typeName, KtBusObjectVisitor visitor,
                           void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    const kt::bus::Type& type =
        typeName == nullptr ? *found->types().All().front() : found->FindType(typeName);
    std::vector<KtObjId> ids;
    found->types().ListObjects(type, [&](std::size_t count) {
      ids.resize(count);
      return ids.data();
    });
    std::vector<kt::bus::ObjectPicture> objects;
    objects.reserve(ids.size());
    for (const KtObjId& id : ids) {
      if (auto object = found->Picture(id)) objects.push_back(*std::move(object));
    }
    for (const auto& object : objects) {
      if (!VisitObject(object, visitor, context)) break;
    }
    return kOk;
  });
}

KtStatus KtBusVisitObject(KtDatabase database, const KtObjId* object, KtBusObjectVisitor visitor,
                          void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr || object == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    const auto picture = found->Picture(*object);
    if (!picture) return kt::bus::kNoObject;
    VisitObject(*picture, visitor, context);
    return kOk;
  });
}

KtStatus KtBusVisitProviders(KtDatabase database, KtBusProviderVisitor visitor, void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    for (const auto& provider : found->Providers()) {
      KtBusProviderInfo info{};
      info.size = sizeof(info);
      info.provider = provider->handle();
      info.name = provider->name().c_str();
      info.exceptions = provider->exceptions();
      info.controls = provider->controls();
      info.callsInFlight = provider->calls_in_flight();
      info.noticesDelivered = provider->queue().Delivered();
      info.noticesWaiting = provider->queue().Waiting();
      info.subscriptions = found->subscriptions().CountOf(*provider);
      if (visitor(&info, context) == 0) break;
    }
    return kOk;
  });
}

KtStatus KtBusVisitSubscriptions(KtDatabase database, KtBusSubscriptionVisitor visitor,
                                 void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr) return kInvalidArgument;
    for (const auto& subscription : Database::Find(database)->subscriptions().All()) {
      KtBusSubscriptionInfo info{};
      info.size = sizeof(info);
      info.isAlert = subscription->alert ? 1 : 0;
      info.cookie = subscription->cookie;
      info.name = subscription->name.c_str();
      info.provider = subscription->provider->name().c_str();
      if (visitor(&info, context) == 0) break;
    }
    return kOk;
  });
}

KtStatus KtBusVisitLedger(KtBusLedgerVisitor visitor, void* context) {
  const ForHost host;
  return Answer([&] {
    if (visitor == nullptr) return kInvalidArgument;
    for (const kt::bus::Account* const account : kt::bus::Ledger::Get().Accounts()) {
      for (std::size_t i = 0; i < kt::bus::kKinds; ++i) {
        const auto kind = static_cast<kt::bus::Kind>(i);
        const kt::bus::Account::Row counts = account->row(kind);
        KtBusLedgerRow row{};
        row.size = sizeof(row);
        row.provider = account->name().c_str();
        row.kind = kt::bus::KindText(kind);
        row.outstanding = counts.outstanding;
        row.total = counts.total;
        row.wrongFrees = counts.wrong_frees;
        row.overruns = counts.overruns;
        if (row.total == 0 && row.wrongFrees == 0) continue;
        if (visitor(&row, context) == 0) return kOk;
      }
    }
    return kOk;
  });
}

KtStatus KtBusLedgerSum(const char* provider, KtBusLedgerTotal* out) {
  return Answer([&] {
    if (out == nullptr) return kInvalidArgument;
    KtBusLedgerTotal total{};
    total.size = sizeof(total);
    for (const kt::bus::Account* const account : kt::bus::Ledger::Get().Accounts()) {
      if (provider != nullptr && account->name() != provider) continue;
      total.exceptions += account->exceptions();
      for (std::size_t i = 0; i < kt::bus::kKinds; ++i) {
        const kt::bus::Account::Row counts = account->row(static_cast<kt::bus::Kind>(i));
        total.outstanding += counts.outstanding;
        total.total += counts.total;
        total.wrongFrees += counts.wrong_frees;
        total.overruns += counts.overruns;
      }
    }
    *out = total;
    return kOk;
  });
}
