#include "bus/guid.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/memory.h"

namespace kt::bus {

std::uint64_t RandomNumber() {
  std::random_device device;
  return (static_cast<std::uint64_t>(device()) << 32U) ^ device();
}

namespace {

// Spreads a number over all 64 bits, one to one.
std::uint64_t Mix(std::uint64_t x) noexcept {
  x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
  x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
  return x ^ (x >> 31U);
}

// The two digits of each byte.
using HexPairs = std::array<std::array<char, 2>, 256>;
constexpr HexPairs MakeHexPairs() {
  constexpr std::array kDigits{'0', '1', '2', '3', '4', '5', '6', '7',
                               '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'};
  HexPairs pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i / 16], kDigits[i % 16]};
  return pairs;
}
constexpr HexPairs kHexPairs = MakeHexPairs();

}  // namespace

KtObjId NewId() {
  static const std::uint64_t seed = RandomNumber();
  static const std::uint64_t secret = RandomNumber();
  static std::atomic<std::uint64_t> counter{0};
  const std::uint64_t number = counter.fetch_add(1, std::memory_order_relaxed);
  const std::uint64_t random = Mix(seed + number * 0x9E3779B97F4A7C15U);
  // Unique: the seven last bytes are the count, made unreadable but one to one.
  const std::uint64_t count = number ^ secret;

  KtObjId id{};
  id.guid.Data1 = static_cast<std::uint32_t>(random);
  id.guid.Data2 = static_cast<std::uint16_t>(random >> 32U);
  id.guid.Data3 = static_cast<std::uint16_t>(0x4000U | ((random >> 48U) & 0x0FFFU));
  id.guid.Data4[0] = static_cast<std::uint8_t>(0x80U | ((random >> 58U) & 0x3FU));
  for (std::size_t i = 1; i < 8; ++i) {
    id.guid.Data4[i] = static_cast<std::uint8_t>(count >> (8U * (7 - i)));
  }
  return id;
}

std::string GuidText(const KtGuid& guid) {
  std::array<char, kGuidTextSize> text{};
  WriteGuidText(guid, text.data());
  return {text.data(), kGuidTextSize - 1};
}

void WriteGuidText(const KtGuid& guid, char* room) noexcept {
  // The bytes in the order in which they are read, highest digits first.
  const auto byte = [](std::uint32_t number, std::uint32_t shift) {
    return static_cast<std::uint8_t>(number >> shift);
  };
  const auto put = [&room](auto... bytes) {
    ((std::memcpy(room, kHexPairs[bytes].data(), 2), room += 2), ...);
  };
  *room++ = '{';
  put(byte(guid.Data1, 24), byte(guid.Data1, 16), byte(guid.Data1, 8), byte(guid.Data1, 0));
  *room++ = '-';
  put(byte(guid.Data2, 8), byte(guid.Data2, 0));
  *room++ = '-';
  put(byte(guid.Data3, 8), byte(guid.Data3, 0));
  *room++ = '-';
  put(guid.Data4[0], guid.Data4[1]);
  *room++ = '-';
  put(guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  *room++ = '}';
  *room = '\0';
}

std::size_t ObjIdHash::operator()(const KtObjId& id) const noexcept {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  std::memcpy(&low, &id, sizeof(low));
  std::memcpy(&high, reinterpret_cast<const char*>(&id) + sizeof(low), sizeof(high));
  return static_cast<std::size_t>(Mix(low ^ (high * 0x9E3779B97F4A7C15U)));
}

}  // namespace kt::bus

char* KtGUIDToString(const KtGuid* guid) {
  KT_GATE(KtGUIDToString, guid);
  if (guid == nullptr) return nullptr;
  // Written where it is handed out: no other memory is needed for it.
  auto* const text = static_cast<char*>(kt::bus::AllocateBlock(
      kt::bus::kGuidTextSize, kt::bus::Kind::kText, kt::bus::Asker(KT_RETURN_ADDRESS())));
  if (text != nullptr) kt::bus::WriteGuidText(*guid, text);
  return text;
}

cuvo_bool ObCompareId(const KtObjId* left, const KtObjId* right) {
  KT_GATE(ObCompareId, left, right);
  if (left == nullptr || right == nullptr) return 0;
  return kt::bus::SameGuid(left->guid, right->guid) ? 1 : 0;
}
