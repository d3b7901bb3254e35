#include "ktcheck/call_stack.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

#include "host_system.h"
#include "ktbus3/ktbus3_host.h"

namespace ktcheck {
namespace {

constexpr std::size_t kMostPlaces = 4;

struct Memory {
  std::mutex mutex;
  std::vector<CodePlace> places;  // the latest last
};

Memory& TheMemory() {
  static auto* const memory = new Memory;  // threads may ask until the end
  return *memory;
}

// The latest place once more, to be asked for where no lock may be taken: under an allocation. It
// changes while no code of the module runs.
std::atomic<std::uintptr_t> latest_begin{0};
std::atomic<std::uintptr_t> latest_end{0};

std::optional<CodePlace> Find(std::uintptr_t address) {
  {
    Memory& memory = TheMemory();
    const std::lock_guard lock(memory.mutex);
    for (auto place = memory.places.rbegin(); place != memory.places.rend(); ++place) {
      if (place->Holds(address)) return *place;
    }
  }
  return PlaceOf(address);
}

std::string FrameText(std::uintptr_t address) {
  std::array<char, 24> number{};
  const auto place = Find(address);
  const std::uintptr_t offset = place ? address - place->bias : address;
  static_cast<void>(std::snprintf(number.data(), number.size(), "0x%llx",
                                  static_cast<unsigned long long>(offset)));
  return place ? place->file + "+" + number.data() : std::string("?+") + number.data();
}

// The framework, and this program.
bool IsOurs(std::uintptr_t address) {
  static const std::optional<CodePlace> kBus =
      PlaceOf(reinterpret_cast<std::uintptr_t>(&KtBusVisitLedger));
  static const std::optional<CodePlace> kProgram =
      PlaceOf(reinterpret_cast<std::uintptr_t>(&IsOurs));
  if (IsInModule(address)) return false;
  const auto place = PlaceOf(address);
  if (!place) return false;
  return (kBus && place->file == kBus->file) || (kProgram && place->file == kProgram->file);
}

}  // namespace

void KeepInMind(std::uintptr_t address) {
  auto place = PlaceOf(address);
  if (!place) return;
  latest_begin.store(place->begin, std::memory_order_relaxed);
  latest_end.store(place->end, std::memory_order_relaxed);
  Memory& memory = TheMemory();
  const std::lock_guard lock(memory.mutex);
  std::erase_if(memory.places, [&](const CodePlace& known) {
    return known.begin < place->end && place->begin < known.end;
  });
  // The last few are enough: a life is told of before the next one but one begins.
  if (memory.places.size() == kMostPlaces) memory.places.erase(memory.places.begin());
  memory.places.push_back(std::move(*place));
}

bool IsInModule(std::uintptr_t address) noexcept {
  return latest_begin.load(std::memory_order_relaxed) <= address &&
         address < latest_end.load(std::memory_order_relaxed);
}

bool StandsInModule(const CallStack& stack) noexcept {
  return std::any_of(stack.frames.begin(),
                     stack.frames.begin() + static_cast<std::ptrdiff_t>(stack.size), &IsInModule);
}

bool StandsInFramework(const CallStack& stack) {
  return std::any_of(stack.frames.begin(),
                     stack.frames.begin() + static_cast<std::ptrdiff_t>(stack.size), &IsOurs);
}

std::vector<std::string> AllFrames(const CallStack& stack) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < stack.size; ++i) texts.push_back(FrameText(stack.frames[i]));
  return texts;
}

std::vector<std::string> ModuleFrames(const CallStack& stack) {
  std::size_t begin = 0;
  while (begin < stack.size && IsOurs(stack.frames[begin])) ++begin;
  std::size_t end = begin;
  while (end < stack.size && !IsOurs(stack.frames[end])) ++end;
  std::vector<std::string> texts;
  for (std::size_t i = begin; i < end; ++i) texts.push_back(FrameText(stack.frames[i]));
  return texts;
}

}  // namespace ktcheck
