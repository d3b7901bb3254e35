// Memory, critical sections, time and text.

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>

#include "fake/fake_state.h"

using fake::Guard;
using fake::Section;
using fake::State;

namespace {

// Marks an initialised section; a stale or never initialised one is told by its absence.
constexpr std::uint64_t kSectionMark = 0x4B54534543544E21u;
constexpr auto kMalformed = static_cast<std::size_t>(-1);

Section* SectionOf(const KtCriticalSection* section) {
  if (section == nullptr || section->opaque[1] != kSectionMark) return nullptr;
  return reinterpret_cast<Section*>(  // NOLINT(performance-no-int-to-ptr): our own, put there
      static_cast<std::uintptr_t>(section->opaque[0]));
}

void NoteSection(const char* function, const void* section) {
  State& state = State::Get();
  if (!state.recording) return;
  const Guard guard(state.mutex);
  state.calls.push_back({function,
                         "section#" + std::to_string(reinterpret_cast<std::uintptr_t>(section)),
                         fake::ThisThread(), false});
}

void MisusedSection(const char* function) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.WrongFree(std::string(function) + " of a section that is not initialised or not held");
}

// One code point of UTF-8; moves `text`. False for malformed input.
bool DecodeUtf8(const char*& text, std::uint32_t& code) {
  const auto byte = [&](std::size_t index) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[index]));
  };
  static constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  const std::uint32_t lead = byte(0);
  std::size_t more = 0;
  if (lead < 0x80) {
    code = lead;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    more = 1;
    code = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    more = 2;
    code = lead & 0x0Fu;
  } else if (lead >= 0xF0 && lead < 0xF5) {
    more = 3;
    code = lead & 0x07u;
  } else {
    return false;
  }
  for (std::size_t index = 1; index <= more; ++index) {
    if ((byte(index) & 0xC0u) != 0x80u) return false;
    code = (code << 6u) | (byte(index) & 0x3Fu);
  }
  if (code < kSmallest[more] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return false;
  text += more + 1;
  return true;
}

bool IsWellFormed(std::u16string_view text) {
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char16_t unit = text[index];
    if (unit < 0xD800 || unit >= 0xE000) continue;
    if (unit >= 0xDC00 || index + 1 == text.size() || text[index + 1] < 0xDC00 ||
        text[index + 1] >= 0xE000) {
      return false;
    }
    ++index;
  }
  return true;
}

// Writes at most `count` units, the terminator only where it fits.
template <typename Unit, typename Text>
std::size_t WriteUnits(Unit* to, const Text& units, std::size_t count) {
  if (to == nullptr) return units.size();
  const std::size_t written = units.size() < count ? units.size() : count;
  for (std::size_t index = 0; index < written; ++index) to[index] = static_cast<Unit>(units[index]);
  if (written < count) to[written] = 0;
  return written;
}

}  // namespace

extern "C" {

KT_BUS_API void* _KtAlloc(size_t size) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (state.Begin("_KtAlloc", static_cast<std::uint64_t>(size))) return nullptr;
  return state.Allocate(size);
}

KT_BUS_API void _KtFree(void* block) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.Note("_KtFree", block != nullptr ? "block" : static_cast<const char*>(nullptr));
  if (block == nullptr) return;
  const auto at = state.blocks.find(block);
  if (at == state.blocks.end()) {
    state.WrongFree("_KtFree of something that is no block of the framework's memory: " +
                    State::Describe(static_cast<const void*>(block)));
    return;
  }
  state.blocks.erase(at);
  std::free(block);
}

KT_BUS_API void KtInitializeCriticalSection(KtCriticalSection* section) {
  if (section == nullptr) return;
  NoteSection("KtInitializeCriticalSection", section);
  const fake::Shielded shielded;
  State& state = State::Get();
  auto fresh = std::make_unique<Section>();
  {
    const Guard guard(state.mutex);
    fresh->epoch = state.epoch;
    state.live_sections.insert(fresh.get());
    ++state.section_count;
  }
  section->opaque[0] = reinterpret_cast<std::uintptr_t>(fresh.release());
  section->opaque[1] = kSectionMark;
}

