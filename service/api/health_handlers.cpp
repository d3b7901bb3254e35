#include <algorithm>
#include <chrono>

#include "access/audit_line.h"
#include "api/handlers.h"
#include "bus_snapshot.h"
#include "ktbus3/ktbus3_host.h"

namespace ktsvc::api {
namespace {

Json CallerJson(const Call& call) {
  const access::Caller& caller = call.request.caller;
  const access::Decision decision =
      access::Decide(*call.context.policy, caller, access::Action::Read());
  Json json = Json::object();
  json["text"] = TextJson(caller.Text());
  json["kind"] = caller.kind() == access::Caller::Kind::kToken ? "token" : "user";
  json["role"] = std::string(access::RoleName(decision.held));
  return json;
}

}  // namespace

Response GetHealth(const Call& call) {
  const ApiContext& context = call.context;
  const std::vector<ProviderReport> providers = context.providers();
  const auto count = [&providers](ProviderState state) {
    return std::count_if(providers.begin(), providers.end(),
                         [state](const ProviderReport& report) { return report.state == state; });
  };
  const std::vector<TypeView> types = ReadTypes(context.database);
  std::uint64_t objects = 0;
  for (const TypeView& type : types) {
    objects += type.objectCount;
  }
  Json json = Json::object();
  json["service"] = {{"name", "ktsvc"}, {"version", KTSVC_VERSION}};
  json["state"] = context.stopping() ? "stopping" : "serving";
  json["pid"] = context.pid;
  json["startedAt"] = access::UtcText(context.startedAt);
  json["uptimeSeconds"] =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - context.started).count();
  json["traceLevel"] = KtBusTraceLevel();
  json["providers"] = {{"running", count(ProviderState::kRunning)},
                       {"failed", count(ProviderState::kFailed)}};
  json["objects"] = objects;
  json["types"] = types.size();
  json["controlsInFlight"] = context.activity->CountNow();
  json["subscribers"] = context.hub->Subscribers();
  json["caller"] = CallerJson(call);
  return JsonResponse(json);
}

}  // namespace ktsvc::api
