// The configuration object: on a host that has the multipathing product alone, it tells clients the
// naming limits, path conventions, platform and versions that the volume engine would tell.
#pragma once

#include <array>
#include <cstdint>
#include <variant>

#include "base/text.h"
#include "platform/platform.h"
#include "system/platform_code.h"
#include "system/version_texts.h"

namespace kt {

// How a property comes by its value, and with that its type.
struct WideNameText {
  const char* text;  // made wide when it is set
};
struct NarrowText {
  const char* text;
};
struct WideTextFrom {
  KtWString (*function)();
};
struct PlatformCodeOf {
  std::uint32_t (*function)(const MachineFacts&);
};
using ConfigurationValue =
    std::variant<WideNameText, NarrowText, std::uint32_t, bool, WideTextFrom, PlatformCodeOf>;

struct ConfigurationProperty {
  const char* name;
  ConfigurationValue value;
};

// In the order in which they are set; a value that is computed is computed at its turn.
inline constexpr std::array kConfigurationProperties{
    ConfigurationProperty{"Name", WideNameText{"misc-internal-object"}},
    ConfigurationProperty{"blockpath", NarrowText{""}},
    ConfigurationProperty{"rawpath", NarrowText{""}},
    ConfigurationProperty{"invalid volname chars", NarrowText{" /\\"}},
    ConfigurationProperty{"vm_product_version", WideTextFrom{&VolumeEngineVersionText}},
    ConfigurationProperty{"max_dgname_len", std::uint32_t{18}},
    ConfigurationProperty{"max_volname_len", std::uint32_t{18}},
    ConfigurationProperty{"max_disk_dmname_len", std::uint32_t{24}},
    ConfigurationProperty{"platform", PlatformCodeOf{&PlatformCode}},
    ConfigurationProperty{"zrn_product_version", WideTextFrom{&get_zrn_version}},
    ConfigurationProperty{"Role_Base_Adm_Enable", true},
};

// Creates the object, of type "qelm_ktvm_misc", and sets its properties. Reports nothing to its
// caller: a property that cannot be set is left out, and an object that cannot be created leaves a
// line at level 6.
void InitKtMisc() noexcept;

}  // namespace kt
