#include "access/interface_names.h"

namespace ktsvc::access {

std::optional<KtGuid> InterfaceFromText(std::string_view text) {
  for (const NamedInterface& known : kNamedInterfaces) {
    if (known.name == text) {
      return known.id;
    }
  }
  return GuidFromText(text);
}

std::string InterfaceText(const KtGuid& interfaceId) {
  for (const NamedInterface& known : kNamedInterfaces) {
    if (SameGuid(known.id, interfaceId)) {
      return std::string(known.name);
    }
  }
  return GuidText(interfaceId);
}

std::string InterfaceNameList() {
  std::string text;
  for (const NamedInterface& known : kNamedInterfaces) {
    text += text.empty() ? "" : ", ";
    text += known.name;
  }
  return text;
}

}  // namespace ktsvc::access
