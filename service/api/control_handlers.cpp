#include <algorithm>

#include "access/interface_names.h"
#include "api/audited.h"
#include "api/body.h"
#include "api/handlers.h"
#include "bus_snapshot.h"
#include "ktbus3/ktbus3_host.h"
#include "property_writer.h"
#include "status_text.h"

namespace ktsvc::api {
namespace {

// What the request asks for.
struct Wish {
  KtObjId object{};
  KtGuid interfaceId{};
  std::uint32_t selector = 0;
  std::uint32_t code = 0;
  PropertyList input;
};

Wish ReadWish(const Call& call) {
  RequireKnownMembers(call.body, {"interface", "selector", "code", "input"});
  Wish wish;
  wish.object = ObjectIdFromText(call.arguments.at(0));
  wish.interfaceId = InterfaceFromRequest(TextMember(call.body, "interface"));
  wish.selector = call.body.contains("selector") ? NumberMember(call.body, "selector") : 0;
  wish.code = NumberMember(call.body, "code");
  wish.input = PropertiesMember(call.body, "input");
  return wish;
}

// The status of a control that did not reach a provider, in the words of HTTP.
HttpError NotSent(const Wish& wish, KtStatus status) {
  const std::string object = "object " + GuidText(wish.object.guid);
  const std::string interface = "interface " + access::InterfaceText(wish.interfaceId);
  switch (status) {
    case KTBUS_NO_OBJECT:
      return NoSuchObject(wish.object);
    case KTBUS_INTERFACE_NOT_OFFERED:
      return HttpError(404, object + " does not offer " + interface,
                       "GET /v1/objects/" + GuidText(wish.object.guid) + " lists what it offers.")
          .WithCode(status);
    case KTBUS_PROVIDER_GONE:
      return HttpError(410, "the provider that served " + interface + " of " + object + " has gone",
                       "GET /v1/providers tells what became of it.")
          .WithCode(status);
    case E_INVALIDARG:
      return HttpError(400, "the bus does not take the input: " + StatusText(status))
          .WithCode(status);
    default:
      return HttpError(500, "the bus does not send the control: " + StatusText(status))
          .WithCode(status);
  }
}

// What the provider left in the output set, which it may have destroyed.
PropertyList ReadOutput(KtPropset output) {
  try {
    return ReadPropertySet(output);
  } catch (const BusError& error) {
    if (error.status() == KTBUS_NO_OBJECT) {
      return {};
    }
    throw;
  }
}

Activity::Control ActivityOf(const Call& call, const Wish& wish, const ObjectView& object) {
  Activity::Control control;
  control.caller = call.request.caller.Text();
  control.object = wish.object;
  control.type = object.type;
  control.interfaceId = wish.interfaceId;
  control.interfaceName = InterfaceName(wish.interfaceId);
  control.selector = wish.selector;
  control.code = wish.code;
  const auto offered = std::find_if(
      object.interfaces.begin(), object.interfaces.end(),
      [&wish](const InterfaceView& interface) { return SameGuid(interface.id, wish.interfaceId); });
  if (offered == object.interfaces.end()) {
    throw BusError("KtBusSendControl", KTBUS_INTERFACE_NOT_OFFERED);
  }
  control.provider = offered->owner;
  return control;
}

Response Send(const Call& call, const Wish& wish, Audited& deed) {
  const std::optional<ObjectView> object = ReadObject(call.context.database, wish.object);
  if (!object) {
    throw BusError("KtBusSendControl", KTBUS_NO_OBJECT);
  }
  const OwnedSet input = MakePropertySet(wish.input);
  const OwnedSet output = MakePropertySet({});
  Activity::Running running = call.context.activity->Begin(ActivityOf(call, wish, *object));
  KtStatus status = 0;
  const KtStatus sent =
      KtBusSendControl(call.context.database, &wish.object, &wish.interfaceId, wish.selector,
                       wish.code, input.get(), output.get(), &status);
  const std::chrono::duration<double> seconds =
      running.Finish(StatusFails(sent) || StatusFails(status));
  RequireOk(sent, "KtBusSendControl");
  deed.Done(status);
  Json json = Json::object();
  json["status"] = StatusJson(status);
  json["output"] = PropertyListJson(ReadOutput(output.get()));
  json["seconds"] = seconds.count();
  return JsonResponse(json);
}

}  // namespace

Response PostControl(const Call& call) {
  const Wish wish = ReadWish(call);
  Audited deed(call, access::Action::SendControl(wish.interfaceId, wish.selector, wish.code),
               GuidText(wish.object.guid));
  try {
    return Send(call, wish, deed);
  } catch (const BusError& error) {
    deed.Done(error.status());
    throw NotSent(wish, error.status());
  }
}

}  // namespace ktsvc::api
