// Property sets and message insertions.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "fake/fake_state.h"

using fake::Guard;
using fake::kInvalidArgument;
using fake::kNoMore;
using fake::kNoObject;
using fake::kNoProperty;
using fake::kPropertyExists;
using fake::kUnchanged;
using fake::NamedValue;
using fake::SetData;
using fake::State;

extern "C" {

KT_BUS_API KtStatus PsCreatePropset(KtPropset* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsCreatePropset")) return *failed;
  if (out == nullptr) return kInvalidArgument;
  *out = state.HandOut(SetData{});
  return 0;
}

KT_BUS_API KtStatus PsDestroyPropset(KtPropset propset) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto failed = state.Begin("PsDestroyPropset", propset);
  const auto at = state.sets.find(propset);
  if (at == state.sets.end()) {
    if (propset != nullptr && !state.IsOld(propset)) {
      state.WrongFree("PsDestroyPropset of a set that is not there: " +
                      State::Describe(static_cast<const void*>(propset)));
    }
    return failed.value_or(kNoObject);
  }
  if (failed) {
    at->second.counted = false;
    return *failed;
  }
  state.sets.erase(at);
  return 0;
}

KT_BUS_API KtStatus PsCopyPropset(KtPropset from, KtPropset* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsCopyPropset", from)) return *failed;
  if (out == nullptr) return kInvalidArgument;
  const SetData* set = state.FindSet(from);
  if (set == nullptr) return kNoObject;
  *out = state.HandOut(*set);
  return 0;
}

KT_BUS_API KtStatus PsAddProperty(KtPropset propset, const cuvo_property* property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsAddProperty", propset, property)) return *failed;
  SetData* set = state.FindSet(propset);
  if (set == nullptr) return kNoObject;
  NamedValue value;
  if (const KtStatus status = state.Read(property, value); status != 0) return status;
  if (set->Find(value.name) != nullptr) return kPropertyExists;
  set->properties.push_back(std::move(value));
  return 0;
}

KT_BUS_API KtStatus PsSetProperty(KtPropset propset, const cuvo_property* property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsSetProperty", propset, property)) return *failed;
  SetData* set = state.FindSet(propset);
  if (set == nullptr) return kNoObject;
  NamedValue value;
  if (const KtStatus status = state.Read(property, value); status != 0) return status;
  NamedValue* there = set->Find(value.name);
  if (there == nullptr) return kNoProperty;
  if (fake::SameValue(there->value, value.value)) return kUnchanged;
  there->value = std::move(value.value);
  return 0;
}

KT_BUS_API KtStatus PsFindProperty(KtPropset propset, const char* name, cuvo_property** found) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsFindProperty", propset, name)) return *failed;
  if (name == nullptr || found == nullptr) return kInvalidArgument;
  SetData* set = state.FindSet(propset);
  if (set == nullptr) return kNoObject;
  const NamedValue* there = set->Find(name);
  if (there == nullptr) return kNoProperty;
  *found = state.HandOutRecord(*there);
  return 0;
}

KT_BUS_API KtStatus PsOpenPropset(KtPropset propset, KtIterator* out) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("PsOpenPropset", propset)) return *failed;
  if (out == nullptr) return kInvalidArgument;
  if (state.FindSet(propset) == nullptr) return kNoObject;
  *out = state.NewHandle<KtIterator>(fake::HandleKind::kIterator);
  state.iterators[*out] = fake::LiveIterator{propset, 0, true};
  return 0;
}

KT_BUS_API KtStatus PsFindNextProperty(KtPropset propset, KtIterator iterator,
                                       cuvo_property** found) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto answer = state.Begin("PsFindNextProperty", propset, iterator);
  if (answer && *answer != kUnchanged) return *answer;
  if (found == nullptr) return kInvalidArgument;
  SetData* set = state.FindSet(propset);
  const auto at = state.iterators.find(iterator);
  if (set == nullptr || at == state.iterators.end() || at->second.set != propset) return kNoObject;
  if (at->second.next >= set->properties.size()) return kNoMore;
  *found = state.HandOutRecord(set->properties[at->second.next++]);
  return answer.value_or(0);
}

KT_BUS_API KtStatus PsFreeProperty(cuvo_property* property) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto failed = state.Begin("PsFreeProperty", property != nullptr ? "record" : nullptr);
  if (property == nullptr) return failed.value_or(kInvalidArgument);
  const auto at = state.blocks.find(property);
  if (at == state.blocks.end() || !at->second.is_record) {
    state.WrongFree(at == state.blocks.end() ? "PsFreeProperty of something that is no record"
                                             : "PsFreeProperty of a block of memory");
    return failed.value_or(kInvalidArgument);
  }
  if (failed) {
    at->second.counted = false;
    for (const KtPropset handle : at->second.handles) {
      const auto set = state.sets.find(handle);
      if (set != state.sets.end()) set->second.counted = false;
    }
    return *failed;
  }
  const bool old = at->second.epoch != state.epoch;
  for (const KtPropset handle : at->second.handles) {
    if (handle != nullptr && state.sets.erase(handle) == 0 && !old) {
      state.WrongFree("PsFreeProperty of a record whose set is gone already: " +
                      State::Describe(static_cast<const void*>(handle)));
    }
  }
  state.blocks.erase(at);
  std::free(property);
  return 0;
}

KT_BUS_API KtStatus KtCloseHandle(void* handle) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  const auto failed = state.Begin("KtCloseHandle", static_cast<const void*>(handle));
  const auto at = state.iterators.find(static_cast<KtIterator>(handle));
  if (at == state.iterators.end()) {
    if (handle != nullptr && !state.IsOld(handle)) {
      state.WrongFree("KtCloseHandle of something that is no open iterator");
    }
    return failed.value_or(kNoObject);
  }
  if (failed) {
    at->second.counted = false;
    return *failed;
  }
  state.iterators.erase(at);
  return 0;
}

KT_BUS_API KtStatus I18nAddInsertionString(KtPropset propset, uint32_t number, const char* text) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("I18nAddInsertionString", propset, number, text)) {
    return *failed;
  }
  if (text == nullptr) return kInvalidArgument;
  SetData* set = state.FindSet(propset);
  if (set == nullptr) return kNoObject;
  const std::string name = "p" + std::to_string(number);
  std::string copy = text;
  const cuvo_property property{
      name.c_str(), TYPE_STR, 0, static_cast<std::uint32_t>(copy.size() + 1), 0, copy.data()};
  return state.AddOrReplace(*set, &property);
}

KT_BUS_API KtStatus I18nAddInsertionWideString(KtPropset propset, uint32_t number,
                                               const KtWchar* text) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (const auto failed = state.Begin("I18nAddInsertionWideString", propset, number, text)) {
    return *failed;
  }
  if (text == nullptr) return kInvalidArgument;
  SetData* set = state.FindSet(propset);
  if (set == nullptr) return kNoObject;
  const std::string name = "p" + std::to_string(number);
  std::basic_string<KtWchar> copy = text;
  const cuvo_property property{
      name.c_str(), TYPE_WSTR, 0, static_cast<std::uint32_t>((copy.size() + 1) * 2), 0,
      copy.data()};
  return state.AddOrReplace(*set, &property);
}

}  // extern "C"
