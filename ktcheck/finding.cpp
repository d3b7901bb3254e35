#include "ktcheck/finding.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace ktcheck {
namespace {

std::vector<std::vector<std::string>> Places(const Finding& finding) {
  std::vector<std::vector<std::string>> places;
  for (const Trail& trail : finding.trails) {
    if (!trail.circumstance) places.push_back(trail.frames);
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
