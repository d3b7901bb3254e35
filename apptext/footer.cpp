#include "apptext/footer.h"

#include <string_view>

#include "apptext/command_text.h"

namespace apptext {
namespace {

constexpr std::string_view kExamplesTitle = "Examples:";
constexpr std::string_view kExampleTitle = "Example:";
constexpr std::string_view kExitStatusTitle = "Exit status:";
constexpr std::string_view kDigits = "0123456789";

enum class Part { kProse, kExamples, kExitStatus };

// The title that the line begins with; empty for none.
std::string_view TitleOf(std::string_view line) {
  for (const std::string_view title : {kExamplesTitle, kExampleTitle, kExitStatusTitle}) {
    if (line.substr(0, title.size()) == title) {
      return title;
    }
  }
  return {};
}

// "Trace levels: 1 details": a line at the margin with a title that has no section.
bool HasOtherTitle(std::string_view line) {
  const std::size_t colon = line.find(':');
  return !line.empty() && line.front() >= 'A' && line.front() <= 'Z' &&
         colon != std::string_view::npos &&
         line.substr(0, colon).find_first_of(".,;(") == std::string_view::npos;
}

std::string Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos
             ? std::string()
             : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

Example ReadExample(std::string_view line) {
  const std::string text = Trimmed(line);
  const std::size_t gap = text.find("  ");
  if (gap == std::string::npos) {
    return {text, ""};
  }
  return {text.substr(0, gap), Trimmed(std::string_view(text).substr(gap))};
}

// "0 all went well, 1 a provider failed. 2 wrong words" as a list; empty when it is none.
std::vector<ExitStatus> ReadStatuses(const std::string& text) {
  std::vector<ExitStatus> statuses;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t number = text.find_first_not_of(kDigits, at);
    if (number == at || number == std::string::npos || text[number] != ' ') {
      return {};
    }
    // The next item begins behind a mark, with a number and a blank.
    std::size_t end = number;
    std::size_t next = text.size();
    while ((end = text.find_first_of(",;.", end)) != std::string::npos) {
      const std::size_t digit = text.find_first_not_of(' ', end + 1);
      const std::size_t behind =
          digit == std::string::npos ? digit : text.find_first_not_of(kDigits, digit);
      if (digit == std::string::npos || (digit > end + 1 && behind > digit &&
                                         behind != std::string::npos && text[behind] == ' ')) {
        next = digit == std::string::npos ? text.size() : digit;
        break;
      }
      ++end;
    }
    statuses.push_back({text.substr(at, number - at),
                        Trimmed(std::string_view(text).substr(
                            number, (end == std::string::npos ? text.size() : end) - number))});
    at = next;
  }
  return statuses;
}

}  // namespace

Footer ReadFooter(const std::string& text) {
  Footer footer;
  Part part = Part::kProse;
  std::string status;
  for (const std::string& line : Lines(text)) {
    const std::string_view title = TitleOf(line);
    std::string rest = line;
    if (!title.empty()) {
      part = title == kExitStatusTitle ? Part::kExitStatus : Part::kExamples;
      rest = Trimmed(std::string_view(line).substr(title.size()));
      if (rest.empty()) {
        continue;
      }
    } else if (line.find_first_not_of(' ') == std::string::npos || HasOtherTitle(line) ||
               (part == Part::kExamples && line.front() != ' ')) {
      part = Part::kProse;
    }
    if (part == Part::kExamples) {
      footer.examples.push_back(ReadExample(rest));
    } else if (part == Part::kExitStatus) {
      status += (status.empty() ? "" : " ") + Trimmed(rest);
    } else {
      footer.prose += rest + "\n";
    }
  }
  const std::size_t first = footer.prose.find_first_not_of('\n');
  footer.prose = first == std::string::npos
                     ? std::string()
                     : footer.prose.substr(first, footer.prose.find_last_not_of('\n') + 1 - first);
  footer.statuses = ReadStatuses(status);
  if (footer.statuses.empty()) {
    footer.statusText = status;
  }
  return footer;
}

}  // namespace apptext
