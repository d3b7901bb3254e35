#include "bench/table/reports.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

namespace kt::bench {
namespace {

// Three digits that count, as a plain number.
std::string Digits(double value) {
  const double size = std::abs(value);
  const int places = size >= 99.95 || size == 0 ? 0 : size >= 9.995 ? 1 : 2;
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.*f", places, value));
  return text.data();
}

std::string Padded(std::string_view text, std::size_t width, bool right = false) {
  const std::string space(text.size() < width ? width - text.size() : 0, ' ');
  return right ? space + std::string(text) : std::string(text) + space;
}

const char* VerdictText(Verdict verdict) {
  switch (verdict) {
    case Verdict::kHolds:
      return "holds";
    case Verdict::kMissed:
      return "MISSED";
    case Verdict::kNotMeasured:
      return "not measured";
  }
  return "";
}

std::string ReachedText(const JudgedWish& wish, const std::string& unit) {
  if (wish.verdict == Verdict::kNotMeasured) return "";
  return wish.times ? RatioText(wish.reached) : NumberText(wish.reached, unit);
}

std::string ContestantLine(const JudgedContestant& contestant, const std::string& unit) {
  std::string line = "  " + Padded(contestant.label, 50);
  if (!contestant.measured) return line + "  not measured\n";
  std::array<char, 32> spread{};
  static_cast<void>(
      std::snprintf(spread.data(), spread.size(), "+-%.0f%%", contestant.measured->spread * 100));
  line += Padded(NumberText(contestant.measured->median, unit), 12, true);
  line += Padded(spread.data(), 8, true);
  if (contestant.ratio) line += Padded(RatioText(*contestant.ratio), 10, true);
  return line + "\n";
}

}  // namespace

std::string NumberText(double value, const std::string& unit) {
  if (unit != "ns") return Digits(value) + " " + unit;
  constexpr std::array<const char*, 4> kUnits{"ns", "us", "ms", "s"};
  std::size_t step = 0;
  while (value >= 9'999.5 && step + 1 < kUnits.size()) {
    value /= 1'000;
    ++step;
  }
  return Digits(value) + " " + kUnits.at(step);
}

std::string RatioText(double ratio) {
  return Digits(ratio) + "x";
}

std::string TextReport(const std::vector<JudgedRow>& rows, const std::vector<std::string>& faults,
                       const Context& context) {
  std::string text = context.Text();
  if (!text.empty()) text += "\n";
  std::size_t wishes = 0;
  std::size_t held = 0;
  for (const JudgedRow& row : rows) {
    text += row.title + "\n";
    for (const JudgedContestant& contestant : row.contestants) {
      text += ContestantLine(contestant, row.unit);
    }
    for (const JudgedWish& wish : row.wishes) {
      text += "  - " + Padded(wish.text, 58) + Padded(ReachedText(wish, row.unit), 12, true) +
              "  " + VerdictText(wish.verdict) + "\n";
      if (wish.verdict != Verdict::kNotMeasured) ++wishes;
      if (wish.verdict == Verdict::kHolds) ++held;
    }
    text += "\n";
  }
  text += std::to_string(held) + " of " + std::to_string(wishes) + " measured wishes hold.\n";
  for (const std::string& fault : faults) text += "failed: " + fault + "\n";
  return text;
}

std::string JsonReport(const std::vector<JudgedRow>& rows, const std::vector<std::string>& faults,
                       const Context& context) {
  using nlohmann::ordered_json;
  ordered_json document{{"context",
                         {{"date", context.date},
                          {"commit", context.commit},
                          {"compiler", context.compiler},
                          {"cpu", context.cpu},
                          {"cpus", context.cpus}}},
                        {"rows", ordered_json::array()},
                        {"failed", faults}};
  for (const JudgedRow& row : rows) {
    ordered_json one{{"id", row.id}, {"title", row.title}, {"unit", row.unit}};
    one["contestants"] = ordered_json::array();
    for (const JudgedContestant& contestant : row.contestants) {
      ordered_json entry{{"label", contestant.label}, {"benchmark", contestant.benchmark}};
      entry["median"] = nullptr;
      entry["spread"] = nullptr;
      entry["repetitions"] = 0;
      if (contestant.measured) {
        entry["median"] = contestant.measured->median;
        entry["spread"] = contestant.measured->spread;
        entry["repetitions"] = contestant.measured->values;
      }
      entry["ratio"] = contestant.ratio ? ordered_json(*contestant.ratio) : ordered_json(nullptr);
      one["contestants"].push_back(std::move(entry));
    }
    one["wishes"] = ordered_json::array();
    for (const JudgedWish& wish : row.wishes) {
      const bool known = wish.verdict != Verdict::kNotMeasured;
      one["wishes"].push_back(
          {{"text", wish.text},
           {"reached", known ? ordered_json(wish.reached) : ordered_json(nullptr)},
           {"holds",
            known ? ordered_json(wish.verdict == Verdict::kHolds) : ordered_json(nullptr)}});
    }
    document["rows"].push_back(std::move(one));
  }
  return document.dump(2) + "\n";
}

}  // namespace kt::bench
