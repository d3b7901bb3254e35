#include "api/stream_hub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "api/sse.h"

namespace ktsvc::api {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kRing = 4;
constexpr std::size_t kQueue = 3;
constexpr std::size_t kBytes = 1000;

// A pattern that ends in '*' is what a name begins with.
bool Begins(const std::string& name, const std::string& pattern) {
  return name.rfind(pattern.substr(0, pattern.size() - 1), 0) == 0;
}

class StreamHubTest : public testing::Test {
 protected:
  using Subscription = std::shared_ptr<StreamHub::Subscription>;

  Subscription Follow(std::vector<Topic> topics, std::optional<std::uint64_t> last = std::nullopt,
                      std::string pattern = {}) {
    return hub_.Subscribe({std::move(topics), std::move(pattern)}, last, [this] { ++wakes_; });
  }

  void PublishTraces(int count) {
    for (int i = 0; i < count; ++i) {
      hub_.Publish(Topic::kTrace, "{}");
    }
  }

  // All that is there: "7" for a message, "lost 3" for a gap.
  static std::vector<std::string> All(const Subscription& subscription) {
    std::vector<std::string> all;
    while (const auto item = subscription->Take()) {
      all.push_back(item->message == nullptr ? (item->restarted ? "restarted, lost " : "lost ") +
                                                   std::to_string(item->lost)
                                             : std::to_string(item->message->id));
    }
    return all;
  }

