#include "trace_level_control.h"

#include "bus_snapshot.h"
#include "ktbus3/ktbus3_host.h"
#include "owned_set.h"
#include "status_text.h"

namespace ktsvc {
namespace {

constexpr const char* kTraceLevelProperty = "tracelevel";
constexpr std::uint32_t kSelector = 0;

OwnedSet MakeSet() {
  KtPropset set = nullptr;
  RequireOk(PsCreatePropset(&set), "PsCreatePropset");
  return OwnedSet(set);
}

std::optional<KtObjId> FindSystemObject(KtDatabase database) {
  std::optional<KtObjId> found;
  // A bus without the type has no such object either.
  KtBusVisitObjects(
      database, kSystemType,
      [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
        *static_cast<std::optional<KtObjId>*>(context) = info->id;
        return 0;
      },
      &found);
  return found;
}

}  // namespace

bool TraceLevelAnswer::Served() const noexcept {
  return object && !StatusFails(bus) && !StatusFails(provider);
}

TraceLevelAnswer SendTraceLevel(KtDatabase database, std::uint32_t level) {
  TraceLevelAnswer answer;
  answer.level = level;
  answer.object = FindSystemObject(database);
  if (!answer.object) {
    return answer;
  }
  const OwnedSet input = MakeSet();
  const OwnedSet output = MakeSet();
  cuvo_property property{kTraceLevelProperty, TYPE_UINT32, 0, sizeof(level), 0, &level};
  RequireOk(PsAddProperty(input.get(), &property), "PsAddProperty");
  answer.bus = KtBusSendControl(database, &*answer.object, &kSystemInterface, kSelector,
                                kTraceLevelCode, input.get(), output.get(), &answer.provider);
  if (StatusFails(answer.bus)) {
    return answer;
  }
  answer.output = ReadPropertySet(output.get());
  const Property* previous = FindProperty(answer.output, kTraceLevelProperty);
  if (previous != nullptr && previous->type == TYPE_UINT32) {
    answer.previous = std::get<std::uint32_t>(previous->elements.front());
  }
  return answer;
}

}  // namespace ktsvc
