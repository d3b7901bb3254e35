// The trace: formats as the Microsoft C run-time prints them, the level, the sinks.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class TraceFormatTest : public BusTest {
 protected:
  template <typename... Arguments>
  std::string Text(const char* format, Arguments... arguments) {
    KtTrace(6, format, arguments...);
    return Traces().empty() ? "(nothing)" : Traces().back().text;
  }
};

TEST_F(TraceFormatTest, PrintsIntegersOf32Bits) {
  EXPECT_EQ(Text("%d|%i|%u", -5, 7, 4294967295U), "-5|7|4294967295");
  EXPECT_EQ(Text("%x|%X|%o", 0xDEADBEEFU, 0xDEADBEEFU, 8U), "deadbeef|DEADBEEF|10");
  EXPECT_EQ(Text("%ld|%lu|%lx", -1, 4294967295U, 0xC1000001U), "-1|4294967295|c1000001");
}

TEST_F(TraceFormatTest, ReadsALongConversionAs32BitsAndTheNextArgumentStaysInStep) {
  EXPECT_EQ(Text("%lu %s %lx %s", 1U, "a", 2U, "b"), "1 a 2 b");
}

TEST_F(TraceFormatTest, TakesOnly32BitsOfAWiderArgument) {
  EXPECT_EQ(Text("%d %x %lu", std::uint64_t{0x1'0000'0005}, std::uint64_t{0xFFFF'FFFF'0000'000A},
                 std::uint64_t{0x2'0000'0003}),
            "5 a 3");
}

TEST_F(TraceFormatTest, PrintsIntegersOf64Bits) {
  const std::int64_t least = INT64_MIN;
  const std::uint64_t most = UINT64_MAX;
  EXPECT_EQ(Text("%I64d|%I64u|%I64x|%I64X", least, most, most, most),
            "-9223372036854775808|18446744073709551615|ffffffffffffffff|FFFFFFFFFFFFFFFF");
  EXPECT_EQ(Text("%lld|%llu|%llx", least, most, most),
            "-9223372036854775808|18446744073709551615|ffffffffffffffff");
  EXPECT_EQ(Text("%I32d|%Iu|%zu", -3, std::uint64_t{1} << 40U, std::uint64_t{1} << 40U),
            "-3|1099511627776|1099511627776");
}

TEST_F(TraceFormatTest, NarrowsShortAndCharacterConversions) {
  EXPECT_EQ(Text("%hd|%hu|%hhd|%hhx", 65535, 65536 + 7, 255, 0x1FF), "-1|7|-1|ff");
}

TEST_F(TraceFormatTest, PrintsNarrowAndWideText) {
  EXPECT_EQ(Text("%s|%S", "narrow", KT_W("wide \u20AC")), "narrow|wide \xE2\x82\xAC");
  EXPECT_EQ(Text("%hs|%ls|%ws|%hS", "a", KT_W("b"), KT_W("c"), "d"), "a|b|c|d");
}

TEST_F(TraceFormatTest, PrintsCharactersBeyondTheBasicPlane) {
  const KtWchar text[] = {0xD83D, 0xDE00, 0};
  EXPECT_EQ(Text("%S", text), "\xF0\x9F\x98\x80");
}

TEST_F(TraceFormatTest, MakesALoneSurrogateVisible) {
  const KtWchar text[] = {'a', 0xD83D, 'b', 0};
  EXPECT_EQ(Text("%S", text),
            "a\xEF\xBF\xBD"
            "b");
}

TEST_F(TraceFormatTest, PrintsNullForANullText) {
  const char* const none = nullptr;
  const KtWchar* const wide_none = nullptr;
  EXPECT_EQ(Text("[%s][%S][%8s][%.3s]", none, wide_none, none, none),
            "[(null)][(null)][  (null)][(nu]");
}

TEST_F(TraceFormatTest, PrintsCharactersPointersAndPercent) {
  EXPECT_EQ(Text("%c%C%%", 'a', 0x20AC), "a\xE2\x82\xAC%");
  EXPECT_EQ(Text("%p", std::bit_cast<void*>(std::uint64_t{0xABC123})), "0000000000ABC123");
}

struct FormatCase {
  const char* format;
  int value;
  const char* text;
};

TEST_F(TraceFormatTest, HonoursFlagsWidthAndPrecisionOfIntegers) {
  const std::vector<FormatCase> cases{
      {"[%5d]", 42, "[   42]"},
      {"[%-5d]", 42, "[42   ]"},
      {"[%05d]", 42, "[00042]"},
      {"[%05d]", -42, "[-0042]"},
      {"[%+d]", 42, "[+42]"},
      {"[% d]", 42, "[ 42]"},
      {"[%.4d]", 42, "[0042]"},
      {"[%8.4d]", 42, "[    0042]"},
      {"[%-8.4d]", -42, "[-0042   ]"},
      {"[%08.4d]", 42, "[    0042]"},
      {"[%.0d]", 0, "[]"},
      {"[%#x]", 255, "[0xff]"},
      {"[%#X]", 255, "[0XFF]"},
      {"[%#o]", 8, "[010]"},
      {"[%#x]", 0, "[0]"},
      {"[0x%08x]", 0x103, "[0x00000103]"},
      {"[%2d]", 12345, "[12345]"},
      {"[%+.2d]", 3, "[+03]"},
      {"[%#06x]", 10, "[0x000a]"},
      {"[%-06d]", 7, "[7     ]"},
      {"[%c]", 'x', "[x]"},
      {"[%3c]", 'x', "[  x]"},
  };
  for (const FormatCase& one : cases)
    EXPECT_EQ(Text(one.format, one.value), one.text) << one.format;
}

TEST_F(TraceFormatTest, HonoursWidthAndPrecisionOfTexts) {
  EXPECT_EQ(Text("[%5s][%-5s][%.2s][%5.1s]", "abc", "abc", "abc", "abc"),
            "[  abc][abc  ][ab][    a]");
  EXPECT_EQ(Text("[%5S][%-5S][%.2S]", KT_W("abc"), KT_W("abc"), KT_W("abc")), "[  abc][abc  ][ab]");
}

TEST_F(TraceFormatTest, CutsWideTextBetweenCharacters) {
  EXPECT_EQ(Text("%.1S", KT_W("\u20AC\u20AC")), "\xE2\x82\xAC");
  EXPECT_EQ(Text("%.2S", KT_W("a\U0001F4BE")), "a") << "half a pair is no character";
}

TEST_F(TraceFormatTest, CountsTheUnitsOfWideTextForItsWidthAndPrecision) {
  EXPECT_EQ(Text("[%5S]", KT_W("\u20AC\u20AC")), "[   \xE2\x82\xAC\xE2\x82\xAC]");
  EXPECT_EQ(Text("[%-5.1S]", KT_W("\u20AC\u20AC")), "[\xE2\x82\xAC    ]");
  EXPECT_EQ(Text("[%.3S]", KT_W("a\U0001F4BE")), "[a\xF0\x9F\x92\xBE]");
}

TEST_F(TraceFormatTest, ATextWithAPrecisionNeedNotBeTerminated) {
  const char text[] = {'a', 'b', 'c'};
  EXPECT_EQ(Text("%.3s", text), "abc");
}

TEST_F(TraceFormatTest, EndsATextBeforeItsPrecisionDoes) {
  EXPECT_EQ(Text("[%.9s][%.9S][%.0S]", "ab", KT_W("ab"), KT_W("ab")), "[ab][ab][]");
}

TEST_F(TraceFormatTest, TakesWidthAndPrecisionFromTheArguments) {
  EXPECT_EQ(Text("[%*d][%-*d][%*d]", 5, 1, 5, 2, -5, 3), "[    1][2    ][3    ]");
  EXPECT_EQ(Text("[%.*s][%.*s][%*.*s]", 2, "abc", -1, "abc", 4, 1, "abc"), "[ab][abc][   a]");
}

TEST_F(TraceFormatTest, BoundsAnAbsurdWidth) {
  EXPECT_LE(Text("%2147483647d", 1).size(), 65536U);
  EXPECT_LE(Text("%*d", INT32_MIN, 1).size(), 65536U);
  EXPECT_LE(Text("%.2147483647d", 1).size(), 65536U);
}

TEST_F(TraceFormatTest, PrintsFloatingPointNumbers) {
  EXPECT_EQ(Text("%f|%.2f|%8.3f|%-8.1f|%+.0f", 1.5, 2.345, 3.14159, 2.5, 7.0),
            "1.500000|2.35|   3.142|2.5     |+7");
  EXPECT_EQ(Text("%e|%E|%g|%08.2f", 12345.678, 0.5, 0.0001, -1.5),
            "1.234568e+04|5.000000E-01|0.0001|-0001.50");
}

TEST_F(TraceFormatTest, PrintsFloatingPointNumbersInHexadecimal) {
  EXPECT_EQ(Text("%a|%A|%.1a|%12a", 1.5, 1.5, 1.0, -0.25),
            "0x1.8p+0|0X1.8P+0|0x1.0p+0|     -0x1p-2");
  EXPECT_EQ(Text("%a|%08A", std::numeric_limits<double>::infinity(),
                 -std::numeric_limits<double>::infinity()),
            "inf|    -INF");
}

TEST_F(TraceFormatTest, PutsAZeroBeforeAnOctalNumberWithTheNumberSign) {
  EXPECT_EQ(Text("%#o|%#o|%#.4o|%#.0o", 8, 0, 8, 0), "010|0|0010|0");
}

TEST_F(TraceFormatTest, KeepsThePointAndTheZerosOfANumberWithTheNumberSign) {
  EXPECT_EQ(Text("%#.0f|%#.0e|%#.0a", 3.0, 3.0, 1.0), "3.|3.e+00|0x1.p+0");
  EXPECT_EQ(Text("%#g|%#g|%#.3g|%#.0g|%#g", 0.0, 1.5, 1e9, 2.0, 0.00125),
            "0.00000|1.50000|1.00e+09|2.|0.00125000");
  EXPECT_EQ(Text("%#f|%#G", 0.5, -100000.0), "0.500000|-100000.");
  EXPECT_EQ(Text("%#g", std::numeric_limits<double>::infinity()), "inf");
}

TEST_F(TraceFormatTest, PrintsABareLongConversionAsItStands) {
  EXPECT_EQ(Text("ret=%l"), "ret=%l");
}

TEST_F(TraceFormatTest, ABareLongConversionTakesNoArgument) {
  EXPECT_EQ(Text("RegOpenKeyEx(%S) Failed. ret=%l", KT_W("key"), 2),
            "RegOpenKeyEx(key) Failed. ret=%l");
  EXPECT_EQ(Text("%l %d", 7), "%l 7");
  EXPECT_EQ(Text("%l%d", 7), "%l7");
}

TEST_F(TraceFormatTest, PrintsWhatIsNoConversionAsItStands) {
  EXPECT_EQ(Text("100%"), "100%");
  EXPECT_EQ(Text("%y %d", 1), "%y 1");
  EXPECT_EQ(Text("%-08.3q|%d", 1), "%-08.3q|1");
  EXPECT_EQ(Text("%n %d", 1), "%n 1");
  EXPECT_EQ(Text("%*y %d", 1), "%*y 1");
  EXPECT_EQ(Text("%I64"), "%I64");
  EXPECT_EQ(Text("%5"), "%5");
  EXPECT_EQ(Text("% "), "% ");
}

TEST_F(TraceFormatTest, PrintsATextOfAnyLengthWhole) {
  const std::string text(100000, 'x');
  EXPECT_EQ(Text("<%s>", text.c_str()), "<" + text + ">");
}

TEST_F(TraceFormatTest, ANullFormatIsNoCrash) {
  EXPECT_EQ(Text(nullptr), "(null)");
}

TEST_F(TraceFormatTest, KeepsALineEndForTheCallback) {
  EXPECT_EQ(Text("a\n"), "a\n");
}

using TraceLevelTest = BusTest;

TEST_F(TraceLevelTest, LetsThroughWhatIsAtLeastTheLevel) {
  KtSetTraceLevel(4);
  KtTrace(3, "below");
  KtTrace(4, "at");
  KtTrace(5, "above");
  EXPECT_FALSE(HasTrace(3, "below"));
  EXPECT_TRUE(HasTrace(4, "at"));
  EXPECT_TRUE(HasTrace(5, "above"));
}

TEST_F(TraceLevelTest, SettingTheLevelReturnsThePreviousOne) {
  KtSetTraceLevel(5);
  EXPECT_EQ(KtSetTraceLevel(3), 5U);
  EXPECT_EQ(KtBusTraceLevel(), 3U);
}

class TraceSinkTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    path_ = std::filesystem::temp_directory_path() /
            ("bus_trace_" + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + ".log");
    std::filesystem::remove(path_);
  }
  void TearDown() override {
    KtBusTraceToFile(nullptr);
    std::filesystem::remove(path_);
    BusTest::TearDown();
  }
  std::string Path() const {
    const std::u8string text = path_.u8string();
    return {text.begin(), text.end()};
  }
  std::vector<std::string> Lines() const {
    std::ifstream file(path_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }
  std::filesystem::path path_;
};

