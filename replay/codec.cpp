#include "replay/codec.h"

#include <cstring>
#include <utility>
#include <variant>

namespace ktreplay {
namespace {

using ktsvc::Element;
using ktsvc::Property;
using ktsvc::PropertyList;

constexpr std::uint8_t kEndTag = 4;  // beside the item kinds

// Which members of a value follow.
constexpr std::uint8_t kHasNumber = 1;
constexpr std::uint8_t kHasText = 2;
constexpr std::uint8_t kHasIds = 4;
constexpr std::uint8_t kHasProperties = 8;
constexpr std::uint8_t kHasSets = 16;
constexpr std::uint8_t kAllMembers = 31;

// What an element of a property holds.
enum ElementTag : std::uint8_t {
  kNone = 0,
  kFalse = 1,
  kTrue = 2,
  kInt32 = 3,
  kUint32 = 4,
  kInt64 = 5,
  kUint64 = 6,
  kText = 7,
  kWideText = 8,
  kBlock = 9,
  kGuid = 10,
  kSet = 11,
  kMessage = 12,
  kFormatMessage = 13,
  kFormatMessageWithSet = 14,
};

template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

// Small numbers of either sign stay short.
constexpr std::uint64_t Folded(std::int64_t number) noexcept {
  return (static_cast<std::uint64_t>(number) << 1U) ^
         (number < 0 ? ~std::uint64_t{0} : std::uint64_t{0});
}

constexpr std::int64_t Unfolded(std::uint64_t number) noexcept {
  return static_cast<std::int64_t>((number >> 1U) ^ ((number & 1U) != 0 ? ~std::uint64_t{0} : 0U));
}
static_assert(Unfolded(Folded(-1)) == -1 && Unfolded(Folded(INT64_MIN)) == INT64_MIN);

[[noreturn]] void Malformed(const char* what) {
  throw MalformedRecording(what);
}

std::string BytesOfWide(const ktsvc::KtWString& text) {
  std::string bytes;
  bytes.reserve(text.size() * 2);
  for (const KtWchar unit : text) {
    const auto number = static_cast<std::uint16_t>(unit);
    bytes += static_cast<char>(number & 0xFFU);
    bytes += static_cast<char>(number >> 8U);
  }
  return bytes;
}

ktsvc::KtWString WideOfBytes(std::string_view bytes) {
  if (bytes.size() % 2 != 0) {
    Malformed("a wide text of an odd number of bytes");
  }
  ktsvc::KtWString text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[i]);
    const auto high = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<KtWchar>(low | (high << 8U));
  }
  return text;
}

}  // namespace

// ---- Encoder ---------------------------------------------------------------------------------

void Encoder::Number(std::uint64_t number) {
  while (number >= 0x80) {
    Byte(static_cast<std::uint8_t>(number | 0x80U));
    number >>= 7U;
  }
  Byte(static_cast<std::uint8_t>(number));
}

void Encoder::Bytes(std::string_view bytes) {
  Number(bytes.size());
  bytes_ += bytes;
}

// 0 and the text where it is new (and gets the next number, when it may have one), else its number.
void Encoder::Name(std::string_view name) {
  const auto found = names_.find(name);
  if (found != names_.end()) {
    Number(found->second);
    return;
  }
  Number(0);
  Bytes(name);
  if (name.size() <= kLongestName && names_.size() < kMostNames) {
    names_.emplace(name, names_.size() + 1);
  }
}

void Encoder::Guid(const KtGuid& guid) {
  Name({reinterpret_cast<const char*>(&guid), sizeof(guid)});
}

void Encoder::Put(const ktsvc::Message& message) {
  Guid(message.catalog);
  Number(message.id);
  Name(message.name);
}

