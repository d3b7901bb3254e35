#include "access/interface_names.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace ktsvc::access {
namespace {

constexpr std::string_view kGuidShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

std::optional<std::uint32_t> HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<std::uint32_t>(digit - '0');
  }
  if (digit >= 'a' && digit <= 'f') {
    return static_cast<std::uint32_t>(digit - 'a' + 10);
  }
  if (digit >= 'A' && digit <= 'F') {
    return static_cast<std::uint32_t>(digit - 'A' + 10);
  }
  return std::nullopt;
}

std::optional<KtGuid> GuidFromText(std::string_view text) {
  if (text.size() == kGuidShape.size() + 2 && text.front() == '{' && text.back() == '}') {
    text = text.substr(1, kGuidShape.size());
  }
  if (text.size() != kGuidShape.size()) {
    return std::nullopt;
  }
  std::array<std::uint8_t, 16> bytes{};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kGuidShape[i] == '-') {
      if (text[i] != '-') {
        return std::nullopt;
      }
      continue;
    }
    const std::optional<std::uint32_t> digit = HexDigit(text[i]);
    if (!digit) {
      return std::nullopt;
    }
    bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] * 16U + *digit);
    ++digits;
  }
  KtGuid guid{};
  for (std::size_t i = 0; i < 4; ++i) {
    guid.Data1 = (guid.Data1 << 8U) | bytes[i];
  }
  guid.Data2 = static_cast<std::uint16_t>((bytes[4] << 8U) | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>((bytes[6] << 8U) | bytes[7]);
  std::copy(bytes.begin() + 8, bytes.end(), std::begin(guid.Data4));
  return guid;
}

}  // namespace

std::optional<KtGuid> InterfaceFromText(std::string_view text) {
  for (const NamedInterface& known : kNamedInterfaces) {
    if (known.name == text) {
      return known.id;
    }
  }
  return GuidFromText(text);
}

std::string InterfaceText(const KtGuid& interfaceId) {
  for (const NamedInterface& known : kNamedInterfaces) {
    if (SameGuid(known.id, interfaceId)) {
      return std::string(known.name);
    }
  }
  return GuidText(interfaceId);
}

std::string InterfaceNameList() {
  std::string text;
  for (const NamedInterface& known : kNamedInterfaces) {
    text += text.empty() ? "" : ", ";
    text += known.name;
  }
  return text;
}

}  // namespace ktsvc::access
