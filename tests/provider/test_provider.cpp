#include "provider/test_provider.h"

#include <new>

#include "base/module.h"

namespace kt {

const KtWchar* const kModuleName = KT_W("hostkit");

CKtProvider* MakeProvider() {
  const Script::Making making = TheScript().making;
  if (TheScript().while_making) TheScript().while_making();
  if (making == Script::Making::kReturnsNull) return nullptr;
  if (making == Script::Making::kThrows) throw std::bad_alloc();
  return new ScriptedProvider;
}

}  // namespace kt

Script& TheScript() {
  static Script script;
  return script;
}

void ResetScript() {
  Script& script = TheScript();
  script.initialize = {};
  script.shutdown = {};
  script.version = {};
  script.get_attr = {};
  script.notify = {};
  script.control = {};
  script.while_making = {};
  script.making = Script::Making::kWorks;
  script.made = 0;
  script.destroyed = 0;
}

ScriptedProvider::ScriptedProvider() {
  ++TheScript().made;
}

ScriptedProvider::~ScriptedProvider() noexcept(false) {
  ++TheScript().destroyed;
}

KtStatus ScriptedProvider::Initialize() {
  return TheScript().initialize ? TheScript().initialize() : CKtProvider::Initialize();
}

KtStatus ScriptedProvider::Shutdown(std::uint64_t argument) {
  return TheScript().shutdown ? TheScript().shutdown(argument) : CKtProvider::Shutdown(argument);
}

KtStatus ScriptedProvider::Version(KtWchar** out) {
  return TheScript().version ? TheScript().version(out) : CKtProvider::Version(out);
}

KtStatus ScriptedProvider::GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t d) {
  return TheScript().get_attr ? TheScript().get_attr(a, b, d) : CKtProvider::GetAttr(a, b, d);
}

KtStatus ScriptedProvider::Notify(std::uint64_t a, std::uint64_t c, std::uint64_t d) {
  return TheScript().notify ? TheScript().notify(a, c, d) : CKtProvider::Notify(a, c, d);
}

KtStatus ScriptedProvider::Control(CKtControlRequest& request) {
  return TheScript().control ? TheScript().control(request) : CKtProvider::Control(request);
}

void ProviderTest::SetUp() {
  FrameworkTest::SetUp();
  ResetScript();
  kt::ResetApiState();
  input_ = framework_.MakePropset();
  output_ = framework_.MakePropset();
}

void ProviderTest::BindHandles(KtDatabase /*database*/, KtProvider /*provider*/) {
  kt::SetHandles(nullptr, nullptr);
}

void ProviderTest::ReleaseModuleState() {
  framework_.OnSleep({});
  kt::ReleaseModule();
  kt::ResetApiState();
  EXPECT_EQ(TheScript().made, TheScript().destroyed);
}

void ProviderTest::Start() {
  ASSERT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
  framework_.ForgetCalls();
  framework_.ForgetTraces();
}

KtStatus ProviderTest::Control() {
  return __KtApiControl(&object_, 1, 2, input_, output_, 6, 7, 8, 9,
                        reinterpret_cast<std::uintptr_t>(&interface_), 11, &provider_out_);
}

std::vector<fake::TraceLine> ManagersStopped() {
  return {
      fake::Warning("hostkit::__KtApiShutdown(), CKtThreadContainer shutdown completed."),
      fake::Warning("hostkit::__KtApiShutdown(), CKtCustomObjectContainer shutdown completed."),
      fake::Warning("hostkit::__KtApiShutdown(), CKtControlManager shutdown completed."),
      fake::Warning("hostkit::__KtApiShutdown(), CKtEventManager shutdown completed."),
  };
}