void Encoder::Put(const Element& element) {
  std::visit(Overloaded{
                 [this](std::monostate) { Byte(kNone); },
                 [this](bool value) { Byte(value ? kTrue : kFalse); },
                 [this](std::int32_t value) {
                   Byte(kInt32);
                   Number(Folded(value));
                 },
                 [this](std::uint32_t value) {
                   Byte(kUint32);
                   Number(value);
                 },
                 [this](std::int64_t value) {
                   Byte(kInt64);
                   Number(Folded(value));
                 },
                 [this](std::uint64_t value) {
                   Byte(kUint64);
                   Number(value);
                 },
                 [this](const std::string& value) {
                   Byte(kText);
                   Name(value);
                 },
                 [this](const ktsvc::KtWString& value) {
                   Byte(kWideText);
                   Name(BytesOfWide(value));
                 },
                 [this](const std::vector<std::uint8_t>& value) {
                   Byte(kBlock);
                   Bytes({reinterpret_cast<const char*>(value.data()), value.size()});
                 },
                 [this](const KtGuid& value) {
                   Byte(kGuid);
                   Guid(value);
                 },
                 [this](const PropertyList& value) {
                   Byte(kSet);
                   Put(value);
                 },
                 [this](const ktsvc::Message& value) {
                   Byte(kMessage);
                   Put(value);
                 },
                 [this](const ktsvc::FormatMessage& value) {
                   Byte(value.insertions ? kFormatMessageWithSet : kFormatMessage);
                   Put(value.message);
                   if (value.insertions) {
                     Put(*value.insertions);
                   }
                 },
             },
             element);
}

void Encoder::Put(const PropertyList& list) {
  Number(list.size());
  for (const Property& property : list) {
    Name(property.name);
    Number(property.type);
    Number(property.flags);
    Number(property.elements.size());
    for (const Element& element : property.elements) {
      Put(element);
    }
  }
}

void Encoder::Put(const Value& value) {
  Byte(static_cast<std::uint8_t>(value.kind));
  const unsigned members = (value.number != 0 ? kHasNumber : 0U) | (value.text ? kHasText : 0U) |
                           (value.ids.empty() ? 0U : kHasIds) |
                           (value.properties ? kHasProperties : 0U) |
                           (value.sets.empty() ? 0U : kHasSets);
  Byte(static_cast<std::uint8_t>(members));
  if (value.number != 0) {
    Number(value.number);
  }
  if (value.text) {
    Name(*value.text);
  }
  if (!value.ids.empty()) {
    Number(value.ids.size());
    for (const KtGuid& id : value.ids) {
      Guid(id);
    }
  }
  if (value.properties) {
    Put(*value.properties);
  }
  if (!value.sets.empty()) {
    Number(value.sets.size());
    for (const std::uint64_t set : value.sets) {
      Number(set);
    }
  }
}

void Encoder::Put(const Item& item) {
  Byte(static_cast<std::uint8_t>(item.kind));
  const std::uint64_t now = item.microseconds < time_ ? time_ : item.microseconds;
  Number(now - time_);
  time_ = now;
  Number(item.thread);
  Name(item.function);
  Name(item.provider);
  Number(item.outcome);
  Number(item.arguments.size());
  for (const Value& value : item.arguments) {
    Put(value);
  }
  Put(item.result);
}

void Encoder::Put(const RecordingInfo& info) {
  Bytes(info.program);
  Bytes(info.system);
  Number(info.begun);
}

void Encoder::PutEnd(std::uint64_t items) {
  Byte(kEndTag);
  Number(items);
}

std::string Encoder::Take() {
  return std::exchange(bytes_, {});
}

// ---- Decoder ---------------------------------------------------------------------------------

std::uint8_t Decoder::Byte() {
  if (rest_.empty()) {
    Malformed("an item ends too early");
  }
  const auto byte = static_cast<std::uint8_t>(rest_.front());
  rest_.remove_prefix(1);
  return byte;
}

std::uint64_t Decoder::Number() {
  std::uint64_t number = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    const std::uint8_t byte = Byte();
    if (shift == 63 && byte > 1) {
      break;
    }
    number |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
    if ((byte & 0x80U) == 0) {
      return number;
    }
  }
  Malformed("a number of more than 64 bits");
}

std::uint32_t Decoder::Number32() {
  const std::uint64_t number = Number();
  if (number > UINT32_MAX) {
    Malformed("a number of more than 32 bits");
  }
  return static_cast<std::uint32_t>(number);
}

// Of things that take a byte each at least.
std::size_t Decoder::Count() {
  const std::uint64_t count = Number();
  if (count > rest_.size()) {
    Malformed("a count that is larger than the block");
  }
  return static_cast<std::size_t>(count);
}

std::string_view Decoder::Bytes() {
  const std::size_t size = Count();
  const std::string_view bytes = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return bytes;
}

std::string Decoder::Name() {
  const std::uint64_t number = Number();
  if (number != 0) {
    if (number > names_.size()) {
      Malformed("the number of a text that has not been written");
    }
    return names_[static_cast<std::size_t>(number - 1)];
  }
  std::string name(Bytes());
  if (name.size() <= kLongestName && names_.size() < kMostNames) {
    names_.push_back(name);
  }
  return name;
}

