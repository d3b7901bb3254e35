#include "bus/subscriptions.h"

#include <algorithm>
#include <atomic>

#include "bus/status.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {
namespace {

// Cookies count up over all databases and are never used again, so one that was taken back, or
// that belongs to another database, is found out.
KtCookie NextCookie() noexcept {
  static std::atomic<KtCookie> next{0x1000};
  return next.fetch_add(1);
}

}  // namespace

KtStatus Subscriptions::Register(const std::shared_ptr<Provider>& provider, std::string name,
                                 bool alert, KtCookie& cookie) {
  auto subscription = std::make_shared<Subscription>();
  subscription->cookie = NextCookie();
  subscription->alert = alert;
  subscription->name = std::move(name);
  subscription->provider = provider;

  const MutexGuard guard(lock_);
  if (provider->gone()) return kNoObject;
  subscription->since = sequence_;
  by_cookie_.emplace_hint(by_cookie_.end(), subscription->cookie, subscription);
  try {
    (alert ? alerts_ : events_).Add(subscription);
  } catch (...) {
    by_cookie_.erase(subscription->cookie);
    throw;
  }
  ForgetRoutes();
  provider->account().HandOut(Kind::kRegistration);
  cookie = subscription->cookie;
  return kOk;
}

Subscriptions::Found Subscriptions::Unregister(KtCookie cookie, bool alert) {
  // The provider may be let go with its last subscription; that happens outside the lock.
  std::shared_ptr<const Subscription> subscription;
  const MutexGuard guard(lock_);
  const auto found = by_cookie_.find(cookie);
  if (found == by_cookie_.end()) return Found::kGone;
  if (found->second->alert != alert) return Found::kOtherKind;
  subscription = found->second;
  by_cookie_.erase(found);
  (alert ? alerts_ : events_).Remove(*subscription);
  Removed();
  subscription->provider->account().Return(Kind::kRegistration);
  return Found::kRemoved;
}

std::size_t Subscriptions::DropAll(const Provider& provider) {
  std::size_t dropped = 0;
  const MutexGuard guard(lock_);
  for (auto at = by_cookie_.begin(); at != by_cookie_.end();) {
    const auto subscription = at->second;
    if (subscription->provider.get() != &provider) {
      ++at;
      continue;
    }
    at = by_cookie_.erase(at);
    (subscription->alert ? alerts_ : events_).Remove(*subscription);
    ++dropped;
  }
  if (dropped != 0) Removed();
  return dropped;
}

void Subscriptions::ForgetRoutes() noexcept {
  event_routes_.Forget();
  alert_routes_.Forget();
}

void Subscriptions::Removed() noexcept {
  removals_.fetch_add(1);
  ForgetRoutes();
}

void Subscriptions::AppendMatching(std::uint32_t kind, const HashedName& name, Lists& out) const {
  if (kind == KTBUS_NOTICE_ALERT) {
    alerts_.AppendMatching(name, out);
    alerts_.AppendMatching(HashedName(kAlertNotice), out);
  } else {
    events_.AppendMatching(name, out);
  }
}

std::shared_ptr<const Route> Subscriptions::RouteOf(std::uint32_t kind, const HashedName& name) {
  RouteCache& routes = kind == KTBUS_NOTICE_ALERT ? alert_routes_ : event_routes_;
  if (auto kept = routes.Find(name)) return kept;
  lists_.clear();
  AppendMatching(kind, name, lists_);
  providers_.clear();
  for (const SubscriptionIndex::Entries* const list : lists_) {
    for (const auto& subscription : *list) {
      Provider* const provider = subscription->provider.get();
      if (providers_.empty() || providers_.back() != provider) providers_.push_back(provider);
    }
  }
  std::sort(providers_.begin(), providers_.end());
  providers_.erase(std::unique(providers_.begin(), providers_.end()), providers_.end());
  auto route = Route::Make(name.text, providers_);
  routes.Keep(name, route);
  return route;
}

void Subscriptions::Raise(std::uint32_t kind, std::string_view name,
                          std::shared_ptr<const PropertyMap> properties, Observers& observers,
                          Observation* observation) {
  Notice notice;
  notice.kind = kind;
  notice.properties = std::move(properties);
  const HashedName hashed(name);
  const MutexGuard guard(lock_);
  notice.route = RouteOf(kind, hashed);
  notice.sequence = sequence_ + 1;
  notice.removals = removals_.load(std::memory_order_relaxed);
  // Room in every queue first: all that wait for the notice get it, or none does.
  const auto providers = notice.route->providers();
  if (providers.size() > 1) {
    for (Provider* const provider : providers) provider->queue().Reserve();
  }
  for (Provider* const provider : providers) provider->queue().Push(notice);
  ++sequence_;
  if (observation != nullptr) observers.Tell(std::move(*observation));
}

bool Subscriptions::Wants(const Provider& provider, const Notice& notice) const {
  if (removals_.load(std::memory_order_acquire) == notice.removals) return true;
  const MutexGuard guard(lock_);
  Lists matching;
  AppendMatching(notice.kind, HashedName(notice.route->name()), matching);
  return std::any_of(matching.begin(), matching.end(), [&](const auto* list) {
    return std::any_of(list->begin(), list->end(), [&](const auto& subscription) {
      return subscription->provider.get() == &provider && subscription->since < notice.sequence;
    });
  });
}

std::vector<std::shared_ptr<const Subscription>> Subscriptions::All() const {
  const MutexGuard guard(lock_);
  std::vector<std::shared_ptr<const Subscription>> all;
  all.reserve(by_cookie_.size());
  for (const auto& [cookie, subscription] : by_cookie_) all.push_back(subscription);
  return all;
}

std::size_t Subscriptions::CountOf(const Provider& provider) const {
  const MutexGuard guard(lock_);
  return static_cast<std::size_t>(
      std::count_if(by_cookie_.begin(), by_cookie_.end(),
                    [&](const auto& row) { return row.second->provider.get() == &provider; }));
}

}  // namespace kt::bus
