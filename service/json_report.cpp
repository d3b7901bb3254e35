#include "json_report.h"

#include "host_system.h"
#include "status_text.h"

namespace ktsvc {
namespace {

Json InterfaceJson(const InterfaceView& view) {
  const std::string_view name = InterfaceName(view.id);
  Json json = Json::object();
  json["id"] = GuidText(view.id);
  json["name"] = name.empty() ? Json(nullptr) : Json(std::string(name));
  json["owner"] = TextJson(view.owner);
  json["ownerGone"] = view.ownerGone;
  json["offeredBy"] = view.offeredBy.empty() ? Json(nullptr) : TextJson(view.offeredBy);
  return json;
}

Json InterfacesJson(const std::vector<InterfaceView>& views) {
  Json json = Json::array();
  for (const InterfaceView& view : views) {
    json.push_back(InterfaceJson(view));
  }
  return json;
}

Json OptionalStatusJson(const std::optional<KtStatus>& status) {
  return status ? StatusJson(*status) : Json(nullptr);
}

Json ControlJson(const TraceLevelAnswer& answer) {
  Json json = Json::object();
  json["object"] = answer.object ? Json(GuidText(answer.object->guid)) : Json(nullptr);
  json["interface"] = GuidText(kSystemInterface);
  json["code"] = kTraceLevelCode;
  json["level"] = answer.level;
  json["sent"] = answer.object.has_value();
  json["bus"] = answer.object ? StatusJson(answer.bus) : Json(nullptr);
  json["status"] =
      answer.object && !StatusFails(answer.bus) ? StatusJson(answer.provider) : Json(nullptr);
  json["previousLevel"] = answer.previous ? Json(*answer.previous) : Json(nullptr);
  json["output"] = PropertyListJson(answer.output);
  return json;
}

}  // namespace

Json ProviderJson(const ProviderReport& provider) {
  Json json = Json::object();
  json["name"] = TextJson(provider.name);
  json["file"] = provider.file.empty() ? Json(nullptr) : TextJson(PathText(provider.file));
  json["state"] = std::string(StateName(provider.state));
  json["version"] = provider.version ? Json(*provider.version) : Json(nullptr);
  json["initialize"] = OptionalStatusJson(provider.initialize);
  json["shutdown"] = OptionalStatusJson(provider.shutdown);
  json["controls"] = provider.controls;
  json["notices"] = provider.notices;
  json["exceptions"] = provider.exceptions;
  json["failures"] = Json::array();
  for (const ProviderFailure& failure : provider.failures) {
    Json entry = Json::object();
    entry["what"] = TextJson(failure.what);
    entry["advice"] = failure.advice.empty() ? Json(nullptr) : TextJson(failure.advice);
    json["failures"].push_back(entry);
  }
  return json;
}

Json TypeJson(const TypeView& type) {
  Json json = Json::object();
  json["name"] = TextJson(type.name);
  json["id"] = GuidText(type.id.guid);
  json["flags"] = type.flags;
  json["superclasses"] = Json::array();
  for (const std::string& name : type.superclasses) {
    json["superclasses"].push_back(TextJson(name));
  }
  json["objectCount"] = type.objectCount;
  json["interfaces"] = InterfacesJson(type.interfaces);
  json["properties"] = PropertyListJson(type.properties);
  return json;
}

Json ObjectJson(const ObjectView& object) {
  Json json = Json::object();
  json["id"] = GuidText(object.id.guid);
  json["type"] = TextJson(object.type);
  json["owner"] = TextJson(object.owner);
  json["flags"] = object.flags;
  json["interfaces"] = InterfacesJson(object.interfaces);
  json["properties"] = PropertyListJson(object.properties);
  json["children"] = Json::array();
  for (const KtObjId& child : object.children) {
    json["children"].push_back(GuidText(child.guid));
  }
  return json;
}

Json LedgerJson(const std::vector<LedgerRow>& rows) {
  Json json = Json::object();
  json["clean"] = IsClean(rows);
  json["rows"] = Json::array();
  for (const LedgerRow& row : rows) {
    Json entry = Json::object();
    entry["provider"] = row.account.empty() ? Json(nullptr) : TextJson(row.account);
    entry["kind"] = row.kind;
    entry["kept"] = row.kept;
    entry["wrongFrees"] = row.wrongFrees;
    entry["total"] = row.total;
    json["rows"].push_back(entry);
  }
  return json;
}

Json LifeJson(const Life& life) {
  Json json = Json::object();
  json["service"] = {{"name", "ktsvc"}, {"version", KTSVC_VERSION}};
  json["providers"] = Json::array();
  for (const ProviderReport& provider : life.providers) {
    json["providers"].push_back(ProviderJson(provider));
  }
  json["control"] = life.control ? ControlJson(*life.control) : Json(nullptr);
  json["types"] = nullptr;
  json["objects"] = nullptr;
  if (life.snapshot) {
    json["types"] = Json::array();
    for (const TypeView& type : life.snapshot->types) {
      json["types"].push_back(TypeJson(type));
    }
    json["objects"] = Json::array();
    for (const ObjectView& object : life.snapshot->objects) {
      json["objects"].push_back(ObjectJson(object));
    }
  }
  json["ledger"] = LedgerJson(life.ledger);
  json["exitStatus"] = life.exitStatus;
  return json;
}

}  // namespace ktsvc