TEST_F(TraceSinkTest, AFileGetsTimeStampLevelAndText) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  KtTrace(6, "hello %d", 1);
  ASSERT_EQ(Lines().size(), 1U);
  EXPECT_TRUE(std::regex_match(
      Lines()[0],
      std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z \\[6\\] hello 1\r?")))
      << Lines()[0];
}

TEST_F(TraceSinkTest, AFileIsAppendedTo) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  KtTrace(6, "one");
  ASSERT_EQ(KtBusTraceToFile(nullptr), kOk);
  KtTrace(6, "nowhere");
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  KtTrace(6, "two");
  ASSERT_EQ(Lines().size(), 2U);
  EXPECT_THAT(Lines()[1], testing::EndsWith("two"));
}

TEST_F(TraceSinkTest, OneTraceIsOneLineInAFile) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  KtTrace(1, "Type %s adding superclass %s \n", "a", "b");
  KtTrace(1, "two\nlines\r\n");
  ASSERT_EQ(Lines().size(), 2U);
  EXPECT_THAT(Lines()[0], testing::EndsWith("Type a adding superclass b "));
  EXPECT_THAT(Lines()[1], testing::EndsWith("two\\nlines"));
  KtTrace(1, "over\rwritten\xC2\xA0\xC2");
  EXPECT_THAT(Lines().back(), testing::EndsWith("over\\rwritten\xC2\xA0\xC2"));
}

