// A provider whose controls wait for the gate, as does its taking of an event. It tells in the
// trace how many it holds.

#include <atomic>

#include "module_frame.h"
#include "module_gate.h"

namespace test_module {
namespace {

constexpr KtGuid kDiskInterface{
    0x7EC748B5, 0xC965, 0x4607, {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}};

std::atomic<std::uint32_t> held{0};
KtDatabase theDatabase = nullptr;
KtCookie subscription = 0;

KtStatus Publish(KtDatabase database, KtProvider provider) {
  theDatabase = database;
  KtObjId disk{};
  ObCreateObject(database, provider, "qelm_ktvm_disk", &disk);
  ObRegisterInterface(database, &disk, provider, &kDiskInterface);
  return EvRegisterEvent(database, provider, "event.test.hold", &subscription);
}

KtStatus Hold(const KtObjId* /*objectId*/, std::uint32_t /*selector*/,
              std::uint32_t /*controlCode*/, KtPropset /*input*/, KtPropset /*output*/,
              std::uint32_t /*value6*/, std::uint32_t /*value7*/, std::uint64_t /*value8*/,
              std::uint64_t /*value9*/, std::uint64_t /*value10*/, std::uint64_t /*value11*/,
              std::uint64_t* /*providerOut*/) {
  KtTrace(6, "holding %u controls", ++held);
  WaitForGate();
  return 0;
}

KtStatus HoldNotice(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                    std::uint64_t /*d*/) {
  KtTrace(6, "holding a notice");
  WaitForGate();
  return 0;
}

KtStatus Leave(std::uint64_t /*argument*/) {
  return EvUnregisterEvent(theDatabase, subscription);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("holding");
const KtProviderTable kProviderTable{Hold, Publish, Leave, GetAttr, HoldNotice, Version};

}  // namespace test_module
