// The C functions about events and alerts.
#include <memory>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/event_pattern.h"
#include "bus/gate.h"
#include "bus/status.h"
#include "bus/wrong_free.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {
namespace {

KtStatus Subscribe(KtDatabase database, KtProvider context, const char* name, bool alert,
                   KtCookie* out) {
  return Answer([&] {
    if (name == nullptr || *name == '\0' || out == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    return found->Subscribe(FindProvider(context, *found), name, alert, *out);
  });
}

KtStatus Unsubscribe(KtDatabase database, KtCookie cookie, bool alert, const void* return_address) {
  return Answer([&] {
    switch (Database::Find(database)->subscriptions().Unregister(cookie, alert)) {
      case Subscriptions::Found::kRemoved:
        return kOk;
      case Subscriptions::Found::kOtherKind:
        ReportWrongFree(Asker(return_address), Kind::kRegistration,
                        alert ? "ObUnregisterAlert" : "EvUnregisterEvent");
        return kNoObject;
      case Subscriptions::Found::kGone:
        break;
    }
    return kNoObject;
  });
}

// A copy of what a handle holds; null for the null handle.
std::shared_ptr<const PropertyMap> PropertiesOf(KtPropset handle) {
  return handle == nullptr ? nullptr : std::make_shared<const PropertyMap>(CopyProperties(handle));
}

KtStatus RaiseEvent(Database& database, std::string_view raiser, const char* name,
                    KtPropset handle) {
  if (name == nullptr || *name == '\0') return kInvalidArgument;
  auto properties = PropertiesOf(handle);
  Observation observation;
  const bool observed = database.observers().Active();
  if (observed) {
    observation.what = KTBUS_OBSERVED_EVENT;
    observation.name = name;
    observation.provider = raiser;
    observation.properties =
        properties == nullptr ? std::make_shared<const PropertyMap>() : properties;
  }
  database.subscriptions().Raise(KTBUS_NOTICE_EVENT, name, std::move(properties),
                                 database.observers(), observed ? &observation : nullptr);
  return kOk;
}

// What a notice of an alert carries beyond the raised properties. A property of the alert's own
// of the same name wins.
PropertyMap AlertProperties(const AlertTable::Definition& definition, KtPropset raised,
                            const KtObjId* object) {
  PropertyMap properties = CopyProperties(raised);
  const auto add = [&](const cuvo_property& record) {
    static_cast<void>(properties.Add(PropertyDraft(record)));
  };
  add(TextRecord("AlertName", definition.name.c_str()));
  add(TextRecord("AlertDescription", definition.description.c_str()));
  add(NumberRecord("AlertSeverity", definition.severity));
  if (object != nullptr) add(IdRecord("AlertObject", *object));
  return properties;
}

}  // namespace
}  // namespace kt::bus

using kt::bus::Answer;
using kt::bus::Database;
using kt::bus::FindProvider;
using kt::bus::kInvalidArgument;
using kt::bus::kOk;

KtStatus EvRegisterEvent(KtDatabase database, KtProvider context, const char* name, KtCookie* out) {
  KT_GATE(EvRegisterEvent, database, context, name, out);
  return kt::bus::Subscribe(database, context, name, false, out);
}

KtStatus EvUnregisterEvent(KtDatabase database, KtCookie cookie) {
  KT_GATE(EvUnregisterEvent, database, cookie);
  return kt::bus::Unsubscribe(database, cookie, false, KT_RETURN_ADDRESS());
}

KtStatus ObRegisterAlert(KtDatabase database, KtProvider context, const char* name, KtCookie* out) {
  KT_GATE(ObRegisterAlert, database, context, name, out);
  return kt::bus::Subscribe(database, context, name, true, out);
}

KtStatus ObUnregisterAlert(KtDatabase database, KtCookie cookie) {
  KT_GATE(ObUnregisterAlert, database, cookie);
  return kt::bus::Unsubscribe(database, cookie, true, KT_RETURN_ADDRESS());
}

cuvo_bool EvMatch(KtDatabase database, const char* eventName, const char* pattern) {
  KT_GATE(EvMatch, database, eventName, pattern);
  // Most names do not match, and then it is all the same whether there is such a database.
  if (eventName == nullptr || pattern == nullptr) return 0;
  if (!kt::bus::MatchesPattern(eventName, pattern)) return 0;
  const KtStatus found = Answer([database] {
    static_cast<void>(Database::Find(database));
    return kOk;
  });
  return found == kOk ? 1 : 0;
}

KtStatus EvRaiseEvent(KtDatabase database, KtProvider provider, const char* name,
                      KtPropset properties) {
  KT_GATE(EvRaiseEvent, database, provider, name, properties);
  return Answer([&] {
    const auto found = Database::Find(database);
    const auto raiser = FindProvider(provider, *found);
    return kt::bus::RaiseEvent(*found, raiser->name(), name, properties);
  });
}

KtStatus KtBusRaiseEvent(KtDatabase database, const char* name, KtPropset properties) {
  return Answer(
      [&] { return kt::bus::RaiseEvent(*Database::Find(database), "", name, properties); });
}

KtStatus ObPublishAlert(KtDatabase database, KtProvider provider,
                        const KtAlertDefinition* definition) {
  KT_GATE(ObPublishAlert, database, provider, definition);
  return Answer([&] {
    if (definition == nullptr || definition->name == nullptr || *definition->name == '\0') {
      return kInvalidArgument;
    }
    const auto found = Database::Find(database);
    const auto publisher = FindProvider(provider, *found);
    kt::bus::AlertTable::Definition kept;
    kept.name = definition->name;
    if (definition->description != nullptr) kept.description = definition->description;
    kept.severity = definition->severity;
    kept.publisher = publisher.get();
    return found->alerts().Publish(std::move(kept));
  });
}

KtStatus ObUnpublishAlert(KtDatabase database, KtProvider provider, const char* name) {
  KT_GATE(ObUnpublishAlert, database, provider, name);
  return Answer([&] {
    if (name == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    return found->alerts().Unpublish(*FindProvider(provider, *found), name);
  });
}

KtStatus ObRaiseAlert(KtDatabase database, KtProvider provider, const char* name,
                      KtPropset properties, const KtObjId* object) {
  KT_GATE(ObRaiseAlert, database, provider, name, properties, object);
  return Answer([&] {
    if (name == nullptr) return kInvalidArgument;
    const auto found = Database::Find(database);
    const auto raiser = FindProvider(provider, *found);
    const auto definition = found->alerts().Find(name);
    if (!definition) return kt::bus::kAlertNotPublished;
    // The zero id is an alert about no object, as the null pointer is.
    const KtObjId none{};
    if (object != nullptr && kt::bus::SameGuid(object->guid, none.guid)) object = nullptr;
    kt::bus::Observation observation;
    if (object != nullptr) {
      observation.type = found->TypeOfObject(*object).name();
      observation.object = *object;
    }
    observation.what = KTBUS_OBSERVED_ALERT;
    observation.name = definition->name;
    observation.provider = raiser->name();
    observation.description = definition->description;
    observation.severity = definition->severity;
    observation.properties = std::make_shared<const kt::bus::PropertyMap>(
        kt::bus::AlertProperties(*definition, properties, object));
    auto shared = observation.properties;
    found->subscriptions().Raise(KTBUS_NOTICE_ALERT, definition->name, std::move(shared),
                                 found->observers(), &observation);
    return kOk;
  });
}
