// May this caller do this, and which line says so.
//
// How it is decided
//   1. Held    The highest role of all user, group and token lines that match the caller; none when
//              no line does.
//   2. Needed  Read: observer. Controls, events and the trace level: operator. Admin: admin. For a
//              control, the closest control line that matches sets the role instead: a line with a
//              code is closer than one without, then a line with a selector closer than one
//              without.
//   3. Restart Control 11001 through the system or the reboot interface needs admin whatever a line
//              says, and is refused to everyone unless the service was started to allow it.
//   4. Allowed when what is held is at least what is needed.
//
// Threads: pure functions of their arguments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "access/access_policy.h"
#include "access/caller.h"
#include "access/role.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc::access {

// The status of everything that is refused.
inline constexpr KtStatus kStatusAccessDenied = 0x80070005U;

struct Action {
  enum class Kind : std::uint8_t { kRead, kSendControl, kRaiseEvent, kSetTraceLevel, kAdmin };

  static constexpr Action Read() { return {Kind::kRead, {}, 0, 0}; }
  static constexpr Action SendControl(const KtGuid& interfaceId, std::uint32_t selector,
                                      std::uint32_t code) {
    return {Kind::kSendControl, interfaceId, selector, code};
  }
  static constexpr Action RaiseEvent() { return {Kind::kRaiseEvent, {}, 0, 0}; }
  static constexpr Action SetTraceLevel() { return {Kind::kSetTraceLevel, {}, 0, 0}; }
  static constexpr Action Admin() { return {Kind::kAdmin, {}, 0, 0}; }

  Kind kind = Kind::kAdmin;
  KtGuid interfaceId{};  // of a control only, as are the next two
  std::uint32_t selector = 0;
  std::uint32_t code = 0;

  // "read", "send control 11005, selector 0, through interface trace": after "may".
  [[nodiscard]] std::string Text() const;

  // "read", "control", "raise-event", "trace-level", "admin": for programs.
  [[nodiscard]] std::string_view Name() const noexcept;
};

struct Decision {
  bool allowed = false;
  KtStatus status = kStatusAccessDenied;  // 0 when allowed
  Role needed = Role::kAdmin;
  Role held = Role::kNone;
  std::string neededBy;   // "FILE:LINE" of the control line that sets it, else "default"
  std::string heldBy;     // "FILE:LINE" of the first line that gives the held role, else "default"
  std::string decidedBy;  // the one to look at: the control line where one sets what is needed and
                          // the caller holds a role at all, else the line that gives the role; a
                          // restart that the service does not allow: "default"
  std::string sentence;   // the whole in words, ended by a full stop
};

Decision Decide(const AccessPolicy& policy, const Caller& caller, const Action& action);

struct ConsideredLine {
  std::string where;     // "FILE:LINE" or "default"
  std::string text;      // the line, one blank between its words, or the rule in words
  bool applies = false;  // it matches the caller, or the control
  bool decides = false;  // it gives the held role, or sets the needed one
  std::string why;       // half a sentence
};

// Every line of the policy, in the order of the file, subjects first; then the rules that are no
// lines. The lines of others are among them: who shows an explanation to a caller that may not know
// the file keeps to those that apply.
struct Explanation {
  Decision decision;
  std::vector<ConsideredLine> lines;

  // "* FILE:3  user alice operator  - applies: gives the caller operator" for each line, marked
  // where it decides, and the decision's sentence at the end.
  [[nodiscard]] std::vector<std::string> Text() const;
};

// The same decision as Decide() makes, with all that it looked at.
Explanation Explain(const AccessPolicy& policy, const Caller& caller, const Action& action);

}  // namespace ktsvc::access
