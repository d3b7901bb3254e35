// What tests on the fake framework share: the fixture, short names for trace lines, and the loop
// that makes every call fail in turn.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fake/fake_framework.h"

// A test of the built module stands outside it and has no handles of its own to set.
#if __has_include("base/module.h") && !defined(FAKE_WITHOUT_TOOLKIT)
#include "base/module.h"
#define FAKE_HAS_TOOLKIT 1
#endif

namespace fake {

// A fresh framework before each test, and nothing left of it afterwards.
class FrameworkTest : public ::testing::Test {
 protected:
  Framework& framework_ = Framework::Get();

  void SetUp() override {
    framework_.Reset();
    BindHandles(framework_.database(), framework_.provider());
  }

  void TearDown() override {
    ReleaseModuleState();
    EXPECT_TRUE(framework_.Outstanding().Empty())
        << framework_.Outstanding() << "\n"
        << ::testing::PrintToString(framework_.WrongFrees());
    EXPECT_EQ(framework_.PendingFailures(), 0u) << "a failure was asked for and never happened";
    framework_.Reset();
  }

  // Hands the handles to the code under test.
  virtual void BindHandles([[maybe_unused]] KtDatabase database,
                           [[maybe_unused]] KtProvider provider) {
#ifdef FAKE_HAS_TOOLKIT
    kt::SetHandles(database, provider);
#endif
  }

  // Runs before the ledger is looked at: releases singletons and whatever else lives until a
  // module goes.
  virtual void ReleaseModuleState() {}
};

inline TraceLine Info(std::string text) {
  return {1, std::move(text)};
}
inline TraceLine Progress(std::string text) {
  return {2, std::move(text)};
}
inline TraceLine Warning(std::string text) {
  return {4, std::move(text)};
}
inline TraceLine Detail(std::string text) {
  return {5, std::move(text)};
}
inline TraceLine Error(std::string text) {
  return {6, std::move(text)};
}

// EXPECT_TRUE(Traced(6, "...")): says what was traced instead.
inline ::testing::AssertionResult Traced(std::uint32_t level, std::string_view text) {
  if (Framework::Get().HasTrace(level, text)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no line " << level << ": " << text << "\ntraced was "
                                       << ::testing::PrintToString(Framework::Get().Traces());
}

// EXPECT_TRUE(NothingTraced()).
inline ::testing::AssertionResult NothingTraced() {
  if (Framework::Get().Traces().empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "traced was " << ::testing::PrintToString(Framework::Get().Traces());
}

// EXPECT_TRUE(NothingKept()).
inline ::testing::AssertionResult NothingKept() {
  if (Framework::Get().Outstanding().Empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << Framework::Get().Outstanding() << "\n"
                                       << ::testing::PrintToString(Framework::Get().WrongFrees());
}

// Statuses that the failure rule calls failures, one of each kind of facility.
inline constexpr KtStatus kFailures[] = {0xC1000001u, 0x8007000Eu, 0xC1000010u, 5u};

// Runs `life` again and again, with the first failable call after `arm()` made to fail, then the
// second and so on, until a run in which none was left to fail; and all that with every status.
// `life` gets `arm`, which it calls once where the failures are to begin, and the status; what is
// to hold afterwards it checks itself. Returns the number of failures that happened.
inline std::size_t FailEveryCallInTurn(
    const std::vector<KtStatus>& statuses,
    const std::function<void(const std::function<void()>& arm, KtStatus status)>& life) {
  Framework& framework = Framework::Get();
  std::size_t happened = 0;
  for (const KtStatus status : statuses) {
    for (std::size_t nth = 1;; ++nth) {
      framework.ClearFailures();
      std::string trail = "call " + std::to_string(nth) + " after arm() fails with status " +
                          std::to_string(status);
      const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
      life([&] { framework.FailNthOfAll(nth, status); }, status);
      const bool failed = framework.FailureHappened();
      if (::testing::Test::HasFailure()) {
        ADD_FAILURE() << trail << "; it was " << framework.LastFailedFunction();
      }
      framework.ClearFailures();
      if (!failed) break;
      ++happened;
      if (::testing::Test::HasFailure()) return happened;
    }
  }
  return happened;
}

}  // namespace fake
