// BusSnapshot: what is on the bus at one moment, copied, for reports and answers.
//
// Threads: TakeSnapshot() may run beside providers that change the bus; what goes away meanwhile is
//          left out.
// Failure: a bus call that fails throws BusError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "named_interfaces.h"
#include "property_value.h"

namespace ktsvc {

struct InterfaceView {
  KtGuid id{};
  std::string owner;  // the provider that serves it
  bool ownerGone = false;
  std::string offeredBy;  // the type that offers it; empty for the object itself
};

struct TypeView {
  std::string name;
  KtObjId id{};
  std::uint32_t flags = 0;
  std::vector<std::string> superclasses;
  std::vector<InterfaceView> interfaces;
  PropertyList properties;
  std::uint64_t objectCount = 0;  // of exactly this type
};

struct ObjectView {
  KtObjId id{};
  std::string type;
  std::string owner;  // the provider that created it
  std::uint32_t flags = 0;
  std::uint64_t sequence = 0;  // the place in the order of creation; never given twice
  std::vector<InterfaceView> interfaces;
  PropertyList properties;
  std::vector<KtObjId> children;
};

// In the order of creation.
struct BusSnapshot {
  std::vector<TypeView> types;
  std::vector<ObjectView> objects;
};

BusSnapshot TakeSnapshot(KtDatabase database);

// The types alone.
std::vector<TypeView> ReadTypes(KtDatabase database);

// One object; nothing when it is not there.
std::optional<ObjectView> ReadObject(KtDatabase database, const KtObjId& id);

// Which objects FindObjects() finds.
struct ObjectQuery {
  std::optional<std::string> type;                   // of this type or of one derived from it
  std::optional<KtGuid> interfaceId;                 // that offer this interface
  std::optional<std::uint64_t> after{};              // behind this place in the order of creation
  std::size_t limit = static_cast<std::size_t>(-1);  // the first so many
};

// In the order of creation, without their properties and children: Complete() fills them in. A type
// that is not there throws BusError with 0xC1000039.
std::vector<ObjectView> FindObjects(KtDatabase database, const ObjectQuery& query);

// Fills in properties and children. False when the object is gone by now.
bool Complete(KtDatabase database, ObjectView& view);

// "system", "disk" and so on for the interfaces that are known by a name; empty for others.
std::string_view InterfaceName(const KtGuid& id) noexcept;

}  // namespace ktsvc
