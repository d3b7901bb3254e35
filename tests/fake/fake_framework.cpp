#include "fake/fake_framework.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "fake/fake_state.h"

namespace fake {
namespace {

constexpr std::array<std::string_view, 11> kQuietCalls{
    "KtTrace",
    "_KtAlloc",
    "_KtFree",
    "KtInitializeCriticalSection",
    "KtEnterCriticalSection",
    "KtLeaveCriticalSection",
    "KtDeleteCriticalSection",
    "KtGUIDToString",
    "Ktmbstowcs",
    "Ktwcstombs",
    "KtlstrlenA",
};

bool IsQuiet(const std::string& function) {
  return std::find(kQuietCalls.begin(), kQuietCalls.end(), function) != kQuietCalls.end();
}

std::vector<std::string> NamesOf(const State& state, bool alerts) {
  std::vector<std::string> names;
  for (const auto& [cookie, registration] : state.registrations) {
    if (registration.alert == alerts) names.push_back(registration.name);
  }
  return names;
}

std::vector<KtGuid> InterfacesIn(const std::vector<Attachment>& attachments) {
  std::vector<KtGuid> interfaces;
  interfaces.reserve(attachments.size());
  for (const Attachment& attachment : attachments) interfaces.push_back(attachment.interface_id);
  return interfaces;
}

}  // namespace

std::uint64_t ThisThread() {
  return std::hash<std::thread::id>{}(std::this_thread::get_id());
}

Framework& Framework::Get() {
  static Framework framework;
  return framework;
}

void Framework::Reset() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.ResetLocked();
}

KtDatabase Framework::database() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.database;
}

KtProvider Framework::provider() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.provider;
}

KtDatabase Framework::MakeDatabase() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return *state.databases.insert(state.NewHandle<KtDatabase>(HandleKind::kDatabase)).first;
}

KtProvider Framework::MakeProvider() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return *state.providers.insert(state.NewHandle<KtProvider>(HandleKind::kProvider)).first;
}

// ---- Memory of calls

std::vector<Call> Framework::Calls() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.calls;
}

std::vector<std::string> Framework::CallNames() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  std::vector<std::string> names;
  for (const Call& call : state.calls) {
    if (!IsQuiet(call.function)) names.push_back(call.function);
  }
  return names;
}

std::vector<std::string> Framework::CallTexts() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  std::vector<std::string> texts;
  for (const Call& call : state.calls) {
    if (!IsQuiet(call.function)) texts.push_back(call.function + "(" + call.arguments + ")");
  }
  return texts;
}

std::size_t Framework::CountOf(std::string_view function) const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return static_cast<std::size_t>(
      std::count_if(state.calls.begin(), state.calls.end(),
                    [&](const Call& call) { return call.function == function; }));
}

void Framework::ForgetCalls() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.calls.clear();
  state.failable_calls = 0;
}

void Framework::RecordCalls(bool record) {
  State::Get().recording = record;
}

// ---- Trace

std::vector<TraceLine> Framework::Traces() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.traces;
}

std::vector<std::string> Framework::TracesAt(std::uint32_t level) const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  std::vector<std::string> texts;
  for (const TraceLine& line : state.traces) {
    if (line.level == level) texts.push_back(line.text);
  }
  return texts;
}

bool Framework::HasTrace(std::uint32_t level, std::string_view text) const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return std::any_of(state.traces.begin(), state.traces.end(), [&](const TraceLine& line) {
    return line.level == level && line.text == text;
  });
}

void Framework::ForgetTraces() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.traces.clear();
}

std::uint32_t Framework::TraceLevel() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.trace_level;
}

// ---- Failures

void Framework::FailCall(std::string_view function, std::size_t nth, KtStatus status) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.failures.push_back({std::string(function), nth, status});
}

void Framework::FailNthOfAll(std::size_t nth, KtStatus status) {
  FailCall("", nth, status);
}

void Framework::FailAtRandom(std::uint32_t seed) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.random.emplace(seed);
}

std::size_t Framework::FailuresHappened() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.failures_happened;
}

std::size_t Framework::FailableCalls() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.failable_calls;
}

bool Framework::FailureHappened() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.failures_happened != 0;
}

std::string Framework::LastFailedFunction() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.last_failed;
}

std::size_t Framework::PendingFailures() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.failures.size();
}

void Framework::ClearFailures() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.failures.clear();
  state.random.reset();
  state.failures_happened = 0;
  state.last_failed.clear();
}

// ---- Ledger

Ledger Framework::Outstanding() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  Ledger ledger;
  for (const auto& [handle, set] : state.sets) ledger.propsets += set.counted ? 1 : 0;
  for (const auto& [address, block] : state.blocks) {
    if (!block.counted || block.epoch != state.epoch) continue;
    ++(block.is_record ? ledger.records : ledger.blocks);
  }
  for (const auto& [handle, iterator] : state.iterators) {
    ledger.iterators += iterator.counted ? 1 : 0;
  }
  for (const auto& [cookie, registration] : state.registrations) {
    ledger.registrations += registration.counted ? 1 : 0;
  }
  ledger.sections = state.section_count;
  ledger.held_sections = state.held_section_count;
  ledger.held_db_locks = state.db_depth;
  ledger.wrong_frees = state.wrong_frees.size();
  return ledger;
}

