// The table in its three forms.
#pragma once

#include <string>
#include <vector>

#include "bench/table/context.h"
#include "bench/table/judgement.h"

namespace kt::bench {

// "123 ns", "1.23 us", "4.5 ms"; other units as they are: "14.2 MiB". Three digits that count.
std::string NumberText(double value, const std::string& unit);
// "2.94x", "0.50x", "1200x".
std::string RatioText(double ratio);

// For people: where and when, then one line for each contestant and each wish, 100 columns.
std::string TextReport(const std::vector<JudgedRow>& rows, const std::vector<std::string>& faults,
                       const Context& context = {});

// For programs: the same with all digits.
std::string JsonReport(const std::vector<JudgedRow>& rows, const std::vector<std::string>& faults,
                       const Context& context = {});

// A picture (SVG): a bar for each contestant, by the logarithm of its ratio to the floor; rows
// without a floor are left out. Empty text when nothing is left.
std::string Picture(const std::vector<JudgedRow>& rows);

}  // namespace kt::bench
