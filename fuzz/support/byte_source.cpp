#include "support/byte_source.h"

#include <algorithm>

namespace kt::fuzz {

std::uint8_t ByteSource::Byte() {
  if (rest_.empty()) return 0;
  const auto byte = static_cast<std::uint8_t>(rest_.front());
  rest_.remove_prefix(1);
  return byte;
}

std::uint16_t ByteSource::Number16() {
  const std::uint32_t low = Byte();
  return static_cast<std::uint16_t>(low | (std::uint32_t{Byte()} << 8U));
}

std::uint32_t ByteSource::Number32() {
  const std::uint32_t low = Number16();
  return low | (std::uint32_t{Number16()} << 16U);
}

std::uint64_t ByteSource::Number64() {
  const std::uint64_t low = Number32();
  return low | (std::uint64_t{Number32()} << 32U);
}

std::size_t ByteSource::Below(std::size_t bound) {
  return Byte() % bound;
}

std::string ByteSource::Text() {
  const std::size_t size = std::min<std::size_t>(Byte(), rest_.size());
  std::string text(rest_.substr(0, size));
  rest_.remove_prefix(size);
  return text;
}

std::basic_string<KtWchar> ByteSource::WideText() {
  const std::size_t size = std::min<std::size_t>(Byte(), rest_.size() / 2);
  std::basic_string<KtWchar> text;
  for (std::size_t i = 0; i < size; ++i) text += static_cast<KtWchar>(Number16());
  return text;
}

std::string ByteSource::TextWithoutZero() {
  return Text().c_str();
}

std::basic_string<KtWchar> ByteSource::WideTextWithoutZero() {
  return WideText().c_str();
}

KtGuid ByteSource::Guid() {
  KtGuid guid{};
  guid.Data1 = Number32();
  guid.Data2 = Number16();
  guid.Data3 = Number16();
  for (std::uint8_t& byte : guid.Data4) byte = Byte();
  return guid;
}

std::string ByteSource::Rest() {
  std::string text(rest_);
  rest_ = {};
  return text;
}

}  // namespace kt::fuzz