std::vector<std::string> Framework::WrongFrees() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.wrong_frees;
}

// ---- Time

std::uint64_t Framework::SleptMs() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.slept;
}

std::size_t Framework::Sleeps() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.sleeps;
}

void Framework::OnSleep(std::function<void(std::uint32_t)> hook) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.on_sleep = std::move(hook);
}

// ---- Types and objects

void Framework::AddType(const std::string& name, const std::vector<std::string>& superclasses) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  std::vector<const char*> names;
  names.reserve(superclasses.size() + 1);
  for (const std::string& superclass : superclasses) names.push_back(superclass.c_str());
  names.push_back(nullptr);
  KtObjId id{};
  state.CreateType(name.c_str(), names.data(), nullptr, &id);
}

bool Framework::HasType(const std::string& name) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return state.FindType(name) != nullptr;
}

std::vector<std::string> Framework::SuperclassesOf(const std::string& type) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Type* found = state.FindType(type);
  return found != nullptr ? found->superclasses : std::vector<std::string>{};
}

std::vector<Property> Framework::TypeProperties(const std::string& type) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Type* found = state.FindType(type);
  return found != nullptr ? ViewOf(found->properties) : std::vector<Property>{};
}

std::vector<KtGuid> Framework::TypeInterfacesOf(const std::string& type) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Type* found = state.FindType(type);
  return found != nullptr ? InterfacesIn(found->interfaces) : std::vector<KtGuid>{};
}

KtObjId Framework::AddObject(const std::string& type) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return state.FindType(type) != nullptr ? state.CreateObject(type) : KtObjId{};
}

void Framework::SetNextObjectId(const KtObjId& id) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.next_id = id;
}

void Framework::RemoveObject(const KtObjId& id) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.DeleteObject(id);
}

bool Framework::HasObject(const KtObjId& id) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return state.FindObject(id) != nullptr;
}

std::string Framework::TypeOf(const KtObjId& id) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Object* object = state.FindObject(id);
  return object != nullptr ? object->type : std::string{};
}

std::vector<KtObjId> Framework::ObjectsOf(const std::string& type) const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  std::map<std::uint64_t, KtObjId> in_order;
  for (const auto& [id, object] : state.objects) {
    if (object.type == type) in_order[object.order] = id;
  }
  std::vector<KtObjId> ids;
  ids.reserve(in_order.size());
  for (const auto& [order, id] : in_order) ids.push_back(id);
  return ids;
}

std::size_t Framework::ObjectCount() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.objects.size();
}

void Framework::AddChild(const KtObjId& parent, const KtObjId& child) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (Object* object = state.FindObject(parent)) object->children.push_back(child);
}

std::vector<KtGuid> Framework::InterfacesOf(const KtObjId& id) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Object* object = state.FindObject(id);
  return object != nullptr ? InterfacesIn(object->interfaces) : std::vector<KtGuid>{};
}

KtProvider Framework::InterfaceOwner(const KtObjId& id, const KtGuid& interface_id) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Object* object = state.FindObject(id);
  if (object == nullptr) return nullptr;
  for (const Attachment& attachment : object->interfaces) {
    if (std::memcmp(&attachment.interface_id, &interface_id, sizeof interface_id) == 0) {
      return attachment.owner;
    }
  }
  return nullptr;
}

std::vector<Property> Framework::PropertiesOf(const KtObjId& id) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const Object* object = state.FindObject(id);
  return object != nullptr ? ViewOf(object->properties) : std::vector<Property>{};
}

void Framework::Put(const KtObjId& id, const cuvo_property& property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (Object* object = state.FindObject(id)) state.AddOrReplace(object->properties, &property);
}

// ---- Property sets

KtPropset Framework::MakePropset() {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return state.HandOut(SetData{}, false);
}

bool Framework::HasPropset(KtPropset set) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  return state.FindSet(set) != nullptr;
}

std::vector<Property> Framework::PropertiesOf(KtPropset set) const {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const SetData* found = state.FindSet(set);
  return found != nullptr ? ViewOf(*found) : std::vector<Property>{};
}

void Framework::Put(KtPropset set, const cuvo_property& property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (SetData* found = state.FindSet(set)) state.AddOrReplace(*found, &property);
}

// ---- Events and alerts

std::vector<std::string> Framework::Subscriptions() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return NamesOf(state, false);
}

std::vector<std::string> Framework::AlertSubscriptions() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return NamesOf(state, true);
}

std::vector<std::string> Framework::PublishedAlerts() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.published;
}

std::vector<Raised> Framework::RaisedEvents() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.raised_events;
}

std::vector<Raised> Framework::RaisedAlerts() const {
  const State& state = State::Get();
  const Guard guard(state.mutex);
  return state.raised_alerts;
}

}  // namespace fake
