#include "stress/stream_reader.h"

#include <gtest/gtest.h>

namespace stress {
namespace {

std::string Message(int id, const std::string& name = "event.x") {
  return "id: " + std::to_string(id) + "\nevent: events\ndata: {\"name\":\"" + name + "\"}\n\n";
}

const std::string kGap = "event: gap\ndata: {\"lost\": 3}\n\n";

TEST(StreamReader, FindsNoFaultWithNumbersThatFollow) {
  StreamReader reader;
  reader.Take(":\n\n" + Message(7) + Message(8) + kGap + Message(12));
  EXPECT_EQ(reader.fault(), "");
  EXPECT_EQ(reader.messages(), 3U);
  EXPECT_EQ(reader.gaps(), 1U);
  EXPECT_EQ(reader.lost(), 3U);
}

TEST(StreamReader, ReadsBlocksThatComeInPieces) {
  StreamReader reader;
  for (const char unit : Message(1) + Message(2)) {
    reader.Take(std::string(1, unit));
  }
  EXPECT_EQ(reader.messages(), 2U);
  EXPECT_EQ(reader.fault(), "");
}

TEST(StreamReader, FindsAMessageThatIsMissingWithoutAWord) {
  StreamReader reader;
  reader.Take(Message(1) + Message(3));
  EXPECT_EQ(reader.fault(), "message 3 follows 1 with 0 told to be missing");
}

TEST(StreamReader, FindsAGapThatTellsTooMuch) {
  StreamReader reader;
  reader.Take(Message(1) + kGap + Message(3));
  EXPECT_NE(reader.fault(), "");
}

TEST(StreamReader, FindsABlockThatIsNone) {
  StreamReader reader;
  reader.Take("id: x\nevent: events\ndata: {}\n\n");
  EXPECT_NE(reader.fault(), "");
}

TEST(StreamReader, SeesTheEnd) {
  StreamReader reader;
  reader.Take(Message(1));
  EXPECT_FALSE(reader.Ended());
  reader.Take(Message(2, StreamReader::kEnd));
  EXPECT_TRUE(reader.Ended());
}

}  // namespace
}  // namespace stress
