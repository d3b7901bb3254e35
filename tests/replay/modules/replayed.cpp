// A provider that is recorded, and replayed in several ways of being another one: VARIANT says
// which.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "service/modules/module_frame.h"

namespace test_module {
namespace {

constexpr std::string_view kVariant = VARIANT;
constexpr KtGuid kInterface{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

KtDatabase the_database = nullptr;
KtProvider the_provider = nullptr;
KtCookie subscription = 0;
KtObjId object{};
KtCriticalSection section{};
std::thread worker;

cuvo_property Number(const char* name, std::uint32_t& value) {
  return {name, TYPE_UINT32, 0, sizeof(value), 0, &value};
}

// A thread of the module's own, with property sets and the database.
void Work() {
  KtPropset set = nullptr;
  PsCreatePropset(&set);
  std::uint32_t value = 7;
  const cuvo_property property = Number("work", value);
  PsAddProperty(set, &property);
  EvRaiseEvent(the_database, the_provider, "replayed.worked", set);
  PsDestroyPropset(set);
}

KtStatus Start(KtDatabase database, KtProvider provider) {
  the_database = database;
  the_provider = provider;
  KtInitializeCriticalSection(&section);
  KtEnterCriticalSection(&section);
  const KtStatus made = ObCreateObject(database, provider, "qelm_ktvm", &object);
  KtLeaveCriticalSection(&section);
  if (made != 0) {
    return made;
  }
  ObRegisterInterface(database, &object, provider, &kInterface);
  std::uint32_t size = kVariant == "value" ? 6 : 5;
  const cuvo_property property = Number("size", size);
  ObSetProperty(database, &object, &property);
  KtPropset properties = nullptr;
  ObGetProperties(database, &object, &properties);
  PsDestroyPropset(properties);
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  DbGetObjects(database, "qelm_ktvm", &list, &count);
  _KtFree(list);
  char* type = nullptr;
  ObGetObjectType(database, &object, &type);
  KtTrace(2, "made %s at %p, %u of them", type, static_cast<void*>(&object), count);
  _KtFree(type);
  if (kVariant != "silent") {
    KtTrace(2, "%S is up", kProviderName);
  }
  if (kVariant == "talking") {
    KtTrace(2, "and says more");
  }
  if (kVariant != "idle") {
    worker = std::thread(Work);
  }
  return EvRegisterEvent(database, provider, "site.*", &subscription);
}

KtStatus Serve(const KtObjId* /*objectId*/, std::uint32_t /*selector*/, std::uint32_t controlCode,
               KtPropset input, KtPropset output, std::uint32_t /*value6*/,
               std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
               std::uint64_t /*value10*/, std::uint64_t /*value11*/, std::uint64_t* providerOut) {
  *providerOut = reinterpret_cast<std::uintptr_t>(the_provider);
  if (controlCode == 99) {
    throw 99;
  }
  cuvo_property* found = nullptr;
  if (PsFindProperty(input, "n", &found) != 0) {
    return 0x80070057U;
  }
  std::uint32_t number = *static_cast<const std::uint32_t*>(found->value) + controlCode;
  PsFreeProperty(found);
  if (kVariant == "output") {
    ++number;
  }
  const cuvo_property answer = Number("sum", number);
  PsAddProperty(output, &answer);
  return kVariant == "status" ? 0xC1000002U : 0U;
}

KtStatus Notice(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/, std::uint64_t d) {
  const auto* record = reinterpret_cast<const KtEventRecord*>(static_cast<std::uintptr_t>(d));
  KtTrace(2, "took %s", record->name);
  // What was stored is asked for again: the answer is the recording's.
  cuvo_property* found = nullptr;
  const KtStatus status = ObGetProperty(the_database, &object, "size", &found);
  if (status == 0) {
    PsFreeProperty(found);
  }
  return status;
}

KtStatus Stop(std::uint64_t /*argument*/) {
  if (kVariant == "crash") {
    std::abort();
  }
  if (worker.joinable()) {
    worker.join();
  }
  while (kVariant == "stuck") {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  KtDeleteCriticalSection(&section);
  return EvUnregisterEvent(the_database, subscription);
}

KtStatus OwnVersion(KtWchar** out) {
  return GiveText(KT_W("REPLAYED.1"), out);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("replayed");
const KtProviderTable kProviderTable{Serve, Start, Stop, GetAttr, Notice, OwnVersion};

}  // namespace test_module
