#include "support/failing_calls.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <regex>

namespace support {
namespace {

using Lines = std::vector<fake::TraceLine>;

// What a run of the operation left behind.
struct Run {
  KtStatus status = 0;
  Lines lines;
  std::vector<fake::Call> calls;

  // Where the failed call stands among the calls.
  [[nodiscard]] std::size_t Failed() const {
    const auto found = std::find_if(calls.begin(), calls.end(),
                                    [](const fake::Call& call) { return call.failed; });
    return static_cast<std::size_t>(found - calls.begin());
  }
};

std::string TextOf(const fake::Call& call) {
  return call.function + "(" + call.arguments + ")";
}

// The failed call as a row names it.
std::string NameOf(const Run& run) {
  const std::string text = TextOf(run.calls[run.Failed()]);
  const auto end = run.calls.begin() + static_cast<std::ptrdiff_t>(run.Failed());
  const auto before = std::count_if(run.calls.begin(), end,
                                    [&](const fake::Call& call) { return TextOf(call) == text; });
  return before == 0 ? text : text + " #" + std::to_string(before + 1);
}

bool CameAfter(const Run& run, const std::string& pattern) {
  const auto end = run.calls.begin() + static_cast<std::ptrdiff_t>(run.Failed());
  return std::any_of(run.calls.begin(), end,
                     [&](const fake::Call& call) { return Fits(pattern, TextOf(call)); });
}

void Replace(std::string& text, const std::string& what, const std::string& with) {
  const std::size_t place = text.find(what);
  if (place != std::string::npos) text.replace(place, what.size(), with);
}

std::string FirstMatch(const std::string& text, const char* pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? match[1].str() : std::string();
}

std::string Filled(std::string line, const std::string& call, KtStatus status) {
  char number[16];
  std::snprintf(number, sizeof number, "%x", static_cast<unsigned>(status));
  Replace(line, "{status}", number);
  Replace(line, "{guid}", FirstMatch(call, R"((\{[0-9A-F]{8}-[0-9A-F-]{27}\}))"));
  const std::string quoted = FirstMatch(call, "\"([^\"]*)\"");
  Replace(line, "{name}", quoted.empty() ? FirstMatch(call, R"(\{(\S+) )") : quoted);
  return line;
}

// One line says how a command fares that nobody waits for.
bool SameUsualLine(const fake::TraceLine& usual, const fake::TraceLine& line) {
  constexpr char kOfTheMoment[] = "hostkit - Termination status: *";
  return usual == line || (usual.level == line.level && Fits(kOfTheMoment, usual.text) &&
                           Fits(kOfTheMoment, line.text));
}

// The system may have no new process to give just then, however it was asked.
bool HadNoProcess(const Lines& lines) {
  return std::any_of(lines.begin(), lines.end(), [](const fake::TraceLine& line) {
    return line.text == "HostKit - after calling CreateProcess returns:0";
  });
}

// The lines of the run are the usual ones, changed as the row says. Those from before the failure
// are the usual ones without any change.
::testing::AssertionResult ToldAsStated(const FailingCall& row, const Lines& expected,
                                        const Lines& usual, const Run& run) {
  const auto failed = run.calls.begin() + static_cast<std::ptrdiff_t>(run.Failed());
  const auto before = static_cast<std::size_t>(std::count_if(
      run.calls.begin(), failed, [](const auto& call) { return call.function == "KtTrace"; }));
  Lines rest;
  for (std::size_t i = 0; i < usual.size(); ++i) {
    const bool missing = i >= before && std::any_of(row.missing.begin(), row.missing.end(),
                                                    [&](const std::string& pattern) {
                                                      return Fits(pattern, usual[i].text);
                                                    });
    if (!missing) rest.push_back(usual[i]);
  }
  std::size_t told_usual = 0;
  std::size_t told_expected = 0;
  for (const fake::TraceLine& line : run.lines) {
    const std::size_t place = told_usual + told_expected;
    if (told_usual < rest.size() && SameUsualLine(rest[told_usual], line)) {
      ++told_usual;
    } else if (place >= before && told_expected < expected.size() &&
               expected[told_expected].level == line.level &&
               Fits(expected[told_expected].text, line.text)) {
      ++told_expected;
    } else {
      return ::testing::AssertionFailure() << "not stated: " << line;
    }
  }
  if (told_expected < expected.size()) {
    return ::testing::AssertionFailure() << "not told: " << expected[told_expected];
  }
  if (row.rest == Rest::kAsUsual && told_usual < rest.size()) {
    return ::testing::AssertionFailure() << "not told as usual: " << rest[told_usual];
  }
  return ::testing::AssertionSuccess();
}

class Loop {
 public:
  Loop(const FailingCalls& table, const Operation& operation)
      : table_(table), operation_(operation), used_(table.size(), false) {}

