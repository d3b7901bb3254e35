#include "bus/guid.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

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

// The 32 digits of an id in the order in which they are read.
using Digits = std::array<char, 32>;

#ifdef __SSE2__

// All at once: each byte's two halves side by side, and a character made of each.
Digits DigitsOf(const KtGuid& guid) noexcept {
  const __m128i id = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&guid));
  // The three numbers begin with their lowest byte; the rest are bytes already.
  const __m128i swapped = _mm_or_si128(_mm_slli_epi16(id, 8), _mm_srli_epi16(id, 8));
  const __m128i numbers = _mm_shufflelo_epi16(swapped, _MM_SHUFFLE(3, 2, 0, 1));
  const __m128i bytes =
      _mm_castpd_si128(_mm_move_sd(_mm_castsi128_pd(id), _mm_castsi128_pd(numbers)));

  const __m128i half = _mm_set1_epi8(0x0F);
  const __m128i high = _mm_and_si128(_mm_srli_epi16(bytes, 4), half);
  const __m128i low = _mm_and_si128(bytes, half);
  const auto characters = [](__m128i halves) {
    // '0' and up; from ten on as much further as 'A' stands behind what comes after '9'.
    const __m128i letters = _mm_cmpgt_epi8(halves, _mm_set1_epi8(9));
    return _mm_add_epi8(_mm_add_epi8(halves, _mm_set1_epi8('0')),
                        _mm_and_si128(letters, _mm_set1_epi8('A' - '9' - 1)));
  };
  Digits digits;  // NOLINT(*-member-init): all of it is written
  auto* const room = reinterpret_cast<__m128i*>(digits.data());
  _mm_storeu_si128(room, characters(_mm_unpacklo_epi8(high, low)));
  _mm_storeu_si128(room + 1, characters(_mm_unpackhi_epi8(high, low)));
  return digits;
}

#else

Digits DigitsOf(const KtGuid& guid) noexcept {
  Digits digits;
  std::size_t size = 0;
  const auto put = [&](std::uint32_t number, std::uint32_t count) {
    for (; count != 0; --count) {
      digits[size++] = "0123456789ABCDEF"[(number >> (4 * (count - 1))) & 0xFU];
    }
  };
  put(guid.Data1, 8);
  put(guid.Data2, 4);
  put(guid.Data3, 4);
  for (const std::uint8_t byte : guid.Data4) put(byte, 2);
  return digits;
}

#endif

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
  const Digits digits = DigitsOf(guid);
  room[0] = '{';
  std::memcpy(room + 1, &digits[0], 8);
  room[9] = '-';
  std::memcpy(room + 10, &digits[8], 4);
  room[14] = '-';
  std::memcpy(room + 15, &digits[12], 4);
  room[19] = '-';
  std::memcpy(room + 20, &digits[16], 4);
  room[24] = '-';
  std::memcpy(room + 25, &digits[20], 12);
  room[37] = '}';
  room[38] = '\0';
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
