#include <string_view>

#include "api/openapi.h"

namespace ktsvc::api {
namespace {

// One after the other, for a compiler takes no text of any length.
constexpr std::string_view kErrorsAndValues = R"({
"Error": {"type": "object", "required": ["error"], "properties": {
  "error": {"type": "object", "required": ["status", "reason", "hint", "code"], "properties": {
    "status": {"type": "integer"}, "reason": {"type": "string"},
    "hint": {"type": ["string", "null"]}, "code": {"type": ["string", "null"]}}}}},
"Text": {"description": "Text, or the bytes of one that is not well formed.",
  "anyOf": [{"type": "string"}, {"type": "object", "required": ["base64"],
    "properties": {"base64": {"type": "string"}}}]},
"Status": {"type": "object", "required": ["code", "hex", "name", "fails"], "properties": {
  "code": {"type": "integer"}, "hex": {"type": "string"}, "name": {"type": ["string", "null"]},
  "fails": {"type": "boolean"}}},
"Property": {"type": "object", "required": ["name", "type", "value"],
  "additionalProperties": false, "properties": {
    "name": {"$ref": "#/components/schemas/Text"},
    "type": {"type": "string"}, "flags": {"type": "integer", "minimum": 0},
    "value": {"description": "Its form depends on the type; docs/api.md has them all."}}},
"PropertyList": {"type": "array", "items": {"$ref": "#/components/schemas/Property"}},
"Interface": {"type": "object", "required": ["id", "name", "owner", "ownerGone", "offeredBy"],
  "properties": {
    "id": {"type": "string"}, "name": {"type": ["string", "null"]},
    "owner": {"$ref": "#/components/schemas/Text"}, "ownerGone": {"type": "boolean"},
    "offeredBy": {"anyOf": [{"$ref": "#/components/schemas/Text"}, {"type": "null"}]}}}
})";

constexpr std::string_view kBus = R"({
"Type": {"type": "object",
  "required": ["name", "id", "flags", "superclasses", "objectCount", "interfaces", "properties"],
  "properties": {
    "name": {"$ref": "#/components/schemas/Text"}, "id": {"type": "string"},
    "flags": {"type": "integer"},
    "superclasses": {"type": "array", "items": {"$ref": "#/components/schemas/Text"}},
    "objectCount": {"type": "integer"},
    "interfaces": {"type": "array", "items": {"$ref": "#/components/schemas/Interface"}},
    "properties": {"$ref": "#/components/schemas/PropertyList"}}},
"TypeList": {"type": "object", "required": ["items"], "properties": {
  "items": {"type": "array", "items": {"$ref": "#/components/schemas/Type"}}}},
"Object": {"type": "object",
  "required": ["id", "type", "owner", "flags", "interfaces", "properties", "children"],
  "properties": {
    "id": {"type": "string"}, "type": {"$ref": "#/components/schemas/Text"},
    "owner": {"$ref": "#/components/schemas/Text"}, "flags": {"type": "integer"},
    "interfaces": {"type": "array", "items": {"$ref": "#/components/schemas/Interface"}},
    "properties": {"$ref": "#/components/schemas/PropertyList"},
    "children": {"type": "array", "items": {"type": "string"}}}},
"ObjectList": {"type": "object", "required": ["items"], "properties": {
  "items": {"type": "array", "items": {"$ref": "#/components/schemas/Object"}}}},
"ObjectPage": {"type": "object", "required": ["items", "next"], "properties": {
  "items": {"type": "array", "items": {"$ref": "#/components/schemas/Object"}},
  "next": {"type": ["string", "null"]}}},
"LedgerRow": {"type": "object", "required": ["provider", "kind", "kept", "wrongFrees", "total"],
  "properties": {
    "provider": {"anyOf": [{"$ref": "#/components/schemas/Text"}, {"type": "null"}]},
    "kind": {"type": "string"}, "kept": {"type": "integer"}, "wrongFrees": {"type": "integer"},
    "total": {"type": "integer"}}},
"Ledger": {"type": "object", "required": ["clean", "rows"], "properties": {
  "clean": {"type": "boolean"},
  "rows": {"type": "array", "items": {"$ref": "#/components/schemas/LedgerRow"}}}}
})";

constexpr std::string_view kService = R"({
"Health": {"type": "object",
  "required": ["service", "state", "pid", "startedAt", "uptimeSeconds", "traceLevel", "providers",
               "objects", "types", "controlsInFlight", "subscribers", "caller"],
  "properties": {
    "service": {"type": "object", "required": ["name", "version"], "properties": {
      "name": {"type": "string"}, "version": {"type": "string"}}},
    "state": {"type": "string", "enum": ["serving", "stopping"]}, "pid": {"type": "integer"},
    "startedAt": {"type": "string"}, "uptimeSeconds": {"type": "number"},
    "traceLevel": {"type": "integer"},
    "providers": {"type": "object", "required": ["running", "failed"], "properties": {
      "running": {"type": "integer"}, "failed": {"type": "integer"}}},
    "objects": {"type": "integer"}, "types": {"type": "integer"},
    "controlsInFlight": {"type": "integer"}, "subscribers": {"type": "integer"},
    "caller": {"type": "object", "required": ["text", "kind", "role"], "properties": {
      "text": {"type": "string"}, "kind": {"type": "string", "enum": ["user", "token"]},
      "role": {"type": "string", "enum": ["none", "observer", "operator", "admin"]}}}}},
