// Subscriptions of a database, and the raising of what they wait for.
//
// Threads:   everything from any thread. Raising puts a notice into each provider's queue under the
//            lock, so all providers see one order; it never waits for a delivery.
// Ownership: a subscription keeps its provider alive until it is taken back or dropped.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus/lock.h"
#include "bus/notice.h"
#include "bus/observers.h"
#include "bus/provider.h"
#include "bus/route_cache.h"
#include "bus/subscription_index.h"

namespace kt::bus {

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

  // Raises an event (KTBUS_NOTICE_EVENT) or an alert (KTBUS_NOTICE_ALERT) of that name: puts a
  // notice into the queue of every provider that waits for it, once each, and tells the observer
  // what is given for it (null: nothing). Throws std::bad_alloc with nothing raised.
  void Raise(std::uint32_t kind, std::string_view name,
             std::shared_ptr<const PropertyMap> properties, Observers& observers,
             Observation* observation) KT_EXCLUDES(lock_);

  // Whether a subscription from before the notice still waits for it. Looked up only when a
  // subscription has gone since.
  bool Wants(const Provider& provider, const Notice& notice) const KT_EXCLUDES(lock_);

  // All, in the order of registration.
  std::vector<std::shared_ptr<const Subscription>> All() const KT_EXCLUDES(lock_);
  std::size_t CountOf(const Provider& provider) const KT_EXCLUDES(lock_);

 private:
  using Lists = std::vector<const SubscriptionIndex::Entries*>;

  // Appends the lists of those that wait for it.
  void AppendMatching(std::uint32_t kind, const HashedName& name, Lists& out) const
      KT_REQUIRES(lock_);
  [[nodiscard]] std::shared_ptr<const Route> RouteOf(std::uint32_t kind, const HashedName& name)
      KT_REQUIRES(lock_);
  void Removed() noexcept KT_REQUIRES(lock_);
  void ForgetRoutes() noexcept KT_REQUIRES(lock_);

  mutable Mutex lock_;
  std::uint64_t sequence_ KT_GUARDED_BY(lock_) = 0;
  std::map<KtCookie, std::shared_ptr<const Subscription>> by_cookie_ KT_GUARDED_BY(lock_);
  SubscriptionIndex events_ KT_GUARDED_BY(lock_);
  SubscriptionIndex alerts_ KT_GUARDED_BY(lock_);
  RouteCache event_routes_ KT_GUARDED_BY(lock_);
  RouteCache alert_routes_ KT_GUARDED_BY(lock_);
  Lists lists_ KT_GUARDED_BY(lock_);  // of use within RouteOf alone, as the next
  std::vector<Provider*> providers_ KT_GUARDED_BY(lock_);
  std::atomic<std::uint64_t> removals_{0};  // changed under the lock
};

}  // namespace kt::bus
