// BusSnapshot: what is on the bus at one moment, copied, for reports and answers.
//
// Threads: TakeSnapshot() may run beside providers that change the bus; what goes away meanwhile is
//          left out.
// Failure: a bus call that fails throws BusError.
#pragma once

#include <cstdint>
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

// "system", "disk" and so on for the interfaces that are known by a name; empty for others.
std::string_view InterfaceName(const KtGuid& id) noexcept;

}  // namespace ktsvc
