#include "api/bus_feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "guid.h"
#include "ktbus3/ktbus3_host.h"
#include "owned_set.h"

namespace ktsvc::api {
namespace {

using Json = nlohmann::ordered_json;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr const char* kTime = "20..-..-..T..:..:......Z";

class BusFeedTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(KtBusOpenDatabase(&database_), 0U);
    const KtProviderTable table{};
    ASSERT_EQ(KtBusAttachProvider(database_, "alpha", &table, nullptr, &provider_), 0U);
    feed_.emplace(database_, hub_);
  }
  void TearDown() override {
    feed_.reset();
    KtBusCloseDatabase(database_);
  }

  // What has been published of a topic so far.
  std::vector<Json> Published(Topic topic) {
    EXPECT_EQ(KtBusWaitForDelivery(database_, 60'000), 0U);
    std::vector<Json> published;
    for (const auto& message : hub_.Recent(topic)) {
      EXPECT_EQ(message->json.find('\n'), std::string::npos);
      published.push_back(Json::parse(message->json));
    }
    return published;
  }

  KtObjId NewObject() {
    KtObjId object{};
    EXPECT_EQ(ObCreateObject(database_, provider_, "QELM_Object", &object), 0U);
    return object;
  }

  static std::vector<std::string> Keys(const Json& json) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : json.items()) {
      keys.push_back(key);
    }
    return keys;
  }

  std::function<void()> holdUp_;  // called for each event that is matched with a pattern
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  StreamHub hub_{{.ring = 100, .queue = 100},
                 [this](const std::string& name, const std::string& pattern) {
                   if (holdUp_) {
                     holdUp_();
                   }
                   return EvMatch(database_, name.c_str(), pattern.c_str()) != 0;
                 }};
  std::optional<BusFeed> feed_;
};

TEST_F(BusFeedTest, AnEventIsPublishedWithItsRaiserAndItsProperties) {
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0U);
  const OwnedSet owned(set);
  std::uint32_t value = 3;
  const cuvo_property property{"n", TYPE_UINT32, 0, sizeof(value), 0, &value};
  ASSERT_EQ(PsAddProperty(set, &property), 0U);
  ASSERT_EQ(EvRaiseEvent(database_, provider_, "event.a", set), 0U);
  const auto events = Published(Topic::kEvents);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(Keys(events[0]), (std::vector<std::string>{"name", "time", "raisedBy", "properties"}));
  EXPECT_EQ(events[0]["name"], "event.a");
  EXPECT_EQ(events[0]["raisedBy"], "alpha");
  EXPECT_THAT(events[0]["time"].get<std::string>(), MatchesRegex(kTime));
  EXPECT_EQ(events[0]["properties"].dump(), R"([{"name":"n","type":"UINT32","value":3}])");
}

TEST_F(BusFeedTest, EventsAreFollowedByPattern) {
  const auto follower = hub_.Subscribe({{Topic::kEvents}, "event.*"}, std::nullopt, [] {});
  ASSERT_EQ(KtBusRaiseEvent(database_, "other.a", nullptr), 0U);
  ASSERT_EQ(KtBusRaiseEvent(database_, "event.a", nullptr), 0U);
  static_cast<void>(Published(Topic::kEvents));
  const auto item = follower->Take();
  ASSERT_TRUE(item);
  EXPECT_EQ(item->message->name, "event.a");
  EXPECT_FALSE(follower->Take());
}

TEST_F(BusFeedTest, AnAlertIsPublishedWithItsObject) {
  const KtObjId object = NewObject();
  const KtAlertDefinition definition{"full", "no room is left", 3, 0};
  ASSERT_EQ(ObPublishAlert(database_, provider_, &definition), 0U);
  ASSERT_EQ(ObRaiseAlert(database_, provider_, "full", nullptr, &object), 0U);
  ASSERT_EQ(ObRaiseAlert(database_, provider_, "full", nullptr, nullptr), 0U);
  const auto alerts = Published(Topic::kAlerts);
  ASSERT_THAT(alerts, SizeIs(2));
  EXPECT_EQ(alerts[0]["name"], "full");
  EXPECT_EQ(alerts[0]["description"], "no room is left");
  EXPECT_EQ(alerts[0]["severity"], 3);
  EXPECT_EQ(alerts[0]["object"], GuidText(object.guid));
  EXPECT_TRUE(alerts[1]["object"].is_null());
}

TEST_F(BusFeedTest, AnObjectIsPublishedAsItComesAndGoes) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObDeleteObject(database_, &object), 0U);
  const auto objects = Published(Topic::kObjects);
  ASSERT_THAT(objects, SizeIs(2));
  EXPECT_EQ(Keys(objects[0]), (std::vector<std::string>{"what", "id", "type", "time"}));
  EXPECT_EQ(objects[0]["what"], "created");
  EXPECT_EQ(objects[0]["id"], GuidText(object.guid));
  EXPECT_EQ(objects[0]["type"], "QELM_Object");
  EXPECT_EQ(objects[1]["what"], "deleted");
}

TEST_F(BusFeedTest, ALineOfTheTraceIsPublishedWhateverItsBytes) {
  KtTrace(6, "%s", "two\nlines \xFF");
  const auto lines = Published(Topic::kTrace);
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0]["level"], 6);
  EXPECT_EQ(lines[0]["text"].get<std::string>().substr(0, 10), "two\nlines ");
  EXPECT_THAT(lines[0]["time"].get<std::string>(), MatchesRegex(kTime));
}

TEST_F(BusFeedTest, WhatIsLostOnTheBusIsToldToWhoFollowsIt) {
  // A follower whose pattern takes its time holds up the feed.
  std::promise<void> reached;
  std::promise<void> release;
  auto released = release.get_future().share();
  holdUp_ = [&reached, released, first = true]() mutable {
    if (std::exchange(first, false)) {
      reached.set_value();
      released.wait();
    }
  };
  const auto follower = hub_.Subscribe({{Topic::kEvents}, "*"}, std::nullopt, [] {});
  const auto objects = hub_.Subscribe({{Topic::kObjects}, ""}, std::nullopt, [] {});
  ASSERT_EQ(KtBusRaiseEvent(database_, "first", nullptr), 0U);
  reached.get_future().wait();
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0U);
  const OwnedSet owned(set);
  std::string large(std::size_t{1024} * 1024, 'x');
  const cuvo_property property{"n", TYPE_STR,    0, static_cast<std::uint32_t>(large.size() + 1),
                               0,   large.data()};
  ASSERT_EQ(PsAddProperty(set, &property), 0U);
  for (int i = 0; i < 18; ++i) {
    ASSERT_EQ(KtBusRaiseEvent(database_, "large", set), 0U);
  }
  release.set_value();
  ASSERT_EQ(KtBusRaiseEvent(database_, "last", nullptr), 0U);
  static_cast<void>(Published(Topic::kEvents));
  std::uint64_t messages = 0;
  std::uint64_t lost = 0;
  while (const auto item = follower->Take()) {
    messages += item->message != nullptr ? 1U : 0U;
    lost += item->lost;
  }
  EXPECT_EQ(messages + lost, 20U);
  const auto told = objects->Take();
  ASSERT_TRUE(told);
  EXPECT_EQ(told->lost, 3U);
  EXPECT_GE(hub_.Lost(), 3U);
}

TEST_F(BusFeedTest, WhatHappensAfterItsEndIsNotPublished) {
  feed_.reset();
  static_cast<void>(NewObject());
  KtTrace(6, "late");
  EXPECT_EQ(hub_.LastId(), 0U);
}

}  // namespace
}  // namespace ktsvc::api
