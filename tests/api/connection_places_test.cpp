#include "api/connection_places.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace ktsvc::api {
namespace {

constexpr std::uint32_t kRoot = 0;
constexpr std::uint32_t kService = 990;
constexpr std::uint32_t kAda = 1001;
constexpr std::uint32_t kBob = 1002;
constexpr ConnectionPlaces::Peer kLoopback;

class ConnectionPlacesTest : public testing::Test {
 protected:
  // Takes as many as there are for the peer, and says how many that was.
  std::size_t TakeAll(ConnectionPlaces::Peer peer) {
    for (std::size_t count = 0;; ++count) {
      auto taken = places_.Take(peer);
      if (auto* const refusal = std::get_if<ConnectionPlaces::Refusal>(&taken)) {
        reason_ = refusal->reason;
        hint_ = refusal->hint;
        return count;
      }
      held_.push_back(std::get<ConnectionPlaces::Place>(std::move(taken)));
    }
  }

  ConnectionPlaces places_{{20, 5, 10, 4, {kRoot, kService}}};
  std::vector<ConnectionPlaces::Place> held_;
  std::string reason_;
  std::string hint_;
};

TEST_F(ConnectionPlacesTest, AUserHasAShareAndTheOthersHaveTheirs) {
  EXPECT_EQ(TakeAll(kAda), 5U);
  EXPECT_EQ(reason_, "user 1001 has 5 connections, as many as one user may have at once");
  EXPECT_FALSE(hint_.empty());
  EXPECT_EQ(TakeAll(kBob), 5U);
  EXPECT_EQ(places_.Taken(), 10U);
}

TEST_F(ConnectionPlacesTest, RootAndTheServicesUserMayHaveThemAll) {
  EXPECT_EQ(TakeAll(kService), 20U);
  EXPECT_EQ(reason_, "all 20 connections are taken");
  held_.clear();
  EXPECT_EQ(TakeAll(kRoot), 20U);
}

TEST_F(ConnectionPlacesTest, SomeAreKeptForRootWhoeverElseComes) {
  std::size_t others = TakeAll(kLoopback);
  for (std::uint32_t user = kAda; user < kAda + 10; ++user) {
    others += TakeAll(user);
  }
  EXPECT_EQ(others, 16U);
  EXPECT_EQ(reason_,
            "all 16 connections that are not kept for root and the service's user are taken");
  EXPECT_EQ(TakeAll(kRoot), 4U);
}

TEST_F(ConnectionPlacesTest, CallersOverLoopbackShareTheirs) {
  EXPECT_EQ(TakeAll(kLoopback), 10U);
  EXPECT_EQ(reason_, "all 10 connections that there are over loopback are taken");
  EXPECT_EQ(TakeAll(kAda), 5U);
}

TEST_F(ConnectionPlacesTest, APlaceThatIsGivenBackCanBeTakenAgain) {
  EXPECT_EQ(TakeAll(kAda), 5U);
  held_.pop_back();
  EXPECT_EQ(TakeAll(kAda), 1U);
  held_.clear();
  EXPECT_EQ(places_.Taken(), 0U);
}

TEST_F(ConnectionPlacesTest, APlaceThatHasMovedIsGivenBackOnce) {
  auto taken = places_.Take(kAda);
  {
    const ConnectionPlaces::Place place = std::get<ConnectionPlaces::Place>(std::move(taken));
    EXPECT_EQ(places_.Taken(), 1U);
  }
  EXPECT_EQ(places_.Taken(), 0U);
}

}  // namespace
}  // namespace ktsvc::api