  std::atomic<int> wakes_{0};
  StreamHub hub_{{.ring = kRing, .ringBytes = kBytes, .queue = kQueue, .queueBytes = kBytes},
                 &Begins};
};

TEST_F(StreamHubTest, NumbersGoOnOverAllTopics) {
  const auto follower = Follow({Topic::kEvents, Topic::kObjects});
  hub_.Publish(Topic::kEvents, "{}", "a");
  hub_.Publish(Topic::kTrace, "{}");
  hub_.Publish(Topic::kObjects, "{}");
  EXPECT_THAT(All(follower), ElementsAre("1", "3"));
  EXPECT_EQ(hub_.LastId(), 3U);
}

TEST_F(StreamHubTest, AFollowerGetsWhatIsPublishedAfterHeCame) {
  hub_.Publish(Topic::kTrace, "{}");
  const auto follower = Follow({Topic::kTrace});
  hub_.Publish(Topic::kTrace, "{}");
  EXPECT_THAT(All(follower), ElementsAre("2"));
}

TEST_F(StreamHubTest, ThePatternChoosesAmongEventsAlone) {
  const auto follower = Follow({Topic::kEvents, Topic::kAlerts}, std::nullopt, "event.disk*");
  hub_.Publish(Topic::kEvents, "{}", "event.disk.added");
  hub_.Publish(Topic::kEvents, "{}", "event.volume.added");
  hub_.Publish(Topic::kAlerts, "{}", "full");
  EXPECT_THAT(All(follower), ElementsAre("1", "3"));
}

TEST_F(StreamHubTest, WhoDoesNotReadIsToldOfTheGapAtItsPlace) {
  const auto follower = Follow({Topic::kTrace});
  PublishTraces(5);
  EXPECT_THAT(All(follower), ElementsAre("1", "2", "3", "lost 2"));
  PublishTraces(1);
  EXPECT_THAT(All(follower), ElementsAre("6"));
  EXPECT_EQ(hub_.Lost(), 2U);
}

TEST_F(StreamHubTest, WhatFollowsAGapComesAfterIt) {
  const auto follower = Follow({Topic::kTrace});
  PublishTraces(5);
  ASSERT_TRUE(follower->Take());
  PublishTraces(1);
  EXPECT_THAT(All(follower), ElementsAre("2", "3", "lost 2", "6"));
}

TEST_F(StreamHubTest, OneSlowFollowerCostsTheOthersNothing) {
  const auto slow = Follow({Topic::kTrace});
  const auto quick = Follow({Topic::kTrace});
  for (int i = 1; i <= 20; ++i) {
    PublishTraces(1);
    EXPECT_THAT(All(quick), ElementsAre(std::to_string(i)));
  }
  EXPECT_THAT(All(slow), ElementsAre("1", "2", "3", "lost 17"));
}

TEST_F(StreamHubTest, WhoComesBackGoesOnWhereHeWas) {
  PublishTraces(4);
  EXPECT_THAT(All(Follow({Topic::kTrace}, 2)), ElementsAre("3", "4"));
}

TEST_F(StreamHubTest, WhoComesBackWithTheLastNumberMissesNothing) {
  PublishTraces(4);
  EXPECT_THAT(All(Follow({Topic::kTrace}, 4)), IsEmpty());
}

TEST_F(StreamHubTest, WhoComesBackTooLateIsToldHowManyAreNotKept) {
  PublishTraces(10);
  EXPECT_THAT(All(Follow({Topic::kTrace}, 2)), ElementsAre("lost 4", "7", "8", "9", "10"));
}

TEST_F(StreamHubTest, OnlyTheTopicsThatAreFollowedCountAsMissed) {
  PublishTraces(10);
  hub_.Publish(Topic::kAlerts, "{}");
  EXPECT_THAT(All(Follow({Topic::kAlerts}, 2)), ElementsAre("11"));
}

TEST_F(StreamHubTest, WhatIsKeptOfSeveralTopicsComesInOrder) {
  for (int i = 0; i < 2; ++i) {
    hub_.Publish(Topic::kAlerts, "{}");
    hub_.Publish(Topic::kTrace, "{}");
  }
  EXPECT_THAT(All(Follow({Topic::kTrace, Topic::kAlerts}, 0)), ElementsAre("1", "2", "3", "4"));
}

TEST_F(StreamHubTest, ANumberThatIsNotYetGivenBringsAllThatIsKeptAfterTheNewsOfARestart) {
  PublishTraces(6);
  EXPECT_THAT(All(Follow({Topic::kTrace}, 1000)),
              ElementsAre("restarted, lost 2", "3", "4", "5", "6"));
}

TEST_F(StreamHubTest, ANumberOfAnEarlierLifeBringsAllThatIsKeptAfterTheNewsOfARestart) {
  StreamHub hub({.ring = kRing, .queue = kQueue}, &Begins, 5001);
  hub.Publish(Topic::kTrace, "{}");
  hub.Publish(Topic::kTrace, "{}");
  // Numbers of this size this life gives too, if it lasts.
  const auto follower = hub.Subscribe({{Topic::kTrace}, ""}, 1, [] {});
  EXPECT_THAT(All(follower), ElementsAre("restarted, lost 0", "5001", "5002"));
  EXPECT_EQ(hub.Published(), 2U);
}

TEST_F(StreamHubTest, WhoComesBackBeforeAnythingHappenedIsToldOfTheRestartToo) {
  StreamHub hub({.ring = kRing, .queue = kQueue}, &Begins, 5001);
  const auto follower = hub.Subscribe({{Topic::kTrace}, ""}, 17, [] {});
  EXPECT_THAT(All(follower), ElementsAre("restarted, lost 0"));
  EXPECT_THAT(All(follower), IsEmpty());
}

// ---- Bytes --------------------------------------------------------------------------------------

TEST_F(StreamHubTest, WhatIsMoreThanTheBytesOfAQueueIsLostHoweverFewItAre) {
  const auto slow = Follow({Topic::kTrace});
  const auto quick = Follow({Topic::kTrace});
  for (int i = 1; i <= 3; ++i) {
    hub_.Publish(Topic::kTrace, std::string(kBytes / 2, 'x'));
    EXPECT_THAT(All(quick), ElementsAre(std::to_string(i)));
  }
  EXPECT_THAT(All(slow), ElementsAre("1", "2", "lost 1"));
  EXPECT_EQ(hub_.Lost(), 1U);
  hub_.Publish(Topic::kTrace, std::string(kBytes, 'x'));
  EXPECT_THAT(All(slow), ElementsAre("4"));
}

TEST_F(StreamHubTest, OfATopicNoMoreIsKeptThanItsBytes) {
  for (int i = 0; i < 4; ++i) {
    hub_.Publish(Topic::kEvents, std::string(kBytes / 2 - 1, 'x'), "e");
  }
  EXPECT_EQ(hub_.Recent(Topic::kEvents).size(), 2U);
  EXPECT_THAT(All(Follow({Topic::kEvents}, 1)), ElementsAre("lost 1", "3", "4"));
}

TEST_F(StreamHubTest, AMessageThatAloneIsTooLargeTakesNothingElseAway) {
  const auto follower = Follow({Topic::kTrace});
  PublishTraces(1);
  hub_.Publish(Topic::kTrace, std::string(kBytes + 1, 'x'));
  PublishTraces(1);
  EXPECT_THAT(All(follower), ElementsAre("1", "lost 1", "3"));
  EXPECT_EQ(hub_.Recent(Topic::kTrace).size(), 2U);
}

TEST_F(StreamHubTest, WhoComesBackGetsNoMoreThanTheBytesOfHisQueue) {
  for (const Topic topic : {Topic::kEvents, Topic::kAlerts, Topic::kObjects}) {
    hub_.Publish(topic, std::string(kBytes / 2, 'x'));
  }
  EXPECT_THAT(All(Follow({Topic::kEvents, Topic::kAlerts, Topic::kObjects}, 0)),
              ElementsAre("lost 1", "2", "3"));
}

TEST_F(StreamHubTest, AMessageIsInMemoryOnceHoweverManyHaveIt) {
  const auto one = Follow({Topic::kTrace});
  const auto other = Follow({Topic::kTrace});
  PublishTraces(1);
  const auto item = one->Take();
  ASSERT_TRUE(item);
  EXPECT_EQ(item->message, other->Take()->message);
  EXPECT_EQ(item->message, hub_.Recent(Topic::kTrace).front());
}

// ---- Losses on the way --------------------------------------------------------------------------

TEST_F(StreamHubTest, WhatIsLostOnTheWayIsToldToAllWhoFollowOneOfItsTopics) {
  const auto events = Follow({Topic::kEvents, Topic::kTrace});
  const auto traces = Follow({Topic::kTrace});
  PublishTraces(1);
  hub_.Lose({Topic::kEvents, Topic::kAlerts}, 7);
  PublishTraces(1);
  EXPECT_THAT(All(events), ElementsAre("1", "lost 7", "9"));
  EXPECT_THAT(All(traces), ElementsAre("1", "9"));
  EXPECT_EQ(hub_.Lost(), 7U);
  EXPECT_EQ(hub_.Published(), 2U);
}

TEST_F(StreamHubTest, ALossOnTheWayWakesWhoWaits) {
  const auto follower = Follow({Topic::kEvents});
  hub_.Lose({Topic::kEvents}, 1);
  EXPECT_EQ(wakes_, 1);
  EXPECT_THAT(All(follower), ElementsAre("lost 1"));
}

TEST_F(StreamHubTest, WhoComesBackIsToldOfWhatWasLostOnTheWayMeanwhile) {
  PublishTraces(1);
  hub_.Lose({Topic::kEvents}, 4);
  PublishTraces(1);
  EXPECT_THAT(All(Follow({Topic::kEvents}, 1)), ElementsAre("lost 4"));
  EXPECT_THAT(All(Follow({Topic::kEvents}, 3)), ElementsAre("lost 2"));
  EXPECT_THAT(All(Follow({Topic::kEvents}, 6)), IsEmpty());
  EXPECT_THAT(All(Follow({Topic::kTrace}, 1)), ElementsAre("6"));
}

TEST_F(StreamHubTest, MessagesOfOneTopicDoNotPushOutThoseOfAnother) {
  hub_.Publish(Topic::kAlerts, "{\"name\":\"full\"}");
  PublishTraces(100);
  ASSERT_EQ(hub_.Recent(Topic::kAlerts).size(), 1U);
  EXPECT_EQ(hub_.Recent(Topic::kAlerts).front()->json, "{\"name\":\"full\"}");
  EXPECT_EQ(hub_.Recent(Topic::kTrace).size(), kRing);
}

TEST_F(StreamHubTest, AFollowerIsWokenOnceUntilHeHasTakenAll) {
  const auto follower = Follow({Topic::kTrace});
  PublishTraces(2);
  EXPECT_EQ(wakes_, 1);
  static_cast<void>(All(follower));
  PublishTraces(2);
  EXPECT_EQ(wakes_, 2);
}

TEST_F(StreamHubTest, AfterTheEndOfASubscriptionNobodyIsWoken) {
  Follow({Topic::kTrace}).reset();
  EXPECT_EQ(hub_.Subscribers(), 0U);
  PublishTraces(1);
  EXPECT_EQ(wakes_, 0);
}

TEST_F(StreamHubTest, ClosingEndsASubscriptionWhenAllHasBeenTaken) {
  const auto follower = Follow({Topic::kTrace});
  PublishTraces(1);
  hub_.Close();
  PublishTraces(1);
  EXPECT_FALSE(follower->Ended());
  EXPECT_THAT(All(follower), ElementsAre("1"));
  EXPECT_TRUE(follower->Ended());
  EXPECT_EQ(wakes_, 2);
}

TEST_F(StreamHubTest, WhoComesAfterTheEndIsToldSo) {
  hub_.Close();
  EXPECT_TRUE(Follow({Topic::kTrace})->Ended());
}

TEST_F(StreamHubTest, ASubscriptionOutlivesItsHub) {
  std::shared_ptr<StreamHub::Subscription> follower;
  {
    StreamHub hub({.ring = kRing, .queue = kQueue}, &Begins);
    follower = hub.Subscribe({{Topic::kTrace}, ""}, std::nullopt, [] {});
    hub.Publish(Topic::kTrace, "{}");
  }
  EXPECT_THAT(All(follower), ElementsAre("1"));
  EXPECT_TRUE(follower->Ended());
}

TEST_F(StreamHubTest, EveryFollowerSeesEveryNumberOnceOrInAGapWhoeverPublishes) {
  constexpr int kThreads = 4;
  constexpr int kEach = 500;
  std::vector<Subscription> followers;
  std::vector<std::uint64_t> seen(3, 0);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    followers.push_back(Follow({Topic::kTrace}));
  }
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&follower = followers[i], &count = seen[i]] {
      std::uint64_t last = 0;
      while (!follower->Ended()) {
        const auto item = follower->Take();
        if (!item) {
          std::this_thread::yield();
        } else if (item->message == nullptr) {
          count += item->lost;
          last += item->lost;
        } else {
          EXPECT_EQ(item->message->id, last + 1);
          last = item->message->id;
          ++count;
        }
      }
    });
  }
  std::vector<std::thread> publishers;
  for (int i = 0; i < kThreads; ++i) {
    publishers.emplace_back([this] { PublishTraces(kEach); });
  }
  for (auto& thread : publishers) {
    thread.join();
  }
  hub_.Close();
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(seen, testing::Each(std::uint64_t{kThreads * kEach}));
}

