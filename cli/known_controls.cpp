#include "known_controls.h"

#include "access/interface_names.h"

namespace ktctl {
namespace {

bool IsOf(const KnownControl& control, const KtGuid& interfaceId) {
  const auto id = ktsvc::access::InterfaceFromText(control.interface);
  return id && ktsvc::SameGuid(*id, interfaceId);
}

}  // namespace

const KnownControl* FindKnownControl(const KtGuid& interfaceId, std::string_view name) noexcept {
  for (const KnownControl& control : kKnownControls) {
    if (control.name == name && IsOf(control, interfaceId)) {
      return &control;
    }
  }
  return nullptr;
}

const KnownControl* FindKnownControl(const KtGuid& interfaceId, std::uint32_t selector,
                                     std::uint32_t code) noexcept {
  for (const KnownControl& control : kKnownControls) {
    if (control.code == code && control.selector == selector && IsOf(control, interfaceId)) {
      return &control;
    }
  }
  return nullptr;
}

std::string KnownControlNames(const KtGuid& interfaceId) {
  std::string names;
  for (const KnownControl& control : kKnownControls) {
    if (IsOf(control, interfaceId)) {
      names.append(names.empty() ? "" : ", ").append(control.name);
    }
  }
  return names;
}

}  // namespace ktctl
