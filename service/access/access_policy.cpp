#include "access/access_policy.h"

#include <algorithm>
#include <utility>

#include "access/interface_names.h"
#include "access/policy_parser.h"

namespace ktsvc::access {

bool ControlLine::Matches(const KtGuid& interface, std::uint32_t theSelector,
                          std::uint32_t theCode) const noexcept {
  return SameGuid(interfaceId, interface) && selector.value_or(theSelector) == theSelector &&
         code.value_or(theCode) == theCode;
}

AccessPolicy::AccessPolicy(std::string file, PolicyOptions options)
    : file_(std::move(file)), options_(options) {}

AccessPolicy AccessPolicy::Default(std::optional<std::uint32_t> ownUser, PolicyOptions options) {
  AccessPolicy policy(std::string(), options);
  if (ownUser) {
    const auto admin = [](std::uint32_t id) {
      return SubjectLine{SubjectLine::Kind::kUser,
                         {},
                         id,
                         Role::kAdmin,
                         0,
                         "user " + std::to_string(id) + " admin"};
    };
    policy.subjects_.push_back(admin(0));
    if (*ownUser != 0) {
      policy.subjects_.push_back(admin(*ownUser));
    }
  }
  return policy;
}

AccessPolicy AccessPolicy::Parse(std::string_view text, const std::string& file,
                                 const NameDirectory& names, PolicyOptions options) {
  AccessPolicy policy(file, options);
  PolicyParser(policy, names).Parse(text);
  return policy;
}

AccessPolicy AccessPolicy::Load(const std::filesystem::path& file, PolicyOptions options) {
  const std::string text =
      ReadGuardedFile(file, FileGuard::kWrittenByOwnerOnly, kMaxAccessFileBytes);
  return Parse(text, FileText(file), SystemNames(), options);
}

std::string AccessPolicy::Where(std::size_t number) const {
  return number == 0 ? std::string("default") : file_ + ":" + std::to_string(number);
}

std::vector<std::string> AccessPolicy::CompareTokens(const std::vector<std::string>& names) const {
  std::vector<std::string> warnings;
  for (const SubjectLine& line : subjects_) {
    if (line.kind == SubjectLine::Kind::kToken &&
        std::find(names.begin(), names.end(), line.name) == names.end()) {
      warnings.push_back(Where(line.number) + ": there is no token " + line.name +
                         " in the token file");
    }
  }
  for (const std::string& name : names) {
    const bool named = std::any_of(subjects_.begin(), subjects_.end(), [&](const auto& line) {
      return line.kind == SubjectLine::Kind::kToken && line.name == name;
    });
    if (!named) {
      warnings.push_back("token " + name + " is refused everything: " +
                         (isDefault() ? std::string("there is no access file")
                                      : "no line of " + file_ + " names it"));
    }
  }
  return warnings;
}

bool IsTokenName(std::string_view name) noexcept {
  constexpr std::string_view kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-@";
  return !name.empty() && name.size() <= 64 &&
         name.find_first_not_of(kAllowed) == std::string_view::npos;
}

}  // namespace ktsvc::access
