// The provider of these tests: it does what a test tells it to and remembers what it was asked.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fake/fake_test.h"
#include "provider/api_table.h"
#include "provider/module_state.h"
#include "provider/provider.h"

// What the next provider objects do. An empty function stands for the base's behaviour.
struct Script {
  std::function<KtStatus()> initialize;
  std::function<KtStatus(std::uint64_t)> shutdown;
  std::function<KtStatus(KtWchar**)> version;
  std::function<KtStatus(std::uint64_t, std::uint64_t, std::uint64_t)> get_attr;
  std::function<KtStatus(std::uint64_t, std::uint64_t, std::uint64_t)> notify;
  std::function<KtStatus(CKtControlRequest&)> control;

  std::function<void()> while_making;  // runs before the maker does what `making` says
  enum class Making { kWorks, kReturnsNull, kThrows } making = Making::kWorks;
  std::atomic<std::size_t> made{0};
  std::atomic<std::size_t> destroyed{0};
};

Script& TheScript();

// Back to a script that says nothing.
void ResetScript();

class ScriptedProvider : public CKtProvider {
 public:
  ScriptedProvider();
  ~ScriptedProvider() noexcept(false) override;
  KtStatus Initialize() override;
  KtStatus Shutdown(std::uint64_t argument) override;
  KtStatus Version(KtWchar** out) override;
  KtStatus GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t d) override;
  KtStatus Notify(std::uint64_t a, std::uint64_t c, std::uint64_t d) override;
  KtStatus Control(CKtControlRequest& request) override;
};

// A module just loaded: no handles, no provider, no flags.
class ProviderTest : public fake::FrameworkTest {
 protected:
  void SetUp() override;
  void BindHandles(KtDatabase database, KtProvider provider) override;
  void ReleaseModuleState() override;

  // Starts the provider with the framework's handles and forgets the calls and lines of the start.
  void Start();

  // One control, with every word set and both sets lent by the test.
  KtStatus Control();

  KtObjId object_{{0x11223344, 0x5566, 0x7788, {1, 2, 3, 4, 5, 6, 7, 8}}};
  KtGuid interface_{0xAABBCCDD, 0xEEFF, 0x0011, {8, 7, 6, 5, 4, 3, 2, 1}};
  KtPropset input_ = nullptr;
  KtPropset output_ = nullptr;
  std::uint64_t provider_out_ = 0;
};

// The four lines that a destroyed provider leaves, in their order.
std::vector<fake::TraceLine> ManagersStopped();
