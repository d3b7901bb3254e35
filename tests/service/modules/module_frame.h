// The frame of a small provider module, made with ktbus3.h alone.
//
// A module includes this once, and defines the name that it answers to and its table:
//   const KtWchar* const kProviderName = KT_W("good");
//   const KtProviderTable kProviderTable = {...};
#pragma once

#include <cstdint>
#include <string>

#include "ktbus3/ktbus3.h"
#include "module_exports.h"

namespace test_module {

extern const KtWchar* const kProviderName;
extern const KtProviderTable kProviderTable;

inline KtStatus Control(const KtObjId* /*objectId*/, std::uint32_t /*selector*/,
                        std::uint32_t /*controlCode*/, KtPropset /*input*/, KtPropset /*output*/,
                        std::uint32_t /*value6*/, std::uint32_t /*value7*/,
                        std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                        std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                        std::uint64_t* /*providerOut*/) {
  return 0xC1000001U;
}
inline KtStatus Initialize(KtDatabase /*database*/, KtProvider /*provider*/) {
  return 0;
}
inline KtStatus Shutdown(std::uint64_t /*argument*/) {
  return 0;
}
inline KtStatus GetAttr(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                        std::uint64_t /*d*/) {
  return 0;
}
inline KtStatus ChangeNotify(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                             std::uint64_t /*d*/) {
  return 0;
}
inline KtStatus Version(KtWchar** /*out*/) {
  return 0x80004001U;
}

// A copy of the text in the framework's memory.
inline KtStatus GiveText(const std::basic_string<KtWchar>& text, KtWchar** out) {
  auto* copy = static_cast<KtWchar*>(_KtAlloc((text.size() + 1) * sizeof(KtWchar)));
  if (copy == nullptr) {
    return 0x8007000EU;
  }
  text.copy(copy, text.size());
  copy[text.size()] = 0;
  *out = copy;
  return 0;
}

}  // namespace test_module

// Each module is one source, which includes this header.
// NOLINTBEGIN(misc-definitions-in-headers)
KT_TEST_EXPORT int DllInit(void* /*instance*/, std::uint32_t /*reason*/, void* /*reserved*/) {
  return 1;
}

KT_TEST_EXPORT KtStatus ProviderEntry(const KtWchar* name, void* /*reserved*/,
                                      KtProviderTable* table) {
  if (std::basic_string<KtWchar>(name) != test_module::kProviderName) {
    return 0xC1000005U;
  }
  *table = test_module::kProviderTable;
  return 0;
}
// NOLINTEND(misc-definitions-in-headers)
