#include "access/token_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/access_error.h"
#include "access/line_reader.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kFirst = "0123456789abcdef0123456789abcdef";
const std::string kSecond = "Zq-_9876543210ZYXWVUTSRQPONMLKJIHGFEDCBA42w=";

TokenFile Parse(std::string_view text) {
  return TokenFile::Parse(text, "tokens");
}

TokenFile Two() {
  return Parse("# for scripts\nci " + kFirst + "\n\nbackup " + kSecond + " # x\n");
}

TEST(TokenFileVerify, KnowsEachTokenByItsSecret) {
  const TokenFile tokens = Two();
  const std::optional<Caller> first = tokens.Verify(kFirst);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->kind(), Caller::Kind::kToken);
  EXPECT_EQ(first->name(), "ci");
  EXPECT_THAT(first->groups(), IsEmpty());
  const std::optional<Caller> second = tokens.Verify(kSecond);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->name(), "backup");
}

TEST(TokenFileVerify, RefusesEverythingElse) {
  const TokenFile tokens = Two();
  for (const std::string& text :
       {""s, "ci"s, kFirst.substr(1), kFirst.substr(0, 31), kFirst + "0", kFirst + kFirst,
        kFirst + "\n", " " + kFirst, "ci " + kFirst, "0123456789ABCDEF0123456789abcdef"s,
        kSecond.substr(0, kSecond.size() - 1), std::string(32, '\0'), std::string(100000, '0')}) {
    EXPECT_FALSE(tokens.Verify(text)) << text.substr(0, 80);
  }
}

TEST(TokenFileVerify, VerifiesNobodyWithoutTokens) {
  EXPECT_FALSE(TokenFile().Verify(""));
  EXPECT_FALSE(Parse("# none\n").Verify(""));
  EXPECT_FALSE(TokenFile().Verify(kFirst));
}

TEST(TokenFileNames, AreThoseOfTheFileInItsOrder) {
  EXPECT_THAT(Two().Names(), ElementsAre("ci", "backup"));
  EXPECT_THAT(TokenFile().Names(), IsEmpty());
}

TEST(TokenFileParse, TakesTheShortestAndTheLongestSecret) {
  for (const std::size_t length : {kMinSecretLength, kMaxSecretLength}) {
    const std::string secret(length, 'k');
    EXPECT_TRUE(Parse("ci " + secret).Verify(secret)) << length;
  }
}

TEST(TokenFileParse, TakesTheLineEndsOfWindows) {
  EXPECT_TRUE(Parse("ci " + kFirst + "\r\n").Verify(kFirst));
}

struct FaultRow {
  std::string text;
  std::size_t line;
  std::size_t column;
  std::string reason;
};

std::vector<FaultRow> Rows() {
  return {
      {"topsecretpart", 1, 1, "the line has 1 words, not 2"},
      {"ci topsecretpart" + kFirst + " x", 1, 50, "the line has 3 words, not 2"},
      {"ci\ttopsecretpart", 1, 4, "the secret has 13 characters; 32 to 512 are allowed"},
      {"topsecretpart" + kFirst + " ci", 1, 47,
       "the secret has 2 characters; 32 to 512 are allowed"},
      {"ci topsecretpart" + std::string(512, 'a'), 1, 4,
       "the secret has 525 characters; 32 to 512 are allowed"},
      {"ci topsecretpart+/" + kFirst, 1, 4,
       "the secret has characters other than letters, digits, - and _"},
      {"ci =topsecretpart" + kFirst, 1, 4,
       "the secret has characters other than letters, digits, - and _"},
      {"ci topsecretpart" + kFirst + "===", 1, 4,
       "the secret has characters other than letters, digits, - and _"},
      {"ci:topsecretpart " + kFirst, 1, 1, "the first word is no name of a token"},
      {"topsecretpart" + std::string(64, 'a') + " " + kFirst, 1, 1,
       "the first word is no name of a token"},
      {"topsecretpart " + kFirst + "\ntopsecretpart " + kSecond, 2, 1,
       "the name stands in line 1 already"},
      {"a topsecretpart" + kFirst + "\n\nb topsecretpart" + kFirst, 3, 3,
       "the secret stands in line 1 already"},
      {"ci topsecretpart\0"s + kFirst, 1, 17, "the line holds a zero byte"},
      {"ci topsecretpart\xFF" + kFirst, 1, 17, "the line is not UTF-8"},
      {"ci topsecretpart" + std::string(kMaxLineBytes, 'a'), 1, kMaxLineBytes + 1,
       "the line has 1040 bytes, 1024 are allowed"},
  };
}

TEST(TokenFileParse, AnswersAFaultWithPlaceReasonAndAdviceAndQuotesNothing) {
  for (const FaultRow& row : Rows()) {
    try {
      Parse(row.text);
      ADD_FAILURE() << "taken: " << row.text;
    } catch (const AccessError& error) {
      EXPECT_EQ(error.file(), "tokens");
      EXPECT_EQ(error.line(), row.line) << row.text;
      EXPECT_EQ(error.column(), row.column) << row.text;
      EXPECT_EQ(error.reason(), row.reason) << row.text;
      EXPECT_FALSE(error.advice().empty()) << row.text;
      EXPECT_THAT(error.what() + error.advice(), Not(HasSubstr("topsecretpart"))) << row.text;
      EXPECT_THAT(error.what() + error.advice(), Not(HasSubstr(kFirst))) << row.text;
    }
  }
}

TEST(TokenFileLoad, ReadsAFile) {
  const TemporaryFolder folder;
  const TokenFile tokens = TokenFile::Load(folder.File("tokens", "ci " + kFirst + "\n"));
  EXPECT_TRUE(tokens.Verify(kFirst));
}

TEST(TokenFileLoad, RefusesAFileThatIsTooLarge) {
  const TemporaryFolder folder;
  const std::string text = "ci " + kFirst + "\n";
  const std::string filled = text + std::string(kMaxTokenFileBytes - text.size(), '\n');
  EXPECT_TRUE(TokenFile::Load(folder.File("tokens", filled)).Verify(kFirst));
  EXPECT_THROW(TokenFile::Load(folder.File("larger", filled + "\n")), AccessError);
}

}  // namespace
}  // namespace ktsvc::access
