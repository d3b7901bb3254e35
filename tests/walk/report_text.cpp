#include "walk/report_text.h"

#include <cstdio>
#include <iterator>

namespace walk {
namespace {

using ktsvc::Json;

std::string SecondsText(double seconds) {
  char text[40];
  const int size = std::snprintf(std::data(text), std::size(text), "%.1f s", seconds);
  return {std::data(text), static_cast<std::size_t>(size)};
}

// "200 x 17, 404 x 3".
template <typename Counts, typename Name>
std::string CountsText(const Counts& counts, Name name) {
  std::string text;
  for (const auto& [key, count] : counts) {
    text += (text.empty() ? "" : ", ") + name(key) + " x " + std::to_string(count);
  }
  return text.empty() ? "none" : text;
}

const auto kAsIs = [](const std::string& key) { return key; };

Json ControlJson(const ControlKey& control) {
  return {{"type", ktsvc::TextJson(control.type)},
          {"interface", ktsvc::TextJson(control.interface)},
          {"selector", control.selector},
          {"code", control.code}};
}

}  // namespace

std::string ControlText(const ControlKey& control) {
  return "control " + std::to_string(control.code) + ", selector " +
         std::to_string(control.selector) + ", interface " + control.interface +
         ", on objects of type " + control.type;
}

std::string ReportText(const WalkReport& report, std::uint64_t seed, double seconds) {
  std::string text =
      "seed        " + std::to_string(seed) + "\n" +  //
      "controls    " + std::to_string(report.controls.size()) + " known, " +
      std::to_string(report.tried.size()) + " tried, " + std::to_string(report.controlCalls) +
      " calls\n" +  //
      "calls       " + std::to_string(report.calls) + " in all, in " + SecondsText(seconds) + "\n" +
      "statuses    " +
      CountsText(report.statuses, [](unsigned status) { return std::to_string(status); }) + "\n" +
      "answers     " + CountsText(report.answers, kAsIs) + "\n" +  //
      "left out    " + CountsText(report.leftOut, kAsIs) + "\n" +
      "            GET /v1/stream with topics: a stream has no end\n";
  for (const std::string& fault : report.faults) {
    text += "fault       " + fault + "\n";
  }
  return text + "faults      " + std::to_string(report.faultCount) + "\n";
}

Json ReportJson(const WalkReport& report, std::uint64_t seed, double seconds) {
  Json json = Json::object();
  json["passed"] = report.faultCount == 0;
  json["seed"] = seed;
  json["seconds"] = seconds;
  json["calls"] = report.calls;
  json["controlCalls"] = report.controlCalls;
  json["controls"] = Json::array();
  for (const ControlKey& control : report.controls) {
    json["controls"].push_back(ControlJson(control));
  }
  json["controlsTried"] = report.tried.size();
  json["statuses"] = Json::object();
  for (const auto& [status, count] : report.statuses) {
    json["statuses"][std::to_string(status)] = count;
  }
  json["answers"] = report.answers;
  json["leftOut"] = report.leftOut;
  json["faultCount"] = report.faultCount;
  json["faults"] = Json::array();
  for (const std::string& fault : report.faults) {
    json["faults"].push_back(ktsvc::TextJson(fault));
  }
  return json;
}

}  // namespace walk
