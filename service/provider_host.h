// ProviderHost: the providers of one life of the service, from loading to unloading.
//
// A provider that cannot be brought up, or that fails later, is reported and does not stop the
// others. One whose Initialize fails is shut down and unloaded at once. One whose Shutdown fails
// may still have threads of its own, and one that the bus does not let go of may still be called:
// such a one stays in memory.
//
// While a provider is being stopped, it is said what is still waited for: at once when there is
// anything, and then again and again. What can be known of that is the controls that came through
// the service, the notices of the bus, and the threads that the bus has in the provider's
// functions; threads of the provider's own are known to the provider alone, which waits for them in
// its Shutdown. When it is down, it is said what it kept.
//
// Threads:   one thread at a time, Reports() excepted, which any thread may call.
// Ownership: owns the modules; the database is lent and must outlive it. The destructor stops what
//            is still running.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "progress.h"
#include "provider_module.h"

namespace ktsvc {

// What went wrong with a provider, and what can be done about it ("" when there is nothing).
struct ProviderFailure {
  std::string what;
  std::string advice;
};

enum class ProviderState { kRunning, kStopping, kStopped, kFailed };

// "running", "stopping", "stopped" or "failed".
std::string_view StateName(ProviderState state) noexcept;

// All that is known of one provider, for the reports.
struct ProviderReport {
  std::string name;
  std::filesystem::path file;  // canonical once it was opened; empty when none was found
  ProviderState state = ProviderState::kFailed;
  std::optional<std::string> version;  // none when it gives none
  std::optional<KtStatus> initialize;  // none when it was not called
  std::optional<KtStatus> shutdown;
  std::uint64_t controls = 0;    // sent to it, counted when it stops
  std::uint64_t notices = 0;     // delivered to it, counted when it stops
  std::uint64_t exceptions = 0;  // that left its functions
  std::vector<ProviderFailure> failures;
  std::vector<std::string> waitsFor;  // while it is stopping, a sentence or more
};

class ProviderHost {
 public:
  // What others have asked of a provider and still wait for, one sentence each. Called on any
  // thread.
  using InFlight = std::function<std::vector<std::string>(const std::string& provider)>;

  ProviderHost(KtDatabase database, Progress& progress, InFlight inFlight = {},
               std::chrono::milliseconds sayEvery = std::chrono::seconds(5));
  ~ProviderHost();
  ProviderHost(const ProviderHost&) = delete;
  ProviderHost& operator=(const ProviderHost&) = delete;

  // Brings up the provider that a word of the command line names; true when it runs.
  bool Start(const std::string& word, const std::filesystem::path& moduleFolder);

  // Shuts the running providers down, the last one first, and unloads them.
  void StopAll();

  // In the order of Start().
  [[nodiscard]] std::vector<ProviderReport> Reports() const;

  // True when any provider has failed in any way so far.
  [[nodiscard]] bool AnyFailed() const noexcept;

 private:
  struct Entry {
    ProviderReport report;
    std::unique_ptr<ProviderModule> module;
    KtProvider provider = nullptr;
    KtProvider going = nullptr;  // while it is being stopped
    std::atomic<bool> inShutdown{false};
  };

  bool BringUp(Entry& entry, const std::string& word, const std::filesystem::path& moduleFolder);
  void Load(Entry& entry, const std::string& word, const std::filesystem::path& moduleFolder);
  void SetFile(Entry& entry, const std::filesystem::path& file);
  bool Initialize(Entry& entry);
  void TakeDown(Entry& entry);
  void CountWork(Entry& entry) const;
  void Fail(Entry& entry, const std::string& what, const std::string& advice);
  [[nodiscard]] std::vector<std::string> WhatIsLeft(const std::string& name, KtProvider provider,
                                                    bool inShutdown) const;
  void SayWhatIsLeft(const Entry& entry) const noexcept;

  KtDatabase database_;
  Progress& progress_;
  const InFlight inFlight_;
  const std::chrono::milliseconds sayEvery_;

  mutable std::mutex mutex_;  // guards the reports and the vector, for Reports()
  std::vector<std::unique_ptr<Entry>> entries_;
};

}  // namespace ktsvc
