// PolicyParser: reads the text of an access file into a policy. access_policy.h gives the grammar.
//
// Threads: one thread for one parser.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "access/access_policy.h"
#include "access/line_reader.h"

namespace ktsvc::access {

class PolicyParser {
 public:
  // Both must outlive the parser. The policy is empty but for its file's name.
  PolicyParser(AccessPolicy& policy, const NameDirectory& names) : policy_(policy), names_(names) {}

  // Throws AccessError; the policy then holds the lines before the faulty one.
  void Parse(std::string_view text);

 private:
  // Where a statement about the same thing stands already.
  struct Earlier {
    std::size_t number;
    Role role;
  };

  void AddSubject(const Line& line, SubjectLine::Kind kind);
  void AddControl(const Line& line);
  void RefuseSecond(const Line& line, const std::string& key, const std::string& thing, Role role);

  [[nodiscard]] Role ReadRole(const Line& line, const Word& word) const;
  [[nodiscard]] std::optional<std::uint32_t> ReadNumberOrStar(const Line& line, const Word& word,
                                                              std::string_view what) const;
  void CheckWordCount(const Line& line, std::string_view form) const;
  [[noreturn]] void Fail(const Line& line, const Word& word, const std::string& reason,
                         const std::string& advice) const;

  void Warn(std::size_t number, const std::string& text);
  void WarnOfUnknown(const SubjectLine& subject);
  void WarnOfWhole();

  AccessPolicy& policy_;
  const NameDirectory& names_;
  std::map<std::string, Earlier, std::less<>> seen_;
};

}  // namespace ktsvc::access
