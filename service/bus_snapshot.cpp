#include "bus_snapshot.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include "ktbus3/ktbus3_host.h"
#include "status_text.h"

namespace ktsvc {
namespace {

struct InterfaceRow {
  KtGuid id;
  std::string_view name;
};

constexpr std::array kInterfaces{
    InterfaceRow{kSystemInterface, "system"},
    InterfaceRow{{0x13DC257B, 0xCF59, 0x400F, {0x98, 0x17, 0x82, 0xDA, 0xB2, 0xC8, 0x85, 0x4C}},
                 "reboot"},
    InterfaceRow{{0xADF0779F, 0x76AD, 0x48EB, {0x83, 0x37, 0xDF, 0xB8, 0xBF, 0x32, 0x01, 0x6D}},
                 "trace"},
    InterfaceRow{{0x7EC748B5, 0xC965, 0x4607, {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}},
                 "disk"},
    InterfaceRow{{0x9D763702, 0x9F7D, 0x47D8, {0xB8, 0xF7, 0xF0, 0x2D, 0x8A, 0xC3, 0x53, 0x0F}},
                 "volume"},
    InterfaceRow{{0x028767D0, 0xC8C3, 0x4169, {0xA1, 0x1E, 0xE5, 0x7A, 0x09, 0xD0, 0x15, 0xF2}},
                 "disk-group"},
    InterfaceRow{{0x17D18B22, 0xC1E8, 0x4C0E, {0x90, 0x98, 0xAC, 0x26, 0xD6, 0x4F, 0x63, 0xC3}},
                 "rescan"},
};

// What a visitor fills in. An exception must not travel through the bus: it waits here.
template <typename View>
struct Collection {
  std::vector<View> views;
  std::exception_ptr thrown;

  template <typename Fill>
  cuvo_bool Add(Fill fill) noexcept {
    try {
      views.push_back(fill());
      return 1;
    } catch (...) {
      thrown = std::current_exception();
      return 0;
    }
  }

  std::vector<View> Take(KtStatus status, std::string_view call) {
    if (thrown != nullptr) {
      std::rethrow_exception(thrown);
    }
    RequireOk(status, call);
    return std::move(views);
  }
};

std::vector<InterfaceView> CopyInterfaces(const KtBusInterfaceInfo* list, std::size_t count) {
  std::vector<InterfaceView> views;
  for (std::size_t i = 0; i < count; ++i) {
    views.push_back(
        {list[i].interfaceId, list[i].owner, list[i].ownerGone != 0, list[i].offeredBy});
  }
  return views;
}

TypeView CopyType(const KtBusTypeInfo& info) {
  TypeView view;
  view.name = info.name;
  view.id = info.id;
  view.flags = info.flags;
  for (const char* const* name = info.superclasses; name != nullptr && *name != nullptr; ++name) {
    view.superclasses.emplace_back(*name);
  }
  view.interfaces = CopyInterfaces(info.interfaces, info.interfaceCount);
  view.properties = ReadPropertySet(info.properties);
  view.objectCount = info.objectCount;
  return view;
}

ObjectView CopyObject(const KtBusObjectInfo& info) {
  ObjectView view;
  view.id = info.id;
  view.type = info.type;
  view.owner = info.owner;
  view.flags = info.flags;
  view.interfaces = CopyInterfaces(info.interfaces, info.interfaceCount);
  return view;
}

struct DestroySet {
  void operator()(KtPropsetHandle* set) const noexcept { PsDestroyPropset(set); }
};

// Fills in what the visit does not tell. False when the object is gone by now.
bool Complete(KtDatabase database, ObjectView& view) {
  KtPropset properties = nullptr;
  KtStatus status = ObGetProperties(database, &view.id, &properties);
  if (status == kStatusNoObject) {
    return false;
  }
  RequireOk(status, "ObGetProperties");
  const std::unique_ptr<KtPropsetHandle, DestroySet> ownedSet(properties);
  view.properties = ReadPropertySet(properties);

  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  status = ObGetChildObjects(database, &view.id, &list, &count);
  if (status == kStatusNoObject) {
    return false;
  }
  RequireOk(status, "ObGetChildObjects");
  const std::unique_ptr<KtObjId, void (*)(void*)> ownedList(list, &_KtFree);
  if (list != nullptr) {
    view.children.assign(list, list + count);
  }
  return true;
}

}  // namespace

BusSnapshot TakeSnapshot(KtDatabase database) {
  Collection<TypeView> types;
  const KtStatus typeStatus = KtBusVisitTypes(
      database,
      [](const KtBusTypeInfo* info, void* context) -> cuvo_bool {
        return static_cast<Collection<TypeView>*>(context)->Add([info] { return CopyType(*info); });
      },
      &types);
  Collection<ObjectView> objects;
  const KtStatus objectStatus = KtBusVisitObjects(
      database, nullptr,
      [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
        return static_cast<Collection<ObjectView>*>(context)->Add(
            [info] { return CopyObject(*info); });
      },
      &objects);

  BusSnapshot snapshot;
  snapshot.types = types.Take(typeStatus, "KtBusVisitTypes");
  for (ObjectView& view : objects.Take(objectStatus, "KtBusVisitObjects")) {
    if (Complete(database, view)) {
      snapshot.objects.push_back(std::move(view));
    }
  }
  return snapshot;
}

std::string_view InterfaceName(const KtGuid& id) noexcept {
  const auto row = std::find_if(kInterfaces.begin(), kInterfaces.end(),
                                [&id](const InterfaceRow& r) { return SameGuid(r.id, id); });
  return row == kInterfaces.end() ? std::string_view() : row->name;
}

bool SameGuid(const KtGuid& left, const KtGuid& right) noexcept {
  return std::memcmp(&left, &right, sizeof(KtGuid)) == 0;
}

}  // namespace ktsvc
