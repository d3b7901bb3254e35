#include "ktcheck/lock_watch.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace ktcheck {
namespace {

constexpr const char* kEnter = "KtEnterCriticalSection";
constexpr const char* kLeave = "KtLeaveCriticalSection";

// Of locks in a circle: where there are many, each way through all of them would take for ever.
constexpr std::size_t kLongestWay = 6;

std::set<std::uint64_t> Common(const std::set<std::uint64_t>& left,
                               const std::set<std::uint64_t>& right) {
  std::set<std::uint64_t> common;
  std::set_intersection(left.begin(), left.end(), right.begin(), right.end(),
                        std::inserter(common, common.begin()));
  return common;
}

}  // namespace

LockWatch::LockWatch(std::string module, FindingSink sink, bool stacks)
    : module_(std::move(module)), sink_(std::move(sink)), stacks_(stacks) {}

bool LockWatch::Before(KtBusCall& call) {
  if (module_ != call.provider) return false;
  const std::lock_guard lock(mutex_);
  if (call.inward != 0) {
    Thread& thread = threads_[call.thread];
    thread.on_entrance.push_back(thread.holds.size());
  } else if (IsCallOf(call, kEnter)) {
    Want(call.thread, call.arguments[0].value);
  } else if (IsCallOf(call, "DbLockDatabase")) {
    Want(call.thread, 0);
  } else if (IsCallOf(call, kLeave)) {
    Leave(call.thread, call.arguments[0].value);
  } else if (IsCallOf(call, "DbUnlockDatabase")) {
    Leave(call.thread, 0);
  } else if (IsCallOf(call, "KtDeleteCriticalSection")) {
    // The room may hold another lock from now on.
    const LockId gone = call.arguments[0].value;
    std::erase_if(orders_, [&](const auto& order) {
      return order.first.first == gone || order.first.second == gone;
    });
    numbers_.erase(gone);
  }
  return false;
}

void LockWatch::After(const KtBusCall& call) {
  if (module_ != call.provider) return;
  if (call.inward != 0) {
    ComeBack(call);
    return;
  }
  if (!Succeeded(call)) return;
  const std::lock_guard lock(mutex_);
  if (IsCallOf(call, kEnter)) {
    Take(call.thread, call.arguments[0].value);
  } else if (IsCallOf(call, "DbLockDatabase")) {
    Take(call.thread, 0);
  } else if (IsCallOf(call, "KtInitializeCriticalSection")) {
    numbers_[call.arguments[0].value] = ++made_;
  }
}

// Asked before the thread waits, so that an order which leads into a deadlock is told as well.
void LockWatch::Want(std::uint64_t number, LockId lock) {
  const Thread& thread = threads_[number];
  const auto is_it = [&](const Hold& hold) { return hold.lock == lock; };
  if (std::any_of(thread.holds.begin(), thread.holds.end(), is_it)) return;  // entered again
  std::set<LockId> outside;  // of the lock that is looked at
  for (const Hold& hold : thread.holds) {
    if (outside.contains(hold.lock)) continue;
    const Pair pair{hold.lock, lock};
    const Order order{hold.stack, Stack(), outside};
    outside.insert(hold.lock);
    if (!Learn(pair, order)) continue;
    const Order& learned = orders_.at(pair);
    const std::vector<LockId> way = Way(lock, hold.lock, learned.gates);
    if (!way.empty()) TellCircle(way, learned);
  }
}

// True when the order is new, or was never before taken with so few gates.
bool LockWatch::Learn(const Pair& pair, const Order& order) {
  const auto [known, is_new] = orders_.emplace(pair, order);
  if (is_new) return true;
  const std::set<LockId> common = Common(known->second.gates, order.gates);
  if (common.size() == known->second.gates.size()) return false;
  known->second = {order.outer, order.inner, common};
  return true;
}

void LockWatch::Take(std::uint64_t number, LockId lock) {
  threads_[number].holds.push_back({lock, Stack()});
}

void LockWatch::Leave(std::uint64_t number, LockId lock) {
  std::vector<Hold>& holds = threads_[number].holds;
  const auto found = std::find_if(holds.rbegin(), holds.rend(),
                                  [&](const Hold& hold) { return hold.lock == lock; });
  if (found != holds.rend()) holds.erase(std::next(found).base());
}

void LockWatch::ComeBack(const KtBusCall& call) {
  std::vector<Hold> kept;
  {
    const std::lock_guard lock(mutex_);
    Thread& thread = threads_[call.thread];
    if (thread.on_entrance.empty()) return;
    const std::size_t before = thread.on_entrance.back();
    thread.on_entrance.pop_back();
    if (thread.holds.size() <= before) return;
    kept.assign(thread.holds.begin() + static_cast<std::ptrdiff_t>(before), thread.holds.end());
    thread.holds.resize(before);
  }
  for (const Hold& hold : kept) {
    sink_({"lock-kept",
           std::string(call.function) + " came back with " +
               (hold.lock == 0 ? "the database lock" : "a lock of the module's own") + " held",
           {},
           {{"taken here", ModuleFrames(hold.stack)}},
           1});
  }
}

// The locks from one to the other, each of which was taken under the one before, and no lock around
// all of it and these gates; none when there is no such way.
std::vector<LockWatch::LockId> LockWatch::Way(LockId from, LockId to,
                                              const std::set<LockId>& gates) const {
  std::vector<LockId> way{from};
  if (!Extend(way, to, gates)) way.clear();
  return way;
}

bool LockWatch::Extend(std::vector<LockId>& way, LockId to, const std::set<LockId>& gates) const {
  const LockId here = way.back();
  if (here == to) return gates.empty();
  if (way.size() == kLongestWay) return false;
  for (const auto& [pair, order] : orders_) {
    const bool been = std::find(way.begin(), way.end(), pair.second) != way.end();
    if (pair.first != here || been) continue;
    way.push_back(pair.second);
    if (Extend(way, to, Common(gates, order.gates))) return true;
    way.pop_back();
  }
  return false;
}

void LockWatch::TellCircle(const std::vector<LockId>& way, const Order& closing) {
  if (!told_.insert({std::min(way.front(), way.back()), std::max(way.front(), way.back())})
           .second) {
    return;
  }
  Finding finding{"lock-order", "locks are taken in orders that contradict each other", {}, {}, 1};
  const std::string first = NameOf(way.front());
  finding.trails.push_back(
      {"here " + NameOf(way.back()) + " is taken", ModuleFrames(closing.outer)});
  finding.trails.push_back({"and under it " + first, ModuleFrames(closing.inner)});
  for (std::size_t i = 0; i + 1 < way.size(); ++i) {
    const Order& order = orders_.at({way[i], way[i + 1]});
    finding.trails.push_back(
        {"but elsewhere " + NameOf(way[i]) + " is taken", ModuleFrames(order.outer)});
    finding.trails.push_back({"and under it " + NameOf(way[i + 1]), ModuleFrames(order.inner)});
  }
  sink_(std::move(finding));
}

std::string LockWatch::NameOf(LockId lock) const {
  if (lock == 0) return "the database lock";
  const auto found = numbers_.find(lock);
  return found == numbers_.end() ? "a lock" : "lock " + std::to_string(found->second);
}

}  // namespace ktcheck
