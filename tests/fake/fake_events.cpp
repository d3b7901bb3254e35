// Events and alerts. Nothing is delivered: what was raised is remembered.

#include <algorithm>
#include <string>
#include <string_view>

#include "fake/fake_state.h"

using fake::Guard;
using fake::kAlertNotPublished;
using fake::kAlertPublished;
using fake::kInvalidArgument;
using fake::kNoObject;
using fake::Registration;
using fake::SetData;
using fake::State;

namespace {

KtStatus Subscribe(State& state, KtDatabase database, KtProvider context, const char* name,
                   bool alert, KtCookie* out) {
  if (!state.IsDatabase(database) || !state.IsProvider(context)) return kNoObject;
  if (name == nullptr || out == nullptr) return kInvalidArgument;
  *out = ++state.last_cookie;
  state.registrations[*out] = Registration{name, alert, true};
  return 0;
}

KtStatus Unsubscribe(State& state, const char* function, std::optional<KtStatus> failed,
                     KtDatabase database, bool alert, KtCookie cookie) {
  const auto at = state.registrations.find(cookie);
  if (at == state.registrations.end() || at->second.alert != alert) {
    state.WrongFree(std::string(function) + " of a registration that is not there");
    return failed.value_or(kNoObject);
  }
  if (failed) {
    at->second.counted = false;
    return *failed;
  }
  if (!state.IsDatabase(database)) return kNoObject;
  state.registrations.erase(at);
  return 0;
}

// Takes the first part of a dotted name off it.
std::string_view TakePart(std::string_view& name, bool& more) {
  const std::size_t dot = name.find('.');
  const std::string_view part = name.substr(0, dot);
  more = dot != std::string_view::npos;
  name = more ? name.substr(dot + 1) : std::string_view{};
  return part;
}

bool Matches(std::string_view name, std::string_view pattern) {
  for (;;) {
    bool more_name = false;
    bool more_pattern = false;
    const std::string_view part = TakePart(name, more_name);
    const std::string_view wanted = TakePart(pattern, more_pattern);
    if (wanted == "*" ? part.empty() : part != wanted) return false;
    if (more_name != more_pattern) return false;
    if (!more_name) return true;
  }
}

// Null is a set of nothing.
KtStatus ViewOf(State& state, KtPropset properties, std::vector<fake::Property>& view) {
  if (properties == nullptr) return 0;
  const SetData* set = state.FindSet(properties);
  if (set == nullptr) return kNoObject;
  view = fake::ViewOf(*set);
  return 0;
}

}  // namespace

extern "C" {

KT_BUS_API KtStatus EvRegisterEvent(KtDatabase database, KtProvider context, const char* name,
                                    KtCookie* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("EvRegisterEvent", database, context, name)) return *failed;
  return Subscribe(state, database, context, name, false, out);
}

KT_BUS_API KtStatus EvUnregisterEvent(KtDatabase database, KtCookie cookie) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto failed = state.Begin("EvUnregisterEvent", database, cookie);
  return Unsubscribe(state, "EvUnregisterEvent", failed, database, false, cookie);
}

KT_BUS_API cuvo_bool EvMatch(KtDatabase database, const char* eventName, const char* pattern) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.Note("EvMatch", database, eventName, pattern);
  if (!state.IsDatabase(database) || eventName == nullptr || pattern == nullptr) return 0;
  return Matches(eventName, pattern) ? 1 : 0;
}

KT_BUS_API KtStatus ObRegisterAlert(KtDatabase database, KtProvider context, const char* name,
                                    KtCookie* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObRegisterAlert", database, context, name)) return *failed;
  return Subscribe(state, database, context, name, true, out);
}

KT_BUS_API KtStatus ObUnregisterAlert(KtDatabase database, KtCookie cookie) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto failed = state.Begin("ObUnregisterAlert", database, cookie);
  return Unsubscribe(state, "ObUnregisterAlert", failed, database, true, cookie);
}

KT_BUS_API KtStatus ObPublishAlert(KtDatabase database, KtProvider provider,
                                   const KtAlertDefinition* definition) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObPublishAlert", database, provider, definition)) {
    return *failed;
  }
  if (!state.IsDatabase(database) || !state.IsProvider(provider)) return kNoObject;
  if (definition == nullptr || definition->name == nullptr) return kInvalidArgument;
  auto& published = state.published;
  if (std::find(published.begin(), published.end(), definition->name) != published.end()) {
    return kAlertPublished;
  }
  published.emplace_back(definition->name);
  return 0;
}

KT_BUS_API KtStatus ObUnpublishAlert(KtDatabase database, KtProvider provider, const char* name) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("ObUnpublishAlert", database, provider, name)) {
    return *failed;
  }
  if (!state.IsDatabase(database) || !state.IsProvider(provider)) return kNoObject;
  if (name == nullptr) return kInvalidArgument;
  const auto at = std::find(state.published.begin(), state.published.end(), name);
  if (at == state.published.end()) return kAlertNotPublished;
  state.published.erase(at);
  return 0;
}

KT_BUS_API KtStatus ObRaiseAlert(KtDatabase database, KtProvider provider, const char* name,
                                 KtPropset properties, const KtObjId* object) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed =
          state.Begin("ObRaiseAlert", database, provider, name, properties, object)) {
    return *failed;
  }
  if (!state.IsDatabase(database) || !state.IsProvider(provider)) return kNoObject;
  if (name == nullptr) return kInvalidArgument;
  if (std::find(state.published.begin(), state.published.end(), name) == state.published.end()) {
    return kAlertNotPublished;
  }
  fake::Raised raised{name, {}};
  if (const KtStatus status = ViewOf(state, properties, raised.properties); status != 0) {
    return status;
  }
  state.raised_alerts.push_back(std::move(raised));
  return 0;
}

KT_BUS_API KtStatus EvRaiseEvent(KtDatabase database, KtProvider provider, const char* name,
                                 KtPropset properties) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("EvRaiseEvent", database, provider, name, properties)) {
    return *failed;
  }
  if (!state.IsDatabase(database) || !state.IsProvider(provider)) return kNoObject;
  if (name == nullptr) return kInvalidArgument;
  fake::Raised raised{name, {}};
  if (const KtStatus status = ViewOf(state, properties, raised.properties); status != 0) {
    return status;
  }
  state.raised_events.push_back(std::move(raised));
  return 0;
}

}  // extern "C"
