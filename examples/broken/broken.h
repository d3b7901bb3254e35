// What the broken providers share: the two exports, a table that does nothing wrong, and one object
// on the bus that takes controls.
//
// A module includes this once and defines its name and its table; with BROKEN_OWN_ENTRY it brings a
// ProviderEntry as well. Everything that is wrong stands
// in the module's own file.
#pragma once

#include <cstdint>
#include <string>

#include "ktbus3/ktbus3.h"

#if defined(_WIN32)
#define BROKEN_EXPORT extern "C" __declspec(dllexport)
// The run-time library's own beginning of a DLL.
extern "C" int __stdcall DllMainCRTStartup(void* instance, unsigned long reason, void* reserved);
#else
#define BROKEN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace broken {

extern const KtWchar* const kName;
extern const KtProviderTable kTable;

// Called as the module is unloaded.
extern void (*const kAtUnload)();

inline constexpr KtGuid kInterface{
    0x6B1C4A52, 0x0E3D, 0x4F7B, {0x9A, 0x11, 0x5D, 0x2E, 0x77, 0xC0, 0x38, 0x94}};
inline constexpr std::uint32_t kControl = 20001;
inline constexpr KtStatus kNotImplemented = 0x80004001;

// The module's one object, which offers the interface.
inline KtStatus PublishObject(KtDatabase database, KtProvider provider, KtObjId* object) {
  KtObjId type{};
  const char* const no_superclass = nullptr;
  const KtStatus made =
      ObCreateTypeObject(database, "broken_thing", &no_superclass, nullptr, &type);
  if (made != 0) return made;
  const KtStatus created = ObCreateObject(database, provider, "broken_thing", object);
  if (created != 0) return created;
  return ObRegisterInterface(database, object, provider, &kInterface);
}

// ---- Functions that do nothing wrong -----------------------------------------------------------

inline KtStatus Control(const KtObjId* /*object*/, std::uint32_t /*selector*/,
                        std::uint32_t /*code*/, KtPropset /*input*/, KtPropset /*output*/,
                        std::uint32_t /*value6*/, std::uint32_t /*value7*/,
                        std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                        std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                        std::uint64_t* /*provider*/) {
  return kNotImplemented;
}
inline KtStatus Initialize(KtDatabase database, KtProvider provider) {
  KtObjId object{};
  return PublishObject(database, provider, &object);
}
inline KtStatus Shutdown(std::uint64_t /*argument*/) {
  return 0;
}
inline KtStatus GetAttr(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                        std::uint64_t /*d*/) {
  return kNotImplemented;
}
inline KtStatus ChangeNotify(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                             std::uint64_t /*d*/) {
  return 0;
}
inline KtStatus Version(KtWchar** out) {
  static constexpr KtWchar kVersion[] = KT_W("1.0");
  auto* const copy = static_cast<KtWchar*>(_KtAlloc(sizeof(kVersion)));
  if (copy == nullptr) return 0x8007000E;
  std::char_traits<KtWchar>::copy(copy, kVersion, sizeof(kVersion) / sizeof(KtWchar));
  *out = copy;
  return 0;
}

}  // namespace broken

// Each module is one source, which includes this header.
// NOLINTBEGIN(misc-definitions-in-headers)
BROKEN_EXPORT int DllInit(void* instance, std::uint32_t reason, void* reserved) {
  if (reason == 0 && broken::kAtUnload != nullptr) broken::kAtUnload();
#if defined(_WIN32)
  return DllMainCRTStartup(instance, reason, reserved);
#else
  static_cast<void>(instance);
  static_cast<void>(reserved);
  return 1;
#endif
}

#if !defined(BROKEN_OWN_ENTRY)
BROKEN_EXPORT KtStatus ProviderEntry(const KtWchar* name, void* /*reserved*/,
                                     KtProviderTable* table) {
  if (std::basic_string<KtWchar>(name) != broken::kName) return 0xC1000005;
  *table = broken::kTable;
  return 0;
}
#endif
// NOLINTEND(misc-definitions-in-headers)
