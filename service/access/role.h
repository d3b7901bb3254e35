// Role: how much a caller may do. Each role holds all that the ones before it hold.
//
// | Role     | May                                                    |
// |----------|--------------------------------------------------------|
// | none     | nothing: what a caller holds whom no line names        |
// | observer | read                                                   |
// | operator | also send controls, raise events, set the trace level  |
// | admin    | all                                                    |
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ktsvc::access {

enum class Role : std::uint8_t { kNone, kObserver, kOperator, kAdmin };

inline constexpr std::array<std::string_view, 4> kRoleNames{"none", "observer", "operator",
                                                            "admin"};

constexpr std::string_view RoleName(Role role) noexcept {
  return kRoleNames[static_cast<std::size_t>(role)];
}

// The role of that name as a file gives it; "none" is nothing that a file can give.
constexpr std::optional<Role> RoleFromName(std::string_view name) noexcept {
  for (const Role role : {Role::kObserver, Role::kOperator, Role::kAdmin}) {
    if (name == RoleName(role)) {
      return role;
    }
  }
  return std::nullopt;
}

}  // namespace ktsvc::access
