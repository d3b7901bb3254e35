#include "soak/fault_gate.h"

#include <gtest/gtest.h>

namespace soak {
namespace {

KtBusCall CallOf(const char* function, const char* provider = "hostkit") {
  KtBusCall call{};
  call.size = sizeof(call);
  call.function = function;
  call.provider = provider;
  call.resultKind = KTBUS_WORD_STATUS;
  return call;
}

// How many of a thousand such calls fail.
int Failing(FaultGate& gate, const KtBusCall& like) {
  int failing = 0;
  for (int i = 0; i < 1000; ++i) {
    KtBusCall call = like;
    failing += gate.Before(call) ? 1 : 0;
  }
  return failing;
}

TEST(FaultGate, LetsAllPassUntilItIsTold) {
  FaultGate gate;
  EXPECT_EQ(Failing(gate, CallOf("PsCreatePropset")), 0);
  EXPECT_EQ(gate.calls(), 1000U);
  EXPECT_EQ(gate.failed(), 0U);
}

TEST(FaultGate, LetsAboutOneOfSoManyCallsFail) {
  FaultGate gate;
  gate.FailOneIn(10);
  const int failing = Failing(gate, CallOf("PsCreatePropset"));
  EXPECT_GT(failing, 50);
  EXPECT_LT(failing, 200);
  EXPECT_EQ(gate.failed(), static_cast<std::uint64_t>(failing));
}

TEST(FaultGate, AnswersWithAStatusThatFails) {
  FaultGate gate;
  gate.FailOneIn(1);
  KtBusCall call = CallOf("PsCreatePropset");
  ASSERT_TRUE(gate.Before(call));
  EXPECT_GE(call.result, 0x80000000U);
}

TEST(FaultGate, AnswersWithNullWhereAPointerIsAskedFor) {
  FaultGate gate;
  gate.FailOneIn(1);
  KtBusCall call = CallOf("_KtAlloc");
  call.resultKind = KTBUS_WORD_ADDRESS;
  ASSERT_TRUE(gate.Before(call));
  EXPECT_EQ(call.result, 0U);
}

TEST(FaultGate, SparesWhatGivesBackOrDeletes) {
  FaultGate gate;
  gate.FailOneIn(1);
  for (const char* function : {"PsFreeProperty", "PsDestroyPropset", "KtCloseHandle",
                               "DbUnlockDatabase", "EvUnregisterEvent", "ObDeleteObject"}) {
    EXPECT_EQ(Failing(gate, CallOf(function)), 0) << function;
  }
}

TEST(FaultGate, SparesTheServiceAndItsOwnProvider) {
  FaultGate gate;
  gate.FailOneIn(1);
  EXPECT_EQ(Failing(gate, CallOf("PsCreatePropset", "")), 0);
  EXPECT_EQ(Failing(gate, CallOf("PsCreatePropset", "soak")), 0);
}

TEST(FaultGate, SparesCallsOfAProvidersFunctionsAndThoseThatCannotFail) {
  FaultGate gate;
  gate.FailOneIn(1);
  KtBusCall inward = CallOf("Control");
  inward.inward = 1;
  EXPECT_EQ(Failing(gate, inward), 0);
  KtBusCall silent = CallOf("KtSleep");
  silent.resultKind = KTBUS_WORD_NONE;
  EXPECT_EQ(Failing(gate, silent), 0);
}

TEST(FaultGate, SparesAllDuringATruce) {
  FaultGate gate;
  gate.FailOneIn(1);
  {
    const FaultGate::Truce truce(gate);
    EXPECT_EQ(Failing(gate, CallOf("PsCreatePropset")), 0);
  }
  EXPECT_EQ(Failing(gate, CallOf("PsCreatePropset")), 1000);
}

}  // namespace
}  // namespace soak
