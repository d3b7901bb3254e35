#include "fake/fake_state.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tuple>

namespace fake {
namespace {

Framework::Shield g_shield;

}  // namespace

Shielded::Shielded() noexcept {
  if (g_shield.enter != nullptr) kept_ = g_shield.enter();
}

Shielded::~Shielded() {
  if (g_shield.leave != nullptr) g_shield.leave(kept_);
}

void Framework::SetShield(Shield shield) {
  g_shield = shield;
}

bool IdLess::operator()(const KtGuid& left, const KtGuid& right) const {
  const int rest = std::memcmp(left.Data4, right.Data4, sizeof left.Data4);
  return std::tie(left.Data1, left.Data2, left.Data3) <
             std::tie(right.Data1, right.Data2, right.Data3) ||
         (std::tie(left.Data1, left.Data2, left.Data3) ==
              std::tie(right.Data1, right.Data2, right.Data3) &&
          rest < 0);
}

State& State::Get() {
  // Never destroyed: what a test keeps in globals may still come back at the very end.
  static State* const state = new State;
  return *state;
}

State::State() {
  ResetLocked();
}

void State::ResetLocked() {
  ++epoch;
  first_handle = last_handle + 1;
  recording = true;
  calls.clear();
  traces.clear();
  trace_level = 0;
  failures.clear();
  failable_calls = 0;
  random.reset();
  failures_happened = 0;
  last_failed.clear();
  sets.clear();
  iterators.clear();
  wrong_frees.clear();
  databases.clear();
  providers.clear();
  database = NewHandle<KtDatabase>(HandleKind::kDatabase);
  provider = NewHandle<KtProvider>(HandleKind::kProvider);
  databases.insert(database);
  providers.insert(provider);
  types.clear();
  objects.clear();
  last_object = 0;
  last_type = 0;
  last_order = 0;
  next_id.reset();
  registrations.clear();
  published.clear();
  raised_events.clear();
  raised_alerts.clear();
  slept = 0;
  sleeps = 0;
  on_sleep = nullptr;
  section_count = 0;
  held_section_count = 0;

  const std::pair<const char*, const char*> kGiven[] = {
      {"QELM_Object", nullptr},
      {"QELM_GenericGroup", "QELM_Object"},
      {"QELM_Configlet", "QELM_Object"},
      {"qelm_ktvm", "QELM_Object"},
      {"qelm_ktvm_disk", "qelm_ktvm"},
      {"qelm_ktvm_cdrom", "qelm_ktvm"},
      {"qelm_ktvm_volume", "qelm_ktvm"},
      {"qelm_ktvm_partition", "qelm_ktvm"},
      {"qelm_ktvm_partition_oem", "qelm_ktvm"},
      {"qelm_ktvm_diskgroup", "qelm_ktvm"},
  };
  for (const auto& [name, superclass] : kGiven) {
    const char* const superclasses[] = {superclass, nullptr};
    KtObjId id{};
    CreateType(name, superclasses, nullptr, &id);
  }
}

std::optional<KtStatus> State::NextFailure(const char* function, bool of_all) {
  if (of_all) ++failable_calls;
  std::optional<KtStatus> status;
  for (auto at = failures.begin(); at != failures.end();) {
    const bool counts = at->function.empty() ? of_all : at->function == function;
    if (counts && --at->left == 0) {
      if (!status) status = at->status;
      at = failures.erase(at);
    } else {
      ++at;
    }
  }
  if (of_all && random && (*random)() % 2 == 0) {
    static constexpr KtStatus kStatuses[] = {0xC1000001u, 0x8007000Eu, 0x80070057u, 0xC1000010u,
                                             5u};
    status = kStatuses[(*random)() % std::size(kStatuses)];
  }
  if (status) {
    ++failures_happened;
    last_failed = function;
    if (recording && !calls.empty()) calls.back().failed = true;
  }
  return status;
}

// ---- Texts of inputs

std::string State::Describe(const char* text) {
  return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

std::string State::Describe(const KtWchar* text) {
  if (text == nullptr) return "null";
  std::u16string wide;
  for (; *text != 0; ++text) wide.push_back(static_cast<char16_t>(*text));
  return "L\"" + WideToNarrow(wide) + "\"";
}

std::string State::Describe(const cuvo_property* property) {
  if (property == nullptr) return "null";
  // A text for the eye: a set in a value is named, not printed.
  std::vector<KtPropset> handles;
  const SetLookup name_only = [&](KtPropset handle) {
    handles.push_back(handle);
    return std::make_shared<const SetData>();
  };
  Value value;
  std::string text = "{" + (property->name != nullptr ? std::string(property->name) : "null") +
                     " " + TypeToText(property->type) +
                     " flags=" + std::to_string(property->flags) +
                     " length=" + std::to_string(property->length) + " ";
  if (ReadRecord(*property, name_only, value) != 0) {
    text += "malformed";
  } else if (handles.empty()) {
    text += ValueToText(value);
  } else {
    for (const Message& message : value.messages) {
      text += "message " + std::to_string(message.id) + " ";
    }
    for (std::size_t index = 0; index < handles.size(); ++index) {
      text += (index != 0 ? " " : "") + Describe(static_cast<const void*>(handles[index]));
    }
  }
  return text + "}";
}

std::string State::Describe(const KtGuid* guid) {
  return guid != nullptr ? GuidToText(*guid) : "null";
}

std::string State::Describe(const KtObjId* id) {
  return id != nullptr ? IdToText(*id) : "null";
}

std::string State::Describe(const char* const* names) {
  if (names == nullptr) return "null";
  std::string text = "[";
  for (; *names != nullptr; ++names) text += (text.size() > 1 ? " " : "") + std::string(*names);
  return text + "]";
}

std::string State::Describe(const KtAlertDefinition* definition) {
  return definition != nullptr ? Describe(definition->name) : "null";
}

std::string State::Describe(const void* handle) {
  if (handle == nullptr) return "null";
  const State& state = Get();
  const auto number = reinterpret_cast<std::uintptr_t>(handle);
  const std::uintptr_t running = (number & ((std::uintptr_t{1} << 40u) - 1)) >> 4u;
  if (running < state.first_handle || running > state.last_handle) return "foreign";
  const std::string shown = std::to_string(running - state.first_handle + 1);
  switch (static_cast<HandleKind>(number >> 40u)) {
    case HandleKind::kDatabase:
      return handle == state.database ? "db#1" : "db#" + shown;
    case HandleKind::kProvider:
      return handle == state.provider ? "provider#1" : "provider#" + shown;
    case HandleKind::kSet:
      return "set#" + shown;
    case HandleKind::kIterator:
      return "iterator#" + shown;
  }
  return "foreign";
}

bool State::IsOld(const void* handle) const {
  const auto number = reinterpret_cast<std::uintptr_t>(handle);
  const std::uintptr_t kind = number >> 40u;
  const std::uintptr_t running = (number & ((std::uintptr_t{1} << 40u) - 1)) >> 4u;
  return kind >= 1 && kind <= 4 && running < first_handle;
}

// ---- Sets

SetData* State::FindSet(KtPropset handle) {
  const auto at = sets.find(handle);
  return at != sets.end() ? at->second.data.get() : nullptr;
}

KtPropset State::HandOut(const SetData& data, bool counted) {
  auto* const handle = NewHandle<KtPropset>(HandleKind::kSet);
  sets[handle] = LiveSet{std::make_shared<SetData>(data), counted};
  return handle;
}

KtStatus State::Read(const cuvo_property* property, NamedValue& value) {
  if (property == nullptr || property->name == nullptr) return kInvalidArgument;
  value.name = property->name;
  const SetLookup copy_of = [this](KtPropset handle) -> std::shared_ptr<const SetData> {
    const SetData* found = FindSet(handle);
    return found != nullptr ? std::make_shared<const SetData>(*found) : nullptr;
  };
  return ReadRecord(*property, copy_of, value.value);
}

KtStatus State::AddOrReplace(SetData& set, const cuvo_property* property) {
  NamedValue value;
  if (const KtStatus status = Read(property, value); status != 0) return status;
  if (NamedValue* there = set.Find(value.name)) {
    there->value = std::move(value.value);
  } else {
    set.properties.push_back(std::move(value));
  }
  return 0;
}

cuvo_property* State::HandOutRecord(const NamedValue& property) {
  std::vector<KtPropset> handles;
  cuvo_property* record = MakeRecord(
      property, [this](std::size_t size) { return Allocate(size); },
      [this](const SetData& set) { return HandOut(set); }, handles);
  Block& block = blocks[record];
  block.is_record = true;
  block.handles = std::move(handles);
  return record;
}

// ---- Memory

void* State::Allocate(std::size_t size) {
  void* block = std::malloc(size != 0 ? size : 1);
  if (block != nullptr) blocks[block] = Block{false, true, epoch, {}};
  return block;
}

char* State::AllocateText(const std::string& text) {
  auto* copy = static_cast<char*>(Allocate(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

KtObjId* State::AllocateIds(const std::vector<KtObjId>& ids) {
  if (ids.empty()) return nullptr;
  auto* copy = static_cast<KtObjId*>(Allocate(ids.size() * sizeof(KtObjId)));
  std::memcpy(copy, ids.data(), ids.size() * sizeof(KtObjId));
  return copy;
}

// ---- Objects

Object* State::FindObject(const KtObjId& id) {
  const auto at = objects.find(id);
  return at != objects.end() ? &at->second : nullptr;
}

Type* State::FindType(const std::string& name) {
  const auto at = types.find(name);
  return at != types.end() ? &at->second : nullptr;
}

bool State::IsA(const std::string& type, const std::string& ancestor) {
  if (type == ancestor) return true;
  const Type* found = FindType(type);
  if (found == nullptr) return false;
  return std::any_of(found->superclasses.begin(), found->superclasses.end(),
                     [&](const std::string& parent) { return IsA(parent, ancestor); });
}

KtStatus State::CreateType(const char* name, const char* const* superclasses,
                           const SetData* properties, KtObjId* out) {
  if (FindType(name) != nullptr) return kTypeExists;
  Type type;
  for (; superclasses != nullptr && *superclasses != nullptr; ++superclasses) {
    if (FindType(*superclasses) == nullptr) return kNoSuperclass;
    type.superclasses.emplace_back(*superclasses);
  }
  if (properties != nullptr) type.properties = *properties;
  type.id = KtObjId{KtGuid{++last_type, 2, 0, {0, 0, 0, 0, 0, 0, 0, 0}}};
  *out = type.id;
  types.emplace(name, std::move(type));
  return 0;
}

KtObjId State::CreateObject(const std::string& type) {
  const KtObjId id = next_id ? *next_id : ObjectNumber(++last_object);
  next_id.reset();
  Object object;
  object.type = type;
  object.order = ++last_order;
  objects[id] = std::move(object);
  return id;
}

void State::DeleteObject(const KtObjId& id) {
  const KtObjId gone = id;
  objects.erase(gone);
  for (auto& [other, object] : objects) {
    auto& children = object.children;
    children.erase(std::remove_if(children.begin(), children.end(),
                                  [&](const KtObjId& child) {
                                    return std::memcmp(&child, &gone, sizeof gone) == 0;
                                  }),
                   children.end());
  }
}

bool State::Reaches(const KtObjId& from, const KtObjId& to) {
  if (std::memcmp(&from, &to, sizeof to) == 0) return true;
  const Object* object = FindObject(from);
  return object != nullptr && std::any_of(object->children.begin(), object->children.end(),
                                          [&](const KtObjId& child) { return Reaches(child, to); });
}

}  // namespace fake
