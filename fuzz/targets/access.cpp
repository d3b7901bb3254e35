// The access file: every fault is told with its place, what is accepted says the same when it is
// written out again, and every decision is the plain one.
//
// Input: the text of an access file.

#include <algorithm>
#include <string>
#include <vector>

#include "access/access_decision.h"
#include "access/access_error.h"
#include "access/access_policy.h"
#include "access/caller_for_tests.h"
#include "access/interface_names.h"
#include "access/names_for_tests.h"
#include "support/byte_source.h"
#include "support/printable.h"
#include "support/require.h"

namespace {

using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;
using namespace ktsvc::access;

std::vector<Caller> Callers() {
  return {CallerForTests::Peer("root", 0, {{0, "root"}}),
          CallerForTests::Peer("alice", 1000, {{1000, ""}, {990, "storage"}, {6, "disk"}}),
          CallerForTests::Peer("", 77), CallerForTests::Token("ci"),
          CallerForTests::Token("alice")};
}

std::vector<Action> Actions() {
  std::vector<Action> actions{Action::Read(), Action::RaiseEvent(), Action::SetTraceLevel(),
                              Action::Admin()};
  for (const char* const interface : {"system", "trace", "disk"}) {
    for (const std::uint32_t code : {0U, 9U, kRestartControl}) {
      for (const std::uint32_t selector : {0U, 1U}) {
        actions.push_back(
            Action::SendControl(InterfaceFromText(interface).value(), selector, code));
      }
    }
  }
  return actions;
}

// ---- The plain decision -------------------------------------------------------------------------

bool Matches(const SubjectLine& line, const Caller& caller) {
  if ((line.kind == SubjectLine::Kind::kToken) != (caller.kind() == Caller::Kind::kToken)) {
    return false;
  }
  const auto is = [&line](const std::string& name, std::uint32_t id) {
    return line.id ? *line.id == id : !name.empty() && line.name == name;
  };
  if (line.kind != SubjectLine::Kind::kGroup) return is(caller.name(), caller.uid());
  return std::any_of(caller.groups().begin(), caller.groups().end(),
                     [&](const Caller::Group& group) { return is(group.name, group.id); });
}

bool PlainlyAllowed(const AccessPolicy& policy, const Caller& caller, const Action& action) {
  Role held = Role::kNone;
  for (const SubjectLine& line : policy.subjects()) {
    if (Matches(line, caller)) held = std::max(held, line.role);
  }
  Role needed = Role::kOperator;
  if (action.kind == Action::Kind::kRead) needed = Role::kObserver;
  if (action.kind == Action::Kind::kAdmin) needed = Role::kAdmin;
  if (action.kind == Action::Kind::kSendControl) {
    for (const int closeness : {0, 1, 2, 3}) {
      for (const ControlLine& line : policy.controls()) {
        if ((line.code ? 2 : 0) + (line.selector ? 1 : 0) == closeness &&
            ktsvc::SameGuid(line.interfaceId, action.interfaceId) &&
            line.selector.value_or(action.selector) == action.selector &&
            line.code.value_or(action.code) == action.code) {
          needed = line.role;
        }
      }
    }
    if (IsRestart(action.interfaceId, action.code)) {
      if (!policy.options().allowRestart) return false;
      needed = Role::kAdmin;
    }
  }
  return held != Role::kNone && held >= needed;
}

// ---- The file -----------------------------------------------------------------------------------

// The lines of the policy in their places, one blank between the words.
std::string WrittenAgain(const AccessPolicy& policy) {
  std::string text;
  std::size_t number = 1;
  const auto put = [&](std::size_t wanted, const std::string& line) {
    for (; number < wanted; ++number) text += '\n';
    text += line;
  };
  auto subject = policy.subjects().begin();
  auto control = policy.controls().begin();
  while (subject != policy.subjects().end() || control != policy.controls().end()) {
    if (control == policy.controls().end() ||
        (subject != policy.subjects().end() && subject->number < control->number)) {
      put(subject->number, subject->text);
      ++subject;
    } else {
      put(control->number, control->text);
      ++control;
    }
  }
  return text;
}

void RequireSamePolicy(const AccessPolicy& left, const AccessPolicy& right) {
  RequireSameNumber(left.subjects().size(), right.subjects().size(), "as many subjects");
  RequireSameNumber(left.controls().size(), right.controls().size(), "as many controls");
  RequireSame(WrittenAgain(left), WrittenAgain(right), "the same lines in the same places");
  for (std::size_t i = 0; i < left.subjects().size(); ++i) {
    const SubjectLine& one = left.subjects()[i];
    const SubjectLine& other = right.subjects()[i];
    Require(one.name == other.name && one.id == other.id && one.role == other.role,
            "a subject written again is the same");
  }
  for (std::size_t i = 0; i < left.controls().size(); ++i) {
    const ControlLine& one = left.controls()[i];
    const ControlLine& other = right.controls()[i];
    Require(one.selector == other.selector && one.code == other.code && one.role == other.role,
            "a control written again is the same");
  }
}

void TryPolicy(const AccessPolicy& policy, const NamesForTests& names) {
  RequireSamePolicy(
      policy, AccessPolicy::Parse(WrittenAgain(policy), policy.file(), names, policy.options()));
  static const std::vector<Caller> callers = Callers();
  static const std::vector<Action> actions = Actions();
  for (const Caller& caller : callers) {
    for (const Action& action : actions) {
      const Decision decision = Decide(policy, caller, action);
      Require(decision.allowed == PlainlyAllowed(policy, caller, action),
              "the decision is the plain one");
      Require(decision.allowed == (decision.status == 0), "the status says the same");
    }
  }
  const Explanation explanation = Explain(policy, callers.at(1), actions.back());
  Require(explanation.decision.sentence == Decide(policy, callers.at(1), actions.back()).sentence,
          "the explanation is of the decision");
  for (const std::string& line : explanation.Text()) {
    kt::fuzz::RequirePrintable(line, "an explanation can be shown");
  }
  for (const std::string& warning : policy.warnings()) {
    kt::fuzz::RequirePrintable(warning, "a warning can be shown");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = kt::fuzz::TextOf(data, size);
  const NamesForTests names;
  for (const bool restart : {false, true}) {
    try {
      TryPolicy(AccessPolicy::Parse(text, "access.conf", names, {restart}), names);
    } catch (const AccessError& error) {
      kt::fuzz::RequirePrintable(error.what(), "a fault can be shown");
      kt::fuzz::RequirePrintable(error.advice(), "what to do can be shown");
      const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
      Require(error.line() >= 1 && error.line() <= lines, "a fault stands in a line of the file");
      Require(error.column() >= 1 && !error.advice().empty(), "and has a column and an advice");
    }
  }
  return 0;
}
