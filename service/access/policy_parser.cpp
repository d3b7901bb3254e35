#include "access/policy_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "access/access_error.h"
#include "access/interface_names.h"

namespace ktsvc::access {
namespace {

constexpr std::string_view kControlForm = "control INTERFACE SELECTOR|* CODE|* ROLE";

struct SubjectForm {
  std::string_view word;
  SubjectLine::Kind kind;
  std::string_view form;
};

constexpr std::array<SubjectForm, 3> kSubjectForms{{
    {"user", SubjectLine::Kind::kUser, "user NAME|UID ROLE"},
    {"group", SubjectLine::Kind::kGroup, "group NAME|GID ROLE"},
    {"token", SubjectLine::Kind::kToken, "token NAME ROLE"},
}};

const SubjectForm& FormOf(SubjectLine::Kind kind) {
  return kSubjectForms[static_cast<std::size_t>(kind)];
}

bool IsAllDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Decimal, or hexadecimal after 0x; the whole text, 32 bits at most.
std::optional<std::uint32_t> NumberFromText(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) {
    text.remove_prefix(2);
  }
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// The line with one blank between its words.
std::string EvenText(const Line& line) {
  std::string text;
  for (const Word& word : line.words) {
    text += text.empty() ? "" : " ";
    text += word.text;
  }
  return text;
}

std::string StarText(const std::optional<std::uint32_t>& number) {
  return number ? std::to_string(*number) : std::string("*");
}

}  // namespace

void PolicyParser::Parse(std::string_view text) {
  LineReader reader(text, policy_.file_);
  for (Line line; reader.Next(line);) {
    const std::string_view first = line.words.front().text;
    const auto form = std::find_if(kSubjectForms.begin(), kSubjectForms.end(),
                                   [&](const SubjectForm& each) { return each.word == first; });
    if (form != kSubjectForms.end()) {
      AddSubject(line, form->kind);
    } else if (first == "control") {
      AddControl(line);
    } else {
      Fail(line, line.words.front(), "unknown word " + QuotedWord(first),
           "A line begins with user, group, token or control.");
    }
  }
  WarnOfWhole();
}

void PolicyParser::Fail(const Line& line, const Word& word, const std::string& reason,
                        const std::string& advice) const {
  throw AccessError(policy_.file_, line.number, word.column, reason, advice);
}

void PolicyParser::CheckWordCount(const Line& line, std::string_view form) const {
  const auto wanted = static_cast<std::size_t>(std::count(form.begin(), form.end(), ' ')) + 1;
  const std::string advice = "Write: " + std::string(form);
  if (line.words.size() < wanted) {
    Fail(line, line.words.back(),
         "the line has " + std::to_string(line.words.size()) + " of " + std::to_string(wanted) +
             " words",
         advice);
  }
  if (line.words.size() > wanted) {
    Fail(line, line.words[wanted], QuotedWord(line.words[wanted].text) + " is one word too many",
         advice);
  }
}

Role PolicyParser::ReadRole(const Line& line, const Word& word) const {
  const std::optional<Role> role = RoleFromName(word.text);
  if (!role) {
    Fail(line, word, QuotedWord(word.text) + " is no role", "Write observer, operator or admin.");
  }
  return *role;
}

std::optional<std::uint32_t> PolicyParser::ReadNumberOrStar(const Line& line, const Word& word,
                                                            std::string_view what) const {
  if (word.text == "*") {
    return std::nullopt;
  }
  const std::optional<std::uint32_t> number = NumberFromText(word.text);
  if (!number) {
    Fail(line, word, QuotedWord(word.text) + " is no " + std::string(what),
         "Write a number from 0 to 4294967295, in hexadecimal after 0x, or * for any " +
             std::string(what) + ".");
  }
  return number;
}

void PolicyParser::RefuseSecond(const Line& line, const std::string& key, const std::string& thing,
                                Role role) {
  const auto [at, isNew] = seen_.try_emplace(key, Earlier{line.number, role});
  if (isNew) {
    return;
  }
  const Earlier& earlier = at->second;
  const std::string where = "line " + std::to_string(earlier.number);
  if (earlier.role == role) {
    Fail(line, line.words.front(), thing + " stands in " + where + " already",
         "Take one of the two lines out.");
  }
  Fail(line, line.words.front(),
       thing + " conflicts with " + where + ", which says " + std::string(RoleName(earlier.role)) +
           " where this line says " + std::string(RoleName(role)),
       "Keep the line that is meant, and take the other out.");
}

void PolicyParser::AddSubject(const Line& line, SubjectLine::Kind kind) {
  const SubjectForm& form = FormOf(kind);
  CheckWordCount(line, form.form);
  const Word& name = line.words[1];
  const std::string word(form.word);

  SubjectLine subject;
  subject.kind = kind;
  subject.number = line.number;
  subject.text = EvenText(line);
  if (kind == SubjectLine::Kind::kToken) {
    if (!IsTokenName(name.text)) {
      Fail(line, name, QuotedWord(name.text) + " is no name of a token",
           "Write 1 to 64 letters, digits or . _ - @ as in the token file.");
    }
    subject.name = std::string(name.text);
  } else if (IsAllDigits(name.text)) {
    subject.id = NumberFromText(name.text);
    // The highest number is the system's word for "none".
    if (!subject.id || *subject.id == std::numeric_limits<std::uint32_t>::max()) {
      Fail(line, name, QuotedWord(name.text) + " is no number of a " + word,
           "Write a number from 0 to 4294967294, or a name.");
    }
  } else if (name.text == "*") {
    Fail(line, name, "there is no line for every " + word,
         "Name each " + word + "; a group is the way to name many users at once.");
  } else if (name.text.find_first_of(":/") != std::string_view::npos) {
    Fail(line, name, QuotedWord(name.text) + " is no name of a " + word,
         "Write the name alone, or the number, as the command id prints them.");
  } else {
    subject.name = std::string(name.text);
  }
  subject.role = ReadRole(line, line.words[2]);

  const std::string shown = subject.id ? std::to_string(*subject.id) : subject.name;
  RefuseSecond(line, word + " " + shown, word + " " + shown, subject.role);
  WarnOfUnknown(subject);
  policy_.subjects_.push_back(std::move(subject));
}

void PolicyParser::AddControl(const Line& line) {
  CheckWordCount(line, kControlForm);
  const Word& interface = line.words[1];
  const std::optional<KtGuid> interfaceId = InterfaceFromText(interface.text);
  if (!interfaceId) {
    Fail(line, interface, QuotedWord(interface.text) + " is no interface",
         "Write one of " + InterfaceNameList() +
             ", or a GUID such as {01234567-89AB-CDEF-0123-456789ABCDEF}.");
  }
  ControlLine control;
  control.interfaceId = *interfaceId;
  control.selector = ReadNumberOrStar(line, line.words[2], "selector");
  control.code = ReadNumberOrStar(line, line.words[3], "control code");
  control.role = ReadRole(line, line.words[4]);
  control.number = line.number;
  control.text = EvenText(line);

  const std::string same = StarText(control.selector) + " " + StarText(control.code);
  RefuseSecond(line, "control " + GuidText(*interfaceId) + " " + same,
               "control " + InterfaceText(*interfaceId) + " " + same, control.role);
  if (control.code && IsRestart(*interfaceId, *control.code) && control.role < Role::kAdmin) {
    Warn(line.number, "the line has no effect: restarting the machine always needs admin");
  }
  policy_.controls_.push_back(std::move(control));
}

void PolicyParser::Warn(std::size_t number, const std::string& text) {
  policy_.warnings_.push_back(policy_.Where(number) + ": " + text);
}

void PolicyParser::WarnOfUnknown(const SubjectLine& subject) {
  if (subject.kind == SubjectLine::Kind::kToken || !names_.HasUsers() || subject.name.empty()) {
    return;
  }
  const bool isUser = subject.kind == SubjectLine::Kind::kUser;
  const std::optional<std::uint32_t> id =
      isUser ? names_.UserId(subject.name) : names_.GroupId(subject.name);
  const std::string shown = std::string(FormOf(subject.kind).word) + " " + subject.name;
  if (!id) {
    Warn(subject.number, "there is no " + shown + " on this machine");
    return;
  }
  // Two names may share a number; a caller is known by the first of them.
  const std::string first = isUser ? names_.UserName(*id) : names_.GroupName(*id);
  if (first != subject.name) {
    Warn(subject.number, shown + " has the number " + std::to_string(*id) + ", whose name is " +
                             first + ": the line matches nobody; write " + first + " or " +
                             std::to_string(*id));
  }
}

void PolicyParser::WarnOfWhole() {
  const std::vector<SubjectLine>& subjects = policy_.subjects_;
  const auto byToken = [](const SubjectLine& line) {
    return line.kind == SubjectLine::Kind::kToken;
  };
  if (!names_.HasUsers() && !std::all_of(subjects.begin(), subjects.end(), byToken)) {
    policy_.warnings_.push_back(policy_.file_ +
                                ": user and group lines match nobody on this system; callers are "
                                "known by their token alone");
  }
  const bool anyAdmin = std::any_of(subjects.begin(), subjects.end(), [&](const auto& line) {
    return line.role == Role::kAdmin && (names_.HasUsers() || byToken(line));
  });
  if (!anyAdmin) {
    policy_.warnings_.push_back(policy_.file_ + ": no line makes anyone admin");
  }
}

}  // namespace ktsvc::access
