#include "walk/report_text.h"

#include <gmock/gmock.h>

namespace walk {
namespace {

using testing::HasSubstr;

WalkReport TheReport() {
  WalkReport report;
  report.calls = 20;
  report.controlCalls = 9;
  report.controls = {{"qelm_system", "system", 0, 11005}};
  report.tried = {{"qelm_system", "system", 0, 11005}, {"qelm_system", "system", 0, 1}};
  report.statuses = {{200, 17}, {404, 3}};
  report.answers = {{"0x00000000 OK", 8}};
  report.leftOut = {{"control 11001: restarts the machine", 2}};
  return report;
}

TEST(WalkReport, TellsControlsCallsStatusesAndWhatWasLeftOut) {
  const std::string text = ReportText(TheReport(), 7, 1.25);
  EXPECT_THAT(text, HasSubstr("seed        7\n"));
  EXPECT_THAT(text, HasSubstr("controls    1 known, 2 tried, 9 calls\n"));
  EXPECT_THAT(text, HasSubstr("calls       20 in all, in 1.2 s\n"));
  EXPECT_THAT(text, HasSubstr("statuses    200 x 17, 404 x 3\n"));
  EXPECT_THAT(text, HasSubstr("left out    control 11001: restarts the machine x 2\n"));
  EXPECT_THAT(text, HasSubstr("faults      0\n"));
}

TEST(WalkReport, TellsItsFaults) {
  WalkReport report = TheReport();
  report.faults = {"the provider hostkit runs no more"};
  report.faultCount = 5;
  EXPECT_THAT(ReportText(report, 7, 1), HasSubstr("fault       the provider hostkit runs no more\n"
                                                  "faults      5\n"));
  EXPECT_EQ(ReportJson(report, 7, 1)["passed"], false);
}

TEST(WalkReport, SaysTheSameAsJson) {
  const auto json = ReportJson(TheReport(), 7, 1);
  EXPECT_EQ(json["passed"], true);
  EXPECT_EQ(json["seed"], 7);
  EXPECT_EQ(json["statuses"]["404"], 3);
  EXPECT_EQ(json["controls"][0]["code"], 11005);
  EXPECT_EQ(json["leftOut"]["control 11001: restarts the machine"], 2);
}

}  // namespace
}  // namespace walk
