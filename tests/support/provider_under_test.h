// The system provider as its host sees it, for tests that run both with the provider compiled in
// and with the built module: its table of functions, and the machine that it finds itself on.
//
// Each of the two suites supplies MakeProviderUnderTest(), and defines RESTART_IS_HARMLESS where a
// restart ends in a stand-in.
#pragma once

#include <memory>

#include "ktbus3/ktbus3.h"

namespace support {

class ProviderUnderTest {
 public:
  ProviderUnderTest() = default;
  ProviderUnderTest(const ProviderUnderTest&) = delete;
  ProviderUnderTest& operator=(const ProviderUnderTest&) = delete;
  virtual ~ProviderUnderTest() = default;

  // A provider at the beginning of its life. The one before is unloaded.
  virtual const KtProviderTable& Load() = 0;

  // Everything that the module still holds is given back.
  virtual void Unload() = 0;

  // The machine of the next life: the multipath product alone, "VersionName" 7.1 SP22, "Version"
  // 7.1.0.1, "ProductVersion" 7.1.
  virtual void MakeMultipathOnly() = 0;

  // The stand-ins for the commands that a provider starts can be found from here on. Without this
  // it may find none, for lives in the hundreds.
  virtual void FindCommands() = 0;
};

std::unique_ptr<ProviderUnderTest> MakeProviderUnderTest();

}  // namespace support