TEST(TopicName, EachNameNamesItsTopic) {
  for (const Topic topic : {Topic::kEvents, Topic::kAlerts, Topic::kTrace, Topic::kObjects}) {
    EXPECT_EQ(TopicFromName(TopicName(topic)), topic);
  }
  EXPECT_FALSE(TopicFromName("event"));
  EXPECT_FALSE(TopicFromName(""));
}

TEST(ServerSentEvents, AMessageHasItsNumberItsTopicAndItsJson) {
  std::string text;
  AppendSse({std::make_shared<StreamHub::Message>(
                 StreamHub::Message{7, Topic::kAlerts, "full", R"({"name":"full"})"}),
             0},
            text);
  EXPECT_EQ(text, "id: 7\nevent: alerts\ndata: {\"name\":\"full\"}\n\n");
}

TEST(ServerSentEvents, AGapHasNoNumber) {
  std::string text;
  AppendSse({nullptr, 3}, text);
  EXPECT_EQ(text, "event: gap\ndata: {\"lost\": 3}\n\n");
}

TEST(ServerSentEvents, AGapAfterAnotherLifeSaysSo) {
  std::string text;
  AppendSse({nullptr, 0, true}, text);
  EXPECT_EQ(text, "event: gap\ndata: {\"lost\": 0, \"restarted\": true}\n\n");
}

TEST(ServerSentEvents, ANumberIsDigitsAlone) {
  EXPECT_EQ(ParseEventId("18446744073709551615"), 18446744073709551615U);
  for (const char* text : {"", "-1", "1 ", " 1", "0x1", "18446744073709551616", "one"}) {
    EXPECT_FALSE(ParseEventId(text)) << text;
  }
}

}  // namespace
}  // namespace ktsvc::api
