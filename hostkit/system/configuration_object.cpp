#include "system/configuration_object.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "base/owned.h"
#include "base/trace.h"
#include "objmodel/object.h"
#include "system/identifiers.h"

namespace kt {
namespace {

constexpr std::uint32_t kCreationFlags = 2;
FrameworkWideText AllocateUnits(std::size_t units) {
  FrameworkWideText text(static_cast<KtWchar*>(_KtAlloc(units * sizeof(KtWchar))));
  if (text == nullptr) throw E_OUTOFMEMORY;
  return text;
}

// Sets one property of the object by the kind of its value.
class Setter {
 public:
  Setter(CKtObject& object, const char* name) noexcept : object_(object), name_(name) {}

  void operator()(const WideNameText& value) const {
    const std::size_t units = std::char_traits<char>::length(value.text) + 1;
    const FrameworkWideText wide = AllocateUnits(units);
    if (Ktmbstowcs(wide.get(), value.text, units) != units - 1) throw KTERROR_UNEXPECTED;
    object_.AddProp(name_, static_cast<const KtWchar*>(wide.get()), kNoFlags);
  }
  void operator()(const NarrowText& value) const { object_.AddProp(name_, value.text, kNoFlags); }
  void operator()(std::uint32_t value) const { object_.AddProp(name_, value, kNoFlags); }
  void operator()(bool value) const { object_.AddProp(name_, value, kNoFlags); }
  void operator()(const WideTextFrom& value) const {
    const KtWString text = value.function();
    const FrameworkWideText copy = AllocateUnits(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, copy.get());
    object_.AddProp(name_, static_cast<const KtWchar*>(copy.get()), kNoFlags);
  }
  void operator()(const PlatformCodeOf& value) const {
    object_.AddProp(name_, value.function(HostPlatform().Machine()), kNoFlags);
  }

 private:
  CKtObject& object_;
  const char* name_;
};

void SetGuarded(CKtObject& object, const ConfigurationProperty& property) noexcept {
  try {
    std::visit(Setter(object, property.name), property.value);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a property that fails keeps none of the others
  }
}

}  // namespace

void InitKtMisc() noexcept {
  KtTrace(kError, "hostkit - InitKtMisc");
  try {
    CKtObject object;
    object.Create(kConfigurationType, kCreationFlags);
    for (const ConfigurationProperty& property : kConfigurationProperties) {
      SetGuarded(object, property);
    }
  } catch (...) {
    KtTrace(kError, "hostkit - InitKtMisc exception caught ");
  }
}

}  // namespace kt
