#include "object_finder.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "document_text.h"
#include "exit_status.h"
#include "guid.h"
#include "property_text.h"

namespace ktctl {
namespace {

constexpr std::size_t kFewestDigits = 4;
constexpr std::size_t kListed = 20;
constexpr std::string_view kShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

const char* const kHowToName =
    "Name it by its id, by the first 4 or more digits of that, as TYPE or as TYPE/NAME; ktctl ls "
    "lists them.";

std::string DigitsOf(const std::string& id) {
  std::string digits;
  std::copy_if(id.begin(), id.end(), std::back_inserter(digits),
               [](char unit) { return unit != '-' && unit != '{' && unit != '}'; });
  return digits;
}

// The objects that a word names, each once, in the order in which they were found.
class Candidates {
 public:
  void Add(Json object) {
    if (ids_.insert(object.at("id").get<std::string>()).second) {
      objects_.push_back(std::move(object));
    }
  }
  [[nodiscard]] const std::vector<Json>& objects() const noexcept { return objects_; }

 private:
  std::vector<Json> objects_;
  std::set<std::string> ids_;
};

// True when the object's property "Name" is that text.
bool IsNamed(const Json& object, const std::string& name) {
  const Json& properties = object.at("properties");
  return std::any_of(properties.begin(), properties.end(), [&name](const Json& property) {
    return property.at("name") == "Name" && property.at("value") == name;
  });
}

}  // namespace

std::optional<std::string> IdPrefix(std::string_view word) {
  if (word.starts_with('{')) {
    word.remove_prefix(1);
  }
  std::string digits;
  const bool dashes = word.find('-') != std::string_view::npos;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char unit = word[i];
    const bool hexadecimal =
        std::string_view("0123456789abcdefABCDEF").find(unit) != std::string_view::npos;
    // Where there are dashes, they stand where an id has them.
    if (dashes && (i >= kShape.size() || (unit == '-') != (kShape[i] == '-'))) {
      return std::nullopt;
    }
    if (hexadecimal) {
      digits += static_cast<char>(unit >= 'a' ? unit - 'a' + 'A' : unit);
    } else if (unit != '-') {
      return std::nullopt;
    }
  }
  constexpr std::size_t kMost = 32;
  return digits.size() < kFewestDigits || digits.size() > kMost ? std::nullopt
                                                                : std::optional(digits);
}

std::string CandidateLines(const std::vector<Json>& objects) {
  std::string text;
  for (std::size_t i = 0; i < objects.size() && i < kListed; ++i) {
    const std::string name = NameOf(objects[i]);
    text += (i == 0 ? "  " : "\n  ") + TextOf(objects[i].at("id")) + " " +
            TextOf(objects[i].at("type")) + (name.empty() ? "" : " \"" + name + "\"");
  }
  if (objects.size() > kListed) {
    text += "\n  and " + std::to_string(objects.size() - kListed) + " more";
  }
  return text;
}

std::string FindObject(const std::string& word, const BusContents& contents) {
  if (const std::optional<KtGuid> guid = ktsvc::GuidFromText(word)) {
    return ktsvc::GuidText(*guid);
  }
  Candidates found;
  std::string typeSeen;
  for (const Json& type : contents.types()) {
    if (!type.at("name").is_string()) {
      continue;
    }
    const auto name = type.at("name").get<std::string>();
    const bool whole = word == name;
    if (!whole && !word.starts_with(name + "/")) {
      continue;
    }
    typeSeen = name;
    for (Json& object : contents.objects(name)) {
      if (whole || IsNamed(object, word.substr(name.size() + 1))) {
        found.Add(std::move(object));
      }
    }
  }
  if (const std::optional<std::string> prefix = IdPrefix(word)) {
    for (Json& object : contents.objects("")) {
      if (DigitsOf(object.at("id").get<std::string>()).starts_with(*prefix)) {
        found.Add(std::move(object));
      }
    }
  }
  const std::vector<Json>& objects = found.objects();
  if (objects.empty()) {
    throw Refusal(kExitWrongWords,
                  typeSeen == word && !typeSeen.empty()
                      ? "there is no object of type " + ktsvc::PrintableText(word)
                      : "no object is named " + ktsvc::QuotedText(word),
                  kHowToName);
  }
  if (objects.size() > 1) {
    throw Refusal(kExitWrongWords,
                  ktsvc::QuotedText(word) + " names " + std::to_string(objects.size()) + " objects",
                  "Say more of it. It could be\n" + CandidateLines(objects));
  }
  return objects.front().at("id").get<std::string>();
}

}  // namespace ktctl
