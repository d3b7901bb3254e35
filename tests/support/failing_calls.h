// Makes every framework call of an operation fail in turn, with statuses of every kind, and holds
// what comes of it against a table: which status, which lines.
//
// The operation runs once undisturbed, which gives the usual trace. In each further run one call
// fails; its row says what differs. A call without a row is an error, and so is a row that no call
// came to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fake/fake_test.h"

namespace support {

// In a row: the status with which the call was made to fail.
inline constexpr KtStatus kItsOwn = 0xFFFFFFFF;

// How the usual trace goes on after the call that failed.
enum class Rest { kAsUsual, kLeftOut };

struct FailingCall {
  // Which call: "Function(arguments)" as the fake writes it, followed by " #2" where the operation
  // makes the very same call for the second time, and so on. The first row that fits counts.
  // Here and in all texts below '*' stands for anything.
  std::string call;

  // What the operation gives.
  KtStatus status = 0;

  // What is told beyond the usual trace, in order. {status} is the call's status in hexadecimal,
  // {name} the first text or property name among its arguments, {guid} the first GUID.
  std::vector<fake::TraceLine> lines{};

  // Lines of the usual trace that do not come.
  std::vector<std::string> missing{};
  Rest rest = Rest::kAsUsual;

  // The row is only for this status of the call; 0: for any.
  KtStatus only_for = 0;

  // The row is only for calls that come after this one; empty: for any.
  std::string after{};
};

using FailingCalls = std::vector<FailingCall>;

struct Operation {
  std::function<void()> before;     // nothing fails here, nor in `after`
  std::function<KtStatus()> armed;  // its status, or what it throws
  std::function<void()> after;
};

// With gtest expectations. Returns the number of calls that failed, over all statuses.
std::size_t FailEveryCall(const FailingCalls& table, const Operation& operation);

// Whether the text is what the pattern says.
bool Fits(std::string_view pattern, std::string_view text);

}  // namespace support
