#include "ktcheck/finding.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

namespace ktcheck {
namespace {

constexpr std::array<std::string_view, 8> kBeneath{"libc.so",      "ld-linux",  "linux-vdso",
                                                   "libktbus3.so", "ntdll.dll", "kernel32.",
                                                   "kernelbase",   "ktbus3.dll"};

// A frame of the system's libraries or of the framework.
bool IsBeneathModules(const std::string& frame) {
  const std::size_t plus = frame.find("+0x");
  const std::string file = frame.substr(0, plus);
  const std::string name = file.substr(file.find_last_of("/\\") + 1);
  return std::any_of(kBeneath.begin(), kBeneath.end(),
                     [&](std::string_view beneath) { return name.starts_with(beneath); });
}

// Where a thread that waits stands in those it does now here, now there.
std::vector<std::string> LastingFrames(const std::vector<std::string>& frames) {
  const auto first = std::find_if_not(frames.begin(), frames.end(), &IsBeneathModules);
  if (first == frames.end()) return frames;
  return {first, frames.end()};
}

std::vector<std::vector<std::string>> Places(const Finding& finding) {
  std::vector<std::vector<std::string>> places;
  for (const Trail& trail : finding.trails) {
    if (!trail.circumstance) places.push_back(LastingFrames(trail.frames));
  }
  return places;
}

}  // namespace

bool SameThing(const Finding& left, const Finding& right) {
  return left.kind == right.kind && left.what == right.what && Places(left) == Places(right);
}

void Collect(std::vector<Finding>& list, Finding finding) {
  for (Finding& known : list) {
    if (SameThing(known, finding)) {
      known.times += finding.times;
      return;
    }
  }
  list.push_back(std::move(finding));
}

nlohmann::json ToJson(const Finding& finding) {
  nlohmann::json trails = nlohmann::json::array();
  for (const Trail& trail : finding.trails) {
    trails.push_back(
        {{"title", trail.title}, {"frames", trail.frames}, {"circumstance", trail.circumstance}});
  }
  return {{"kind", finding.kind},
          {"what", finding.what},
          {"when", finding.when},
          {"times", finding.times},
          {"stacks", std::move(trails)}};
}

Finding FromJson(const nlohmann::json& json) {
  Finding finding{json.at("kind").get<std::string>(),
                  json.at("what").get<std::string>(),
                  json.at("when").get<std::string>(),
                  {},
                  json.at("times").get<std::uint64_t>()};
  for (const nlohmann::json& trail : json.at("stacks")) {
    finding.trails.push_back({trail.at("title").get<std::string>(),
                              trail.at("frames").get<std::vector<std::string>>(),
                              trail.at("circumstance").get<bool>()});
  }
  return finding;
}

}  // namespace ktcheck
