#include "bench/table/svg.h"

#include <array>
#include <cstdio>

namespace kt::bench::svg {
namespace {

std::string Escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

std::string Number(double value) {
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.1f", value));
  return text.data();
}

std::string Text(double x, double y, std::string_view style, std::string_view text) {
  return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" class=\"" + std::string(style) +
         "\">" + Escaped(text) + "</text>\n";
}

std::string Document(double width, double height, const std::string& body) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
         Number(height) + "\" viewBox=\"0 0 " + Number(width) + " " + Number(height) +
         "\">\n<style>text{font-family:sans-serif;font-size:12px;fill:#24292f}"
         ".title{font-weight:bold}.ours{font-weight:bold;fill:" +
         std::string(kOurs) +
         "}</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n" +
         body + "</svg>\n";
}

}  // namespace kt::bench::svg
