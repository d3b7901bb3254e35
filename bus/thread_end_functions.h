// What a thread calls at its end: the part of CallAtThreadEnd() that no system differs in.
#pragma once

#include <array>
#include <utility>

namespace kt::bus {

class ThreadEndFunctions {
 public:
  // False when there is no place left.
  bool Add(void (*function)() noexcept) noexcept {
    for (auto& place : functions_) {
      if (place != nullptr) continue;
      place = function;
      return true;
    }
    return false;
  }

  void CallAll() noexcept {
    for (auto& place : functions_) {
      if (const auto function = std::exchange(place, nullptr)) function();
    }
  }

 private:
  std::array<void (*)() noexcept, 4> functions_{};
};

}  // namespace kt::bus
