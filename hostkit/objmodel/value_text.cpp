#include "objmodel/value_text.h"

#include <array>
#include <charconv>

namespace kt {
namespace {

template <typename Number>
std::string Decimal(Number value) {
  std::array<char, 24> buffer{};  // a 64-bit number has 20 characters at most, its sign included
  const std::to_chars_result end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), end.ptr);
}

}  // namespace

std::string ValueText(std::uint32_t value) {
  return Decimal(value);
}

std::string ValueText(std::int32_t value) {
  return Decimal(value);
}

std::string ValueText(std::uint64_t value) {
  return Decimal(value);
}

std::string ValueText(std::int64_t value) {
  return Decimal(value);
}

std::string ValueText(cuvo_bool value) {
  return value != 0 ? "true" : "false";
}

std::string ValueText(const KtTime& value) {
  return Decimal(value.value);
}

std::string ValueText(const KtGuid& value) {
  return GuidText(value);
}

std::string ValueText(const KtObjId& value) {
  return GuidText(value.guid);
}

std::string ValueText(const std::string& value) {
  return value;
}

std::string ValueText(const KtWString& value) {
  return Narrow(value);
}

std::string ValueText(const KtI18NDef& value) {
  std::string text = "messageId=";
  text += Decimal(value.messageId);
  text += ", name=\"";
  if (value.name != nullptr) text += value.name;
  text += "\", catalog=";
  text += GuidText(value.catalog);
  return text;
}

std::string ValueText(const CKtI18N& value) {
  return ValueText(value.Definition());
}

std::string BytesText(const void* data, std::uint32_t length) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  if (data == nullptr) return text;
  text.reserve(std::size_t{length} * 2);
  const auto* const bytes = static_cast<const unsigned char*>(data);
  for (std::size_t i = 0; i < length; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace kt
