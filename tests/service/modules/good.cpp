// A provider that does everything well. It publishes a system object that serves the trace-level
// control, a group with two disks, and an object with properties of many types.

#include <array>

#include "module_frame.h"

namespace test_module {
namespace {

constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
constexpr KtGuid kOwnInterface{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
constexpr std::uint32_t kTraceLevelCode = 11005;

KtDatabase theDatabase = nullptr;
KtCookie subscription = 0;

// Sets a property; `value` points to it.
KtStatus Set(const KtObjId& object, const char* name, std::uint32_t type, std::uint32_t length,
             const void* value) {
  const cuvo_property property{name, type, 0, length, 0, const_cast<void*>(value)};
  return ObSetProperty(theDatabase, &object, &property);
}

KtStatus SetText(const KtObjId& object, const char* name, const std::string& text) {
  return Set(object, name, TYPE_STR, static_cast<std::uint32_t>(text.size() + 1), text.c_str());
}

KtObjId Make(KtProvider provider, const char* type) {
  KtObjId id{};
  ObCreateObject(theDatabase, provider, type, &id);
  return id;
}

void PublishTypes() {
  const std::array<const char*, 2> superclasses{"qelm_ktvm", nullptr};
  KtPropset properties = nullptr;
  PsCreatePropset(&properties);
  std::basic_string<KtWchar> vendor = KT_W("NOBODY");
  const cuvo_property property{"VENDOR", TYPE_WSTR,
                               0,        static_cast<std::uint32_t>((vendor.size() + 1) * 2),
                               0,        vendor.data()};
  PsAddProperty(properties, &property);
  KtObjId type{};
  ObCreateTypeObject(theDatabase, "qelm_system", superclasses.data(), properties, &type);
  PsDestroyPropset(properties);
  ObCreateTypeObject(theDatabase, "test_values", superclasses.data(), nullptr, &type);
}

void PublishValues(KtProvider provider) {
  const KtObjId object = Make(provider, "test_values");
  const std::uint64_t size = 18446744073709551615ULL;
  Set(object, "size", TYPE_UINT64, sizeof(size), &size);
  const std::array<std::uint8_t, 3> bytes{0x00, 0xAB, 0x10};
  Set(object, "bytes", TYPE_BINARY, bytes.size(), bytes.data());
  const std::array<std::uint32_t, 2> numbers{1, 2};
  Set(object, "numbers", TYPE_UINT32Z, numbers.size(), numbers.data());

  KtPropset nested = nullptr;
  PsCreatePropset(&nested);
  I18nAddInsertionString(nested, 1, "sda");
  const cuvo_property carrier{"nested", TYPE_PROPSET, 0, 16, 0, nested};
  ObSetProperty(theDatabase, &object, &carrier);
  const KtI18NFormatString message{{kOwnInterface, 7, 0, "Disk %1 is well"}, nested};
  Set(object, "message", TYPE_I18NFORMATSTRING, sizeof(message), &message);
  PsDestroyPropset(nested);
}

KtStatus PublishAll(KtDatabase database, KtProvider provider) {
  theDatabase = database;
  PublishTypes();
  const KtObjId system = Make(provider, "qelm_system");
  ObRegisterInterface(database, &system, provider, &kSystemInterface);
  ObRegisterInterface(database, &system, provider, &kOwnInterface);

  const KtObjId group = Make(provider, "QELM_GenericGroup");
  SetText(group, "Name", "disks");
  for (const char* name : {"sda", "sdb"}) {
    const KtObjId disk = Make(provider, "qelm_ktvm_disk");
    SetText(disk, "Name", name);
    ObAttachChildObject(database, &group, &disk);
  }
  PublishValues(provider);
  return EvRegisterEvent(database, provider, "event.qelm.dom.initialization.*.complete",
                         &subscription);
}

KtStatus ServeControl(const KtObjId* /*objectId*/, std::uint32_t /*selector*/,
                      std::uint32_t controlCode, KtPropset input, KtPropset output,
                      std::uint32_t /*value6*/, std::uint32_t /*value7*/, std::uint64_t /*value8*/,
                      std::uint64_t /*value9*/, std::uint64_t /*value10*/,
                      std::uint64_t /*value11*/, std::uint64_t* /*providerOut*/) {
  cuvo_property* found = nullptr;
  if (controlCode != kTraceLevelCode || PsFindProperty(input, "tracelevel", &found) != 0) {
    return 0x80070057U;
  }
  std::uint32_t previous = KtSetTraceLevel(*static_cast<const std::uint32_t*>(found->value));
  PsFreeProperty(found);
  const cuvo_property answer{"tracelevel", TYPE_UINT32, 0, sizeof(previous), 0, &previous};
  return PsAddProperty(output, &answer);
}

KtStatus TakeNotice(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                    std::uint64_t d) {
  const auto* record = reinterpret_cast<const KtEventRecord*>(static_cast<std::uintptr_t>(d));
  KtTrace(6, "good took %s", record->name);
  return 0;
}

KtStatus StopAll(std::uint64_t /*argument*/) {
  KtTrace(6, "good goes down");
  return EvUnregisterEvent(theDatabase, subscription);
}

KtStatus OwnVersion(KtWchar** out) {
  return GiveText(KT_W("GOOD.1.2.3"), out);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("good");
const KtProviderTable kProviderTable{ServeControl, PublishAll, StopAll,
                                     GetAttr,      TakeNotice, OwnVersion};

}  // namespace test_module
