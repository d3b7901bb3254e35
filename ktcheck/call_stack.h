// CallStack: where a thread stands, as addresses; made texts of only when they are needed.
//
// The text of a frame is "file+0x1a2b": the file of the code and the offset in it, as tools that
// read debug information take it. It stays right for a module that has been unloaded, as long as
// it was kept in mind.
//
// Threads: everything from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ktcheck {

struct CallStack {
  std::array<std::uintptr_t, 48> frames{};  // the innermost first
  std::size_t size = 0;
};

// A file of code in memory: [begin, end). `bias` is what its own addresses are moved by.
struct CodePlace {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  std::uintptr_t bias = 0;
  std::string file;

  [[nodiscard]] bool Holds(std::uintptr_t address) const noexcept {
    return begin <= address && address < end;
  }
};

// ---- The operating system's part -------------------------------------------------------------

// The stack of the calling thread. Allocates nothing once PrepareStacks() was called.
CallStack CaptureStack() noexcept;
void PrepareStacks();

// The file of code around the address; nothing when there is none.
std::optional<CodePlace> PlaceOf(std::uintptr_t address);

// ---- Everywhere the same ---------------------------------------------------------------------

// Keeps the module around the address in mind, in place of those before that lay there.
void KeepInMind(std::uintptr_t address);

// Whether the address is in the module that was kept in mind last. Takes no lock.
bool IsInModule(std::uintptr_t address) noexcept;

// Whether any frame is.
bool StandsInModule(const CallStack& stack) noexcept;

// Whether any frame is in the framework or in this program.
bool StandsInFramework(const CallStack& stack);

// All frames as texts.
std::vector<std::string> AllFrames(const CallStack& stack);

// Those of the module and of what it calls: without the framework and this program on the inside,
// and without who called the module.
std::vector<std::string> ModuleFrames(const CallStack& stack);

}  // namespace ktcheck
