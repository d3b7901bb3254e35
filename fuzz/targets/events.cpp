// Event names and patterns: the framework's matching and its delivery against a plain matcher.
//
// Input: the name, a line feed, the pattern.

#include <string>
#include <string_view>
#include <vector>

#include "ktbus3/ktbus3_host.h"
#include "support/byte_source.h"
#include "support/require.h"

namespace {

using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;

std::vector<std::string> PartsOf(std::string_view text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == '.') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// "*" is one part, whole and not empty; any other part is itself.
bool PlainMatch(std::string_view name, std::string_view pattern) {
  const std::vector<std::string> names = PartsOf(name);
  const std::vector<std::string> patterns = PartsOf(pattern);
  if (names.size() != patterns.size()) return false;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (patterns[i] == "*") {
      if (names[i].empty()) return false;
    } else if (patterns[i] != names[i]) {
      return false;
    }
  }
  return true;
}

// A database with one provider that remembers what it was told. Lives as long as the process.
struct Bus {
  Bus() {
    KtProviderTable table{};
    table.ChangeNotify = [](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t d) {
      told.emplace_back(reinterpret_cast<const KtEventRecord*>(d)->name);
      return KtStatus{0};
    };
    Require(KtBusOpenDatabase(&database) == 0, "a database opens");
    Require(KtBusAttachProvider(database, "listener", &table, nullptr, &provider) == 0,
            "a provider is attached");
  }

  KtDatabase database = nullptr;
  KtProvider provider = nullptr;
  static inline std::vector<std::string> told;  // on the delivery thread; read when that waits
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Bus& bus = *new Bus;
  const std::string text = kt::fuzz::TextOf(data, size);
  const std::size_t line = text.find('\n');
  const std::string name = text.substr(0, line).c_str();
  const std::string pattern =
      line == std::string::npos ? std::string() : std::string(text.substr(line + 1).c_str());
  const bool matches = PlainMatch(name, pattern);
  Require((EvMatch(bus.database, name.c_str(), pattern.c_str()) != 0) == matches,
          "EvMatch answers as the plain matcher");

  // Once by the pattern and once by the whole name: one notice, however many match.
  Bus::told.clear();
  KtCookie by_pattern = 0;
  KtCookie by_name = 0;
  const KtStatus subscribed =
      EvRegisterEvent(bus.database, bus.provider, pattern.c_str(), &by_pattern);
  Require((subscribed == 0) == !pattern.empty(), "every pattern but the empty one is taken");
  const KtStatus named = EvRegisterEvent(bus.database, bus.provider, name.c_str(), &by_name);
  Require((named == 0) == !name.empty(), "every name but the empty one is taken");
  const KtStatus raised = KtBusRaiseEvent(bus.database, name.c_str(), nullptr);
  Require((raised == 0) == !name.empty(), "every name but the empty one is raised");
  Require(KtBusWaitForDelivery(bus.database, 20'000) == 0, "what was raised is delivered");
  // A name that is a pattern stands for other names too; it matches itself where no part is empty.
  const bool by_itself = !name.empty() && PlainMatch(name, name);
  const bool expected = !name.empty() && ((matches && !pattern.empty()) || by_itself);
  RequireSameNumber<std::size_t>(expected ? 1 : 0, Bus::told.size(), "one notice for one event");
  if (expected) RequireSame(name, Bus::told.front(), "a notice has the name that was raised");

  if (subscribed == 0) {
    Require(EvUnregisterEvent(bus.database, by_pattern) == 0, "a subscription is taken back");
    Require(EvUnregisterEvent(bus.database, by_pattern) != 0, "a subscription is taken back once");
  }
  if (named == 0) Require(EvUnregisterEvent(bus.database, by_name) == 0, "a name is taken back");
  return 0;
}
