#include "access/audit_line.h"

#include <nlohmann/json.hpp>
#include <string_view>

#include "access/interface_names.h"

namespace ktsvc::access {
namespace {

// Members stay in the order in which they are written.
using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxTextBytes = 1024;

Json TextJson(std::string_view text) {
  return std::string(text.substr(0, kMaxTextBytes));
}

std::string HexText(KtStatus status) {
  std::string text = "0x";
  for (unsigned shift = 32; shift != 0; shift -= 4) {
    text += "0123456789ABCDEF"[(status >> (shift - 4)) & 0xFU];
  }
  return text;
}

Json CallerJson(const Caller& caller) {
  Json json = Json::object();
  if (caller.kind() == Caller::Kind::kToken) {
    json["kind"] = "token";
    json["name"] = TextJson(caller.name());
  } else {
    json["kind"] = "user";
    json["name"] = caller.name().empty() ? Json(nullptr) : TextJson(caller.name());
    json["uid"] = caller.uid();
  }
  return json;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void AppendDigits(std::string& text, std::int64_t value, std::size_t digits) {
  const std::string number = std::to_string(value);
  text.append(digits > number.size() ? digits - number.size() : 0, '0');
  text += number;
}

}  // namespace

std::string UtcText(std::chrono::system_clock::time_point time) {
  const auto moment = std::chrono::floor<std::chrono::milliseconds>(time);
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(moment - day);
  std::string text;
  AppendDigits(text, static_cast<int>(date.year()), 4);
  text += '-';
  AppendDigits(text, static_cast<unsigned>(date.month()), 2);
  text += '-';
  AppendDigits(text, static_cast<unsigned>(date.day()), 2);
  text += 'T';
  AppendDigits(text, clock.hours().count(), 2);
  text += ':';
  AppendDigits(text, clock.minutes().count(), 2);
  text += ':';
  AppendDigits(text, clock.seconds().count(), 2);
  text += '.';
  AppendDigits(text, clock.subseconds().count(), 3);
  return text + 'Z';
}

std::string AuditLine(const AuditEntry& entry) {
  const Action& action = entry.action;
  const bool isControl = action.kind == Action::Kind::kSendControl;
  const std::string interfaceId = GuidText(action.interfaceId);
  const std::string interfaceName = InterfaceText(action.interfaceId);
  Json json = Json::object();
  json["time"] = UtcText(entry.time);
  json["caller"] = CallerJson(entry.caller);
  json["action"] = action.Name();
  json["object"] = entry.object ? TextJson(*entry.object) : Json(nullptr);
  json["interface"] = isControl ? Json(interfaceId) : Json(nullptr);
  json["interfaceName"] =
      isControl && interfaceName != interfaceId ? Json(interfaceName) : Json(nullptr);
  json["selector"] = isControl ? Json(action.selector) : Json(nullptr);
  json["code"] = isControl ? Json(action.code) : Json(nullptr);
  json["level"] = entry.level ? Json(*entry.level) : Json(nullptr);
  json["status"] = entry.status ? Json(HexText(*entry.status)) : Json(nullptr);
  json["allowed"] = entry.allowed;
  json["decidedBy"] = TextJson(entry.decidedBy);
  json["durationUs"] = entry.duration.count();
  return Dump(json);
}

std::string LostLine(std::chrono::system_clock::time_point time, std::uint64_t lost) {
  Json json = Json::object();
  json["time"] = UtcText(time);
  json["lost"] = lost;
  return Dump(json);
}

}  // namespace ktsvc::access
