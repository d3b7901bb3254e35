#include "ktcheck/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "host_system.h"

namespace ktcheck {
namespace {

using nlohmann::json;

// `open` is the figure of what is tried and has not been counted yet.
void ReadLine(const json& line, ReportRead& read, std::string& open) {
  if (line.contains("trying")) {
    read.trying = line.at("trying").get<std::string>();
    read.step = line.at("step").get<std::uint64_t>();
    open = line.at("counts").get<std::string>();
  } else if (line.contains("finding")) {
    Collect(read.findings, FromJson(line.at("finding")));
  } else if (line.contains("times")) {
    const Finding again = FromJson(line.at("times"));
    for (Finding& finding : read.findings) {
      if (SameThing(finding, again)) finding.times = again.times;
    }
  } else if (line.contains("count")) {
    const auto figure = line.at("count").get<std::string>();
    read.figures[figure] += line.at("number").get<std::uint64_t>();
    if (figure == open) open.clear();
  } else if (line.contains("most")) {
    std::uint64_t& most = read.most[line.at("most").get<std::string>()];
    most = std::max(most, line.at("number").get<std::uint64_t>());
  } else if (line.contains("not tried")) {
    read.not_tried = line.at("not tried").get<std::string>();
  } else if (line.contains("replayed")) {
    read.replayed = line.at("replayed").get<std::string>();
    read.replay_text = line.at("text").get<std::string>();
  } else if (line.contains("refused")) {
    read.refused = line.at("refused").get<std::string>();
  } else if (line.contains("resume")) {
    read.resume = line.at("resume").get<std::uint64_t>();
  } else if (line.contains("crash")) {
    Finding crash{"crash", line.at("crash").get<std::string>(), {}, {}, 1};
    crash.trails.push_back({"where it crashed", line.at("stack").get<std::vector<std::string>>()});
    read.crash = std::move(crash);
  } else if (line.contains("done")) {
    read.done = true;
  }
}

}  // namespace

Report::Report(const std::filesystem::path& file) : file_(file, std::ios::app | std::ios::binary) {
  if (!file_) throw std::runtime_error("cannot write the report " + ktsvc::PathText(file));
}

void Report::Trying(std::uint64_t step, const std::string& what, const std::string& figure) {
  const std::lock_guard lock(mutex_);
  step_ = step;
  Write({{"trying", what}, {"step", step}, {"counts", figure}});
}

void Report::Found(Finding finding) {
  const std::lock_guard lock(mutex_);
  for (Finding& known : found_) {
    if (!SameThing(known, finding)) continue;
    known.times += finding.times;
    Write({{"times", ToJson(known)}});
    return;
  }
  Write({{"finding", ToJson(finding)}});
  found_.push_back(std::move(finding));
}

void Report::Count(const std::string& figure, std::uint64_t number) {
  const std::lock_guard lock(mutex_);
  Write({{"count", figure}, {"number", number}});
}

void Report::Most(const std::string& figure, std::uint64_t number) {
  const std::lock_guard lock(mutex_);
  Write({{"most", figure}, {"number", number}});
}

void Report::NotTried(const std::string& why) {
  const std::lock_guard lock(mutex_);
  Write({{"not tried", why}});
}

void Report::Replayed(const std::string& result, const std::string& text) {
  const std::lock_guard lock(mutex_);
  Write({{"replayed", result}, {"text", text}});
}

void Report::Refused(const std::string& why) {
  const std::lock_guard lock(mutex_);
  Write({{"refused", why}});
}

void Report::Done() {
  const std::lock_guard lock(mutex_);
  Write({{"done", true}});
}

void Report::Resume(std::uint64_t step) {
  const std::lock_guard lock(mutex_);
  Write({{"resume", step}});
}

std::uint64_t Report::step() const {
  const std::lock_guard lock(mutex_);
  return step_;
}

void Report::Write(const json& line) {
  // What a module says may be no UTF-8.
  file_ << line.dump(-1, ' ', false, json::error_handler_t::replace) << '\n' << std::flush;
}

ReportRead ReadReport(const std::filesystem::path& file) {
  ReportRead read;
  std::string open;
  std::ifstream stream(file, std::ios::binary);
  for (std::string text; std::getline(stream, text);) {
    const json line = json::parse(text, nullptr, false);
    if (!line.is_object()) continue;
    try {
      ReadLine(line, read, open);
    } catch (const json::exception&) {
      continue;  // a line that the end of the process has cut
    }
  }
  if (!open.empty()) ++read.figures[open];
  return read;
}

}  // namespace ktcheck
