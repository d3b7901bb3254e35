// Reports: what was told is there, whatever became of the one who told it.

#include "ktcheck/report.h"

#include <gtest/gtest.h>

#include <fstream>

#include "ktcheck/crash_line.h"
#include "service/scratch_folder.h"

namespace ktcheck_test {
namespace {

using ktcheck::ReadReport;
using ktcheck::Report;
using ktcheck::ReportRead;

class ReportTest : public testing::Test {
 protected:
  void Append(std::string_view text) {
    std::ofstream(file_, std::ios::app | std::ios::binary) << text;
  }

  ktsvc_test::ScratchFolder folder_;
  std::filesystem::path file_ = folder_.path() / "report";
};

TEST_F(ReportTest, TellsFindingsFiguresAndThatItIsDone) {
  Report report(file_);
  report.Found({"leak", "a set", "", {}, 1});
  report.Found({"leak", "a set", "", {}, 1});
  report.Count("lives", 2);
  report.Count("lives", 3);
  report.Done();
  const ReportRead read = ReadReport(file_);
  EXPECT_TRUE(read.done);
  ASSERT_EQ(read.findings.size(), 1U);
  EXPECT_EQ(read.findings[0].times, 2U);
  EXPECT_EQ(read.figures.at("lives"), 5U);
}

TEST_F(ReportTest, TellsTheLargestOfAFigureOfWhichThatCounts) {
  Report report(file_);
  report.Most("slowestControl", 7);
  report.Most("slowestControl", 3);
  EXPECT_EQ(ReadReport(file_).most.at("slowestControl"), 7U);
}

TEST_F(ReportTest, CountsWhatWasTriedWhenTheProcessEnded) {
  Report report(file_);
  report.Trying(1, "the first", "callsFailed");
  report.Count("callsFailed", 1);
  report.Trying(2, "the second", "callsFailed");
  EXPECT_EQ(ReadReport(file_).figures.at("callsFailed"), 2U);
}

TEST_F(ReportTest, WithoutItsEndStillTellsWhatWasTriedAndFound) {
  Report report(file_);
  report.Trying(4, "the fourth");
  report.Found({"leak", "a set", "", {}, 1});
  Append("{\"finding\": {\"kind\": \"le");
  const ReportRead read = ReadReport(file_);
  EXPECT_FALSE(read.done);
  EXPECT_EQ(read.step, 4U);
  EXPECT_EQ(read.trying, "the fourth");
  EXPECT_EQ(read.findings.size(), 1U);
}

TEST_F(ReportTest, SaysWhereToGoOn) {
  Report report(file_);
  report.Resume(12);
  EXPECT_EQ(ReadReport(file_).resume, 12U);
}

TEST_F(ReportTest, TakesTheLineOfACrashBehindAHalfWrittenOne) {
  Append("{\"trying\": \"half");
  ktcheck::CrashLine line("it crashed");
  line.AddFrame("C:\\a \"b\".dll", 0x1A2B);
  line.AddFrame("/lib/c.so", 0);
  Append(line.End());
  const ReportRead read = ReadReport(file_);
  ASSERT_TRUE(read.crash);
  EXPECT_EQ(read.crash->what, "it crashed");
  ASSERT_EQ(read.crash->trails.size(), 1U);
  const std::vector<std::string> frames{"C:\\a \"b\".dll+0x1a2b", "/lib/c.so+0x0"};
  EXPECT_EQ(read.crash->trails[0].frames, frames);
}

}  // namespace
}  // namespace ktcheck_test
