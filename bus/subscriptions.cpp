#include "bus/subscriptions.h"

#include <algorithm>
#include <atomic>

#include "bus/event_pattern.h"
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

void SubscriptionIndex::Add(const std::shared_ptr<const Subscription>& subscription) {
  if (IsPattern(subscription->name)) {
    patterns_[CountParts(subscription->name)].push_back(subscription);
  } else {
    exact_[subscription->name].push_back(subscription);
  }
}

void SubscriptionIndex::Remove(const Subscription& subscription) {
  const auto is_it = [&](const auto& entry) { return entry.get() == &subscription; };
  if (IsPattern(subscription.name)) {
    const auto found = patterns_.find(CountParts(subscription.name));
    if (found == patterns_.end()) return;
    std::erase_if(found->second, is_it);
    if (found->second.empty()) patterns_.erase(found);
  } else {
    const auto found = exact_.find(subscription.name);
    if (found == exact_.end()) return;
    std::erase_if(found->second, is_it);
    if (found->second.empty()) exact_.erase(found);
  }
}

void SubscriptionIndex::AppendMatching(std::string_view name, Entries& out) const {
  if (const auto found = exact_.find(std::string(name)); found != exact_.end()) {
    out.insert(out.end(), found->second.begin(), found->second.end());
  }
  if (const auto found = patterns_.find(CountParts(name)); found != patterns_.end()) {
    for (const auto& entry : found->second) {
      if (MatchesPattern(name, entry->name)) out.push_back(entry);
    }
  }
}

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
  return dropped;
}

SubscriptionIndex::Entries Subscriptions::Matching(const Notice& notice) const {
  SubscriptionIndex::Entries matching;
  if (notice.kind == KTBUS_NOTICE_ALERT) {
    alerts_.AppendMatching(notice.alert_name, matching);
    alerts_.AppendMatching(kAlertNotice, matching);
  } else {
    events_.AppendMatching(notice.name, matching);
  }
  return matching;
}

void Subscriptions::Raise(Notice notice, Observers& observers, Observation observation) {
  observation.properties = notice.properties;
  auto shared = std::make_shared<Notice>(std::move(notice));
  const MutexGuard guard(lock_);
  shared->sequence = sequence_ + 1;
  std::vector<Provider*> providers;
  for (const auto& subscription : Matching(*shared)) {
    providers.push_back(subscription->provider.get());
  }
  std::sort(providers.begin(), providers.end());
  providers.erase(std::unique(providers.begin(), providers.end()), providers.end());
  // A place in every queue first: all that wait for the notice get it, or none does.
  std::vector<DeliveryQueue::Place> places(providers.size());
  for (auto& place : places) place.push_back(shared);
  ++sequence_;
  for (std::size_t i = 0; i < providers.size(); ++i) providers[i]->queue().Push(places[i]);
  observers.Tell(std::move(observation));
}

bool Subscriptions::Wants(const Provider& provider, const Notice& notice) const {
  const MutexGuard guard(lock_);
  const SubscriptionIndex::Entries matching = Matching(notice);
  return std::any_of(matching.begin(), matching.end(), [&](const auto& subscription) {
    return subscription->provider.get() == &provider && subscription->since < notice.sequence;
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
