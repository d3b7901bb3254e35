#include "system/system_test.h"

#include "provider/api_table.h"
#include "provider/module_state.h"

void SystemTest::SetUp() {
  FrameworkTest::SetUp();
  kt::ResetApiState();
  override_ = std::make_unique<kt::PlatformOverride>(platform_);
  input_ = framework_.MakePropset();
  output_ = framework_.MakePropset();
}

void SystemTest::TearDown() {
  FrameworkTest::TearDown();
  EXPECT_EQ(platform_.open_keys, 0u);
  EXPECT_EQ(platform_.open_credentials, 0u);
  override_.reset();
}

void SystemTest::ReleaseModuleState() {
  kt::ReleaseModule();
  kt::ResetApiState();
}

KtStatus SystemTest::Initialize() {
  return __KtApiInitialize(framework_.database(), framework_.provider());
}

KtStatus SystemTest::Control(const KtGuid& interface_id, std::uint32_t code) {
  const std::vector<KtObjId> objects = framework_.ObjectsOf("qelm_system");
  const KtObjId target = objects.empty() ? KtObjId{} : objects.front();
  std::uint64_t provider = 0;
  return __KtApiControl(&target, 0, code, input_, output_, 0, 0, 0, 0,
                        reinterpret_cast<std::uintptr_t>(&interface_id), 0, &provider);
}

KtStatus SystemTest::Notify(const char* event_name) {
  const KtEventRecord event{0, event_name, nullptr, framework_.database()};
  return __KtApiChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event));
}

namespace {

std::vector<fake::TraceLine> ServiceLines(const std::string& number, const std::string& command) {
  return {fake::Warning("HostKit - entering KtNet() with nServiceStartStop=" + number),
          fake::Warning("HostKit - before calling CreateProcess for " + command),
          fake::Warning("HostKit - after calling CreateProcess returns:1"),
          fake::Warning("hostkit - Waiting for the process to terminate ..."),
          fake::Warning("hostkit - Termination status: 0x00000103"),
          fake::Warning("HostKit - exiting KtNet with bFlg=1")};
}

}  // namespace

std::vector<fake::TraceLine> ServiceStarted() {
  return ServiceLines("0", "serve --start \"shadow copies\"");
}

std::vector<fake::TraceLine> ServiceStopped() {
  return ServiceLines("1", "serve --stop \"shadow copies\"");
}

std::vector<fake::TraceLine> Joined(const std::vector<std::vector<fake::TraceLine>>& lists) {
  std::vector<fake::TraceLine> all;
  for (const auto& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}
