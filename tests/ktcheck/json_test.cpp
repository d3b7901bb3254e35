// The verdict as JSON, held against what the documentation promises of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

using Json = nlohmann::json;
using Names = std::set<std::string>;

std::string Document() {
  const std::string document = ktsvc_test::ReadFile(KTCHECK_DOCUMENT);
  const std::size_t begin = document.find("## As JSON\n");
  return document.substr(begin, document.find("\n## ", begin + 1) - begin);
}

// What stands in the first column of the table behind these words.
Names TableBehind(const std::string& words) {
  const std::string document = Document();
  Names names;
  std::size_t at = document.find(words);
  at = at == std::string::npos ? at : document.find("\n|", at);
  while (at != std::string::npos && document.compare(at, 2, "\n|") == 0) {
    const std::size_t end = document.find('|', at + 2);
    const std::string cell = document.substr(at, end - at);
    for (std::size_t begin = cell.find('`'); begin != std::string::npos;
         begin = cell.find('`', begin + 1)) {
      const std::size_t close = cell.find('`', begin + 1);
      names.insert(cell.substr(begin + 1, close - begin - 1));
      begin = close;
    }
    at = document.find('\n', end);
  }
  return names;
}

Names KeysOf(const Json& object) {
  Names names;
  for (const auto& [key, value] : object.items()) names.insert(key);
  return names;
}

class JsonVerdict : public testing::Test {
 protected:
  const Json verdict_ = VerdictOn(BrokenModule("mismatched"), {"life", "names"});
};

TEST_F(JsonVerdict, HasTheMembersThatAreDocumentedAndNoOthers) {
  EXPECT_EQ(KeysOf(verdict_), TableBehind("## As JSON"));
}

TEST_F(JsonVerdict, HasChecksWithTheMembersThatAreDocumentedAndNoOthers) {
  for (const Json& check : verdict_.at("checks")) {
    EXPECT_EQ(KeysOf(check), TableBehind("A check has these:"));
  }
}

TEST_F(JsonVerdict, HasFindingsWithTheMembersThatAreDocumentedAndNoOthers) {
  const Json finding = FirstOf(verdict_, "wrong-free");
  ASSERT_TRUE(finding.is_object()) << verdict_;
  EXPECT_EQ(KeysOf(finding), TableBehind("A finding:"));
  EXPECT_EQ(KeysOf(finding.at("stacks").at(0)), (Names{"circumstance", "frames", "title"}));
}

TEST_F(JsonVerdict, NamesOnlyFiguresThatAreDocumented) {
  const Names documented = TableBehind("The figures, each");
  for (const Json& check : verdict_.at("checks")) {
    for (const auto& [key, value] : check.at("figures").items()) {
      EXPECT_EQ(documented.count(key), 1U) << key;
    }
  }
}

TEST_F(JsonVerdict, SaysItsFormatAndTheProgramsVersion) {
  EXPECT_EQ(verdict_.at("format"), 1);
  const std::string version = verdict_.at("ktcheck");
  EXPECT_EQ(RunKtcheck({"--version"}).output, "ktcheck " + version + "\n");
}

}  // namespace
}  // namespace ktcheck_test
