// ConnectionPlaces: who may have how many connections at once, so that nobody can take them all
// from the others. Of the transport alone.
//
// Root and the service's own user may have every place, and some are kept for them. Any other user
// has a share, and so have all callers over loopback together, who are not known before they show
// a token.
//
// Threads:   any member from any thread.
// Ownership: a Place belongs to its connection and is given back when it goes; it must not outlive
//            the ConnectionPlaces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace ktsvc::api {

// The users for whom places are kept: root and the user that this process acts as; none where
// callers are never known by user (Windows).
std::vector<std::uint32_t> UsersOfTheService();

class ConnectionPlaces {
 public:
  struct Limits {
    std::size_t all = 0;
    std::size_t ofUser = 0;    // of one user that is none of `reservedFor`
    std::size_t loopback = 0;  // of all callers over loopback together
    std::size_t reserved = 0;  // of all, for `reservedFor` alone
    std::vector<std::uint32_t> reservedFor;
  };

  // The user at the other end; nothing for a caller over loopback.
  using Peer = std::optional<std::uint32_t>;

  class Place {
   public:
    Place(ConnectionPlaces& places, Peer peer) noexcept : places_(&places), peer_(peer) {}
    ~Place();
    Place(Place&& other) noexcept
        : places_(std::exchange(other.places_, nullptr)), peer_(other.peer_) {}
    Place& operator=(Place&&) = delete;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

   private:
    ConnectionPlaces* places_;
    const Peer peer_;
  };

  struct Refusal {
    std::string reason;
    std::string hint;
  };

  explicit ConnectionPlaces(Limits limits) : limits_(std::move(limits)) {}
  ConnectionPlaces(const ConnectionPlaces&) = delete;
  ConnectionPlaces& operator=(const ConnectionPlaces&) = delete;

  // A place, or why there is none.
  std::variant<Place, Refusal> Take(Peer peer);

  // How many are taken.
  [[nodiscard]] std::size_t Taken() const;

 private:
  [[nodiscard]] bool IsReservedFor(Peer peer) const;
  [[nodiscard]] std::size_t TakenByOthersLocked() const;
  [[nodiscard]] std::optional<Refusal> JudgeLocked(Peer peer) const;
  void GiveBack(Peer peer) noexcept;

  const Limits limits_;
  mutable std::mutex mutex_;
  std::map<Peer, std::size_t> taken_;
  std::size_t sum_ = 0;
};

}  // namespace ktsvc::api