KT_BUS_API void KtEnterCriticalSection(KtCriticalSection* section) {
  NoteSection("KtEnterCriticalSection", section);
  Section* ours = SectionOf(section);
  if (ours == nullptr) return MisusedSection("KtEnterCriticalSection");
  ours->mutex.lock();
  if (ours->depth.fetch_add(1) == 0) ++State::Get().held_section_count;
}

KT_BUS_API void KtLeaveCriticalSection(KtCriticalSection* section) {
  NoteSection("KtLeaveCriticalSection", section);
  Section* ours = SectionOf(section);
  if (ours == nullptr || ours->depth == 0) return MisusedSection("KtLeaveCriticalSection");
  if (ours->depth.fetch_sub(1) == 1) --State::Get().held_section_count;
  ours->mutex.unlock();
}

KT_BUS_API void KtDeleteCriticalSection(KtCriticalSection* section) {
  NoteSection("KtDeleteCriticalSection", section);
  Section* ours = SectionOf(section);
  if (ours == nullptr || ours->depth != 0) return MisusedSection("KtDeleteCriticalSection");
  section->opaque[1] = 0;
  section->opaque[0] = 0;
  State& state = State::Get();
  {
    const Guard guard(state.mutex);
    if (ours->epoch == state.epoch) --state.section_count;
    state.live_sections.erase(ours);
  }
  delete ours;
}

KT_BUS_API void KtSleep(uint32_t milliseconds) {
  State& state = State::Get();
  std::function<void(std::uint32_t)> hook;
  {
    const Guard guard(state.mutex);
    state.Note("KtSleep", milliseconds);
    state.slept += milliseconds;
    ++state.sleeps;
    hook = state.on_sleep;
  }
  if (hook) hook(milliseconds);
  std::this_thread::yield();
}

KT_BUS_API char* KtGUIDToString(const KtGuid* guid) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  if (state.Begin("KtGUIDToString", guid) || guid == nullptr) return nullptr;
  return state.AllocateText(fake::GuidToText(*guid));
}

KT_BUS_API size_t Ktmbstowcs(KtWchar* to, const char* from, size_t count) {
  State& state = State::Get();
  {
    const Guard guard(state.mutex);
    if (state.BeginByNameOnly("Ktmbstowcs", from) || from == nullptr) return kMalformed;
  }
  const fake::Shielded shielded;
  std::u16string units;
  while (*from != '\0') {
    std::uint32_t code = 0;
    if (!DecodeUtf8(from, code)) return kMalformed;
    if (code >= 0x10000) {
      units.push_back(static_cast<char16_t>(0xD800u + ((code - 0x10000u) >> 10u)));
      units.push_back(static_cast<char16_t>(0xDC00u + ((code - 0x10000u) & 0x3FFu)));
    } else {
      units.push_back(static_cast<char16_t>(code));
    }
  }
  return WriteUnits(to, units, count);
}

KT_BUS_API size_t Ktwcstombs(char* to, const KtWchar* from, size_t count) {
  State& state = State::Get();
  {
    const Guard guard(state.mutex);
    if (state.BeginByNameOnly("Ktwcstombs", from) || from == nullptr) return kMalformed;
  }
  const fake::Shielded shielded;
  std::u16string units;
  for (; *from != 0; ++from) units.push_back(static_cast<char16_t>(*from));
  if (!IsWellFormed(units)) return kMalformed;
  return WriteUnits(to, fake::WideToNarrow(units), count);
}

KT_BUS_API int KtlstrlenA(const char* text) {
  State& state = State::Get();
  const Guard guard(state.mutex);
  state.Note("KtlstrlenA", text);
  return text != nullptr ? static_cast<int>(std::strlen(text)) : 0;
}

}  // extern "C"
