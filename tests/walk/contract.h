// Contract: what may be answered to a call, as the service itself says in GET /openapi.json.
//
// Threads: reading from any.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "property_json.h"
#include "walk/call.h"

namespace walk {

class Contract {
 public:
  // Throws nlohmann::json::exception for what is no such document.
  explicit Contract(const ktsvc::Json& openapi);

  // What is wrong with the answer, as a sentence; "" for nothing. A status must be one of those
  // that stand in the document for this path and method (405 where the path is there with others,
  // 404 where it is not); 500 is always wrong; an error has its one form, a success is JSON, and a
  // control's has status, output and seconds.
  [[nodiscard]] std::string FaultOf(const Call& call, const Answer& answer) const;

 private:
  struct Path {
    std::vector<std::string> parts;                        // "{id}" stands for any
    std::map<std::string, std::set<unsigned>> operations;  // by method in capitals
  };

  [[nodiscard]] const Path* Find(const std::string& target) const;
  [[nodiscard]] bool IsDocumented(const Call& call, unsigned status) const;

  std::vector<Path> paths_;
};

}  // namespace walk