KtGuid Decoder::Guid() {
  const std::string bytes = Name();
  KtGuid guid{};
  if (bytes.size() != sizeof(guid)) {
    Malformed("a GUID that has not 16 bytes");
  }
  std::memcpy(&guid, bytes.data(), sizeof(guid));
  return guid;
}

ktsvc::Message Decoder::ReadMessage() {
  ktsvc::Message message;
  message.catalog = Guid();
  message.id = Number32();
  message.name = Name();
  return message;
}

Element Decoder::ReadElement(int depth) {
  switch (Byte()) {
    case kNone:
      return std::monostate();
    case kFalse:
      return false;
    case kTrue:
      return true;
    case kInt32: {
      const std::int64_t number = Unfolded(Number());
      if (number < INT32_MIN || number > INT32_MAX) {
        Malformed("a number of more than 32 bits");
      }
      return static_cast<std::int32_t>(number);
    }
    case kUint32:
      return Number32();
    case kInt64:
      return Unfolded(Number());
    case kUint64:
      return Number();
    case kText:
      return Name();
    case kWideText:
      return WideOfBytes(Name());
    case kBlock: {
      const std::string_view bytes = Bytes();
      return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
    }
    case kGuid:
      return Guid();
    case kSet:
      return ReadList(depth + 1);
    case kMessage:
      return ReadMessage();
    case kFormatMessage:
      return ktsvc::FormatMessage{ReadMessage(), std::nullopt};
    case kFormatMessageWithSet: {
      ktsvc::FormatMessage format{ReadMessage(), std::nullopt};
      format.insertions = ReadList(depth + 1);
      return format;
    }
    default:
      Malformed("a property value of an unknown kind");
  }
}

PropertyList Decoder::ReadList(int depth) {
  if (depth > kDeepest) {
    Malformed("property sets that stand too deep in each other");
  }
  PropertyList list;
  for (std::size_t left = Count(); left != 0; --left) {
    Property property;
    property.name = Name();
    property.type = Number32();
    property.flags = Number32();
    for (std::size_t elements = Count(); elements != 0; --elements) {
      property.elements.push_back(ReadElement(depth));
    }
    list.push_back(std::move(property));
  }
  return list;
}

Value Decoder::ReadValue() {
  Value value;
  value.kind = Byte();
  const std::uint8_t members = Byte();
  if (members > kAllMembers) {
    Malformed("a value with unknown members");
  }
  if ((members & kHasNumber) != 0) {
    value.number = Number();
  }
  if ((members & kHasText) != 0) {
    value.text = Name();
  }
  if ((members & kHasIds) != 0) {
    for (std::size_t left = Count(); left != 0; --left) {
      value.ids.push_back(Guid());
    }
  }
  if ((members & kHasProperties) != 0) {
    value.properties = ReadList(0);
  }
  if ((members & kHasSets) != 0) {
    for (std::size_t left = Count(); left != 0; --left) {
      value.sets.push_back(Number());
    }
  }
  return value;
}

RecordingInfo Decoder::Info(std::string_view bytes) {
  Use(bytes);
  RecordingInfo info;
  info.program = Bytes();
  info.system = Bytes();
  info.begun = Number();
  return info;
}

Next Decoder::Read(Item& item, std::uint64_t& items) {
  if (rest_.empty()) {
    return Next::kNothing;
  }
  const std::uint8_t tag = Byte();
  if (tag == kEndTag) {
    items = Number();
    return Next::kEnd;
  }
  if (tag < static_cast<std::uint8_t>(ItemKind::kCall) ||
      tag > static_cast<std::uint8_t>(ItemKind::kLeave)) {
    Malformed("an item of an unknown kind");
  }
  Item read;
  read.kind = static_cast<ItemKind>(tag);
  time_ += Number();
  read.microseconds = time_;
  read.thread = Number();
  read.function = Name();
  read.provider = Name();
  read.outcome = Number32();
  for (std::size_t left = Count(); left != 0; --left) {
    read.arguments.push_back(ReadValue());
  }
  read.result = ReadValue();
  item = std::move(read);
  return Next::kItem;
}

bool SameProperties(const PropertyList& left, const PropertyList& right) {
  const auto bytes = [](const PropertyList& list) {
    Item item;
    item.arguments.resize(1);
    item.arguments[0].properties = list;
    Encoder encoder;
    encoder.Put(item);
    return encoder.Take();
  };
  return bytes(left) == bytes(right);
}

}  // namespace ktreplay
