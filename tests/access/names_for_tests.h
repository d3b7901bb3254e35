// A directory of users and groups that a test fills.
#pragma once

#include <map>
#include <string>

#include "access/access_system.h"

namespace ktsvc::access {

class NamesForTests final : public NameDirectory {
 public:
  bool hasUsers = true;
  std::map<std::string, std::uint32_t> users{{"root", 0}, {"alice", 1000}, {"bob", 1001}};
  std::map<std::string, std::uint32_t> groups{{"root", 0}, {"disk", 6}, {"storage", 990}};
  // The first name of a number that has several.
  std::map<std::uint32_t, std::string> firstNames;

  [[nodiscard]] bool HasUsers() const override { return hasUsers; }
  [[nodiscard]] std::optional<std::uint32_t> UserId(const std::string& name) const override {
    return Find(users, name);
  }
  [[nodiscard]] std::optional<std::uint32_t> GroupId(const std::string& name) const override {
    return Find(groups, name);
  }
  [[nodiscard]] std::string UserName(std::uint32_t id) const override { return Name(users, id); }
  [[nodiscard]] std::string GroupName(std::uint32_t id) const override { return Name(groups, id); }

 private:
  using Entries = std::map<std::string, std::uint32_t>;

  static std::optional<std::uint32_t> Find(const Entries& entries, const std::string& name) {
    const auto found = entries.find(name);
    return found == entries.end() ? std::nullopt : std::optional(found->second);
  }
  [[nodiscard]] std::string Name(const Entries& entries, std::uint32_t id) const {
    if (const auto first = firstNames.find(id); first != firstNames.end()) {
      return first->second;
    }
    for (const auto& [name, number] : entries) {
      if (number == id) {
        return name;
      }
    }
    return {};
  }
};

}  // namespace ktsvc::access
