#include "access/audit_line.h"
#include "api/bus_figures.h"
#include "api/handlers.h"
#include "json_report.h"
#include "ledger.h"

namespace ktsvc::api {
namespace {

Json InFlightJson(const Activity::InFlight& running) {
  Json json = Json::object();
  json["id"] = running.id;
  json["caller"] = TextJson(running.control.caller);
  json["object"] = GuidText(running.control.object.guid);
  json["interface"] = GuidText(running.control.interfaceId);
  json["interfaceName"] = running.control.interfaceName.empty()
                              ? Json(nullptr)
                              : TextJson(running.control.interfaceName);
  json["selector"] = running.control.selector;
  json["code"] = running.control.code;
  json["since"] = access::UtcText(running.since);
  json["seconds"] = running.running.count();
  return json;
}

Json ActivityJson(const Activity& activity, const std::string& provider,
                  const BusFigures& figures) {
  const Activity::Figures served = activity.Of(provider);
  Json json = Json::object();
  json["inFlight"] = Json::array();
  for (const Activity::InFlight& running : activity.NowOf(provider)) {
    json["inFlight"].push_back(InFlightJson(running));
  }
  json["served"] = served.served;
  json["failures"] = served.failures;
  json["slowest"] = nullptr;
  if (served.slowest) {
    json["slowest"] = {{"seconds", served.slowest->duration.count()},
                       {"what", TextJson(served.slowest->what)}};
  }
  json["queueDepth"] = figures.noticesWaiting;
  json["notices"] = figures.noticesDelivered;
  json["callsInFlight"] = figures.callsInFlight;
  json["subscriptions"] = figures.subscriptions;
  return json;
}

}  // namespace

Response GetProviders(const Call& call) {
  const std::map<std::string, BusFigures> figures = ReadBusFigures(call.context.database);
  const std::vector<LedgerRow> ledger = ReadLedger();
  Json items = Json::array();
  for (ProviderReport& report : call.context.providers()) {
    BusFigures now;
    if (const auto found = figures.find(report.name);
        found != figures.end() &&
        (report.state == ProviderState::kRunning || report.state == ProviderState::kStopping)) {
      now = found->second;
      // The report gets these when the provider stops.
      report.controls = now.controls;
      report.notices = now.noticesDelivered;
      report.exceptions = now.exceptions;
    }
    std::vector<LedgerRow> rows;
    for (const LedgerRow& row : ledger) {
      if (row.account == report.name) {
        rows.push_back(row);
      }
    }
    Json item = ProviderJson(report);
    item["waitsFor"] = Json::array();
    for (const std::string& sentence : report.waitsFor) {
      item["waitsFor"].push_back(TextJson(sentence));
    }
    item["activity"] = ActivityJson(*call.context.activity, report.name, now);
    item["ledger"] = LedgerJson(rows)["rows"];
    items.push_back(std::move(item));
  }
  Json json = Json::object();
  json["items"] = std::move(items);
  return JsonResponse(json);
}

}  // namespace ktsvc::api
