#include "soak/verdict.h"

#include <algorithm>

#include "text_table.h"

namespace soak {
namespace {

using ktsvc::Json;

constexpr double kSecondsInMinute = 60;

std::string CountText(double count, const std::string& what) {
  return NumberText(count) + " " + what;
}

// Where the allocator tells nothing, a sanitizer has one of its own, which keeps what was freed and
// every call stack that it has seen; so much more with each module that is loaded anew.
bool IsJudged(const Column& column, bool ownMemory) {
  return column.judged &&
         (ownMemory || (column.value != &Sample::resident && column.value != &Sample::memory));
}

}  // namespace

bool Verdict::Passed() const {
  const auto grows = [](const Row& row) { return row.judgement.grows; };
  return faultCount == 0 && (!judged || std::none_of(rows.begin(), rows.end(), grows));
}

std::vector<Verdict::Row> JudgeAll(const std::vector<Sample>& samples) {
  std::vector<Verdict::Row> rows;
  for (auto begin = samples.begin(); begin != samples.end();) {
    const auto end = std::find_if(
        begin, samples.end(), [begin](const Sample& sample) { return sample.life > begin->life; });
    const bool ownMemory =
        std::any_of(begin, end, [](const Sample& sample) { return sample.memory != 0; });
    for (const Column& column : kColumns) {
      if (!IsJudged(column, ownMemory)) {
        continue;
      }
      std::vector<Point> points;
      for (auto sample = begin; sample != end; ++sample) {
        points.push_back({sample->lifeSeconds, (*sample).*column.value});
      }
      rows.push_back({&column, begin->life, Judge(points, column.allowance)});
    }
    begin = end;
  }
  return rows;
}

std::string VerdictText(const Verdict& verdict) {
  const Sample& last = verdict.last;
  std::string text =
      CountText(verdict.seconds / kSecondsInMinute, "minutes under load") +
      (verdict.interrupted ? ", ended early" : "") + ", " + std::to_string(verdict.samples) +
      " samples, " +
      CountText(last.life, last.life == 1 ? "life of the service" : "lives of the service") +
      ", seed " + std::to_string(verdict.seed) + "\n" + CountText(last.requests, "requests") +
      ", " + CountText(last.generated, "generated calls") + ", " +
      CountText(last.failed, "framework calls made to fail") + ", " +
      CountText(last.restarts, "restarts of a provider") + "\n\n";
  const bool told = std::any_of(verdict.rows.begin(), verdict.rows.end(),
                                [](const Verdict::Row& row) { return row.judgement.judged; });
  if (told) {
    ktsvc::TextTable table;
    table.Add({"life", "figure", "2nd quarter", "last quarter", "slope in an hour", "rise",
               "allowed", "verdict"});
    for (const Verdict::Row& row : verdict.rows) {
      const Judgement& is = row.judgement;
      if (is.judged) {
        table.Add({NumberText(row.life), std::string(row.column->label), NumberText(is.before),
                   NumberText(is.after), NumberText(is.hourly), NumberText(is.rise),
                   NumberText(is.allowed), is.grows ? "GROWS" : "flat"});
      }
    }
    text += table.Text({}) + "\n";
  } else {
    text += "Too short to judge what grows.\n\n";
  }
  for (const std::string& fault : verdict.faults) {
    text += "fault: " + fault + "\n";
  }
  if (verdict.faultCount > verdict.faults.size()) {
    text += "and " + std::to_string(verdict.faultCount - verdict.faults.size()) + " more\n";
  }
  return text + (verdict.Passed() ? "passed\n" : "FAILED\n");
}

Json VerdictJson(const Verdict& verdict) {
  Json json = Json::object();
  json["passed"] = verdict.Passed();
  json["interrupted"] = verdict.interrupted;
  json["seconds"] = verdict.seconds;
  json["samples"] = verdict.samples;
  json["lives"] = verdict.last.life;
  json["seed"] = verdict.seed;
  json["requests"] = verdict.last.requests;
  json["generatedCalls"] = verdict.last.generated;
  json["failedCalls"] = verdict.last.failed;
  json["restarts"] = verdict.last.restarts;
  json["figures"] = Json::array();
  for (const Verdict::Row& row : verdict.rows) {
    const Judgement& is = row.judgement;
    json["figures"].push_back({{"name", std::string(row.column->name)},
                               {"life", row.life},
                               {"judged", is.judged},
                               {"grows", is.grows},
                               {"secondQuarter", is.before},
                               {"lastQuarter", is.after},
                               {"slopePerHour", is.hourly},
                               {"rise", is.rise},
                               {"allowed", is.allowed}});
  }
  json["faultCount"] = verdict.faultCount;
  json["faults"] = Json::array();
  for (const std::string& fault : verdict.faults) {
    json["faults"].push_back(ktsvc::TextJson(fault));
  }
  return json;
}

}  // namespace soak
