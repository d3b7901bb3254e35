#include "soak/sample.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

namespace soak {
namespace {

TEST(SampleCsv, HasAColumnForEachFigureInTheOrderOfItsHead) {
  Sample sample;
  sample.seconds = 12.5;
  sample.life = 2;
  sample.resident = 41.25;
  sample.restarts = 7;
  const std::string head = CsvHead();
  const std::string line = CsvLine(sample);
  EXPECT_EQ(head.substr(0, 26), "seconds,life,resident_mib,");
  EXPECT_EQ(line.substr(0, 13), "12.5,2,41.25,");
  EXPECT_EQ(line.substr(line.size() - 2), ",7");
  EXPECT_EQ(std::count(head.begin(), head.end(), ','), std::count(line.begin(), line.end(), ','));
}

TEST(SampleNumber, IsWrittenWithoutZerosAtItsEnd) {
  EXPECT_EQ(NumberText(0), "0");
  EXPECT_EQ(NumberText(10), "10");
  EXPECT_EQ(NumberText(1.5), "1.5");
  EXPECT_EQ(NumberText(0.1234), "0.123");
  EXPECT_EQ(NumberText(-0.0001), "0");
}

TEST(SampleMetrics, AreSummedOverTheirLabels) {
  Sample sample;
  ReadMetrics(
      "# HELP ktsvc_objects Objects on the bus, by exact type.\n"
      "ktsvc_objects{type=\"a\"} 3\n"
      "ktsvc_objects{type=\"b c\"} 4\n"
      "ktsvc_objects_of_another_family 100\n"
      "ktsvc_provider_queue_depth{provider=\"hostkit\"} 2\n"
      "ktsvc_ledger_kept{provider=\"\",kind=\"texts\"} 5\n"
      "ktsvc_stream_subscribers 6",
      sample);
  EXPECT_EQ(sample.objects, 7);
  EXPECT_EQ(sample.queue, 2);
  EXPECT_EQ(sample.kept, 5);
  EXPECT_EQ(sample.streams, 6);
}

TEST(SampleProcess, IsReadFromTheSystem) {
  Sample sample;
  ReadProcess(getpid(), sample);
  EXPECT_GT(sample.resident, 0);
  EXPECT_GE(sample.threads, 1);
  EXPECT_GE(sample.handles, 1);
}

TEST(SampleProcess, StaysZeroForAProcessThatHasGone) {
  Sample sample;
  ReadProcess(0, sample);
  EXPECT_EQ(sample.resident, 0);
  EXPECT_EQ(sample.handles, 0);
}

}  // namespace
}  // namespace soak
