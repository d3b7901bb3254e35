#include "api/connection_places.h"

#include <algorithm>

#include "access/access_system.h"

namespace ktsvc::api {

std::vector<std::uint32_t> UsersOfTheService() {
  const std::optional<std::uint32_t> own = access::OwnUserId();
  return own ? std::vector<std::uint32_t>{0, *own} : std::vector<std::uint32_t>{};
}

ConnectionPlaces::Place::~Place() {
  if (places_ != nullptr) {
    places_->GiveBack(peer_);
  }
}

std::variant<ConnectionPlaces::Place, ConnectionPlaces::Refusal> ConnectionPlaces::Take(Peer peer) {
  const std::lock_guard lock(mutex_);
  if (auto refusal = JudgeLocked(peer)) {
    return std::move(*refusal);
  }
  ++taken_[peer];
  ++sum_;
  return Place(*this, peer);
}

std::size_t ConnectionPlaces::Taken() const {
  const std::lock_guard lock(mutex_);
  return sum_;
}

bool ConnectionPlaces::IsReservedFor(Peer peer) const {
  return peer && std::find(limits_.reservedFor.begin(), limits_.reservedFor.end(), *peer) !=
                     limits_.reservedFor.end();
}

std::size_t ConnectionPlaces::TakenByOthersLocked() const {
  std::size_t others = 0;
  for (const auto& [peer, count] : taken_) {
    others += IsReservedFor(peer) ? 0 : count;
  }
  return others;
}

std::optional<ConnectionPlaces::Refusal> ConnectionPlaces::JudgeLocked(Peer peer) const {
  if (sum_ >= limits_.all) {
    return Refusal{"all " + std::to_string(limits_.all) + " connections are taken",
                   "Try again later."};
  }
  if (IsReservedFor(peer)) {
    return std::nullopt;
  }
  const auto found = taken_.find(peer);
  const std::size_t own = found == taken_.end() ? 0 : found->second;
  if (peer && own >= limits_.ofUser) {
    return Refusal{"user " + std::to_string(*peer) + " has " + std::to_string(own) +
                       " connections, as many as one user may have at once",
                   "Close those that are not needed."};
  }
  if (!peer && own >= limits_.loopback) {
    return Refusal{"all " + std::to_string(limits_.loopback) +
                       " connections that there are over loopback are taken",
                   "Try again later, or use the socket file."};
  }
  const std::size_t forOthers = limits_.all - std::min(limits_.all, limits_.reserved);
  if (TakenByOthersLocked() >= forOthers) {
    return Refusal{"all " + std::to_string(forOthers) +
                       " connections that are not kept for root and the service's user are taken",
                   "Try again later."};
  }
  return std::nullopt;
}

void ConnectionPlaces::GiveBack(Peer peer) noexcept {
  const std::lock_guard lock(mutex_);
  const auto found = taken_.find(peer);
  if (--found->second == 0) {
    taken_.erase(found);
  }
  --sum_;
}

}  // namespace ktsvc::api
