#include "api/body.h"

#include <algorithm>
#include <limits>
#include <set>
#include <vector>

#include "api/api.h"
#include "api/http_error.h"

namespace ktsvc::api {
namespace {

constexpr std::string_view kJsonType = "application/json";

bool IsJsonType(std::string_view contentType) {
  std::string_view type = contentType.substr(0, contentType.find(';'));
  while (!type.empty() && (type.back() == ' ' || type.back() == '\t')) {
    type.remove_suffix(1);
  }
  return std::equal(type.begin(), type.end(), kJsonType.begin(), kJsonType.end(),
                    [](char left, char right) {
                      return (left >= 'A' && left <= 'Z' ? left - 'A' + 'a' : left) == right;
                    });
}

// Watches the parser for what it lets pass.
class Watcher {
 public:
  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
        RefuseDepth(depth);
        names_.emplace_back();
        break;
      case Json::parse_event_t::array_start:
        RefuseDepth(depth);
        break;
      case Json::parse_event_t::object_end:
        names_.pop_back();
        break;
      case Json::parse_event_t::key:
        if (!names_.back().insert(parsed.get_ref<const std::string&>()).second) {
          throw HttpError(400, "the body has the member \"" + parsed.get_ref<const std::string&>() +
                                   "\" twice in one object");
        }
        break;
      default:
        break;
    }
    return true;
  }

 private:
  static void RefuseDepth(int depth) {
    if (static_cast<std::size_t>(depth) >= kMaxNesting) {
      throw HttpError(400, "the body is nested deeper than " + std::to_string(kMaxNesting));
    }
  }

  std::vector<std::set<std::string>> names_;
};

// "at line 1, column 5: ...", without what only the library's own maintainers understand.
std::string ParserReason(const std::string& what) {
  const std::size_t at = what.find("at line");
  return at == std::string::npos ? "" : ", " + what.substr(at);
}

const Json& Member(const Json& body, const char* name) {
  const auto member = body.find(name);
  if (member == body.end()) {
    throw HttpError(400, std::string("the member \"") + name + "\" is missing");
  }
  return *member;
}

}  // namespace

Json ParseBody(const Request& request) {
  if (!IsJsonType(request.contentType)) {
    throw HttpError(415, "the body is not said to be JSON",
                    "Send it with Content-Type: application/json.");
  }
  if (request.body.size() > kMaxBodyBytes) {
    throw HttpError(413, "the body has more than " + std::to_string(kMaxBodyBytes) + " bytes");
  }
  Json body;
  try {
    Watcher watcher;
    body =
        Json::parse(request.body, [&watcher](int depth, Json::parse_event_t event, Json& parsed) {
          return watcher(depth, event, parsed);
        });
  } catch (const Json::parse_error& error) {
    throw HttpError(400, "the body is no JSON" + ParserReason(error.what()));
  } catch (const Json::exception&) {
    throw HttpError(400, "the body has a number that no 64 bits hold");
  }
  if (!body.is_object()) {
    throw HttpError(400, "the body is no JSON object");
  }
  return body;
}

void RequireKnownMembers(const Json& body, std::initializer_list<std::string_view> known) {
  for (const auto& [name, value] : body.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      std::string list;
      for (const std::string_view member : known) {
        list.append(list.empty() ? "" : ", ").append(member);
      }
      throw HttpError(400, "the member \"" + name + "\" is unknown", "There are " + list + ".");
    }
  }
}

std::string TextMember(const Json& body, const char* name) {
  const Json& member = Member(body, name);
  if (!member.is_string()) {
    throw HttpError(400, std::string("\"") + name + "\" is no text");
  }
  std::string text = member.get<std::string>();
  if (text.empty() || text.find('\0') != std::string::npos) {
    throw HttpError(400, std::string("\"") + name + "\" is empty or has a zero character");
  }
  return text;
}

std::uint32_t NumberMember(const Json& body, const char* name) {
  const Json& member = Member(body, name);
  constexpr std::uint32_t kHighest = std::numeric_limits<std::uint32_t>::max();
  if (!member.is_number_unsigned() || member.get<std::uint64_t>() > kHighest) {
    throw HttpError(400, std::string("\"") + name + "\" is no whole number from 0 to " +
                             std::to_string(kHighest));
  }
  return member.get<std::uint32_t>();
}

PropertyList PropertiesMember(const Json& body, const char* name) {
  const auto member = body.find(name);
  if (member == body.end()) {
    return {};
  }
  try {
    return PropertyListFromJson(*member, name);
  } catch (const JsonError& error) {
    throw HttpError(400, error.what(),
                    R"(A property is {"name": "level", "type": "UINT32", "value": 3}.)");
  }
}

}  // namespace ktsvc::api
