#include "control_words.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <span>

#include "access/interface_names.h"
#include "exit_status.h"
#include "object_finder.h"
#include "property_text.h"

namespace ktctl {
namespace {

constexpr const char* kSystemType = "qelm_system";
constexpr const char* kForm =
    "Write [OBJECT] INTERFACE CODE [NAME:TYPE=VALUE ...]; ktctl control --help has examples.";

[[noreturn]] void Refuse(const std::string& why, const std::string& advice = kForm) {
  throw Refusal(kExitWrongWords, why, advice);
}

std::optional<std::uint32_t> NumberFromText(std::string_view text) {
  constexpr int kHexadecimal = 16;
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) {
    text.remove_prefix(2);
  }
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, hexadecimal ? kHexadecimal : 10);
  return !text.empty() && read.ec == std::errc() && read.ptr == end ? std::optional(number)
                                                                    : std::nullopt;
}

bool IsArgument(const std::string& word) {
  return word.find('=') != std::string::npos;
}

// True for the short name of an interface; a GUID may also be that of an object.
bool IsInterfaceName(const std::string& word) {
  return ktsvc::access::InterfaceFromText(word) && !ktsvc::GuidFromText(word);
}

// True when the words name an object before the interface.
bool NamesObject(const std::vector<std::string>& words) {
  if (!IsInterfaceName(words[0])) {
    return true;
  }
  // An interface, unless what follows is an interface again and has a code of its own.
  return words.size() > 2 && ktsvc::access::InterfaceFromText(words[1]) && !IsArgument(words[2]);
}

}  // namespace

ControlWish ReadControl(const std::vector<std::string>& words, std::uint32_t selector) {
  if (words.empty()) {
    Refuse("an interface and a code are missing");
  }
  ControlWish wish;
  wish.selector = selector;
  std::span<const std::string> rest(words);
  if (NamesObject(words)) {
    wish.object = rest.front();
    rest = rest.subspan(1);
    if (rest.empty() || IsArgument(rest.front())) {
      Refuse("an interface is missing behind " + ktsvc::QuotedText(wish.object));
    }
  }
  const std::string interface = rest.front();
  const std::optional<KtGuid> id = ktsvc::access::InterfaceFromText(interface);
  if (!id) {
    Refuse(ktsvc::QuotedText(interface) + " is no interface",
           "Name one of " + ktsvc::access::InterfaceNameList() + ", or give its GUID.");
  }
  wish.interfaceId = *id;
  rest = rest.subspan(1);
  std::string code = ktsvc::access::InterfaceText(*id);
  if (!rest.empty() && !IsArgument(rest.front())) {
    code = rest.front();
    rest = rest.subspan(1);
  } else if (FindKnownControl(*id, code) == nullptr) {
    Refuse("a code is missing behind " + ktsvc::QuotedText(interface));
  }
  if (const std::optional<std::uint32_t> number = NumberFromText(code)) {
    wish.code = *number;
    wish.known = FindKnownControl(*id, selector, *number);
  } else {
    wish.known = FindKnownControl(*id, code);
    if (wish.known == nullptr) {
      const std::string names = KnownControlNames(*id);
      Refuse(
          "interface " + interface + " has no control that is known as " + ktsvc::QuotedText(code),
          names.empty() ? "Give its number." : "There are " + names + "; or give its number.");
    }
    wish.code = wish.known->code;
  }
  wish.input = ReadArguments(
      rest, wish.known == nullptr ? std::span<const KnownArgument>() : wish.known->arguments);
  return wish;
}

std::string ChooseObject(const ControlWish& wish, const std::vector<Json>& offering) {
  const std::string interface = ktsvc::access::InterfaceText(wish.interfaceId);
  if (offering.empty()) {
    Refuse("no object offers interface " + interface,
           "The provider that serves it may not run: ktctl providers tells.");
  }
  if (offering.size() == 1 || (wish.known != nullptr && wish.known->anyObject)) {
    return offering.front().at("id").get<std::string>();
  }
  std::vector<Json> own;
  std::copy_if(offering.begin(), offering.end(), std::back_inserter(own),
               [](const Json& object) { return object.at("type") == kSystemType; });
  if (own.size() != 1) {
    Refuse(std::to_string(offering.size()) + " objects offer interface " + interface,
           "Name one of them before the interface. It could be\n" + CandidateLines(offering));
  }
  return own.front().at("id").get<std::string>();
}

}  // namespace ktctl
