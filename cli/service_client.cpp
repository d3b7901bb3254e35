#include "service_client.h"

#include <array>
#include <utility>

#include "exit_status.h"
#include "property_text.h"
#include "sse_reader.h"

namespace ktctl {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAnswer{30'000};
// The service says something every 15 s.
constexpr milliseconds kSilence{60'000};
constexpr const char* kPageSize = "1000";

HttpClient::Wait WaitOf(std::optional<double> timeout, HttpClient::Wait otherwise) {
  constexpr double kMillisecondsInSecond = 1000;
  if (!timeout) {
    return otherwise;
  }
  // Whatever is more than nothing is a millisecond at least.
  return *timeout <= 0
             ? HttpClient::Wait()
             : milliseconds(static_cast<std::int64_t>(*timeout * kMillisecondsInSecond) + 1);
}

// The place where an answer makes no sense is another program's.
[[noreturn]] void RefuseStranger(const std::string& where) {
  throw Refusal(kExitNoService, "what answers at " + where + " is no ktsvc",
                "See which program listens there.");
}

int StatusOf(unsigned http) {
  switch (http) {
    case 401:
    case 403:
      return kExitNotPermitted;
    case 503:
      return kExitNoService;
    case 408:
    case 410:
      return kExitFailed;
    default:
      return http >= 400 && http < 500 ? kExitWrongWords : kExitFailed;
  }
}

std::string MemberText(const Json& json, const char* member) {
  const auto found = json.find(member);
  return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

[[noreturn]] void RefuseAnswer(const HttpAnswer& answer, const std::string& where) {
  const Json json = Json::parse(answer.body, nullptr, false);
  if (!json.is_object() || !json.contains("error") || !json["error"].is_object()) {
    RefuseStranger(where);
  }
  const Json& error = json["error"];
  std::string advice = AdviceText(MemberText(error, "hint"));
  if (answer.status == 401) {
    advice = "Show a token of the service's with --token-file FILE.";
  } else if (answer.status == 403 && advice.empty()) {
    advice = "ktctl explain tells which line of which file decides.";
  }
  throw Refusal(StatusOf(answer.status), ktsvc::PrintableText(MemberText(error, "reason")),
                ktsvc::PrintableText(advice));
}

}  // namespace

std::string Escaped(std::string_view text) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string escaped;
  for (const char unit : text) {
    if (kPlain.find(unit) != std::string_view::npos) {
      escaped += unit;
    } else {
      const auto byte = static_cast<unsigned char>(unit);
      escaped += '%';
      escaped += kDigits[byte >> 4U];
      escaped += kDigits[byte & 0xFU];
    }
  }
  return escaped;
}

std::string AdviceText(const std::string& hint) {
  struct Row {
    std::string_view api;
    std::string_view verb;
  };
  // The longer ones first.
  constexpr std::array kRows{
      Row{"GET /v1/objects/", "ktctl show "}, Row{"GET /v1/objects", "ktctl ls"},
      Row{"GET /v1/types", "ktctl types"}, Row{"GET /v1/providers", "ktctl providers"},
      Row{"GET /v1/explain", "ktctl explain"}};
  for (const Row& row : kRows) {
    if (const std::size_t at = hint.find(row.api); at != std::string::npos) {
      return std::string(hint).replace(at, row.api.size(), row.verb);
    }
  }
  return hint;
}

ServiceClient::ServiceClient(HttpClient& http, std::optional<double> timeout)
    : http_(http), timeout_(timeout) {}

Json ServiceClient::Ask(const HttpRequest& request, HttpClient::Wait wait) {
  const HttpAnswer answer = http_.Ask(request, wait);
  if (answer.status < 200 || answer.status >= 300) {
    RefuseAnswer(answer, Where());
  }
  Json json = Json::parse(answer.body, nullptr, false);
  if (!json.is_object()) {
    RefuseStranger(Where());
  }
  return json;
}

Json ServiceClient::Get(const std::string& target) {
  return Ask({"GET", target, {}, {}}, WaitOf(timeout_, kAnswer));
}

Json ServiceClient::Send(const std::string& method, const std::string& target, const Json& body) {
  return Ask({method, target, body.dump(), {}}, WaitOf(timeout_, kAnswer));
}

Json ServiceClient::SendControl(const std::string& objectId, const Json& body) {
  return Ask({"POST", "/v1/objects/" + Escaped(objectId) + "/controls", body.dump(), {}},
             WaitOf(timeout_, std::nullopt));
}

std::vector<Json> ServiceClient::Objects(const std::string& type, const std::string& interface) {
  std::string target = std::string("/v1/objects?limit=") + kPageSize;
  if (!type.empty()) {
    target += "&type=" + Escaped(type);
  }
  if (!interface.empty()) {
    target += "&interface=" + Escaped(interface);
  }
  std::vector<Json> objects;
  std::string after;
  do {
    Json page = Get(after.empty() ? target : target + "&after=" + Escaped(after));
    for (Json& object : page.at("items")) {
      objects.push_back(std::move(object));
    }
    after = MemberText(page, "next");
  } while (!after.empty());
  return objects;
}

void ServiceClient::Follow(
    const std::string& target, bool kept,
    const std::function<bool(const std::string& name, const std::string& data)>& take,
    const std::function<bool()>& wanted) {
  SseReader events;
  bool more = true;
  const HttpAnswer answer = http_.Follow(
      {"GET", target, {}, kept ? "0" : ""}, WaitOf(timeout_, kAnswer), kSilence,
      [&](std::string_view piece) {
        events.Add(piece);
        for (auto event = events.Next(); event && more; event = events.Next()) {
          more = take(event->name, event->data);
        }
        return more;
      },
      wanted);
  if (answer.status != 200) {
    RefuseAnswer(answer, Where());
  }
  if (more && wanted()) {
    throw Refusal(kExitNoService, "the service at " + Where() + " has ended the stream",
                  "It is stopping. Ask again when it is back.");
  }
}

}  // namespace ktctl
