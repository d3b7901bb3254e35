// Walker: reads types, objects and interfaces from the bus, and calls what it finds with generated
// values: controls, events that the module listens to, Version and GetAttr.
//
// Threads: one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "bus_snapshot.h"
#include "ktcheck/control_watch.h"
#include "ktcheck/life.h"
#include "ktcheck/value_maker.h"
#include "ktcheck/walk_options.h"

namespace ktcheck {

// A control that the module knows.
struct KnownControl {
  std::string type;  // of the objects that it was sent to
  KtGuid interface_id{};
  std::uint32_t selector = 0;
  std::uint32_t code = 0;
  std::set<std::string> names;  // properties that it looks for
};

class Walker {
 public:
  // What is tried is told before it is. `watch` must be in the gate.
  Walker(Life& life, ControlWatch& watch, const WalkOptions& options,
         std::function<void(const std::string&)> trying);

  // All of it.
  void Walk();

  // The same, shortly and always alike: known controls once without input and once with each name.
  void Repeat(const std::vector<KnownControl>& known);

  [[nodiscard]] const std::vector<KnownControl>& known() const noexcept { return known_; }
  // Whether there was anything that a control could be sent to.
  [[nodiscard]] bool served() const noexcept { return controls_ != 0; }
  [[nodiscard]] std::uint64_t controls() const noexcept { return controls_; }
  [[nodiscard]] std::uint64_t events() const noexcept { return events_; }

 private:
  struct Answer {
    KtStatus status = 0;
    std::uint64_t calls = 0;
    std::set<std::string> names;
  };
  struct Target {
    KtObjId object{};
    std::string type;
    KtGuid interface_id{};
  };

  std::vector<Target> Targets() const;
  Answer Send(const Target& target, std::uint32_t selector, std::uint32_t code,
              const ktsvc::PropertyList* input);
  void Explore(const Target& target);
  void Press(const Target& target, KnownControl& control);
  void RaiseEvents(bool generated);
  void Raise(const std::string& name, const ktsvc::PropertyList* properties);
  void AskTheRest();

  Life& life_;
  ControlWatch& watch_;
  const WalkOptions& options_;
  const std::function<void(const std::string&)> trying_;
  ValueMaker maker_;
  std::vector<KnownControl> known_;
  std::uint64_t controls_ = 0;
  std::uint64_t events_ = 0;
};

}  // namespace ktcheck
