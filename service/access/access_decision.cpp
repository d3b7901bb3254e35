#include "access/access_decision.h"

#include <algorithm>
#include <array>

#include "access/interface_names.h"

namespace ktsvc::access {
namespace {

struct ActionRow {
  std::string_view name;
  std::string_view text;
  Role needed;
};

// In the order of Action::Kind.
constexpr std::array<ActionRow, 5> kActions{{
    {"read", "read", Role::kObserver},
    {"control", "send control", Role::kOperator},
    {"raise-event", "raise an event", Role::kOperator},
    {"trace-level", "set the trace level", Role::kOperator},
    {"admin", "administer the service", Role::kAdmin},
}};

const ActionRow& RowOf(Action::Kind kind) {
  return kActions[static_cast<std::size_t>(kind)];
}

std::string RoleText(Role role) {
  return std::string(RoleName(role));
}

bool Matches(const SubjectLine& line, const Caller& caller) {
  const auto is = [&](std::uint32_t id, const std::string& name) {
    return line.id ? *line.id == id : !name.empty() && line.name == name;
  };
  if (line.kind == SubjectLine::Kind::kToken) {
    return caller.kind() == Caller::Kind::kToken && line.name == caller.name();
  }
  if (caller.kind() != Caller::Kind::kUnixPeer) {
    return false;
  }
  if (line.kind == SubjectLine::Kind::kUser) {
    return is(caller.uid(), caller.name());
  }
  return std::any_of(caller.groups().begin(), caller.groups().end(),
                     [&](const Caller::Group& group) { return is(group.id, group.name); });
}

// What was found before it is put into words.
struct Verdict {
  const SubjectLine* holding = nullptr;  // the first line with the highest role
  const ControlLine* setting = nullptr;  // the closest control line
  Role held = Role::kNone;
  Role needed = Role::kAdmin;
  bool restart = false;
  bool restartRaises = false;  // restarting needs more than the lines say
  bool allowed = false;
};

Verdict Judge(const AccessPolicy& policy, const Caller& caller, const Action& action) {
  Verdict verdict;
  for (const SubjectLine& line : policy.subjects()) {
    if (line.role > verdict.held && Matches(line, caller)) {
      verdict.holding = &line;
      verdict.held = line.role;
    }
  }
  verdict.needed = RowOf(action.kind).needed;
  if (action.kind == Action::Kind::kSendControl) {
    for (const ControlLine& line : policy.controls()) {
      if (line.Matches(action.interfaceId, action.selector, action.code) &&
          (verdict.setting == nullptr || line.Closeness() > verdict.setting->Closeness())) {
        verdict.setting = &line;
        verdict.needed = line.role;
      }
    }
    verdict.restart = IsRestart(action.interfaceId, action.code);
    verdict.restartRaises = verdict.restart && verdict.needed < Role::kAdmin;
    if (verdict.restartRaises) {
      verdict.needed = Role::kAdmin;
    }
  }
  // A role that is none never suffices, whatever is needed.
  verdict.allowed = verdict.held != Role::kNone && verdict.held >= verdict.needed &&
                    (!verdict.restart || policy.options().allowRestart);
  return verdict;
}

std::string HeldText(const AccessPolicy& policy, const Caller& caller, const Verdict& verdict) {
  if (verdict.holding != nullptr) {
    return policy.isDefault()
               ? "root and the service's own user are admin, as there is no access file"
               : policy.Where(verdict.holding->number) + " gives " + RoleText(verdict.held);
  }
  if (policy.isDefault()) {
    return caller.kind() == Caller::Kind::kToken
               ? "without an access file no token holds a role"
               : "without an access file only root and the service's own user hold a role";
  }
  return "no line of " + policy.file() + " gives " + caller.Text() + " a role";
}

std::string Sentence(const AccessPolicy& policy, const Caller& caller, const Action& action,
                     const Verdict& verdict) {
  const std::string neededBy = verdict.setting == nullptr || verdict.restartRaises
                                   ? std::string()
                                   : " by " + policy.Where(verdict.setting->number);
  std::string text = caller.Text() + (verdict.allowed ? " may " : " may not ") + action.Text() +
                     ": that needs " + RoleText(verdict.needed) + neededBy + ", and " +
                     HeldText(policy, caller, verdict);
  if (verdict.restart && !policy.options().allowRestart) {
    text += verdict.held >= verdict.needed ? ", but" : "; besides,";
    text += " the service was started without --allow-restart: it restarts the machine for nobody";
  }
  return text + ".";
}

Decision InWords(const AccessPolicy& policy, const Caller& caller, const Action& action,
                 const Verdict& verdict) {
  Decision decision;
  decision.allowed = verdict.allowed;
  decision.status = verdict.allowed ? 0 : kStatusAccessDenied;
  decision.needed = verdict.needed;
  decision.held = verdict.held;
  const bool lineSets = verdict.setting != nullptr && !verdict.restartRaises;
  decision.neededBy = policy.Where(lineSets ? verdict.setting->number : 0);
  decision.heldBy = policy.Where(verdict.holding != nullptr ? verdict.holding->number : 0);
  if (verdict.restart && !policy.options().allowRestart && verdict.held >= verdict.needed) {
    decision.decidedBy = policy.Where(0);
  } else if (lineSets && verdict.holding != nullptr) {
    decision.decidedBy = decision.neededBy;
  } else {
    decision.decidedBy = decision.heldBy;
  }
  decision.sentence = Sentence(policy, caller, action, verdict);
  return decision;
}

std::string WhySubject(const SubjectLine& line, bool applies, bool decides) {
  if (!applies) {
    switch (line.kind) {
      case SubjectLine::Kind::kUser:
        return "the caller is another";
      case SubjectLine::Kind::kGroup:
        return "the caller is not in this group";
      case SubjectLine::Kind::kToken:
        return "the caller did not show this token";
    }
  }
  return decides ? "gives the caller " + RoleText(line.role)
                 : "another line gives the caller as much or more";
}

ConsideredLine Consider(const AccessPolicy& policy, const Caller& caller, const Verdict& verdict,
                        const SubjectLine& line) {
  const bool applies = Matches(line, caller);
  const bool decides = &line == verdict.holding;
  return {policy.Where(line.number), line.text, applies, decides,
          WhySubject(line, applies, decides)};
}

ConsideredLine Consider(const AccessPolicy& policy, const Action& action, const Verdict& verdict,
                        const ControlLine& line) {
  ConsideredLine considered{policy.Where(line.number), line.text, false, false, {}};
  considered.applies = action.kind == Action::Kind::kSendControl &&
                       line.Matches(action.interfaceId, action.selector, action.code);
  considered.decides = &line == verdict.setting && !verdict.restartRaises;
  if (!considered.applies) {
    considered.why = action.kind == Action::Kind::kSendControl ? "it is about another control"
                                                               : "no control is asked for";
  } else if (considered.decides) {
    considered.why = "sets what is needed to " + RoleText(line.role);
  } else if (&line == verdict.setting) {
    considered.why = "a restart needs admin all the same";
  } else {
    considered.why = "another line is closer to this control";
  }
  return considered;
}

// The rules that stand in no line.
void ConsiderRules(const AccessPolicy& policy, const Action& action, const Verdict& verdict,
                   std::vector<ConsideredLine>& lines) {
  const std::string where = policy.Where(0);
  if (verdict.holding == nullptr) {
    lines.push_back(
        {where, "whoever no line names holds no role", true, true, "no line names the caller"});
  }
  const bool lineSets = verdict.setting != nullptr && !verdict.restartRaises;
  const ActionRow& row = RowOf(action.kind);
  lines.push_back({where, "to " + std::string(row.text) + " needs " + RoleText(row.needed), true,
                   !lineSets && !verdict.restartRaises,
                   lineSets                ? "a control line says otherwise"
                   : verdict.restartRaises ? "a restart needs more"
                                           : "sets what is needed to " + RoleText(row.needed)});
  if (verdict.restart) {
    lines.push_back(
        {where, "to restart the machine needs admin", true, verdict.restartRaises,
         verdict.restartRaises ? "sets what is needed to admin" : "a control line says the same"});
    lines.push_back(
        {where, "the service restarts the machine only with --allow-restart", true,
         !policy.options().allowRestart,
         policy.options().allowRestart ? "it was started with it" : "it was started without it"});
  }
}

}  // namespace

std::string Action::Text() const {
  std::string text(RowOf(kind).text);
  if (kind == Kind::kSendControl) {
    text += " " + std::to_string(code) + ", selector " + std::to_string(selector) +
            ", through interface " + InterfaceText(interfaceId);
    if (IsRestart(interfaceId, code)) {
      text += " (restart the machine)";
    }
  }
  return text;
}

std::string_view Action::Name() const noexcept {
  return RowOf(kind).name;
}

Decision Decide(const AccessPolicy& policy, const Caller& caller, const Action& action) {
  return InWords(policy, caller, action, Judge(policy, caller, action));
}

Explanation Explain(const AccessPolicy& policy, const Caller& caller, const Action& action) {
  const Verdict verdict = Judge(policy, caller, action);
  Explanation explanation{InWords(policy, caller, action, verdict), {}};
  for (const SubjectLine& line : policy.subjects()) {
    explanation.lines.push_back(Consider(policy, caller, verdict, line));
  }
  for (const ControlLine& line : policy.controls()) {
    explanation.lines.push_back(Consider(policy, action, verdict, line));
  }
  ConsiderRules(policy, action, verdict, explanation.lines);
  return explanation;
}

std::vector<std::string> Explanation::Text() const {
  std::vector<std::string> text;
  text.reserve(lines.size() + 1);
  for (const ConsideredLine& line : lines) {
    std::string row = line.decides ? "* " : "  ";
    row += line.where + "  " + line.text;
    row += (line.applies ? "  - applies: " : "  - does not apply: ") + line.why;
    text.push_back(std::move(row));
  }
  text.push_back(decision.sentence);
  return text;
}

}  // namespace ktsvc::access