TEST_F(TraceSinkTest, WhatATerminalWouldObeyIsMadeVisible) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  KtTrace(6, "a\x1B[2Jb\x07\tc\x7F\xC2\x9B\xC3\x9B");
  ASSERT_EQ(Lines().size(), 1U);
  EXPECT_THAT(Lines()[0], testing::EndsWith("] a\\x1b[2Jb\\x07\tc\\x7f\\xc2\\x9b\xC3\x9B"));
}

TEST_F(TraceSinkTest, AFileThatCannotBeOpenedIsAStatusAndThePreviousOneStays) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  EXPECT_EQ(KtBusTraceToFile((Path() + ".missing/folder/file").c_str()), KTBUS_TRACE_FILE_FAILED);
  KtTrace(6, "still here");
  EXPECT_EQ(Lines().size(), 1U);
}

TEST_F(TraceSinkTest, StandardErrorGetsLinesWhileItIsOn) {
  testing::internal::CaptureStderr();
  KtBusTraceToStderr(1);
  KtTrace(6, "to stderr");
  KtBusTraceToStderr(0);
  KtTrace(6, "not to stderr");
  std::fflush(stderr);
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_THAT(text, testing::HasSubstr("Z [6] to stderr\n"));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("not to stderr")));
}

TEST_F(TraceSinkTest, ACallbackMayTraceItselfWithoutBeingCalledAgain) {
  struct Count {
    int calls = 0;
    KtStatus end = 0;
  } count;
  ASSERT_EQ(KtBusTraceToCallback(
                [](std::uint32_t, const char*, void* context) {
                  Count& seen = *static_cast<Count*>(context);
                  ++seen.calls;
                  KtTrace(6, "from inside");
                  seen.end = KtBusTraceToCallback(nullptr, nullptr);
                },
                &count),
            kOk);
  KtTrace(6, "outside");
  EXPECT_EQ(count.calls, 1);
  EXPECT_EQ(count.end, kInvalid);
}

