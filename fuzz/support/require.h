// What a fuzz target expects. What does not hold is printed and ends the program, which the fuzzer
// takes for a finding as it takes a report of a sanitizer.
//
// Threads: any.
#pragma once

#include <string>
#include <string_view>

namespace kt::fuzz {

// `rule` is the sentence that does not hold.
void Require(bool holds, std::string_view rule);

// The same with what there should have been and what there was; both are shown with every byte that
// is not printable escaped.
void RequireSame(std::string_view expected, std::string_view found, std::string_view rule);

template <typename Number>
void RequireSameNumber(Number expected, Number found, std::string_view rule) {
  if (expected != found) RequireSame(std::to_string(expected), std::to_string(found), rule);
}

[[noreturn]] void Finding(std::string_view rule, std::string_view details = {});

}  // namespace kt::fuzz
