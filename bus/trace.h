// The trace: a level, and the sinks that a line goes to.
//
// Threads: everything from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "bus/lock.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {

// Levels of the framework's own lines: what a service may want to see, and what went wrong.
inline constexpr std::uint32_t kTraceProgress = 2;
inline constexpr std::uint32_t kTraceError = 6;

class Trace {
 public:
  // Never destroyed: modules trace until the process ends.
  static Trace& Get();

  // Whether a line of that level is written: most are not, and cost a load and a comparison.
  [[nodiscard]] static bool Wants(std::uint32_t level) noexcept {
    return level >= level_.load(std::memory_order_relaxed);
  }
  [[nodiscard]] static std::uint32_t level() noexcept { return level_.load(); }
  static std::uint32_t SetLevel(std::uint32_t level) noexcept { return level_.exchange(level); }

  // Hands a text to every sink that is on.
  void Write(std::uint32_t level, const std::string& text) KT_EXCLUDES(sinks_lock_, call_lock_);

  void ToStderr(bool on) noexcept { stderr_.store(on); }
  // False when the file cannot be opened; the previous file then stays.
  bool ToFile(const char* path) KT_EXCLUDES(sinks_lock_);
  // False from inside the call-back.
  bool ToCallback(KtBusTraceCallback callback, void* context) KT_EXCLUDES(call_lock_);

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept;
  };

  void WriteLine(std::uint32_t level, const std::string& text) KT_EXCLUDES(sinks_lock_);
  void Call(std::uint32_t level, const std::string& text) KT_EXCLUDES(call_lock_);

  static inline constinit std::atomic<std::uint32_t> level_{4};
  std::atomic<bool> stderr_{false};
  std::atomic<bool> has_file_{false};
  std::atomic<bool> has_callback_{false};

  Mutex sinks_lock_;
  std::unique_ptr<std::FILE, Close> file_ KT_GUARDED_BY(sinks_lock_);

  // Held shared while the call-back runs, so that taking it back waits for the end of that.
  SharedMutex call_lock_;
  KtBusTraceCallback callback_ KT_GUARDED_BY(call_lock_) = nullptr;
  void* context_ KT_GUARDED_BY(call_lock_) = nullptr;
};

// A line of the framework's own, as KtTrace writes one; it passes no gate. Never fails: a line for
// which there is no memory is lost.
void WriteTrace(std::uint32_t level, const char* format, ...) noexcept;

}  // namespace kt::bus