"InFlight": {"type": "object",
  "required": ["id", "caller", "object", "interface", "interfaceName", "selector", "code", "since",
               "seconds"],
  "properties": {
    "id": {"type": "integer"}, "caller": {"type": "string"}, "object": {"type": "string"},
    "interface": {"type": "string"}, "interfaceName": {"type": ["string", "null"]},
    "selector": {"type": "integer"}, "code": {"type": "integer"}, "since": {"type": "string"},
    "seconds": {"type": "number"}}},
"Provider": {"type": "object",
  "required": ["name", "file", "state", "version", "initialize", "shutdown", "controls", "notices",
               "exceptions", "failures", "waitsFor", "activity", "ledger"],
  "properties": {
    "name": {"$ref": "#/components/schemas/Text"},
    "file": {"anyOf": [{"$ref": "#/components/schemas/Text"}, {"type": "null"}]},
    "state": {"type": "string", "enum": ["running", "stopping", "stopped", "failed"]},
    "version": {"type": ["string", "null"]},
    "initialize": {"anyOf": [{"$ref": "#/components/schemas/Status"}, {"type": "null"}]},
    "shutdown": {"anyOf": [{"$ref": "#/components/schemas/Status"}, {"type": "null"}]},
    "controls": {"type": "integer"}, "notices": {"type": "integer"},
    "exceptions": {"type": "integer"},
    "failures": {"type": "array", "items": {"type": "object", "required": ["what", "advice"]}},
    "waitsFor": {"type": "array", "items": {"$ref": "#/components/schemas/Text"}},
    "activity": {"type": "object",
      "required": ["inFlight", "served", "failures", "slowest", "queueDepth", "notices",
                   "callsInFlight", "subscriptions"],
      "properties": {
        "inFlight": {"type": "array", "items": {"$ref": "#/components/schemas/InFlight"}},
        "served": {"type": "integer"}, "failures": {"type": "integer"},
        "slowest": {"anyOf": [{"type": "null"}, {"type": "object",
          "required": ["seconds", "what"], "properties": {
            "seconds": {"type": "number"}, "what": {"type": "string"}}}]},
        "queueDepth": {"type": "integer"}, "notices": {"type": "integer"},
        "callsInFlight": {"type": "integer"}, "subscriptions": {"type": "integer"}}},
    "ledger": {"type": "array", "items": {"$ref": "#/components/schemas/LedgerRow"}}}},
"ProviderList": {"type": "object", "required": ["items"], "properties": {
  "items": {"type": "array", "items": {"$ref": "#/components/schemas/Provider"}}}},
"Alert": {"type": "object",
  "required": ["name", "time", "description", "severity", "object", "properties"]},
"AlertList": {"type": "object", "required": ["items"], "properties": {
  "items": {"type": "array", "items": {"$ref": "#/components/schemas/Alert"}}}},
"Explanation": {"type": "object",
  "required": ["caller", "action", "allowed", "held", "needed", "heldBy", "neededBy", "decidedBy",
               "sentence", "lines"],
  "properties": {
    "caller": {"type": "string"}, "action": {"type": "string"}, "allowed": {"type": "boolean"},
    "held": {"type": "string"}, "needed": {"type": "string"}, "heldBy": {"type": "string"},
    "neededBy": {"type": "string"}, "decidedBy": {"type": "string"},
    "sentence": {"type": "string"},
    "lines": {"type": "array", "items": {"type": "object",
      "required": ["where", "text", "applies", "decides", "why"], "properties": {
        "where": {"type": "string"}, "text": {"type": "string"}, "applies": {"type": "boolean"},
        "decides": {"type": "boolean"}, "why": {"type": "string"}}}}}},
"Document": {"type": "object", "required": ["openapi", "info", "paths", "components"]}
})";

constexpr std::string_view kRequests = R"({
"ControlRequest": {"type": "object", "required": ["interface", "code"],
  "additionalProperties": false, "properties": {
    "interface": {"type": "string", "description": "A name such as system, or a GUID."},
    "selector": {"type": "integer", "minimum": 0, "maximum": 4294967295, "default": 0},
    "code": {"type": "integer", "minimum": 0, "maximum": 4294967295},
    "input": {"$ref": "#/components/schemas/PropertyList"}}},
"ControlAnswer": {"type": "object", "required": ["status", "output", "seconds"], "properties": {
  "status": {"$ref": "#/components/schemas/Status"},
  "output": {"$ref": "#/components/schemas/PropertyList"}, "seconds": {"type": "number"}}},
"EventRequest": {"type": "object", "required": ["name"], "additionalProperties": false,
  "properties": {"name": {"type": "string"},
    "properties": {"$ref": "#/components/schemas/PropertyList"}}},
"EventAnswer": {"type": "object", "required": ["name"], "properties": {
  "name": {"type": "string"}}},
"TraceLevel": {"type": "object", "required": ["level"], "properties": {
  "level": {"type": "integer"}}},
"TraceLevelRequest": {"type": "object", "required": ["level"], "additionalProperties": false,
  "properties": {"level": {"type": "integer", "minimum": 0, "maximum": 7}}},
"TraceLevelAnswer": {"type": "object", "required": ["level", "previous"], "properties": {
  "level": {"type": "integer"}, "previous": {"type": "integer"}}}
})";

}  // namespace

Json OpenApiSchemas() {
  Json json = Json::object();
  for (const std::string_view part : {kErrorsAndValues, kBus, kService, kRequests}) {
    json.update(Json::parse(part));
  }
  return json;
}

}  // namespace ktsvc::api
