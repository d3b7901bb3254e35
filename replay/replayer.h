// Replay: runs a module against a recording and tells the first difference.
//
// The module is loaded, its functions are called with what was recorded, each on a thread of its
// own for each thread of the recording, and what it calls of the framework is compared with what it
// called then, and answered with what it was answered then.
//
//   Order     A function is called when everything that stands before it in the recording, of the
//             functions of this provider, has begun or ended. What runs at the same time in the
//             recording may do so here.
//   Threads   A thread that the module starts is the one of the recording whose first call is the
//             same. One that goes on beyond its recording waits for Shutdown and is then left
//             alone; one that does less than in the recording is no difference, one that does not
//             come at all is.
//   Answers   Objects, types, events, alerts and the trace level are answered from the recording.
//             Property sets, texts, memory, locks and the database lock are the framework's own,
//             and must come out as they did; where a call failed in the recording it fails here.
//   Lenient   Memory, locks and sleeps may come in any number; the order of such calls between
//             threads is nobody's promise. An allocation that failed then fails here, where the
//             same function is called between the same neighbours.
//   Texts     A trace is compared with its text, but for one that prints an address (%p).
//
// What a module reads from the machine (files, the registry, the clock) is not in the recording.
//
// Threads: one replay at a time in a process, and nothing else that uses its framework.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace ktreplay {

// Why nothing could be replayed.
class ReplayError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Difference {
  std::uint64_t item = 0;          // in the recording; 0 when it is about none
  std::uint64_t thread = 0;        // of the recording; 0 when none is known
  std::uint64_t microseconds = 0;  // since the recording began
  std::string inside;              // the provider's function, with its item; "" outside of them
  std::string expected;
  std::string came;
};

struct ReplayResult {
  std::string provider;
  std::uint64_t items = 0;      // of the provider, in the recording
  std::uint64_t functions = 0;  // calls of its functions that were made and compared
  std::uint64_t calls = 0;      // calls of the framework that were compared
  std::optional<Difference> difference;
  // How often all waited in vain for a thread of the recording, and its order was given up.
  std::uint64_t given_up = 0;
  std::string incomplete;  // why the recording has no end; it is replayed as far as it goes
  // The module has not come back: its threads still run, and the process can only be ended at once.
  bool stuck = false;
};

struct ReplayOptions {
  // The provider of the recording; empty: the name of the module's file.
  std::string provider;
  // Nothing at all happens for so long: the module has got stuck.
  std::chrono::milliseconds patience = std::chrono::seconds(90);
};

// Replays the recording to the module. Throws ReplayError for a recording that cannot be read or
// does not have the provider, ktsvc::ModuleError for a module that cannot be loaded.
ReplayResult Replay(const std::filesystem::path& recording, const std::filesystem::path& module,
                    const ReplayOptions& options);

// What the result says to a person, in lines.
std::string ReplayText(const ReplayResult& result);

}  // namespace ktreplay
