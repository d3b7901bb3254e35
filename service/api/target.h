// What a request's target says: the parts of its path, and its query.
//
// Threads: values.
// Failure: HttpError 400 for a target that is malformed: an escape that is none, bytes that are no
//          UTF-8, a zero character, a fragment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ktsvc::api {

class Query {
 public:
  Query() = default;
  explicit Query(std::vector<std::pair<std::string, std::string>> values);

  // The value, "" for a name without one; nothing when it is not given.
  [[nodiscard]] std::optional<std::string> Find(std::string_view name) const;

  // The value as a number, decimal or in hexadecimal after 0x. HttpError 400 for anything else, and
  // for a number that is out of bounds.
  [[nodiscard]] std::optional<std::uint32_t> Number(std::string_view name, std::uint32_t lowest,
                                                    std::uint32_t highest) const;

  [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& values() const noexcept {
    return values_;
  }

 private:
  std::vector<std::pair<std::string, std::string>> values_;
};

struct Target {
  std::vector<std::string> path;  // decoded: "/v1/objects/%7B1%7D" is "v1", "objects", "{1}"
  Query query;
};

// "/path?query", or the whole of a URL as a proxy sends it.
Target ParseTarget(std::string_view target);

}  // namespace ktsvc::api
