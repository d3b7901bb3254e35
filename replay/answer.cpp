#include "replay/answer.h"

#include <bit>
#include <cstring>
#include <new>

#include "property_writer.h"
#include "status_text.h"

namespace ktreplay {
namespace {

template <typename T>
void Write(const KtBusWord& word, const T& value) {
  *std::bit_cast<T*>(static_cast<std::uintptr_t>(word.value)) = value;
}

void* Block(const void* bytes, std::size_t size, std::size_t terminator) {
  auto* const block = static_cast<char*>(_KtAlloc(size + terminator));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  if (size != 0) {
    std::memcpy(block, bytes, size);
  }
  std::memset(block + size, 0, terminator);
  return block;
}

cuvo_property* Record(const ktsvc::PropertyList& properties) {
  const ktsvc::OwnedSet set = ktsvc::MakePropertySet(properties);
  cuvo_property* found = nullptr;
  ktsvc::RequireOk(PsFindProperty(set.get(), properties.front().name.c_str(), &found),
                   "PsFindProperty");
  return found;
}

void WritePlace(const Value& value, const KtBusWord& word) {
  switch (word.kind) {
    case KTBUS_WORD_OUT_UINT32:
      Write(word, static_cast<std::uint32_t>(value.number));
      break;
    case KTBUS_WORD_OUT_UINT64:
      Write(word, value.number);
      break;
    case KTBUS_WORD_OUT_OBJECT:
      if (!value.ids.empty()) {
        Write(word, value.ids.front());
      }
      break;
    case KTBUS_WORD_OUT_OBJECTS:
      Write<void*>(word, value.ids.empty()
                             ? nullptr
                             : Block(value.ids.data(), value.ids.size() * sizeof(KtGuid), 0));
      break;
    case KTBUS_WORD_OUT_TEXT:
      if (value.text) {
        Write(word, Block(value.text->data(), value.text->size(), 1));
      }
      break;
    case KTBUS_WORD_OUT_RECORD:
      if (value.properties && value.properties->size() == 1) {
        Write(word, Record(*value.properties));
      }
      break;
    case KTBUS_WORD_OUT_PROPSET:
      if (value.properties) {
        Write(word, ktsvc::MakePropertySet(*value.properties).release());
      }
      break;
    default:
      break;
  }
}

}  // namespace

bool Failed(const Item& recorded) {
  switch (recorded.result.kind) {
    case KTBUS_WORD_STATUS:
      return ktsvc::StatusFails(static_cast<KtStatus>(recorded.result.number));
    case KTBUS_WORD_ADDRESS:
    case KTBUS_WORD_TEXT:
      return recorded.result.number == 0;
    default:
      return false;
  }
}

void Answer(const Item& recorded, KtBusCall& call) {
  if (!Failed(recorded)) {
    for (std::size_t i = 0; i < call.argumentCount && i < recorded.arguments.size(); ++i) {
      if (call.arguments[i].value != 0) {
        WritePlace(recorded.arguments[i], call.arguments[i]);
      }
    }
  }
  call.result = recorded.result.number;
}

}  // namespace ktreplay
