#include <memory>

#include "access/interface_names.h"
#include "api/handlers.h"
#include "bus_snapshot.h"
#include "guid.h"
#include "json_report.h"
#include "ktbus3/ktbus3_host.h"

namespace ktsvc::api {
namespace {

constexpr KtStatus kNoProperty = 0xC1000011U;
constexpr std::uint32_t kDefaultLimit = 100;
constexpr std::uint32_t kHighestLimit = 1000;

struct FreeRecord {
  void operator()(cuvo_property* record) const noexcept { PsFreeProperty(record); }
};

// The place behind which a page begins.
std::uint64_t PlaceOf(const Call& call, const KtObjId& id) {
  if (const std::optional<ObjectView> object = ReadObject(call.context.database, id)) {
    return object->sequence;
  }
  if (const std::optional<std::uint64_t> sequence = call.memory.cursors.Find(id)) {
    return *sequence;
  }
  throw HttpError(410,
                  "object " + GuidText(id.guid) + " has gone, and no page ended with it lately",
                  "Begin again without \"after\".");
}

ObjectView RequireObject(const Call& call) {
  const KtObjId id = ObjectIdFromText(call.arguments.at(0));
  std::optional<ObjectView> object = ReadObject(call.context.database, id);
  if (!object) {
    throw NoSuchObject(id);
  }
  return std::move(*object);
}

std::vector<ObjectView> FindPage(const Call& call, const ObjectQuery& query) {
  try {
    return FindObjects(call.context.database, query);
  } catch (const BusError& error) {
    if (query.type && error.status() == kUnknownType) {
      throw NoSuchType(*query.type);
    }
    throw;
  }
}

}  // namespace

KtObjId ObjectIdFromText(const std::string& text) {
  const std::optional<KtGuid> guid = GuidFromText(text);
  if (!guid) {
    throw HttpError(400, "\"" + text + "\" is no object id",
                    "An id looks like {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}; in either case, the "
                    "braces may be left out.");
  }
  return {*guid};
}

KtGuid InterfaceFromRequest(const std::string& text) {
  const std::optional<KtGuid> id = access::InterfaceFromText(text);
  if (!id) {
    throw HttpError(400, "\"" + text + "\" is no interface",
                    "Name one of " + access::InterfaceNameList() + ", or give its GUID.");
  }
  return *id;
}

HttpError NoSuchObject(const KtObjId& id) {
  return HttpError(404, "no object " + GuidText(id.guid), "GET /v1/objects lists them.")
      .WithCode(KTBUS_NO_OBJECT);
}

Response GetObjects(const Call& call) {
  const std::uint32_t limit = call.query.Number("limit", 1, kHighestLimit).value_or(kDefaultLimit);
  ObjectQuery query;
  query.type = call.query.Find("type");
  if (const std::optional<std::string> interface = call.query.Find("interface")) {
    query.interfaceId = InterfaceFromRequest(*interface);
  }
  if (const std::optional<std::string> after = call.query.Find("after")) {
    query.after = PlaceOf(call, ObjectIdFromText(*after));
  }
  query.limit = std::size_t{limit} + 1;  // one more tells whether there are more
  std::vector<ObjectView> page = FindPage(call, query);
  Json next = nullptr;
  if (page.size() > limit) {
    page.resize(limit);
    next = GuidText(page.back().id.guid);
    call.memory.cursors.Remember(page.back().id, page.back().sequence);
  }
  Json json = Json::object();
  json["items"] = Json::array();
  for (ObjectView& object : page) {
    if (Complete(call.context.database, object)) {
      json["items"].push_back(ObjectJson(object));
    }
  }
  json["next"] = std::move(next);
  return JsonResponse(json);
}

Response GetObject(const Call& call) {
  return JsonResponse(ObjectJson(RequireObject(call)));
}

Response GetProperty(const Call& call) {
  const KtObjId id = ObjectIdFromText(call.arguments.at(0));
  const std::string& name = call.arguments.at(1);
  cuvo_property* found = nullptr;
  const KtStatus status = ObGetProperty(call.context.database, &id, name.c_str(), &found);
  const std::unique_ptr<cuvo_property, FreeRecord> record(found);
  if (status == KTBUS_NO_OBJECT) {
    throw NoSuchObject(id);
  }
  if (status == kNoProperty) {
    throw HttpError(404, "object " + GuidText(id.guid) + " has no property " + name,
                    "GET /v1/objects/" + GuidText(id.guid) + " lists them.")
        .WithCode(status);
  }
  RequireOk(status, "ObGetProperty");
  return JsonResponse(PropertyJson(ReadProperty(*record)));
}

Response GetChildren(const Call& call) {
  Json json = Json::object();
  json["items"] = Json::array();
  for (const KtObjId& child : RequireObject(call).children) {
    if (const std::optional<ObjectView> object = ReadObject(call.context.database, child)) {
      json["items"].push_back(ObjectJson(*object));
    }
  }
  return JsonResponse(json);
}

}  // namespace ktsvc::api
