// A provider whose system object refuses the trace-level control.

#include "module_frame.h"

#include <array>

namespace test_module {
namespace {

constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};

KtStatus Publish(KtDatabase database, KtProvider provider) {
  const std::array<const char*, 2> superclasses{"qelm_ktvm", nullptr};
  KtObjId id{};
  ObCreateTypeObject(database, "qelm_system", superclasses.data(), nullptr, &id);
  ObCreateObject(database, provider, "qelm_system", &id);
  return ObRegisterInterface(database, &id, provider, &kSystemInterface);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("deaf");
const KtProviderTable kProviderTable{Control, Publish, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
