#include "replay/call_compare.h"

#include <algorithm>

#include "guid.h"
#include "replay/answer.h"
#include "replay/call_reader.h"
#include "replay/codec.h"

namespace ktreplay {
namespace {

bool SameIds(const std::vector<KtGuid>& left, const std::vector<KtGuid>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), ktsvc::SameGuid);
}

bool SameContent(const Value& left, const Value& right) {
  if (left.properties.has_value() != right.properties.has_value()) {
    return false;
  }
  return !left.properties || SameProperties(*left.properties, *right.properties);
}

// The text of a trace that prints an address is another one every time.
bool IsTextOfTheMoment(const Item& recorded, std::size_t index) {
  constexpr std::size_t kFormat = 1;
  constexpr std::size_t kText = 2;
  return recorded.function == "KtTrace" && index == kText &&
         recorded.arguments[kFormat].text.value_or("").find("%p") != std::string::npos;
}

}  // namespace

bool CallCompare::SameThing(Space space, std::uint64_t recorded, std::uint64_t came, bool made) {
  if (recorded == 0 || came == 0) {
    return recorded == came;
  }
  const auto forth = forth_.find({space, recorded});
  const auto back = back_.find({space, came});
  if (forth == forth_.end() && back == back_.end()) {
    forth_[{space, recorded}] = came;
    back_[{space, came}] = recorded;
    return true;
  }
  if (made) {
    // A number is given once, so what is new here must be new there.
    return false;
  }
  return forth != forth_.end() && forth->second == came;
}

bool CallCompare::SameValue(const Item& recorded, std::size_t index, const Value& came, bool made) {
  const Value& value = recorded.arguments[index];
  if (value.kind != came.kind || !SameIds(value.ids, came.ids) || !SameContent(value, came) ||
      value.sets.size() != came.sets.size()) {
    return false;
  }
  if (value.text != came.text && !IsTextOfTheMoment(recorded, index)) {
    return false;
  }
  // Control gives its provider back as a number.
  const bool provider = recorded.kind == ItemKind::kLeave && value.kind == KTBUS_WORD_OUT_UINT64;
  if (provider) {
    if (!SameThing(Space::kProvider, value.number, came.number, false)) {
      return false;
    }
  } else if (IsThing(value.kind)) {
    if (!SameThing(SpaceOf(recorded.function, value.kind), value.number, came.number, made)) {
      return false;
    }
  } else if (value.number != came.number) {
    return false;
  }
  for (std::size_t i = 0; i < value.sets.size(); ++i) {
    const bool database = value.kind == KTBUS_WORD_EVENT && i == 1;
    if (!SameThing(database ? Space::kDatabase : Space::kPropset, value.sets[i], came.sets[i],
                   made)) {
      return false;
    }
  }
  return true;
}

bool CallCompare::SameAsked(const Item& recorded, const Item& came) {
  if (recorded.function != came.function || recorded.arguments.size() != came.arguments.size()) {
    return false;
  }
  for (std::size_t i = 0; i < recorded.arguments.size(); ++i) {
    const bool place = IsPlace(recorded.arguments[i].kind);
    if (place ? recorded.arguments[i].kind != came.arguments[i].kind
              : !SameValue(recorded, i, came.arguments[i], false)) {
      return false;
    }
  }
  return true;
}

bool CallCompare::WouldBeSame(const Item& recorded, const Item& came) const {
  CallCompare trial(*this);
  return trial.SameAsked(recorded, came);
}

bool CallCompare::SameOutcome(const Item& recorded, const Item& came) {
  if (recorded.arguments.size() != came.arguments.size() ||
      recorded.result.kind != came.result.kind || recorded.result.text != came.result.text ||
      (recorded.outcome == KTBUS_CALL_THREW) != (came.outcome == KTBUS_CALL_THREW)) {
    return false;
  }
  for (std::size_t i = 0; i < recorded.arguments.size(); ++i) {
    // In a call the words that went in have been compared; at the end of a function they are what
    // came back.
    const bool place = IsPlace(recorded.arguments[i].kind) && !Failed(recorded);
    if ((place || recorded.kind == ItemKind::kLeave) &&
        !SameValue(recorded, i, came.arguments[i], recorded.kind == ItemKind::kCall)) {
      return false;
    }
  }
  const bool thing =
      recorded.result.kind == KTBUS_WORD_ADDRESS || recorded.result.kind == KTBUS_WORD_TEXT;
  return thing ? SameThing(Space::kBlock, recorded.result.number, came.result.number, true)
               : recorded.result.number == came.result.number;
}

}  // namespace ktreplay
