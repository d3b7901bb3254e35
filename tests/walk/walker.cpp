#include "walk/walker.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "access/interface_names.h"
#include "cli/exit_status.h"
#include "cli/known_controls.h"
#include "walk/destructive.h"

namespace walk {
namespace {

using ktsvc::Json;

constexpr std::size_t kShownFaults = 20;
constexpr std::uint64_t kCallsBetweenReads = 500;
constexpr std::uint32_t kUnknownCode = 3'141'592'653U;

// The status of a provider in the answer of a control: "0x41000012 KTSTATUS_UNCHANGED".
std::string ProviderStatus(const Answer& answer) {
  const Json json = Json::parse(answer.body, nullptr, false);
  if (!json.is_object() || !json.contains("status")) {
    return {};
  }
  const Json& status = json["status"];
  const Json name = status.value("name", Json());
  return status.value("hex", "") + (name.is_string() ? " " + name.get<std::string>() : "");
}

// Its right properties: numbers as large as they may be, any text.
Json RightProperties(const ktctl::KnownControl& control) {
  Json right = Json::array();
  for (const ktctl::KnownArgument& argument : control.arguments) {
    const bool isNumber = argument.type == "UINT32";
    right.push_back(
        {{"name", std::string(argument.property)},
         {"type", std::string(argument.type)},
         {"value", isNumber ? Json(std::min<std::uint64_t>(argument.most, 5)) : Json("a")}});
  }
  return right;
}

// Whether the number stands in the text, as a whole.
bool Holds(const std::string& text, const std::string& number) {
  constexpr std::string_view kDigits = "0123456789";
  const auto isDigit = [&](std::size_t at) {
    return at < text.size() && kDigits.find(text[at]) != std::string_view::npos;
  };
  for (std::size_t at = text.find(number); at != std::string::npos;
       at = text.find(number, at + 1)) {
    if ((at == 0 || !isDigit(at - 1)) && !isDigit(at + number.size())) {
      return true;
    }
  }
  return false;
}

}  // namespace

Walker::Walker(ktctl::Connection connection, const WalkWish& wish)
    : wish_(wish), http_(std::move(connection)), maker_(wish.walk.seed) {}

bool Walker::IsLeftOut(const Call& call) {
  if (call.method == "GET") {
    return false;
  }
  if (const Destructive* const row = FindDestructive(call.body);
      row != nullptr && !wish_.destructive) {
    ++report_.leftOut[std::string(row->what)];
    return true;
  }
  const auto& codes = wish_.walk.left_out;
  const bool isOff = std::any_of(codes.begin(), codes.end(), [&call](std::uint32_t code) {
    return call.isControl && Holds(call.body, std::to_string(code));
  });
  if (isOff) {
    ++report_.leftOut["codes that were left out on request"];
  }
  return isOff;
}

// Makes the call and judges the answer; nothing where there is none.
std::optional<Answer> Walker::Make(const Call& call) {
  if (broken_ || IsLeftOut(call)) {
    return std::nullopt;
  }
  Answer answer;
  try {
    const ktctl::HttpAnswer got =
        http_.Ask({call.method, call.target, call.body, {}}, wish_.patience);
    answer = {got.status, got.body};
  } catch (const ktctl::Refusal& refusal) {
    broken_ = true;
    Fail(call.method + " " + call.target + " " + call.body.substr(0, 500) + ": " + refusal.what());
    return std::nullopt;
  }
  ++report_.calls;
  ++report_.statuses[answer.status];
  if (call.isControl) {
    ++report_.controlCalls;
    report_.tried.insert(call.control);
    if (answer.status == 200) {
      ++report_.answers[ProviderStatus(answer)];
    }
  }
  if (contract_) {
    if (const std::string fault = contract_->FaultOf(call, answer); !fault.empty()) {
      Fail(fault);
    }
  }
  return answer;
}

// What is there may have changed; what ran and was well is to stay so.
bool Walker::Read() {
  const auto ask = [this](const Call& call) { return Make(call).value_or(Answer{}); };
  try {
    if (!contract_) {
      contract_.emplace(Json::parse(ask({"GET", "/openapi.json", {}, false, {}}).body));
      level_ = Json::parse(ask({"GET", "/v1/trace-level", {}, false, {}}).body).at("level");
    }
    map_ = ReadServiceMap(ask);
  } catch (const std::exception& error) {
    if (!broken_) {
      Fail(error.what());
    }
    broken_ = true;
    return false;
  }
  if (!providers_) {
    providers_ = map_.providers;
    exceptions_ = map_.exceptions;
  }
  for (const std::string& provider : *providers_) {
    if (std::find(map_.providers.begin(), map_.providers.end(), provider) == map_.providers.end()) {
      Fail("the provider " + provider + " runs no more");
    }
  }
  if (map_.exceptions > exceptions_) {
    Fail("exceptions have left functions of providers: " +
         std::to_string(map_.exceptions - exceptions_));
    exceptions_ = map_.exceptions;
  }
  std::vector<KnownControl> controls;
  for (const Offer& offer : map_.offers) {
    const auto id = ktsvc::access::InterfaceFromText(offer.interface);
    for (const ControlKey& key : report_.controls) {
      if (key.type != offer.type || key.interface != offer.interface || !id) {
        continue;
      }
      const ktctl::KnownControl* const known = ktctl::FindKnownControl(*id, key.selector, key.code);
      controls.push_back({offer, key.selector, key.code,
                          known == nullptr ? Json::array() : RightProperties(*known)});
    }
  }
  maker_.Know(map_, std::move(controls));
  return true;
}

std::string Walker::StatusOf(const Call& call) {
  const std::optional<Answer> answer = Make(call);
  return !answer ? std::string{} : std::to_string(answer->status) + " " + ProviderStatus(*answer);
}

void Walker::Look(const Offer& offer, const std::string& unknown, std::uint32_t code) {
  const Call call = CallMaker::Control(offer, 0, code, Json());
  const std::string status = StatusOf(call);
  if (!status.empty() && status != unknown) {
    report_.controls.insert(call.control);
  }
}

bool Walker::Explore(const std::function<bool()>& wanted) {
  if (!Read()) {
    return false;
  }
  std::set<std::pair<std::string, std::string>> seen;
  for (const Offer& offer : map_.offers) {
    if (!seen.insert({offer.type, offer.interface}).second) {
      continue;
    }
    const auto id = ktsvc::access::InterfaceFromText(offer.interface);
    for (const ktctl::KnownControl& known : ktctl::kKnownControls) {
      if (known.interface == offer.interface && id && wish_.walk.MaySend(known.code) &&
          (wish_.destructive || FindDestructive(std::to_string(known.code)) == nullptr)) {
        report_.controls.insert({offer.type, offer.interface, known.selector, known.code});
      }
    }
    const std::string unknown = StatusOf(CallMaker::Control(offer, 0, kUnknownCode, Json()));
    for (const ktcheck::CodeRange& range : wish_.walk.codes) {
      for (std::uint64_t code = range.first; code <= range.last; ++code) {
        if (broken_ || !wanted()) {
          return false;
        }
        Look(offer, unknown, static_cast<std::uint32_t>(code));
      }
    }
  }
  return Read();
}

bool Walker::Step() {
  static_cast<void>(Make(maker_.Next()));
  if (!broken_ && report_.calls % kCallsBetweenReads == 0) {
    Read();
  }
  return !broken_;
}

void Walker::Finish() {
  static_cast<void>(
      Make({"PUT", "/v1/trace-level", R"({"level":)" + std::to_string(level_) + "}", false, {}}));
  if (!broken_) {
    Read();
  }
}

void Walker::Fail(const std::string& fault) {
  ++report_.faultCount;
  if (report_.faults.size() < kShownFaults) {
    report_.faults.push_back(fault);
  }
}

}  // namespace walk
