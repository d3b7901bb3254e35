// Every function of the interface passes the gate, which can answer in its place.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bus/bus_test.h"
#include "bus/gate_watch.h"

namespace bus_test {
namespace {

using GateFunctionsTest = BusTest;

// Not one of these calls has anything that the framework could work on: a gate that answered for
// the framework, and it alone, makes them come back with 77.
TEST_F(GateFunctionsTest, AreAllAnsweredByTheGateWhereItWants) {
  using Call = std::function<std::uint64_t()>;
  const std::vector<Call> statuses{
      [] { return KtCloseHandle(nullptr); },
      [] { return PsCreatePropset(nullptr); },
      [] { return PsDestroyPropset(nullptr); },
      [] { return PsCopyPropset(nullptr, nullptr); },
      [] { return PsAddProperty(nullptr, nullptr); },
      [] { return PsSetProperty(nullptr, nullptr); },
      [] { return PsFindProperty(nullptr, nullptr, nullptr); },
      [] { return PsOpenPropset(nullptr, nullptr); },
      [] { return PsFindNextProperty(nullptr, nullptr, nullptr); },
      [] { return PsFreeProperty(nullptr); },
      [] { return I18nAddInsertionString(nullptr, 0, nullptr); },
      [] { return I18nAddInsertionWideString(nullptr, 0, nullptr); },
      [] { return DbLockDatabase(nullptr); },
      [] { return DbUnlockDatabase(nullptr); },
      [] { return DbGetObjects(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObCreateTypeObject(nullptr, nullptr, nullptr, nullptr, nullptr); },
      [] { return ObCreateTypeObjectEx(nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr); },
      [] { return ObRegisterInterfaceOnType(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObCreateObject(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObCreateObjectEx(nullptr, nullptr, nullptr, 0, nullptr, nullptr); },
      [] { return ObDeleteObject(nullptr, nullptr); },
      [] { return ObGetProperty(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObSetProperty(nullptr, nullptr, nullptr); },
      [] { return ObGetProperties(nullptr, nullptr, nullptr); },
      [] { return ObGetObjectType(nullptr, nullptr, nullptr); },
      [] { return ObGetChildObjects(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObRegisterInterface(nullptr, nullptr, nullptr, nullptr); },
      [] { return EvRegisterEvent(nullptr, nullptr, nullptr, nullptr); },
      [] { return EvUnregisterEvent(nullptr, 0); },
      [] { return ObRegisterAlert(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObUnregisterAlert(nullptr, 0); },
      [] { return ObPublishAlert(nullptr, nullptr, nullptr); },
      [] { return ObUnpublishAlert(nullptr, nullptr, nullptr); },
      [] { return ObRaiseAlert(nullptr, nullptr, nullptr, nullptr, nullptr); },
      [] { return EvRaiseEvent(nullptr, nullptr, nullptr, nullptr); },
      [] { return ObAttachChildObject(nullptr, nullptr, nullptr); },
      [] { return ObDetachChildObject(nullptr, nullptr, nullptr); },
  };
  const std::vector<Call> others{
      [] { return KtSetTraceLevel(0); },
      [] { return reinterpret_cast<std::uintptr_t>(_KtAlloc(1)); },
      [] { return reinterpret_cast<std::uintptr_t>(KtGUIDToString(nullptr)); },
      [] { return Ktmbstowcs(nullptr, nullptr, 0); },
      [] { return Ktwcstombs(nullptr, nullptr, 0); },
      [] { return static_cast<std::uint64_t>(KtlstrlenA(nullptr)); },
      [] { return std::uint64_t{ObCompareId(nullptr, nullptr)}; },
      [] { return std::uint64_t{EvMatch(nullptr, nullptr, nullptr)}; },
  };
  const std::vector<void (*)()> without_result{
      [] { KtTrace(6, "%s", "answered"); },
      [] { _KtFree(nullptr); },
      [] { KtInitializeCriticalSection(nullptr); },
      [] { KtEnterCriticalSection(nullptr); },
      [] { KtLeaveCriticalSection(nullptr); },
      [] { KtDeleteCriticalSection(nullptr); },
      [] { KtSleep(0xFFFFFFFF); },
  };
  const Watch watch([](KtBusCall& call) {
    call.result = 77;
    return true;
  });
  for (const auto& call : statuses) EXPECT_EQ(call(), 77U) << watch.names().back();
  for (const auto& call : others) EXPECT_EQ(call(), 77U) << watch.names().back();
  for (const auto& call : without_result) call();

  std::vector<std::string> names = watch.names();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::unique(names.begin(), names.end()), names.end()) << "a function was called twice";
  EXPECT_EQ(names.size(), std::size_t{BUS_FUNCTIONS}) << "ktbus3.h declares another number";
  EXPECT_TRUE(Traces().empty());
}

}  // namespace
}  // namespace bus_test