  std::size_t All() {
    usual_ = RunOnce([] {});
    for (const KtStatus status : {0xC1000001u, 0x8007000Eu, 0x80070057u, 0xC1000010u, 5u}) {
      for (std::size_t nth = 1; FailOne(nth, status); ++nth) {
        if (::testing::Test::HasFailure()) return failures_;
      }
    }
    for (std::size_t i = 0; i < table_.size(); ++i) {
      EXPECT_TRUE(used_[i]) << "no call came to the row " << table_[i].call;
    }
    return failures_;
  }

 private:
  template <typename Arm>
  Run RunOnce(const Arm& arm) {
    operation_.before();
    framework_.ForgetCalls();
    framework_.ForgetTraces();
    arm();
    Run run;
    EXPECT_NO_THROW(run.status = operation_.armed());
    run.lines = framework_.Traces();
    run.calls = framework_.Calls();
    happened_ = framework_.FailureHappened();
    framework_.ClearFailures();
    operation_.after();
    return run;
  }

  // False when the operation has fewer calls.
  bool FailOne(std::size_t nth, KtStatus status) {
    const std::string trail = "failing call " + std::to_string(nth);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    Run run;
    do {
      run = RunOnce([&] { framework_.FailNthOfAll(nth, status); });
      if (!happened_) return false;
    } while (HadNoProcess(run.lines) && !HadNoProcess(usual_.lines) && ++processes_missed_ < 10);
    ++failures_;
    const std::string call = NameOf(run);
    const auto row = std::find_if(table_.begin(), table_.end(), [&](const FailingCall& each) {
      return Fits(each.call, call) && (each.only_for == 0 || each.only_for == status) &&
             (each.after.empty() || CameAfter(run, each.after));
    });
    if (row == table_.end()) {
      ADD_FAILURE() << "no row for " << call;
      return true;
    }
    used_[static_cast<std::size_t>(row - table_.begin())] = true;
    Lines expected = row->lines;
    for (fake::TraceLine& line : expected) line.text = Filled(line.text, call, status);
    EXPECT_EQ(run.status, row->status == kItsOwn ? status : row->status)
        << call << " failed with " << std::hex << status;
    EXPECT_TRUE(ToldAsStated(*row, expected, usual_.lines, run))
        << call << " failed with " << std::hex << status << "\ntraced was "
        << ::testing::PrintToString(run.lines);
    return true;
  }

  const FailingCalls& table_;
  const Operation& operation_;
  fake::Framework& framework_ = fake::Framework::Get();
  Run usual_;
  std::vector<bool> used_;
  bool happened_ = false;
  std::size_t failures_ = 0;
  std::size_t processes_missed_ = 0;
};

}  // namespace

std::size_t FailEveryCall(const FailingCalls& table, const Operation& operation) {
  return Loop(table, operation).All();
}

bool Fits(std::string_view pattern, std::string_view text) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return pattern == text;
  if (text.substr(0, star) != pattern.substr(0, star)) return false;
  const std::string_view rest = pattern.substr(star + 1);
  for (std::size_t at = star; at <= text.size(); ++at) {
    if (Fits(rest, text.substr(at))) return true;
  }
  return false;
}

}  // namespace support
