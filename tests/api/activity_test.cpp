#include "api/activity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <utility>

namespace ktsvc::api {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr KtGuid kGuid{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};

Activity::Control ControlOf(std::string provider, std::uint32_t code = 11005) {
  Activity::Control control;
  control.caller = "user alice (1000)";
  control.object.guid = kGuid;
  control.type = "qelm_system";
  control.interfaceId = kGuid;
  control.interfaceName = "system";
  control.code = code;
  control.provider = std::move(provider);
  return control;
}

class ActivityTest : public testing::Test {
 protected:
  Activity::Clock::time_point now_;
  Activity activity_{[this] { return now_; }};
};

TEST_F(ActivityTest, AControlIsInFlightUntilItIsFinished) {
  auto running = activity_.Begin(ControlOf("hostkit"));
  now_ += 3s;
  ASSERT_EQ(activity_.CountNow(), 1U);
  EXPECT_EQ(activity_.Now().front().id, running.id());
  EXPECT_EQ(activity_.Now().front().running, 3s);
  EXPECT_EQ(running.Finish(false), 3s);
  EXPECT_EQ(activity_.CountNow(), 0U);
}

TEST_F(ActivityTest, ControlsInFlightAreToldOldestFirst) {
  const auto first = activity_.Begin(ControlOf("hostkit", 1));
  const auto second = activity_.Begin(ControlOf("blockdev", 2));
  const auto third = activity_.Begin(ControlOf("hostkit", 3));
  const auto code = [](std::uint32_t value) {
    return Field(&Activity::InFlight::control, Field(&Activity::Control::code, value));
  };
  EXPECT_THAT(activity_.Now(), ElementsAre(code(1), code(2), code(3)));
  EXPECT_THAT(activity_.NowOf("hostkit"), ElementsAre(code(1), code(3)));
  EXPECT_THAT(activity_.NowOf("other"), IsEmpty());
}

TEST_F(ActivityTest, FinishedControlsAreCountedByProviderWithTheirFailures) {
  activity_.Begin(ControlOf("hostkit")).Finish(false);
  activity_.Begin(ControlOf("hostkit")).Finish(true);
  activity_.Begin(ControlOf("blockdev")).Finish(false);
  EXPECT_EQ(activity_.Of("hostkit").served, 2U);
  EXPECT_EQ(activity_.Of("hostkit").failures, 1U);
  EXPECT_EQ(activity_.Of("blockdev").failures, 0U);
  EXPECT_EQ(activity_.Of("other").served, 0U);
}

TEST_F(ActivityTest, ControlsInFlightAreNotCountedAsServed) {
  const auto running = activity_.Begin(ControlOf("hostkit"));
  EXPECT_EQ(activity_.Of("hostkit").served, 0U);
}

TEST_F(ActivityTest, AControlThatIsNeverFinishedEndsAsAFailure) {
  { const auto running = activity_.Begin(ControlOf("hostkit")); }
  EXPECT_EQ(activity_.CountNow(), 0U);
  EXPECT_EQ(activity_.Of("hostkit").failures, 1U);
}

TEST_F(ActivityTest, AControlIsFinishedOnce) {
  auto running = activity_.Begin(ControlOf("hostkit"));
  auto moved = std::move(running);
  moved.Finish(false);
  now_ += 5s;
  EXPECT_EQ(moved.Finish(true), 0s);
  EXPECT_EQ(activity_.Of("hostkit").served, 1U);
  EXPECT_EQ(activity_.Of("hostkit").failures, 0U);
}

TEST_F(ActivityTest, TheSlowestControlIsRemembered) {
  EXPECT_FALSE(activity_.Of("hostkit").slowest);
  const auto take = [this](std::uint32_t code, std::chrono::seconds time) {
    auto running = activity_.Begin(ControlOf("hostkit", code));
    now_ += time;
    running.Finish(false);
  };
  take(1, 2s);
  take(2, 7s);
  take(3, 5s);
  const auto slowest = activity_.Of("hostkit").slowest;
  ASSERT_TRUE(slowest);
  EXPECT_EQ(slowest->duration, 7s);
  EXPECT_EQ(slowest->what,
            "control 2 of interface system, selector 0, on qelm_system "
            "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
}

TEST(ControlText, SaysTheInterfacesNumberWhereItHasNoName) {
  auto control = ControlOf("hostkit");
  control.interfaceName.clear();
  control.type.clear();
  EXPECT_EQ(ControlText(control),
            "control 11005 of interface {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}, selector 0, on "
            "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
}

TEST_F(ActivityTest, TheTextSaysWhoAndWhichAndSinceWhen) {
  const auto running = activity_.Begin(ControlOf("hostkit"));
  now_ += 3200ms;
  EXPECT_THAT(InFlightText(activity_.Now().front()),
              MatchesRegex(".*control 11005 .*, for user alice .1000., since "
                           "20..-..-..T..:..:......Z .3.2 s."));
}

}  // namespace
}  // namespace ktsvc::api
