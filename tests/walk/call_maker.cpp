#include "walk/call_maker.h"

#include <array>
#include <string_view>
#include <utility>

#include "cli/service_client.h"

namespace walk {
namespace {

using ktctl::Escaped;
using ktsvc::Json;

constexpr std::array<std::string_view, 16> kNumbers{"0",
                                                    "1",
                                                    "-1",
                                                    "7",
                                                    "8",
                                                    "4294967295",
                                                    "4294967296",
                                                    "9223372036854775808",
                                                    "18446744073709551615",
                                                    "18446744073709551616",
                                                    "1.5",
                                                    "1e400",
                                                    "-9223372036854775809",
                                                    "0x7",
                                                    "\"4\"",
                                                    "null"};
constexpr std::array<std::string_view, 12> kPieces{
    "{", "}", "[", "]", ",", ":", "\"", "\\u0000", "\xFF", "null", "\"value\":", "1e999"};
constexpr const char* kFormOfControls = "/controls";

template <std::size_t size>
std::string_view Pick(const std::array<std::string_view, size>& texts, std::uint64_t dice) {
  return texts[dice % size];
}

std::string ObjectTarget(const std::string& object) {
  return "/v1/objects/" + Escaped(object);
}

}  // namespace

void CallMaker::Know(ServiceMap map, std::vector<KnownControl> controls) {
  map_ = std::move(map);
  controls_ = std::move(controls);
}

Call CallMaker::Control(const Offer& offer, std::uint32_t selector, std::uint32_t code,
                        const Json& input) {
  Json body = Json::object();
  body["interface"] = offer.interface;
  body["selector"] = selector;
  body["code"] = code;
  if (!input.is_null()) {
    body["input"] = input;
  }
  return {"POST",
          ObjectTarget(offer.object) + kFormOfControls,
          body.dump(),
          true,
          {offer.type, offer.interface, selector, code}};
}

Call CallMaker::Right(const KnownControl& control) {
  return Control(control.offer, control.selector, control.code,
                 control.right.empty() ? Json() : control.right);
}

Call CallMaker::Next() {
  const std::uint64_t dice = Dice(100);
  if (dice < 55 && !controls_.empty()) {
    return NextControl();
  }
  if (dice < 65 && !map_.offers.empty()) {
    return NextStrangeControl();
  }
  if (dice < 85) {
    return NextRead();
  }
  return dice < 93 ? NextEvent() : NextOther();
}

// A control that is there: as it should be, or with an input by chance.
Call CallMaker::NextControl() {
  const KnownControl& control = controls_[Dice(controls_.size())];
  if (OneIn(4)) {
    return Right(control);
  }
  Call call = Control(control.offer, control.selector, control.code, Input(control));
  if (OneIn(6)) {
    Spoil(call.body);
  }
  return call;
}

// One that is not: another code, another interface, another object.
Call CallMaker::NextStrangeControl() {
  Offer offer = map_.offers[Dice(map_.offers.size())];
  if (OneIn(3)) {
    offer.object = Object();
  }
  if (OneIn(3)) {
    offer.interface = Interface();
  }
  const auto selector = static_cast<std::uint32_t>(OneIn(2) ? 0 : Dice(1ULL << 32U));
  constexpr std::array<std::uint64_t, 3> kBounds{64, 20000, 1ULL << 32U};
  const auto code = static_cast<std::uint32_t>(Dice(kBounds[Dice(kBounds.size())]));
  Json input = ktsvc::PropertyListJson({dice_.Any(Name())});
  Call call = Control(offer, selector, code, input);
  if (OneIn(4)) {
    // Numbers that do not fit.
    call.body = R"({"interface":)" + Json(offer.interface).dump() + R"(,"selector":)" + Number() +
                R"(,"code":)" + Number() + "}";
  }
  return call;
}

// Of what is right some is missing and some of a wrong type, and there is more than is asked for.
Json CallMaker::Input(const KnownControl& control) {
  Json input = Json::array();
  for (const Json& right : control.right) {
    const std::uint64_t dice = Dice(4);
    if (dice == 0) {
      continue;
    }
    input.push_back(
        dice == 1 ? right : ktsvc::PropertyJson(dice_.Any(right.at("name").get<std::string>())));
  }
  for (std::uint64_t more = Dice(4); more != 0; --more) {
    input.push_back(ktsvc::PropertyJson(dice_.Any(Name())));
  }
  return input;
}

// What no client should send: cut, with bytes in it or away, a member too many.
void CallMaker::Spoil(std::string& body) {
  switch (Dice(5)) {
    case 0:
      body.resize(Dice(body.size()));
      break;
    case 1:
      body[Dice(body.size())] = static_cast<char>(Dice(256));
      break;
    case 2:
      body.insert(Dice(body.size()), Pick(kPieces, Dice(kPieces.size())));
      break;
    case 3:
      body.insert(1, R"("code":1,"more":[],)");
      break;
    default:
      body.insert(1,
                  R"("input":)" + std::string(Dice(100), '[') + std::string(Dice(100), ']') + ",");
  }
}

std::string CallMaker::Name() {
  if (!map_.properties.empty() && !OneIn(3)) {
    return OneOf(map_.properties);
  }
  return OneIn(2) ? "Name" : StrangeText();
}

// Texts of any kind without a zero in them: the alphabets of the world, controls, no UTF-8.
std::string CallMaker::StrangeText() {
  constexpr std::array<std::string_view, 10> kTexts{"a",
                                                    "%s%n%d",
                                                    "\xC3\xA9\xE2\x82\xAC",
                                                    "\xF0\x9F\x92\xBE",
                                                    "../..",
                                                    "\x1B[2J",
                                                    "a\tb\r\nc",
                                                    "\xC3",
                                                    "\xED\xA0\x80",
                                                    "p1"};
  std::string text(Pick(kTexts, Dice(kTexts.size())));
  if (OneIn(4)) {
    for (std::uint64_t more = Dice(30); more != 0; --more) {
      text += static_cast<char>(1 + Dice(255));
    }
  }
  return OneIn(20) ? std::string(1 + Dice(20000), 'x') + text : text;
}

std::string CallMaker::Object() {
  switch (Dice(4)) {
    case 0:
      return "{00000000-0000-0000-0000-000000000000}";
    case 1:
      return StrangeText().substr(0, 200);
    case 2:
      return "9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9";
    default:
      return map_.objects.empty() ? std::string("x") : OneOf(map_.objects);
  }
}

std::string CallMaker::Interface() {
  constexpr std::array<std::string_view, 9> kInterfaces{
      "system", "trace",  "disk",
      "volume", "rescan", "diskgroup",
      "",       "nobody", "{00000000-0000-0000-0000-000000000001}"};
  return std::string(Pick(kInterfaces, Dice(kInterfaces.size())));
}

std::string CallMaker::Number() {
  return std::string(Pick(kNumbers, Dice(kNumbers.size())));
}

const std::string& CallMaker::OneOf(const std::vector<std::string>& texts) {
  return texts[Dice(texts.size())];
}

Call CallMaker::NextRead() {
  constexpr std::array<std::string_view, 9> kPlain{
      "/v1/health", "/v1/providers", "/v1/ledger",      "/metrics",           "/openapi.json",
      "/v1/types",  "/v1/alerts",    "/v1/trace-level", "/v1/objects?limit=5"};
  std::string target;
  switch (Dice(8)) {
    case 0:
      target = "/v1/types/" + Escaped(OneIn(2) || map_.types.empty() ? StrangeText().substr(0, 200)
                                                                     : OneOf(map_.types));
      break;
    case 1:
      target = ObjectTarget(Object());
      break;
    case 2:
      target = ObjectTarget(Object()) + "/children";
      break;
    case 3:
      target = ObjectTarget(Object()) + "/properties/" + Escaped(Name().substr(0, 200));
      break;
    case 4:
      target = "/v1/objects?" + std::string(OneIn(2) ? "interface=" : "type=") +
               Escaped(OneIn(2) || map_.types.empty() ? Interface() : OneOf(map_.types)) +
               (OneIn(3) ? "&limit=" + Escaped(Number()) : "") +
               (OneIn(3) ? "&after=" + Escaped(Object()) : "");
      break;
    case 5:
      target = "/v1/explain?action=" + std::string(OneIn(3) ? "read" : "control") +
               (OneIn(2) ? "&interface=" + Escaped(Interface()) : "") +
               (OneIn(2) ? "&code=" + Escaped(Number()) : "");
      break;
    default:
      target = Pick(kPlain, Dice(kPlain.size()));
  }
  return {"GET", target, {}, false, {}};
}

Call CallMaker::NextEvent() {
  Json body = Json::object();
  body["name"] =
      OneIn(3) ? ktsvc::TextJson(StrangeText()) : Json("event.walk." + std::to_string(Dice(100)));
  if (!OneIn(3)) {
    body["properties"] = ktsvc::PropertyListJson({dice_.Any(Name())});
  }
  Call call{"POST", "/v1/events", body.dump(), false, {}};
  if (OneIn(6)) {
    Spoil(call.body);
  }
  return call;
}

// The trace level, paths that are not there, methods that a path does not take, streams of nothing.
Call CallMaker::NextOther() {
  switch (Dice(5)) {
    case 0:
    case 1:
      return {"PUT", "/v1/trace-level", R"({"level":)" + Number() + "}", false, {}};
    case 2:
      return {"GET", "/" + Escaped(StrangeText().substr(0, 200)), {}, false, {}};
    case 3:
      return {OneIn(2) ? "DELETE" : "PUT", ObjectTarget(Object()), "{}", false, {}};
    default:
      return {"GET",
              "/v1/stream?topics=" + Escaped("no" + StrangeText().substr(0, 200)),
              {},
              false,
              {}};
  }
}

}  // namespace walk
