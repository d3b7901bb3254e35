#include "api/bus_feed.h"

#include <chrono>
#include <exception>

#include "access/audit_line.h"
#include "guid.h"
#include "ktbus3/ktbus3_host.h"
#include "property_json.h"
#include "property_value.h"

namespace ktsvc::api {
namespace {

using std::chrono::system_clock;

std::string TimeText(std::uint64_t milliseconds) {
  return access::UtcText(system_clock::time_point(std::chrono::milliseconds(milliseconds)));
}

// One line; what is no UTF-8 is replaced where it is not told in base64.
std::string LineOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void PublishRaised(const KtBusObservation& seen, StreamHub& hub) {
  const bool alert = seen.what == KTBUS_OBSERVED_ALERT;
  Json json = Json::object();
  json["name"] = TextJson(std::string(seen.name));
  json["time"] = TimeText(seen.time);
  json["raisedBy"] = TextJson(std::string(seen.provider));
  if (alert) {
    json["description"] = TextJson(std::string(seen.description));
    json["severity"] = seen.severity;
    json["object"] =
        SameGuid(seen.object.guid, KtGuid{}) ? Json(nullptr) : Json(GuidText(seen.object.guid));
  }
  json["properties"] = PropertyListJson(ReadPropertySet(seen.properties));
  hub.Publish(alert ? Topic::kAlerts : Topic::kEvents, LineOf(json), seen.name);
}

void PublishObject(const KtBusObservation& seen, StreamHub& hub) {
  Json json = Json::object();
  json["what"] = seen.what == KTBUS_OBSERVED_CREATED   ? "created"
                 : seen.what == KTBUS_OBSERVED_DELETED ? "deleted"
                                                       : "changed";
  json["id"] = GuidText(seen.object.guid);
  json["type"] = TextJson(std::string(seen.type));
  json["time"] = TimeText(seen.time);
  hub.Publish(Topic::kObjects, LineOf(json));
}

// One that could not be put into words.
void LoseOne(std::uint32_t what, StreamHub& hub) noexcept {
  hub.Lose({what == KTBUS_OBSERVED_EVENT   ? Topic::kEvents
            : what == KTBUS_OBSERVED_ALERT ? Topic::kAlerts
                                           : Topic::kObjects},
           1);
}

void OnObservation(const KtBusObservation* seen, void* context) {
  auto& hub = *static_cast<StreamHub*>(context);
  try {
    switch (seen->what) {
      case KTBUS_OBSERVED_EVENT:
      case KTBUS_OBSERVED_ALERT:
        PublishRaised(*seen, hub);
        break;
      case KTBUS_OBSERVED_LOST:
        hub.Lose({Topic::kEvents, Topic::kAlerts, Topic::kObjects}, seen->lost);
        KtTrace(4, "ktsvc: %I64u happenings on the bus did not reach the streams", seen->lost);
        break;
      default:
        PublishObject(*seen, hub);
    }
  } catch (const std::exception& error) {
    LoseOne(seen->what, hub);
    KtTrace(4, "ktsvc: a happening on the bus did not reach the streams: %s", error.what());
  }
}

void OnTrace(std::uint32_t level, const char* text, void* context) {
  try {
    Json json = Json::object();
    json["level"] = level;
    json["time"] = access::UtcText(system_clock::now());
    json["text"] = std::string(text);
    static_cast<StreamHub*>(context)->Publish(Topic::kTrace, LineOf(json));
  } catch (const std::exception&) {
    // A line for which there is no memory is lost, as in the other places of the trace.
    static_cast<StreamHub*>(context)->Lose({Topic::kTrace}, 1);
  }
}

}  // namespace

BusFeed::BusFeed(KtDatabase database, StreamHub& hub) : database_(database) {
  RequireOk(KtBusObserve(database, &OnObservation, &hub), "KtBusObserve");
  const KtStatus traced = KtBusTraceToCallback(&OnTrace, &hub);
  if (traced != 0) {
    KtBusObserve(database, nullptr, nullptr);
    throw BusError("KtBusTraceToCallback", traced);
  }
}

BusFeed::~BusFeed() {
  KtBusObserve(database_, nullptr, nullptr);
  KtBusTraceToCallback(nullptr, nullptr);
}

}  // namespace ktsvc::api
