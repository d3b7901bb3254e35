// Load: everybody who uses the service during a soak: clients with their streams, and a walker that
// makes calls by chance.
//
// Threads: one thread drives it; it has one for each client and one for the walker.
// Failure: what goes wrong is counted while it works, and told at the end. The destructor hangs up.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "stress/crowd.h"
#include "stress/timings.h"
#include "walk/walker.h"

namespace soak {

struct LoadWish {
  std::filesystem::path socket;
  std::size_t clients = 0;
  std::uint64_t seed = 0;
  std::chrono::milliseconds pause{0};  // of each, between two requests
};

class Load {
 public:
  // Connects, and begins.
  explicit Load(const LoadWish& wish);
  ~Load();
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  // How long the clients' requests took since this was asked before.
  stress::Timings TakeTimings();

  [[nodiscard]] std::uint64_t requests() const { return requests_; }
  [[nodiscard]] std::uint64_t generated() const { return generated_; }
  [[nodiscard]] std::uint64_t faultCount() const { return field_.errors + walkFaults_; }

  // Ends the work; all have read their streams to the end then, and have left.
  void Finish();

  // Of all; after Finish().
  [[nodiscard]] std::vector<std::string> Faults() const;

 private:
  void Walk(std::chrono::milliseconds pause);

  stress::Field field_;
  std::mutex mutex_;
  stress::Timings timings_;  // guarded by mutex_
  std::atomic<std::uint64_t> requests_{0};
  std::atomic<std::uint64_t> generated_{0};
  std::atomic<std::uint64_t> walkFaults_{0};
  std::optional<stress::Crowd> crowd_;
  std::optional<walk::Walker> walker_;
  std::thread walking_;
  std::vector<std::string> faults_;
};

}  // namespace soak
