// Finding: one thing that is wrong with a module, as a check saw it.
//
// Threads: plain values, pure functions.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace ktcheck {

// A call stack and what it shows. A frame is "file+0x1a2b", later also what it is in the source.
struct Trail {
  std::string title;
  std::vector<std::string> frames;
  bool circumstance = false;  // tells when, not what: another one does not make another finding
};

struct Finding {
  std::string kind;  // one of finding_kinds.h
  std::string what;  // the same words each time that the same thing is found
  std::string when;  // under which circumstances it was found first, or ""
  std::vector<Trail> trails;
  std::uint64_t times = 1;
};

// Takes what is found; from any thread.
using FindingSink = std::function<void(Finding)>;

// True when both are the same thing, found under whatever circumstances. Of a stack only that is
// compared which does not stand in the system's libraries or in the framework, where there is more.
bool SameThing(const Finding& left, const Finding& right);

// Adds the finding to the list, or to the one in it that is the same thing.
void Collect(std::vector<Finding>& list, Finding finding);

nlohmann::json ToJson(const Finding& finding);
// Throws nlohmann::json::exception for what is no finding.
Finding FromJson(const nlohmann::json& json);

}  // namespace ktcheck
