// LeakWatch: remembers by which call each thing was made that the module has and has not given
// back, and which calls released something wrongly or found memory written past its end.
//
// What is there is the ledger's to say; this says where it comes from.
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ktcheck/call_gate.h"
#include "ktcheck/call_stack.h"
#include "ktcheck/finding.h"

namespace ktcheck {

class LeakWatch : public CallListener {
 public:
  // What is tried at the moment.
  using Circumstances = std::function<std::string()>;

  // Watches the module of that name. Without stacks it is quicker, and says less.
  LeakWatch(std::string module, FindingSink sink, Circumstances circumstances, bool stacks);

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& call) override;

  // Tells what the module has kept since this was made, according to the ledger.
  void TellKept() const;

 private:
  struct Thing {
    std::string kind;  // as the ledger has it
    std::string function;
    CallStack stack;
    std::string when;
  };
  using Key = std::pair<std::string, std::uint64_t>;

  void Made(const char* kind, std::uint64_t value, const char* function);
  void Given(std::initializer_list<const char*> kinds, std::uint64_t value);
  void LookForMade(const KtBusCall& call);
  void LookForGiven(const KtBusCall& call);
  void LookForMistakes(const KtBusCall& call);
  [[nodiscard]] Trail TrailOf(const Thing& thing) const;

  const std::string module_;
  const FindingSink sink_;
  const Circumstances circumstances_;
  const bool stacks_;
  mutable std::mutex mutex_;
  std::map<Key, Thing> things_;
  std::map<std::string, std::uint64_t> before_;  // what the module had kept already, by kind
  std::uint64_t wrong_frees_ = 0;
  std::uint64_t overruns_ = 0;
};

}  // namespace ktcheck
