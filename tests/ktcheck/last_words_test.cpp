// What is told of the output of a process that ended before its time.

#include "ktcheck/last_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "service/scratch_folder.h"

namespace ktcheck_test {
namespace {

using ktcheck::SaidLast;

class LastWords : public testing::Test {
 protected:
  SaidLast Of(const std::string& text) {
    const std::filesystem::path file = folder_.path() / "output";
    std::ofstream(file, std::ios::binary) << text;
    return ktcheck::WhatWasSaidLast(file);
  }

 private:
  ktsvc_test::ScratchFolder folder_;
};

TEST_F(LastWords, AreTheLastLines) {
  std::string text;
  for (int i = 1; i <= 30; ++i) text += "line " + std::to_string(i) + "\r\n";
  const SaidLast said = Of(text);
  EXPECT_EQ(said.sanitizer, "");
  ASSERT_EQ(said.lines.size(), 12U);
  EXPECT_EQ(said.lines.front(), "line 19");
  EXPECT_EQ(said.lines.back(), "line 30");
}

TEST_F(LastWords, OfASanitizerAreTheBeginningOfItsReport) {
  const SaidLast said =
      Of("before\n==7==ERROR: AddressSanitizer: heap-use-after-free on address 0x60 at pc 0x1\n"
         "READ of size 4\n==7==ERROR: LeakSanitizer: detected memory leaks\n");
  EXPECT_EQ(said.sanitizer, "AddressSanitizer: heap-use-after-free");
  ASSERT_EQ(said.lines.size(), 3U);
  EXPECT_EQ(said.lines[1], "READ of size 4");
}

TEST_F(LastWords, OfEachSanitizerAreTheSameInEachRun) {
  EXPECT_EQ(Of("WARNING: ThreadSanitizer: data race (pid=12)\n").sanitizer,
            "ThreadSanitizer: data race");
  EXPECT_EQ(Of("==9==ERROR: LeakSanitizer: detected memory leaks\n").sanitizer,
            "LeakSanitizer: detected memory leaks");
  EXPECT_EQ(Of("a.cpp:1:2: runtime error: load of misaligned address 0x12 for int\n").sanitizer,
            "runtime error: load of misaligned address");
}

TEST_F(LastWords, OfAProcessThatSaidNothingAreNone) {
  EXPECT_TRUE(Of("").lines.empty());
  EXPECT_EQ(Of("").sanitizer, "");
}

}  // namespace
}  // namespace ktcheck_test
