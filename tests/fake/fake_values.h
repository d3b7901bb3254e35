// Property values as the fake keeps them: deep copies of what was put in, and the records that are
// made of them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake/fake_framework.h"

namespace fake {

struct SetData;

// One message definition, scalar or element.
struct Message {
  KtGuid catalog{};
  std::uint32_t id = 0;
  std::optional<std::string> name;
};

struct Value {
  std::uint32_t type = 0;
  std::uint32_t flags = 0;
  std::uint32_t length = 0;
  std::vector<std::uint8_t> bytes;                        // fixed-size values, scalar texts
  std::vector<std::optional<std::string>> texts;          // TYPE_STRZ
  std::vector<std::optional<std::u16string>> wide_texts;  // TYPE_WSTRZ
  std::vector<Message> messages;                          // I18N kinds
  std::vector<std::shared_ptr<const SetData>> sets;       // handles, and insertions of messages
};

struct NamedValue {
  std::string name;
  Value value;
};

struct SetData {
  std::vector<NamedValue> properties;

  NamedValue* Find(const std::string& name);
};

bool SameValue(const Value& left, const Value& right);
bool SameSet(const SetData* left, const SetData* right);

// Finds the data of a live set; null for any other handle.
using SetLookup = std::function<std::shared_ptr<const SetData>(KtPropset)>;
// Hands out a copy of a set as a new handle.
using SetMaker = std::function<KtPropset(const SetData&)>;
// The framework's memory.
using BlockMaker = std::function<void*(std::size_t)>;

// Reads a record: 0, 0x80070057 for a record that makes no sense, 0xC1000010 for a dead set in it.
KtStatus ReadRecord(const cuvo_property& record, const SetLookup& lookup, Value& value);

// One block: the record, its value and its name. The handles in it are appended to `handles`.
cuvo_property* MakeRecord(const NamedValue& property, const BlockMaker& allocate,
                          const SetMaker& hand_out, std::vector<KtPropset>& handles);

std::string GuidToText(const KtGuid& guid);
std::string IdToText(const KtObjId& id);
std::string WideToNarrow(std::u16string_view text);
// `nested` prints a set inside a value.
std::string ValueToText(const Value& value);
std::string TypeToText(std::uint32_t type);

std::vector<Property> ViewOf(const SetData& set);

}  // namespace fake
