#include "replay/call_reader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

#include "owned_set.h"
#include "status_text.h"

namespace ktreplay {
namespace {

using ktsvc::PropertyList;

// The words of Control that are read in a way of their own.
constexpr std::size_t kOutputSet = 4;

template <typename T>
const T* At(std::uint64_t value) noexcept {
  return std::bit_cast<const T*>(static_cast<std::uintptr_t>(value));
}

// What stands in a place for something that comes back; nothing for a null place.
template <typename T>
const T& In(std::uint64_t place) noexcept {
  static const T kNone{};
  const T* const found = At<T>(place);
  return found == nullptr ? kNone : *found;
}

std::uint64_t WordOf(const void* pointer) noexcept {
  return std::bit_cast<std::uintptr_t>(pointer);
}

template <typename Char>
std::string UnitBytes(const Char* text, std::size_t count) {
  std::string bytes;
  bytes.reserve(count * sizeof(Char));
  for (std::size_t i = 0; i < count; ++i) {
    bytes += static_cast<char>(text[i]);
    if constexpr (sizeof(Char) == 2) {
      bytes.back() = static_cast<char>(static_cast<std::uint16_t>(text[i]) & 0xFFU);
      bytes += static_cast<char>(static_cast<std::uint16_t>(text[i]) >> 8U);
    }
  }
  return bytes;
}

template <typename Char>
std::optional<std::string> TextAt(std::uint64_t value) {
  const Char* const text = At<Char>(value);
  if (text == nullptr) {
    return std::nullopt;
  }
  return UnitBytes(text, std::char_traits<Char>::length(text));
}

std::string Names(const char* const* names) {
  std::string text;
  for (; names != nullptr && *names != nullptr; ++names) {
    text += *names;
    text += '\0';
  }
  return text;
}

// The set's content; nothing for a handle that is none.
std::optional<PropertyList> ContentOf(KtPropset set) {
  if (set == nullptr) {
    return std::nullopt;
  }
  try {
    return ktsvc::ReadPropertySet(set);
  } catch (const ktsvc::BusError&) {
    return std::nullopt;
  }
}

// A record that was passed: what the framework makes of it, or its bare head where it refuses it.
PropertyList RecordContent(const cuvo_property& record) {
  KtPropset made = nullptr;
  if (!ktsvc::StatusFails(PsCreatePropset(&made))) {
    const ktsvc::OwnedSet set(made);
    if (!ktsvc::StatusFails(PsAddProperty(made, &record))) {
      if (auto content = ContentOf(made)) {
        return std::move(*content);
      }
    }
  }
  ktsvc::Property head;
  head.name = record.name == nullptr ? "" : record.name;
  head.type = record.type;
  head.flags = record.flags;
  return {head};
}

// The property sets that a record of the framework carries, in their order, null ones left out.
std::vector<KtPropset> CarriedSets(const cuvo_property& record) {
  std::vector<KtPropset> sets;
  const auto add = [&sets](KtPropset set) {
    if (set != nullptr) {
      sets.push_back(set);
    }
  };
  const std::uint32_t type = record.type & 0x7FFFFFFFU;
  const bool list = ktsvc::IsListType(record.type);
  if (record.type == TYPE_PROPSET) {
    add(static_cast<KtPropset>(record.value));
  } else if (record.value != nullptr && (type == TYPE_PROPSET || type == TYPE_I18NFORMATSTRING)) {
    const std::size_t count = list ? record.length : 1;
    for (std::size_t i = 0; i < count; ++i) {
      if (type == TYPE_PROPSET) {
        add(static_cast<const KtPropset*>(record.value)[i]);
      } else {
        add(static_cast<const KtI18NFormatString*>(record.value)[i].insertions);
      }
    }
  }
  return sets;
}

bool BeginsWith(const char* text, const char* beginning) noexcept {
  return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

// The functions of property sets name sets by their numbers alone: their content is what these very
// functions put there.
bool IsAboutSets(const char* function) noexcept {
  return BeginsWith(function, "Ps") || BeginsWith(function, "I18n");
}

bool Succeeded(const KtBusCall& call) noexcept {
  return call.resultKind != KTBUS_WORD_STATUS ||
         !ktsvc::StatusFails(static_cast<KtStatus>(call.result));
}

}  // namespace

Space SpaceOf(const std::string& function, std::uint32_t kind) noexcept {
  switch (kind) {
    case KTBUS_WORD_DATABASE:
      return Space::kDatabase;
    case KTBUS_WORD_PROVIDER:
      return Space::kProvider;
    case KTBUS_WORD_PROPSET:
    case KTBUS_WORD_OUT_PROPSET:
      return Space::kPropset;
    case KTBUS_WORD_ITERATOR:
    case KTBUS_WORD_OUT_ITERATOR:
      return Space::kIterator;
    case KTBUS_WORD_LOCK:
      return Space::kLock;
    case KTBUS_WORD_ADDRESS:
      return function == "KtCloseHandle" ? Space::kIterator : Space::kBlock;
    default:
      return Space::kBlock;
  }
}

Value CallReader::In(const KtBusCall& call, std::size_t index) {
  const KtBusWord& word = call.arguments[index];
  Value value;
  value.kind = word.kind;
  switch (word.kind) {
    case KTBUS_WORD_DATABASE:
    case KTBUS_WORD_PROVIDER:
    case KTBUS_WORD_ITERATOR:
    case KTBUS_WORD_ADDRESS:
      value.number = things_.Of(SpaceOf(call.function, word.kind), word.value);
      break;
    case KTBUS_WORD_LOCK:
      value.number = std::strcmp(call.function, "KtInitializeCriticalSection") == 0
                         ? things_.Made(Space::kLock, word.value)
                         : things_.Of(Space::kLock, word.value);
      break;
    case KTBUS_WORD_PROPSET:
      value.number = things_.Of(Space::kPropset, word.value);
      if (!IsAboutSets(call.function)) {
        value.properties = ContentOf(std::bit_cast<KtPropset>(word.value));
      }
      break;
    case KTBUS_WORD_TEXT:
      value.text = TextAt<char>(word.value);
      break;
    case KTBUS_WORD_WIDE_TEXT:
      value.text = TextAt<KtWchar>(word.value);
      break;
    case KTBUS_WORD_TEXTS:
      value.text = Names(At<const char*>(word.value));
      break;
    case KTBUS_WORD_GUID:
    case KTBUS_WORD_OBJECT:
      if (word.value != 0) {
        value.ids.push_back(*At<KtGuid>(word.value));
      }
      break;
    case KTBUS_WORD_RECORD:
      if (word.value != 0) {
        value.properties = RecordContent(*At<cuvo_property>(word.value));
      }
      break;
    case KTBUS_WORD_RETURNED_RECORD:
      // Only one that is known is there to be looked into.
      if (things_.Known(Space::kBlock, word.value) != 0) {
        for (const KtPropset set : CarriedSets(*At<cuvo_property>(word.value))) {
          value.sets.push_back(things_.Of(Space::kPropset, WordOf(set)));
        }
      }
      value.number = things_.Of(Space::kBlock, word.value);
      break;
    case KTBUS_WORD_ALERT:
      if (const auto* const alert = At<KtAlertDefinition>(word.value); alert != nullptr) {
        value.text = std::string(alert->name == nullptr ? "" : alert->name) + '\0' +
                     (alert->description == nullptr ? "" : alert->description);
        value.number = alert->severity;
      }
      break;
    case KTBUS_WORD_EVENT:
      if (const auto* const event = At<KtEventRecord>(word.value); event != nullptr) {
        value.number = event->kind;
        value.text = TextAt<char>(WordOf(event->name));
        value.properties = ContentOf(event->properties);
        value.sets = {things_.Of(Space::kPropset, WordOf(event->properties)),
                      things_.Of(Space::kDatabase, WordOf(event->database))};
      }
      break;
    default:
      // Numbers. Of a place it is only said that it was given, until something comes back.
      value.number = IsPlace(word.kind) ? 0 : word.value;
      break;
  }
  return value;
}

void CallReader::Out(const KtBusCall& call, std::size_t index, Value& value) {
  const KtBusWord& word = call.arguments[index];
  const bool buffer =
      word.kind == KTBUS_WORD_TEXT_BUFFER || word.kind == KTBUS_WORD_WIDE_TEXT_BUFFER;
  if (!IsPlace(word.kind) || word.value == 0 || !Succeeded(call)) {
    return;
  }
  if (buffer) {
    if (call.result != ~std::uint64_t{0}) {
      const auto count = static_cast<std::size_t>(call.result);
      value.text = word.kind == KTBUS_WORD_TEXT_BUFFER ? UnitBytes(At<char>(word.value), count)
                                                       : UnitBytes(At<KtWchar>(word.value), count);
    }
    return;
  }
  switch (word.kind) {
    case KTBUS_WORD_OUT_UINT32:
      value.number = *At<std::uint32_t>(word.value);
      break;
    case KTBUS_WORD_OUT_UINT64:
      // What Control gives back is its provider.
      value.number = call.inward != 0 ? things_.Of(Space::kProvider, *At<std::uint64_t>(word.value))
                                      : *At<std::uint64_t>(word.value);
      break;
    case KTBUS_WORD_OUT_PROPSET: {
      const KtPropset set = *At<KtPropset>(word.value);
      value.number = things_.Made(Space::kPropset, WordOf(set));
      if (!IsAboutSets(call.function)) {
        value.properties = ContentOf(set);
      }
      break;
    }
    case KTBUS_WORD_OUT_ITERATOR:
      value.number = things_.Made(Space::kIterator, WordOf(*At<KtIterator>(word.value)));
      break;
    case KTBUS_WORD_OUT_OBJECT:
      value.ids.push_back(*At<KtGuid>(word.value));
      break;
    case KTBUS_WORD_OUT_OBJECTS: {
      const KtGuid* const list = *At<const KtGuid*>(word.value);
      const std::uint32_t count = ktreplay::In<std::uint32_t>(call.arguments[index + 1].value);
      value.number = things_.Made(Space::kBlock, WordOf(list));
      if (list != nullptr) {
        value.ids.assign(list, list + count);
      }
      break;
    }
    case KTBUS_WORD_OUT_RECORD:
      if (const cuvo_property* const record = *At<cuvo_property*>(word.value); record != nullptr) {
        value.number = things_.Made(Space::kBlock, WordOf(record));
        value.properties = {ktsvc::ReadProperty(*record)};
        for (const KtPropset set : CarriedSets(*record)) {
          value.sets.push_back(things_.Made(Space::kPropset, WordOf(set)));
        }
      }
      break;
    case KTBUS_WORD_OUT_TEXT: {
      const char* const text = *At<const char*>(word.value);
      value.number = things_.Made(Space::kBlock, WordOf(text));
      value.text = TextAt<char>(WordOf(text));
      break;
    }
    case KTBUS_WORD_OUT_WIDE_TEXT: {
      const KtWchar* const text = *At<const KtWchar*>(word.value);
      value.number = things_.Of(Space::kBlock, WordOf(text));
      value.text = TextAt<KtWchar>(WordOf(text));
      break;
    }
    default:
      break;
  }
}

void CallReader::Result(const KtBusCall& call, Value& value) {
  value.kind = call.resultKind;
  switch (call.resultKind) {
    case KTBUS_WORD_ADDRESS:
      value.number = things_.Made(Space::kBlock, call.result);
      break;
    case KTBUS_WORD_TEXT:
      value.number = things_.Made(Space::kBlock, call.result);
      value.text = TextAt<char>(call.result);
      break;
    default:
      value.number = call.result;
      break;
  }
}

// What the call has released is no thing any more.
void CallReader::Forget(const KtBusCall& call, const Item& item) {
  const auto forget = [&](Space space) {
    things_.Gone(space, call.arguments[0].value, item.arguments[0].number);
  };
  const std::string& function = item.function;
  if (call.outcome != KTBUS_CALL_MADE || !Succeeded(call)) {
    return;
  }
  if (function == "PsDestroyPropset") {
    forget(Space::kPropset);
  } else if (function == "KtCloseHandle") {
    forget(Space::kIterator);
  } else if (function == "KtDeleteCriticalSection") {
    forget(Space::kLock);
  } else if (function == "_KtFree" || function == "PsFreeProperty") {
    forget(Space::kBlock);
  }
}

Item CallReader::Begin(const KtBusCall& call) {
  Item item;
  item.kind = call.inward != 0 ? ItemKind::kEnter : ItemKind::kCall;
  item.thread = call.thread;
  item.function = call.function;
  item.provider = call.provider;
  item.arguments.reserve(call.argumentCount);
  for (std::size_t i = 0; i < call.argumentCount; ++i) {
    item.arguments.push_back(In(call, i));
  }
  return item;
}

void CallReader::End(const KtBusCall& call, Item& item) {
  item.outcome = call.outcome;
  for (std::size_t i = 0; i < call.argumentCount; ++i) {
    Out(call, i, item.arguments[i]);
  }
  Result(call, item.result);
  Forget(call, item);
}

Item CallReader::Leave(const KtBusCall& call) {
  Item item;
  item.kind = ItemKind::kLeave;
  item.outcome = call.outcome;
  item.thread = call.thread;
  item.function = call.function;
  item.provider = call.provider;
  item.arguments.resize(call.argumentCount);
  for (std::size_t i = 0; i < call.argumentCount; ++i) {
    const KtBusWord& word = call.arguments[i];
    Value& value = item.arguments[i];
    value.kind = word.kind;
    Out(call, i, value);
    if (word.kind == KTBUS_WORD_PROPSET) {
      // Lent for the call: the handle means nothing to anybody afterwards.
      value.number = things_.Of(Space::kPropset, word.value);
      if (i == kOutputSet) {
        value.properties = ContentOf(std::bit_cast<KtPropset>(word.value));
      }
      things_.Gone(Space::kPropset, word.value, value.number);
    } else if (word.kind == KTBUS_WORD_EVENT) {
      const std::uint64_t set = WordOf(At<KtEventRecord>(word.value)->properties);
      things_.Gone(Space::kPropset, set, things_.Known(Space::kPropset, set));
    }
  }
  Result(call, item.result);
  return item;
}

}  // namespace ktreplay
