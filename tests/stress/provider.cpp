// A provider that is made to be busy: controls that answer at once, after a while, with a failure,
// or with changes of what is on the bus.
//
// Codes, through the interface "disk" of the one object of type "qelm_ktvm_disk":
//   1  the input comes back as the output
//   2  an object is made, given a property, and deleted
//   3  lasts three milliseconds
//   4  answers 0x80070005
//   5  sets a property of the object

#include "module_frame.h"

namespace test_module {
namespace {

constexpr KtGuid kDiskInterface{
    0x7EC748B5, 0xC965, 0x4607, {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}};
constexpr const char* kType = "qelm_ktvm_disk";

KtDatabase theDatabase = nullptr;
KtProvider theProvider = nullptr;
KtCookie subscription = 0;

KtStatus Publish(KtDatabase database, KtProvider provider) {
  theDatabase = database;
  theProvider = provider;
  KtObjId disk{};
  ObCreateObject(database, provider, kType, &disk);
  ObRegisterInterface(database, &disk, provider, &kDiskInterface);
  return EvRegisterEvent(database, provider, "event.stress.*", &subscription);
}

KtStatus SetCount(const KtObjId& object, std::uint32_t count) {
  const cuvo_property property{"count", TYPE_UINT32, 0, sizeof(count), 0, &count};
  return ObSetProperty(theDatabase, &object, &property);
}

KtStatus Echo(KtPropset input, KtPropset output) {
  KtIterator iterator = nullptr;
  KtStatus status = PsOpenPropset(input, &iterator);
  cuvo_property* found = nullptr;
  while (status == 0 && PsFindNextProperty(input, iterator, &found) == 0) {
    status = PsAddProperty(output, found);
    PsFreeProperty(found);
  }
  KtCloseHandle(iterator);
  return status;
}

KtStatus MakeAndDelete() {
  KtObjId made{};
  KtStatus status = ObCreateObject(theDatabase, theProvider, "qelm_ktvm_volume", &made);
  if (status == 0) {
    status = SetCount(made, 1);
    ObDeleteObject(theDatabase, &made);
  }
  return status;
}

KtStatus Work(const KtObjId* objectId, std::uint32_t /*selector*/, std::uint32_t controlCode,
              KtPropset input, KtPropset output, std::uint32_t /*value6*/, std::uint32_t /*value7*/,
              std::uint64_t /*value8*/, std::uint64_t /*value9*/, std::uint64_t /*value10*/,
              std::uint64_t /*value11*/, std::uint64_t* /*providerOut*/) {
  switch (controlCode) {
    case 1:
      return Echo(input, output);
    case 2:
      return MakeAndDelete();
    case 3:
      KtSleep(3);
      return 0;
    case 4:
      return 0x80070005U;
    default:
      return SetCount(*objectId, controlCode);
  }
}

KtStatus Leave(std::uint64_t /*argument*/) {
  return EvUnregisterEvent(theDatabase, subscription);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("stress");
const KtProviderTable kProviderTable{Work, Publish, Leave, GetAttr, ChangeNotify, Version};

}  // namespace test_module
