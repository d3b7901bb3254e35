#include "ktcheck/walker.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "guid.h"
#include "property_writer.h"

namespace ktcheck {
namespace {

// Raised by a service when all its providers are up.
constexpr const char* kReadyEvent = "event.qelm.dom.initialization.ktsvc.complete";

constexpr std::size_t kObjectsOfAKind = 2;
constexpr std::size_t kWholeSets = 20;
constexpr std::uint32_t kUnknownCode = 3'141'592'653U;
constexpr std::array<std::uint32_t, 2> kOtherSelectors{1, 0xFFFFFFFF};

struct Names {
  std::string provider;
  std::set<std::string> names;
};

cuvo_bool AddName(const KtBusSubscriptionInfo* info, void* context) {
  auto& found = *static_cast<Names*>(context);
  if (found.provider == info->provider) found.names.insert(info->name);
  return 1;
}

// A name that the pattern takes.
std::string Matching(std::string pattern) {
  for (std::size_t at = pattern.find('*'); at != std::string::npos; at = pattern.find('*', at)) {
    pattern.replace(at, 1, "generated");
  }
  return pattern;
}

std::string ControlText(const std::string& type, const KtGuid& interface_id, std::uint32_t selector,
                        std::uint32_t code) {
  const std::string_view name = ktsvc::InterfaceName(interface_id);
  return "control " + std::to_string(code) + ", selector " + std::to_string(selector) +
         ", interface " + (name.empty() ? ktsvc::GuidText(interface_id) : std::string(name)) +
         ", on an object of type " + type;
}

std::string InputText(const ktsvc::PropertyList* input) {
  if (input == nullptr) return {};
  std::string text;
  for (const ktsvc::Property& property : *input) {
    text += (text.empty() ? ", with " : " ") + property.name + ":" + ktsvc::TypeName(property.type);
  }
  return text.empty() ? ", with nothing in its input" : text;
}

}  // namespace

Walker::Walker(Life& life, ControlWatch& watch, const WalkOptions& options,
               std::function<void(const std::string&)> trying)
    : life_(life),
      watch_(watch),
      options_(options),
      trying_(std::move(trying)),
      maker_(options.seed) {}

void Walker::Walk() {
  AskTheRest();
  Raise(kReadyEvent, nullptr);
  life_.WaitForDelivery();
  for (const Target& target : Targets()) Explore(target);
  RaiseEvents(true);
  AskTheRest();
  life_.WaitForDelivery();
}

void Walker::Repeat(const std::vector<KnownControl>& known) {
  AskTheRest();
  Raise(kReadyEvent, nullptr);
  life_.WaitForDelivery();
  const std::vector<Target> targets = Targets();
  for (const KnownControl& control : known) {
    const auto target = std::find_if(targets.begin(), targets.end(), [&](const Target& offered) {
      return offered.type == control.type &&
             ktsvc::SameGuid(offered.interface_id, control.interface_id);
    });
    if (target == targets.end()) continue;
    Send(*target, control.selector, control.code, nullptr);
    for (const std::string& name : control.names) {
      const ktsvc::PropertyList input{{name, TYPE_UINT32, 0, {std::uint32_t{4}}}};
      Send(*target, control.selector, control.code, &input);
    }
  }
  RaiseEvents(false);
  life_.WaitForDelivery();
}

// A few objects for each pair of type and interface that the module serves.
std::vector<Walker::Target> Walker::Targets() const {
  std::vector<Target> targets;
  for (const ktsvc::ObjectView& object : ktsvc::FindObjects(life_.database(), {})) {
    for (const ktsvc::InterfaceView& offered : object.interfaces) {
      if (offered.owner != life_.name() || offered.ownerGone) continue;
      const auto alike = std::count_if(targets.begin(), targets.end(), [&](const Target& target) {
        return target.type == object.type && ktsvc::SameGuid(target.interface_id, offered.id);
      });
      if (static_cast<std::size_t>(alike) < kObjectsOfAKind) {
        targets.push_back({object.id, object.type, offered.id});
      }
    }
  }
  return targets;
}

Walker::Answer Walker::Send(const Target& target, std::uint32_t selector, std::uint32_t code,
                            const ktsvc::PropertyList* input) {
  if (!options_.MaySend(code)) return {};
  trying_(ControlText(target.type, target.interface_id, selector, code) + InputText(input));
  ktsvc::OwnedSet in;
  ktsvc::OwnedSet out;
  if (input != nullptr) {
    in = ktsvc::MakePropertySet(*input);
    out = ktsvc::MakePropertySet({});
  }
  // The module may destroy both sets; whoever holds a stale handle is refused and no harm is done.
  watch_.Begin(in.get());
  Answer answer;
  KtBusSendControl(life_.database(), &target.object, &target.interface_id, selector, code, in.get(),
                   out.get(), &answer.status);
  ++controls_;
  answer.calls = watch_.calls();
  answer.names = watch_.names();
  return answer;
}

void Walker::Explore(const Target& target) {
  const ktsvc::PropertyList nothing;
  const Answer unknown = Send(target, 0, kUnknownCode, &nothing);
  std::vector<KnownControl> found;
  const auto look = [&](std::uint32_t selector, std::uint32_t code) {
    const Answer answer = Send(target, selector, code, &nothing);
    if (!options_.MaySend(code)) return;
    if (answer.status != unknown.status || answer.calls != unknown.calls ||
        (selector == 0 && options_.IsNamed(code))) {
      found.push_back({target.type, target.interface_id, selector, code, answer.names});
    }
  };
  for (const CodeRange& range : options_.codes) {
    for (std::uint64_t code = range.first; code <= range.last; ++code) {
      look(0, static_cast<std::uint32_t>(code));
    }
  }
  const std::size_t plain = found.size();
  for (std::size_t i = 0; i < plain; ++i) {
    for (const std::uint32_t selector : kOtherSelectors) look(selector, found[i].code);
  }
  for (KnownControl& control : found) {
    Press(target, control);
    const auto same = [&](const KnownControl& known) {
      return std::tie(known.type, known.selector, known.code) ==
                 std::tie(control.type, control.selector, control.code) &&
             ktsvc::SameGuid(known.interface_id, control.interface_id);
    };
    if (std::none_of(known_.begin(), known_.end(), same)) known_.push_back(control);
  }
}

// Every name that it looks for, with a value of every type; then all names together.
void Walker::Press(const Target& target, KnownControl& control) {
  Send(target, control.selector, control.code, nullptr);
  std::vector<std::string> open(control.names.begin(), control.names.end());
  open.emplace_back("Name");
  while (!open.empty()) {
    const std::string name = open.back();
    open.pop_back();
    for (const ktsvc::Property& property : maker_.OneOfEach(name)) {
      const ktsvc::PropertyList input{property};
      for (const std::string& asked : Send(target, control.selector, control.code, &input).names) {
        if (control.names.insert(asked).second) open.push_back(asked);
      }
    }
  }
  for (std::size_t i = 0; i < kWholeSets; ++i) {
    ktsvc::PropertyList input;
    for (const std::string& name : control.names) {
      if (maker_.Number(8) != 0) input.push_back(maker_.Any(name));
    }
    Send(target, control.selector, control.code, &input);
  }
}

void Walker::RaiseEvents(bool generated) {
  Names found{life_.name(), {}};
  KtBusVisitSubscriptions(life_.database(), &AddName, &found);
  for (const std::string& pattern : found.names) {
    const std::string name = Matching(pattern);
    Raise(name, nullptr);
    if (!generated) continue;
    life_.WaitForDelivery();  // what is found now belongs to this event
    Raise(pattern, nullptr);
    Raise(name + ".more", nullptr);
    for (const ktsvc::Property& property : maker_.OneOfEach("Name")) {
      const ktsvc::PropertyList properties{property};
      Raise(name, &properties);
      life_.WaitForDelivery();
    }
  }
  if (generated) Raise("event.nobody.asked.for", nullptr);
}

void Walker::Raise(const std::string& name, const ktsvc::PropertyList* properties) {
  trying_("event " + name + InputText(properties));
  ktsvc::OwnedSet set;
  if (properties != nullptr) set = ktsvc::MakePropertySet(*properties);
  KtBusRaiseEvent(life_.database(), name.c_str(), set.get());
  ++events_;
}

void Walker::AskTheRest() {
  trying_("Version");
  KtWchar* version = nullptr;
  if (KtBusProviderVersion(life_.provider(), &version) == 0) _KtFree(version);
  trying_("GetAttr");
  KtBusProviderGetAttr(life_.provider(), 0, 0, 0, 0);
}

}  // namespace ktcheck
