#include "access/line_reader.h"

#include <gtest/gtest.h>

#include "access/access_error.h"

namespace ktsvc::access {
namespace {

using namespace std::string_literals;

const std::string kFile = "some.conf";

// The lines as "number[word@column,word@column]".
std::vector<std::string> Lines(std::string_view text) {
  LineReader reader(text, kFile);
  std::vector<std::string> lines;
  for (Line line; reader.Next(line);) {
    std::string shown = std::to_string(line.number) + "[";
    for (const Word& word : line.words) {
      shown += (&word == line.words.data() ? "" : ",") + std::string(word.text) + "@" +
               std::to_string(word.column);
    }
    lines.push_back(shown + "]");
  }
  return lines;
}

using Expected = std::vector<std::string>;

TEST(LineReader, FindsNothingInAnEmptyFile) {
  EXPECT_EQ(Lines(""), Expected());
}

TEST(LineReader, PassesOverBlankLinesAndComments) {
  EXPECT_EQ(Lines("\n  \n\t\n# a\n   # b\n#\n"), Expected());
}

TEST(LineReader, GivesWordsWithTheirColumns) {
  EXPECT_EQ(Lines("user alice admin\n"), Expected{"1[user@1,alice@6,admin@12]"});
}

TEST(LineReader, CountsLinesThatItPassesOver) {
  EXPECT_EQ(Lines("# one\n\na\n# four\nb\n"), (Expected{"3[a@1]", "5[b@1]"}));
}

TEST(LineReader, TakesBlanksAndTabsBetweenWordsAndAroundThem) {
  EXPECT_EQ(Lines("\t a \t b \t\n"), Expected{"1[a@3,b@7]"});
}

TEST(LineReader, TakesALastLineWithoutLineFeed) {
  EXPECT_EQ(Lines("a\nb"), (Expected{"1[a@1]", "2[b@1]"}));
}

TEST(LineReader, TakesLinesThatEndInCarriageReturnAndLineFeed) {
  EXPECT_EQ(Lines("a\r\n\r\n# c\r\nb\r\n"), (Expected{"1[a@1]", "4[b@1]"}));
  EXPECT_EQ(Lines("a\r"), Expected{"1[a@1]"});
}

TEST(LineReader, PassesOverAByteOrderMark) {
  EXPECT_EQ(Lines("\xEF\xBB\xBF"
                  "a b\n"),
            Expected{"1[a@1,b@3]"});
}

TEST(LineReader, EndsALineAtAWordThatBeginsWithANumberSign) {
  EXPECT_EQ(Lines("a b # c\n"), Expected{"1[a@1,b@3]"});
  EXPECT_EQ(Lines("a #b c\n"), Expected{"1[a@1]"});
}

TEST(LineReader, KeepsANumberSignInsideAWord) {
  EXPECT_EQ(Lines("a#b c#\n"), Expected{"1[a#b@1,c#@5]"});
}

TEST(LineReader, CountsColumnsInCharacters) {
  EXPECT_EQ(Lines("j\xC3\xB6rg \xE2\x82\xAC \xF0\x9F\x92\xBE x\n"),
            Expected{"1[j\xC3\xB6rg@1,\xE2\x82\xAC@6,\xF0\x9F\x92\xBE@8,x@10]"});
}

TEST(LineReader, TakesALineOfTheLongestLengthAndRefusesALongerOne) {
  EXPECT_EQ(Lines(std::string(kMaxLineBytes, 'x') + "\r\n").size(), 1U);
  EXPECT_THROW(Lines(std::string(kMaxLineBytes + 1, 'x') + "\n"), AccessError);
  EXPECT_THROW(Lines("#" + std::string(kMaxLineBytes, 'x')), AccessError);
}

struct FaultRow {
  const char* what;
  std::string text;
  std::size_t line;
  std::size_t column;
  const char* reason;
};

TEST(LineReader, RefusesForeignBytesWithLineColumnAndReason) {
  const std::vector<FaultRow> rows{
      {"zero byte", "a\nab\0c\n"s, 2, 3, "the line holds a zero byte"},
      {"zero byte alone", "\0"s, 1, 1, "the line holds a zero byte"},
      {"zero byte in a comment", "# x\0"s, 1, 4, "the line holds a zero byte"},
      {"carriage return in the middle", "a\rb\n", 1, 2, "the line holds a control character"},
      {"two carriage returns", "a\r\r\n", 1, 2, "the line holds a control character"},
      {"escape", "\x1B[1m\n", 1, 1, "the line holds a control character"},
      {"delete", "a\x7F", 1, 2, "the line holds a control character"},
      {"upper control character", "\xC3\xB6\xC2\x9B", 1, 2, "the line holds a control character"},
      {"lone continuation", "ab\x80\n", 1, 3, "the line is not UTF-8"},
      {"cut sequence", "a\xC3\n", 1, 2, "the line is not UTF-8"},
      {"cut at the end of the file", "a\xE2\x82", 1, 2, "the line is not UTF-8"},
      {"overlong slash", "\xC0\xAF", 1, 1, "the line is not UTF-8"},
      {"overlong of three", "\xE0\x80\xAF", 1, 1, "the line is not UTF-8"},
      {"overlong of four", "\xF0\x80\x80\xAF", 1, 1, "the line is not UTF-8"},
      {"surrogate", "x\xED\xA0\x80", 1, 2, "the line is not UTF-8"},
      {"beyond the last character", "\xF4\x90\x80\x80", 1, 1, "the line is not UTF-8"},
      {"byte that never occurs", "\xFF", 1, 1, "the line is not UTF-8"},
      {"Latin 1 after a character", "\xC3\xB6 \xF6", 1, 3, "the line is not UTF-8"},
      {"malformed before a zero byte", "\xFF\0"s, 1, 1, "the line is not UTF-8"},
      {"UTF-16", "a\0b\0"s, 1, 2, "the line holds a zero byte"},
  };
  for (const FaultRow& row : rows) {
    try {
      Lines(row.text);
      ADD_FAILURE() << row.what << ": taken";
    } catch (const AccessError& error) {
      EXPECT_EQ(error.line(), row.line) << row.what;
      EXPECT_EQ(error.column(), row.column) << row.what;
      EXPECT_EQ(error.reason(), row.reason) << row.what;
      EXPECT_FALSE(error.advice().empty()) << row.what;
    }
  }
}

TEST(FirstMalformedByte, AgreesWithTheRangeOfEveryCharacter) {
  // Every code point in its shortest form, surrogates left out, is well-formed.
  for (std::uint32_t point = 0; point <= 0x10FFFF; point += point < 0x10000 ? 1 : 257) {
    std::string text;
    const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
      add(point);
    } else if (point < 0x800) {
      add(0xC0U | (point >> 6U));
      add(0x80U | (point & 0x3FU));
    } else if (point < 0x10000) {
      add(0xE0U | (point >> 12U));
      add(0x80U | ((point >> 6U) & 0x3FU));
      add(0x80U | (point & 0x3FU));
    } else {
      add(0xF0U | (point >> 18U));
      add(0x80U | ((point >> 12U) & 0x3FU));
      add(0x80U | ((point >> 6U) & 0x3FU));
      add(0x80U | (point & 0x3FU));
    }
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    ASSERT_EQ(FirstMalformedByte(text), surrogate ? 0 : text.size()) << point;
  }
}

TEST(QuotedWord, ReplacesControlCharactersAndCutsWhatIsLong) {
  EXPECT_EQ(QuotedWord("alice"), "\"alice\"");
  EXPECT_EQ(QuotedWord("a\tb\x1B"), "\"a?b?\"");
  EXPECT_EQ(QuotedWord(std::string(64, 'x')), "\"" + std::string(64, 'x') + "\"");
  EXPECT_EQ(QuotedWord(std::string(65, 'x')), "\"" + std::string(64, 'x') + "...\"");
}

TEST(QuotedWord, ReplacesUpperControlCharactersToo) {
  EXPECT_EQ(QuotedWord("a\xC2\x9B"
                       "31m\xC2\xA0"),
            "\"a?31m\xC2\xA0\"");
}

TEST(QuotedWord, CutsBetweenCharacters) {
  EXPECT_EQ(QuotedWord(std::string(63, 'x') + "\xE2\x82\xAC"),
            "\"" + std::string(63, 'x') + "...\"");
}

TEST(AccessError, SaysWhereAsFarAsItIsKnown) {
  EXPECT_STREQ(AccessError("f", 3, 7, "bad", "x").what(), "f:3:7: bad");
  EXPECT_STREQ(AccessError("f", 3, 0, "bad", "x").what(), "f:3: bad");
  EXPECT_STREQ(AccessError("f", 0, 0, "bad", "x").what(), "f: bad");
}

}  // namespace
}  // namespace ktsvc::access
