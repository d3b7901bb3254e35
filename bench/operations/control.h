// A control, as the contestants see it: forty bytes that say which handler is meant, and an answer.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "bench/module/words.h"
#include "ktbus3/ktbus3.h"

namespace kt::bench {

struct ControlKey {
  KtGuid interface_id;
  KtObjId object;
  std::uint32_t selector;
  std::uint32_t code;

  friend bool operator==(const ControlKey& left, const ControlKey& right) noexcept {
    return std::memcmp(&left, &right, sizeof(ControlKey)) == 0;
  }
};
static_assert(sizeof(ControlKey) == 40);

struct ControlKeyHash {
  std::size_t operator()(const ControlKey& key) const noexcept {
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(&key), sizeof(key)});
  }
};

// What a handler is given.
struct PlainRequest {
  const KtObjId* object;
  std::uint32_t selector;
  std::uint32_t code;
};

// A handler behind a virtual call. It is made in another source, so that its class is not known
// where it is called.
class PlainHandler {
 public:
  virtual ~PlainHandler() = default;
  virtual KtStatus Handle(PlainRequest& request) = 0;
};
std::unique_ptr<PlainHandler> MakePlainHandler(std::uint32_t index);
// One that lets everything pass.
std::unique_ptr<PlainHandler> MakePlainFilter();
inline constexpr KtStatus kPass = 0x42FFFFFF;

// The ids of that many objects, the same ones for every contestant.
std::vector<KtObjId> PlainObjects(std::size_t count);

inline ControlKey KeyOf(const KtObjId& object) noexcept {
  return {kWorkInterface, object, kSelector, kWork};
}

}  // namespace kt::bench
