#include "bus_snapshot.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "ktbus3/ktbus3_host.h"
#include "owned_set.h"

namespace ktsvc {
namespace {

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
  view.sequence = info.sequence;
  view.interfaces = CopyInterfaces(info.interfaces, info.interfaceCount);
  return view;
}

bool Offers(const KtBusObjectInfo& info, const KtGuid& interfaceId) {
  return std::any_of(info.interfaces, info.interfaces + info.interfaceCount,
                     [&interfaceId](const KtBusInterfaceInfo& offered) {
                       return SameGuid(offered.interfaceId, interfaceId);
                     });
}

// What a search finds, until it has found enough.
struct Search {
  const ObjectQuery& query;
  Collection<ObjectView> found;

  cuvo_bool Look(const KtBusObjectInfo& info) noexcept {
    if ((query.after && info.sequence <= *query.after) ||
        (query.interfaceId && !Offers(info, *query.interfaceId))) {
      return 1;
    }
    if (found.views.size() >= query.limit) {
      return 0;
    }
    return found.Add([&info] { return CopyObject(info); });
  }
};

}  // namespace

bool Complete(KtDatabase database, ObjectView& view) {
  KtPropset properties = nullptr;
  KtStatus status = ObGetProperties(database, &view.id, &properties);
  if (status == KTBUS_NO_OBJECT) {
    return false;
  }
  RequireOk(status, "ObGetProperties");
  const OwnedSet ownedSet(properties);
  view.properties = ReadPropertySet(properties);

  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  status = ObGetChildObjects(database, &view.id, &list, &count);
  if (status == KTBUS_NO_OBJECT) {
    return false;
  }
  RequireOk(status, "ObGetChildObjects");
  const std::unique_ptr<KtObjId, void (*)(void*)> ownedList(list, &_KtFree);
  if (list != nullptr) {
    view.children.assign(list, list + count);
  }
  return true;
}

BusSnapshot TakeSnapshot(KtDatabase database) {
  BusSnapshot snapshot;
  snapshot.types = ReadTypes(database);
  for (ObjectView& view : FindObjects(database, {})) {
    if (Complete(database, view)) {
      snapshot.objects.push_back(std::move(view));
    }
  }
  return snapshot;
}

std::vector<TypeView> ReadTypes(KtDatabase database) {
  Collection<TypeView> types;
  const KtStatus status = KtBusVisitTypes(
      database,
      [](const KtBusTypeInfo* info, void* context) -> cuvo_bool {
        return static_cast<Collection<TypeView>*>(context)->Add([info] { return CopyType(*info); });
      },
      &types);
  return types.Take(status, "KtBusVisitTypes");
}

std::optional<ObjectView> ReadObject(KtDatabase database, const KtObjId& id) {
  Collection<ObjectView> objects;
  const KtStatus status = KtBusVisitObject(
      database, &id,
      [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
        return static_cast<Collection<ObjectView>*>(context)->Add(
            [info] { return CopyObject(*info); });
      },
      &objects);
  if (status == KTBUS_NO_OBJECT) {
    return std::nullopt;
  }
  std::vector<ObjectView> views = objects.Take(status, "KtBusVisitObject");
  if (views.empty() || !Complete(database, views.front())) {
    return std::nullopt;
  }
  return std::move(views.front());
}

std::vector<ObjectView> FindObjects(KtDatabase database, const ObjectQuery& query) {
  Search search{query, {}};
  const KtStatus status = KtBusVisitObjects(
      database, query.type ? query.type->c_str() : nullptr,
      [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
        return static_cast<Search*>(context)->Look(*info);
      },
      &search);
  return search.found.Take(status, "KtBusVisitObjects");
}

std::string_view InterfaceName(const KtGuid& id) noexcept {
  const auto* const row =
      std::find_if(kNamedInterfaces.begin(), kNamedInterfaces.end(),
                   [&id](const NamedInterface& named) { return SameGuid(named.id, id); });
  return row == kNamedInterfaces.end() ? std::string_view() : row->name;
}

}  // namespace ktsvc
