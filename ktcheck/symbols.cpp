#include "ktcheck/symbols.h"

#include <chrono>
#include <exception>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "host_system.h"
#include "ktcheck/process.h"

namespace ktcheck {
namespace {

struct Place {
  std::string file;
  std::string offset;
};

Place Split(const std::string& frame) {
  const std::size_t plus = frame.rfind("+0x");
  if (plus == std::string::npos) return {frame, {}};
  return {frame.substr(0, plus), frame.substr(plus + 1)};
}

std::string LastName(const std::string& path) {
  return ktsvc::PathText(ktsvc::PathFromText(path).filename());
}

// A frame of the framework or of this program.
bool IsOurs(const std::string& frame) {
  const std::string name = LastName(Split(frame).file);
  return name == "ktcheck" || name == "ktcheck.exe" || name == "libktbus3.so" ||
         name == "ktbus3.dll";
}

// Of each run of such frames one is left: the function that was called from outside it.
void Fold(std::vector<std::string>& frames) {
  std::vector<std::string> folded;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (IsOurs(frames[i]) && i + 1 < frames.size() && IsOurs(frames[i + 1])) continue;
    folded.push_back(frames[i]);
  }
  frames = std::move(folded);
}

// A function without the list of its parameters: "kt::Lock::Enter".
std::string WithoutParameters(const std::string& function) {
  std::size_t end = function.size();
  if (function.ends_with(" const")) end -= 6;
  if (end == 0 || function[end - 1] != ')') return function;
  int depth = 0;
  for (std::size_t i = end; i != 0; --i) {
    depth += function[i - 1] == ')' ? 1 : function[i - 1] == '(' ? -1 : 0;
    if (depth == 0) return function.substr(0, i - 1);
  }
  return function;
}

// "name" and "folder/file.cpp:12" as the tool prints them, on one line; "" when it knows nothing.
std::string Words(const std::string& function, const std::string& line) {
  if (function.empty() || function == "??") return {};
  std::string name = WithoutParameters(function);
  if (line.empty() || line.front() == '?' || line.starts_with(":?")) return name;
  const std::string place = line.substr(0, line.find(" (discriminator"));
  return name + " at " + LastName(place);
}

// What the tool says of the offsets in one file.
std::map<std::string, std::string> Ask(const std::string& file,
                                       const std::set<std::string>& offsets,
                                       const std::filesystem::path& scratch) {
  std::vector<std::string> words{"-Cfe", file};
  words.insert(words.end(), offsets.begin(), offsets.end());
  std::map<std::string, std::string> names;
  try {
    const std::filesystem::path output = scratch / "names";
    Process tool("addr2line", words, output);
    const auto end = tool.WaitFor(std::chrono::seconds(60));
    if (!end || end->status != 0 || !end->killed.empty()) return names;
    std::ifstream stream(output);
    for (const std::string& offset : offsets) {
      std::string function;
      std::string line;
      if (!std::getline(stream, function) || !std::getline(stream, line)) break;
      names[offset] = Words(function, line);
    }
  } catch (const std::exception&) {
    names.clear();  // there is no such tool; the numbers say enough
  }
  return names;
}

template <typename Function>
void ForEachFrame(std::vector<Finding>& findings, Function function) {
  for (Finding& finding : findings) {
    for (Trail& trail : finding.trails) {
      for (std::string& frame : trail.frames) function(frame);
    }
  }
}

}  // namespace

void NameFrames(std::vector<Finding>& findings, const std::filesystem::path& scratch) {
  for (Finding& finding : findings) {
    for (Trail& trail : finding.trails) Fold(trail.frames);
  }
  std::map<std::string, std::set<std::string>> offsets;
  ForEachFrame(findings, [&](const std::string& frame) {
    const Place place = Split(frame);
    if (!place.offset.empty()) offsets[place.file].insert(place.offset);
  });
  std::map<std::string, std::map<std::string, std::string>> names;
  for (const auto& [file, list] : offsets) {
    names[file] = Ask(file, list, scratch);
  }
  ForEachFrame(findings, [&](std::string& frame) {
    const Place place = Split(frame);
    if (place.offset.empty()) return;
    const std::string name = names[place.file][place.offset];
    frame = LastName(place.file) + "+" + place.offset + (name.empty() ? "" : " " + name);
  });
}

}  // namespace ktcheck
