// Subscriptions of a database, and the raising of what they wait for.
//
// Threads:   everything from any thread. Raising puts a notice into each provider's queue under the
//            lock, so all providers see one order; it never waits for a delivery.
// Ownership: a subscription keeps its provider alive until it is taken back or dropped.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bus/delivery_queue.h"
#include "bus/lock.h"
#include "bus/observers.h"
#include "bus/provider.h"

namespace kt::bus {

struct Subscription {
  KtCookie cookie = 0;
  bool alert = false;
  std::string name;
  std::shared_ptr<Provider> provider;
  std::uint64_t since = 0;  // what was raised up to here is not for it
};

// Finds the subscriptions that match a name without looking at all: exact names by hash, patterns
// among those with as many parts.
class SubscriptionIndex {
 public:
  using Entries = std::vector<std::shared_ptr<const Subscription>>;

  void Add(const std::shared_ptr<const Subscription>& subscription);
  void Remove(const Subscription& subscription);
  void AppendMatching(std::string_view name, Entries& out) const;

 private:
  std::unordered_map<std::string, Entries> exact_;
  std::unordered_map<std::size_t, Entries> patterns_;
};

class Subscriptions {
 public:
  // 0xC1000010 when the provider is gone.
  KtStatus Register(const std::shared_ptr<Provider>& provider, std::string name, bool alert,
                    KtCookie& cookie) KT_EXCLUDES(lock_);

  enum class Found { kGone, kOtherKind, kRemoved };
  // Takes a registration back; of an event only as an event, of an alert only as an alert.
  Found Unregister(KtCookie cookie, bool alert) KT_EXCLUDES(lock_);

  // Drops the provider's registrations and returns how many there were. They stay in the ledger,
  // since the provider never gave them back. Needs no memory: going must not fail.
  std::size_t DropAll(const Provider& provider) KT_EXCLUDES(lock_);

  // Puts the notice into the queue of every provider that waits for it, once each, and tells the
  // observer. Throws std::bad_alloc with nothing raised.
  void Raise(Notice notice, Observers& observers, Observation observation) KT_EXCLUDES(lock_);

  // Whether a subscription from before the notice still waits for it.
  bool Wants(const Provider& provider, const Notice& notice) const KT_EXCLUDES(lock_);

  // All, in the order of registration.
  std::vector<std::shared_ptr<const Subscription>> All() const KT_EXCLUDES(lock_);
  std::size_t CountOf(const Provider& provider) const KT_EXCLUDES(lock_);

 private:
  SubscriptionIndex::Entries Matching(const Notice& notice) const KT_REQUIRES(lock_);

  mutable Mutex lock_;
  std::uint64_t sequence_ KT_GUARDED_BY(lock_) = 0;
  std::map<KtCookie, std::shared_ptr<const Subscription>> by_cookie_ KT_GUARDED_BY(lock_);
  SubscriptionIndex events_ KT_GUARDED_BY(lock_);
  SubscriptionIndex alerts_ KT_GUARDED_BY(lock_);
};

// The name of an alert's notice, and the registration that stands for all alerts.
inline constexpr const char* kAlertNotice = "event.alert";

}  // namespace kt::bus
