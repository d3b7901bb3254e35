// The verbs that follow a stream, through the real server.

#include <future>
#include <thread>

#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::CliTest;
using cli_test::MemoryConsole;
using ktsvc::api::Topic;
using testing::AllOf;
using testing::HasSubstr;
using Words = std::vector<std::string>;

class FollowTest : public CliTest {
 protected:
  // Begins to follow as an observer. Ends after that many lines, as a reader does that has enough;
  // 0: never.
  std::future<Ended> Follow(Words words, std::size_t lines) {
    return std::async(std::launch::async, [this, words = std::move(words), lines] {
      auto console = MakeConsole();
      console->TakeOnly(lines);
      return RunWith(words, "reader", std::move(console));
    });
  }

  void WaitForFollower() {
    while (hub().Subscribers() == 0) {
      std::this_thread::yield();
    }
  }

  void Raise(const std::string& name, const std::string& properties = "[]") {
    hub().Publish(Topic::kEvents,
                  R"({"name":")" + name +
                      R"(","time":"2026-01-31T12:00:00.123Z","raisedBy":"alpha","properties":)" +
                      properties + "}",
                  name);
  }
};

TEST_F(FollowTest, EventsAreShownAsTheyCome) {
  auto ended = Follow({"events", "-f"}, 2);
  WaitForFollower();
  Raise("a.b");
  Raise("a.c", R"([{"name":"n","type":"UINT32","value":5}])");
  const Ended result = ended.get();
  EXPECT_EQ(result.status, kExitDone);
  EXPECT_EQ(result.output,
            "2026-01-31T12:00:00.123Z  a.b  by alpha\n"
            "2026-01-31T12:00:00.123Z  a.c  by alpha  {n:UINT32=5}\n");
  EXPECT_EQ(result.messages, "");
}

TEST_F(FollowTest, EventsAreChosenByAPattern) {
  auto ended = Follow({"events", "-f", "a.c"}, 1);
  WaitForFollower();
  Raise("a.b");
  Raise("a.c");
  EXPECT_EQ(ended.get().output, "2026-01-31T12:00:00.123Z  a.c  by alpha\n");
}

TEST_F(FollowTest, EachEventIsADocumentOfOneLineWhereThatIsAskedFor) {
  auto ended = Follow({"events", "-f", "--json"}, 1);
  WaitForFollower();
  Raise("a.b");
  const Ended result = ended.get();
  EXPECT_EQ(result.Document()["name"], "a.b");
  EXPECT_EQ(result.output.find('\n'), result.output.size() - 1);
}

TEST_F(FollowTest, TraceIsShownAsItComesAndEscaped) {
  auto ended = Follow({"trace", "-f"}, 1);
  WaitForFollower();
  hub().Publish(Topic::kTrace,
                R"({"level":4,"time":"2026-01-31T12:00:00.123Z","text":"a\u001b[2Jb\n"})");
  EXPECT_EQ(ended.get().output, "2026-01-31T12:00:00.123Z  4  a\\x1b[2Jb\\n\n");
}

TEST_F(FollowTest, AlertsAreShownAsTheyCome) {
  auto ended = Follow({"alerts", "-f"}, 1);
  WaitForFollower();
  hub().Publish(Topic::kAlerts,
                R"({"name":"disk.failing","time":"T","raisedBy":"alpha","description":"A disk",)"
                R"("severity":2,"object":"{1}","properties":[]})",
                "disk.failing");
  EXPECT_EQ(ended.get().output, "T  severity 2  disk.failing  A disk  on {1}\n");
}

TEST_F(FollowTest, WhatIsStillKeptComesFirstAndWhatIsNotIsCounted) {
  // Four of each topic are kept.
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
    Raise(name);
  }
  const Ended result = Follow({"events", "-f", "--kept"}, 4).get();
  EXPECT_THAT(result.output, AllOf(testing::StartsWith("2026-01-31T12:00:00.123Z  c"),
                                   HasSubstr("Z  f  by alpha\n")));
  EXPECT_EQ(result.messages, "ktctl: 2 earlier messages not kept any more\n");
}

TEST_F(FollowTest, NothingIsSaidOfWhatWasKeptWhereNothingIsMissing) {
  // As a service that has just begun tells somebody who asks for everything.
  hub().Lose({Topic::kEvents}, 0);
  Raise("a");
  EXPECT_EQ(Follow({"events", "-f", "--kept"}, 1).get().messages, "");
}

TEST_F(FollowTest, WhatIsLostBetweenTwoMessagesIsToldAtItsPlace) {
  auto ended = Follow({"events", "-f", "--kept"}, 2);
  WaitForFollower();
  Raise("a.b");
  hub().Lose({Topic::kEvents}, 3);
  Raise("a.c");
  EXPECT_EQ(ended.get().messages,
            "ktctl: 3 messages lost here: they came faster than they were read\n");
}

TEST_F(FollowTest, FollowingEndsWhenNobodyReadsAnyMore) {
  auto console = MakeConsole();
  console->LoseReader();
  const Ended ended = RunWith({"events", "-f"}, "reader", std::move(console));
  EXPECT_EQ(ended.status, kExitDone);
  EXPECT_EQ(ended.messages, "");
}

TEST_F(FollowTest, AStreamThatTheServiceEndsIsToldInOneSentence) {
  auto ended = Follow({"events", "-f"}, 0);
  WaitForFollower();
  Raise("a.b");
  hub().Close();
  const Ended result = ended.get();
  EXPECT_EQ(result.status, kExitNoService);
  EXPECT_THAT(result.output, HasSubstr("a.b"));
  EXPECT_THAT(result.messages,
              HasSubstr("ktctl: the service at " + Url() + " has ended the stream\n"));
}

TEST_F(FollowTest, FollowingIsForWhoMayRead) {
  auto console = MakeConsole();
  const Ended ended = RunWith({"trace", "-f"}, "guest", std::move(console));
  EXPECT_EQ(ended.status, kExitNotPermitted);
  EXPECT_THAT(ended.messages, HasSubstr("may not read"));
}

TEST_F(FollowTest, TraceAndEventsSayThatTheyCanOnlyBeFollowed) {
  for (const char* verb : {"trace", "events"}) {
    const Ended ended = Do({verb});
    EXPECT_EQ(ended.status, kExitWrongWords);
    EXPECT_THAT(ended.messages, HasSubstr(std::string("ktctl ") + verb + " -f")) << verb;
  }
}

}  // namespace
}  // namespace ktctl
