// LockWatch: which locks each thread holds, whether a function of the module comes back with one
// held, and whether locks are taken in orders that contradict each other.
//
// The database lock counts as one of them. Locks that the module has from elsewhere (std::mutex,
// those of the system) are not seen.
//
// Two orders contradict each other only where two threads can be in both at once: not under a lock
// that is always taken first, a gate.
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ktcheck/call_gate.h"
#include "ktcheck/call_stack.h"
#include "ktcheck/finding.h"

namespace ktcheck {

class LockWatch : public CallListener {
 public:
  // Without stacks it is quicker, and says less.
  LockWatch(std::string module, FindingSink sink, bool stacks);

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& call) override;

 private:
  using LockId = std::uint64_t;  // 0: the database lock
  struct Hold {
    LockId lock;
    CallStack stack;
  };
  struct Thread {
    std::vector<Hold> holds;               // the outermost first; a lock once for each entry
    std::vector<std::size_t> on_entrance;  // how many were held when each running function began
  };
  struct Order {
    CallStack outer;  // where the first was taken
    CallStack inner;  // where the second was taken under it
    // Locks that were held around both each time. One that is gone stays in it: it did its duty.
    std::set<LockId> gates;
  };
  using Pair = std::pair<LockId, LockId>;

  [[nodiscard]] CallStack Stack() const { return stacks_ ? CaptureStack() : CallStack{}; }
  void Want(std::uint64_t thread, LockId lock);
  void Take(std::uint64_t thread, LockId lock);
  void Leave(std::uint64_t thread, LockId lock);
  void ComeBack(const KtBusCall& call);
  bool Learn(const Pair& pair, const Order& order);
  [[nodiscard]] std::vector<LockId> Way(LockId from, LockId to,
                                        const std::set<LockId>& gates) const;
  bool Extend(std::vector<LockId>& way, LockId to, const std::set<LockId>& gates) const;
  void TellCircle(const std::vector<LockId>& way, const Order& closing);
  [[nodiscard]] std::string NameOf(LockId lock) const;

  const std::string module_;
  const FindingSink sink_;
  const bool stacks_;
  std::mutex mutex_;
  std::map<std::uint64_t, Thread> threads_;
  std::map<Pair, Order> orders_;
  std::map<LockId, std::uint64_t> numbers_;  // of the locks that were made here, from 1 on
  std::uint64_t made_ = 0;
  std::set<Pair> told_;
};

}  // namespace ktcheck
