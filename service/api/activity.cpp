#include "api/activity.h"

#include <cstdio>
#include <iterator>
#include <utility>

#include "access/audit_line.h"
#include "guid.h"

namespace ktsvc::api {

Activity::Running::Running(Running&& other) noexcept
    : owner_(std::exchange(other.owner_, nullptr)), id_(other.id_) {}

Activity::Running::~Running() {
  Finish(true);
}

std::chrono::duration<double> Activity::Running::Finish(bool failed) noexcept {
  Activity* const owner = std::exchange(owner_, nullptr);
  return owner == nullptr ? std::chrono::duration<double>::zero() : owner->End(id_, failed);
}

Activity::Activity(std::function<Clock::time_point()> now) : now_(std::move(now)) {}

Activity::Running Activity::Begin(Control control) {
  const std::lock_guard lock(mutex_);
  const auto account = accounts_.try_emplace(control.provider).first;
  const std::uint64_t id = last_ + 1;
  entries_.emplace(id,
                   Entry{std::move(control), now_(), std::chrono::system_clock::now(), account});
  last_ = id;
  return {*this, id};
}

std::chrono::duration<double> Activity::End(std::uint64_t id, bool failed) noexcept {
  const std::lock_guard lock(mutex_);
  const auto entry = entries_.find(id);
  const std::chrono::duration<double> duration = now_() - entry->second.begin;
  Figures& figures = entry->second.account->second;
  ++figures.served;
  if (failed) {
    ++figures.failures;
  }
  if (!figures.slowest || figures.slowest->duration < duration) {
    try {
      figures.slowest = Slowest{duration, ControlText(entry->second.control)};
    } catch (const std::bad_alloc&) {
      // The former one stays; it is only for show.
      static_cast<void>(figures);
    }
  }
  entries_.erase(entry);
  return duration;
}

Activity::InFlight Activity::View(std::uint64_t id, const Entry& entry,
                                  Clock::time_point now) const {
  return {id, entry.control, entry.since, now - entry.begin};
}

std::vector<Activity::InFlight> Activity::Now() const {
  const std::lock_guard lock(mutex_);
  const Clock::time_point now = now_();
  std::vector<InFlight> all;
  all.reserve(entries_.size());
  for (const auto& [id, entry] : entries_) {
    all.push_back(View(id, entry, now));
  }
  return all;
}

std::vector<Activity::InFlight> Activity::NowOf(const std::string& provider) const {
  std::vector<InFlight> all = Now();
  std::erase_if(all, [&](const InFlight& one) { return one.control.provider != provider; });
  return all;
}

std::size_t Activity::CountNow() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
}

Activity::Figures Activity::Of(const std::string& provider) const {
  const std::lock_guard lock(mutex_);
  const auto found = accounts_.find(provider);
  return found == accounts_.end() ? Figures{} : found->second;
}

std::string ControlText(const Activity::Control& control) {
  const std::string interface =
      control.interfaceName.empty() ? GuidText(control.interfaceId) : control.interfaceName;
  return "control " + std::to_string(control.code) + " of interface " + interface + ", selector " +
         std::to_string(control.selector) + ", on " +
         (control.type.empty() ? "" : control.type + " ") + GuidText(control.object.guid);
}

std::string InFlightText(const Activity::InFlight& control) {
  char seconds[32];
  const int length =
      std::snprintf(std::data(seconds), std::size(seconds), "%.1f s", control.running.count());
  return ControlText(control.control) + ", for " + control.control.caller + ", since " +
         access::UtcText(control.since) + " (" +
         std::string(std::data(seconds), static_cast<std::size_t>(length)) + ")";
}

}  // namespace ktsvc::api
