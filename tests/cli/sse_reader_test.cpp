#include "cli/sse_reader.h"

#include <gtest/gtest.h>

#include <vector>

namespace ktctl {
namespace {

// "id|name|data" of all events that are whole.
std::vector<std::string> Read(SseReader& reader) {
  std::vector<std::string> events;
  while (const auto event = reader.Next()) {
    events.push_back(event->id + "|" + event->name + "|" + event->data);
  }
  return events;
}

std::vector<std::string> ReadAll(const std::string& text) {
  SseReader reader;
  reader.Add(text);
  return Read(reader);
}

using Events = std::vector<std::string>;

TEST(SseReader, ReadsNumberNameAndData) {
  EXPECT_EQ(ReadAll("id: 17\nevent: events\ndata: {\"a\":1}\n\n"), Events{"17|events|{\"a\":1}"});
}

TEST(SseReader, PutsAnEventTogetherThatComesByteByByte) {
  SseReader reader;
  Events events;
  for (const char unit : std::string("id: 1\ndata: x\n\nid: 2\ndata: y\n\n")) {
    reader.Add(std::string(1, unit));
    for (const std::string& event : Read(reader)) {
      events.push_back(event);
    }
  }
  EXPECT_EQ(events, (Events{"1||x", "2||y"}));
}

TEST(SseReader, KeepsAnUnfinishedEventBack) {
  EXPECT_EQ(ReadAll("id: 1\ndata: x\n"), Events{});
}

TEST(SseReader, PassesOverCommentsAndUnknownFields) {
  EXPECT_EQ(ReadAll(": hello\nretry: 5\nfield\ndata: x\n\n"), Events{"||x"});
}

TEST(SseReader, TakesACommentAloneForNoEvent) {
  EXPECT_EQ(ReadAll(":\n\n:\n\n"), Events{});
}

TEST(SseReader, JoinsSeveralLinesOfData) {
  EXPECT_EQ(ReadAll("data: a\ndata:b\n\n"), Events{"||a\nb"});
}

TEST(SseReader, AcceptsCarriageReturns) {
  EXPECT_EQ(ReadAll("event: gap\r\ndata: 1\r\n\r\n"), Events{"|gap|1"});
}

TEST(SseReader, DoesNotCarryAFieldOverToTheNextEvent) {
  EXPECT_EQ(ReadAll("id: 1\nevent: a\ndata: x\n\ndata: y\n\n"), (Events{"1|a|x", "||y"}));
}

}  // namespace
}  // namespace ktctl