TEST_F(TraceSinkTest, LinesOfManyThreadsStayWhole) {
  ASSERT_EQ(KtBusTraceToFile(Path().c_str()), kOk);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i) KtTrace(6, "%s", "abcdefghijklmnopqrstuvwxyz");
    });
  }
  for (std::thread& thread : threads) thread.join();
  const auto lines = Lines();
  EXPECT_EQ(lines.size(), 800U);
  for (const std::string& line : lines) {
    EXPECT_TRUE(line.find("[6] abcdefghijklmnopqrstuvwxyz") != std::string::npos) << line;
  }
}

TEST_F(TraceSinkTest, ACallbackIsNotCalledAfterItWasTakenBack) {
  std::atomic<bool> stop{false};
  std::thread tracer([&] {
    while (!stop) KtTrace(6, "line");
  });
  for (int i = 0; i < 200; ++i) {
    auto counter = std::make_unique<std::atomic<int>>(0);
    KtBusTraceToCallback([](std::uint32_t, const char*,
                            void* context) { ++*static_cast<std::atomic<int>*>(context); },
                         counter.get());
    KtBusTraceToCallback(nullptr, nullptr);
    const int last = *counter;
    KtTrace(6, "nobody hears this");
    EXPECT_EQ(*counter, last);
  }
  stop = true;
  tracer.join();
}

}  // namespace
}  // namespace bus_test
