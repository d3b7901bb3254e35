// Life: one whole life of the module in a database of its own: loaded, attached, initialised, and
// in the end shut down, detached and unloaded.
//
// What goes wrong is told to the sink. A module whose threads still run is not unloaded: the life
// is then tainted, and so is every further one in this process.
//
// Threads: one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ktcheck/call_clock.h"
#include "ktcheck/call_watch.h"
#include "ktcheck/thread_stacks.h"
#include "provider_module.h"

namespace ktcheck {

// The module that is tried. Its provider has the name of its file.
struct Subject {
  std::filesystem::path file;
  std::string name;
};

class Life {
 public:
  struct Surroundings {
    const Subject& subject;
    CallClock& clock;
    FindingSink sink;
    CallWatch* watch = nullptr;         // told when Shutdown is over
    bool may_fail = false;              // functions of the module may answer that they failed
    std::function<void()> loaded;       // called before Initialize
    std::function<void()> initialized;  // called when it has succeeded
  };

  explicit Life(Surroundings surroundings);
  ~Life();
  Life(const Life&) = delete;
  Life& operator=(const Life&) = delete;

  // True when the module is initialised.
  bool Begin();
  // Ends what has begun; `late` is called between Shutdown and the detaching.
  void End(const std::function<void()>& late = {});

  // Waits until all that was raised has been delivered.
  void WaitForDelivery();

  [[nodiscard]] KtDatabase database() const noexcept { return database_; }
  [[nodiscard]] KtProvider provider() const noexcept { return provider_; }
  [[nodiscard]] const std::string& name() const noexcept { return around_.subject.name; }
  [[nodiscard]] bool tainted() const noexcept { return tainted_; }

 private:
  bool Load();
  void Tell(const char* kind, const std::string& what);
  void TellSubscriptions();
  // True when none is left; those that are left are told.
  bool ThreadsAreGone();
  void TellThreads(const std::vector<ThreadStack>& threads);
  void Unload();

  Surroundings around_;
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  std::unique_ptr<ktsvc::ProviderModule> module_;
  std::set<std::uint64_t> threads_before_;  // the module was loaded
  bool tainted_ = false;
};

}  // namespace ktcheck
