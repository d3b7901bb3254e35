// What both pictures are written with.
#pragma once

#include <string>
#include <string_view>

namespace kt::bench::svg {

inline constexpr std::string_view kOurs = "#1f6feb";
inline constexpr std::string_view kOthers = "#9aa4af";

// With one digit behind the point, as places are given.
std::string Number(double value);

// A line of text that begins there, of the style "title", "label" or "ours". Any text may come.
std::string Text(double x, double y, std::string_view style, std::string_view text);

// The whole picture around the body, white behind it.
std::string Document(double width, double height, const std::string& body);

}  // namespace kt::bench::svg
