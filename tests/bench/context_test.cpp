#include "bench/table/context.h"

#include <gmock/gmock.h>

#include "bench/table/reports.h"

namespace {

using kt::bench::Context;
using kt::bench::JsonReport;
using kt::bench::ReadContext;
using kt::bench::TextReport;
using nlohmann::json;
using testing::IsEmpty;
using testing::StartsWith;

Context Whole() {
  return ReadContext({{"context",
                       {{"date", "2026-01-02T03:04:05+00:00"},
                        {"host_name", "a-machine"},
                        {"num_cpus", 2},
                        {"commit", "1234567"},
                        {"compiler", "g++ 12.2.0"},
                        {"cpu", "a processor"}}},
                      {"benchmarks", json::array()}});
}

TEST(Context, SaysWhenWhatAndWhereInTwoLines) {
  EXPECT_EQ(Whole().Text(),
            "2026-01-02T03:04:05+00:00, commit 1234567, g++ 12.2.0\na processor, 2 CPUs\n");
}

TEST(Context, LeavesOutWhatAResultDoesNotSay) {
  EXPECT_EQ(ReadContext({{"context", {{"num_cpus", 1}}}}).Text(), "1 CPU\n");
  EXPECT_THAT(ReadContext(json::object()).Text(), IsEmpty());
}

TEST(TextReport, BeginsWithTheContext) {
  EXPECT_THAT(TextReport({}, {}, Whole()), StartsWith("2026-01-02T03:04:05+00:00, commit"));
}

TEST(JsonReport, HasTheContextByItsParts) {
  const auto context = json::parse(JsonReport({}, {}, Whole())).at("context");
  EXPECT_EQ(context.at("commit"), "1234567");
  EXPECT_EQ(context.at("cpus"), 2);
}

}  // namespace
