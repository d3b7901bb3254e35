// Walker: reads types, interfaces and controls from a running service through its API, and calls
// all of them with values made by chance.
//
// The API tells which interfaces objects offer, but not which controls these take. Those that
// ktctl knows by name are known; of the others, all codes of some ranges are sent once to an object
// of each kind, and those count as known that are answered otherwise than a code that nobody has.
//
// Threads: one thread.
// Failure: what a service must not answer is kept as a sentence, and the walk goes on. When it does
//          not answer at all, the walk is broken: it can go no further.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/http_client.h"
#include "ktcheck/walk_options.h"
#include "walk/call_maker.h"
#include "walk/contract.h"
#include "walk/service_map.h"

namespace walk {

struct WalkWish {
  ktcheck::WalkOptions walk;  // seed, codes, and codes that are left out; those of the list too
  bool destructive = false;   // send what stands on the list of what changes the machine
  std::chrono::seconds patience{60};  // a service that takes longer has stopped answering
};

// What was done.
struct WalkReport {
  std::uint64_t calls = 0;
  std::uint64_t controlCalls = 0;
  std::set<ControlKey> controls;                 // that are known
  std::set<ControlKey> tried;                    // all that were sent
  std::map<unsigned, std::uint64_t> statuses;    // of HTTP
  std::map<std::string, std::uint64_t> answers;  // of the providers, as "0x00000000 OK"
  std::map<std::string, std::uint64_t> leftOut;  // calls that were not made, by the reason
  std::vector<std::string> faults;               // the first of them
  std::uint64_t faultCount = 0;
};

class Walker {
 public:
  Walker(ktctl::Connection connection, const WalkWish& wish);

  // Reads what is there and finds out which controls there are. False when it is broken, or when
  // `wanted` says that nobody waits for it any more.
  bool Explore(const std::function<bool()>& wanted);

  // Makes one call. False when it is broken.
  bool Step();

  // Looks whether all providers still run and answer, and gives the trace level back.
  void Finish();

  [[nodiscard]] const WalkReport& report() const noexcept { return report_; }

 private:
  std::optional<Answer> Make(const Call& call);
  bool IsLeftOut(const Call& call);
  bool Read();
  void Look(const Offer& offer, const std::string& unknown, std::uint32_t code);
  std::string StatusOf(const Call& call);
  void Fail(const std::string& fault);

  const WalkWish wish_;
  ktctl::HttpClient http_;
  CallMaker maker_;
  std::optional<Contract> contract_;
  ServiceMap map_;
  std::optional<std::vector<std::string>> providers_;  // that ran at the beginning
  std::uint64_t exceptions_ = 0;
  std::uint64_t level_ = 4;  // the trace level before
  WalkReport report_;
  bool broken_ = false;
};

}  // namespace walk
