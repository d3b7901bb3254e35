// Activity: the controls that are running now, and what became of those before, by provider.
//
// Whoever sends a control says so here first: begin, send, finish. The service's stop names what is
// still running, and the management API shows the same figures.
//
// Threads:   any member from any thread; a Running by one thread at a time.
// Ownership: a Running must not outlive its Activity.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"

namespace ktsvc::api {

class Activity {
 public:
  using Clock = std::chrono::steady_clock;

  // A control, as it is sent.
  struct Control {
    std::string caller;  // Caller::Text()
    KtObjId object{};
    std::string type;  // of the object, "" when it is not known
    KtGuid interfaceId{};
    std::string interfaceName;  // "" where it has none
    std::uint32_t selector = 0;
    std::uint32_t code = 0;
    std::string provider;  // who serves it
  };

  struct InFlight {
    std::uint64_t id = 0;  // counts all controls from 1
    Control control;
    std::chrono::system_clock::time_point since;
    std::chrono::duration<double> running{};
  };

  struct Slowest {
    std::chrono::duration<double> duration{};
    std::string what;  // ControlText()
  };

  // Of one provider, since the start of the service. Controls in flight are not in it.
  struct Figures {
    std::uint64_t served = 0;
    std::uint64_t failures = 0;  // of these, those whose status fails
    std::optional<Slowest> slowest;
  };

  // A control in flight. It ends with Finish(), or as a failure when it is destroyed before.
  class Running {
   public:
    Running(Running&& other) noexcept;
    Running& operator=(Running&&) = delete;
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running();

    [[nodiscard]] std::uint64_t id() const noexcept { return id_; }

    // The control has come back; how long it took. The second call and later ones change nothing
    // and answer 0.
    std::chrono::duration<double> Finish(bool failed) noexcept;

   private:
    friend class Activity;
    Running(Activity& owner, std::uint64_t id) noexcept : owner_(&owner), id_(id) {}
    Activity* owner_;
    std::uint64_t id_;
  };

  // `now` can be replaced, so that tests do not have to wait.
  explicit Activity(std::function<Clock::time_point()> now = &Clock::now);
  Activity(const Activity&) = delete;
  Activity& operator=(const Activity&) = delete;

  // Throws std::bad_alloc, with nothing begun.
  [[nodiscard]] Running Begin(Control control);

  // In flight, the oldest first; of one provider, or of all.
  [[nodiscard]] std::vector<InFlight> Now() const;
  [[nodiscard]] std::vector<InFlight> NowOf(const std::string& provider) const;
  [[nodiscard]] std::size_t CountNow() const;

  // Zeroes for a provider that has served nothing.
  [[nodiscard]] Figures Of(const std::string& provider) const;

 private:
  struct Entry {
    Control control;
    Clock::time_point begin;
    std::chrono::system_clock::time_point since;
    std::map<std::string, Figures>::iterator account;
  };

  std::chrono::duration<double> End(std::uint64_t id, bool failed) noexcept;
  [[nodiscard]] InFlight View(std::uint64_t id, const Entry& entry, Clock::time_point now) const;

  const std::function<Clock::time_point()> now_;
  mutable std::mutex mutex_;
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, Entry> entries_;
  std::map<std::string, Figures> accounts_;
};

// "control 11005 of interface system, selector 0, on qelm_system {9452C1D7-...}".
std::string ControlText(const Activity::Control& control);

// The same with who sent it and since when: "control ... for user alice (1000) since
// 2026-01-31T12:00:00.123Z (3.2 s)".
std::string InFlightText(const Activity::InFlight& control);

}  // namespace ktsvc::api
