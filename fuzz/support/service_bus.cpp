#include "support/service_bus.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <set>

#include "access/audit_file.h"
#include "access/names_for_tests.h"
#include "guid.h"
#include "ktbus3/ktbus3_host.h"
#include "property_json.h"
#include "property_writer.h"
#include "support/require.h"
#include "system/identifiers.h"

namespace kt::fuzz {
namespace {

using ktsvc::Json;

constexpr std::uint32_t kTraceLevel = 7;

// Every line of the audit log is one JSON object that names its caller.
class CheckedAudit final : public ktsvc::access::AuditFile {
 public:
  std::error_code Append(std::string_view bytes, std::size_t& written) override {
    Require(bytes.ends_with('\n') && std::count(bytes.begin(), bytes.end(), '\n') == 1,
            "an entry of the audit log is one line");
    const Json line = Json::parse(bytes, nullptr, false);
    Require(line.is_object() && line.contains("caller"), "it is a JSON object that names a caller");
    written = bytes.size();
    return {};
  }
  std::error_code Reopen() override { return {}; }
};

// Gives back what it was given; code 1 fails, code 2 destroys the output, code 3 throws.
KtStatus Control(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                 KtPropset input, KtPropset output, std::uint32_t /*value6*/,
                 std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                 std::uint64_t /*value10*/, std::uint64_t /*value11*/, std::uint64_t* /*out*/) {
  if (code == 1) return 0x80070005;
  if (code == 2) return PsDestroyPropset(output);
  if (code == 3) throw KtStatus{5};
  ktsvc::AddToPropertySet(output, ktsvc::ReadPropertySet(input));
  return 0;
}

ktsvc::Property Text(const char* name, const char* value) {
  return {name, TYPE_STR, 0, {std::string(value)}};
}

void SetProperty(KtDatabase database, const KtObjId& object, const ktsvc::Property& property) {
  const ktsvc::OwnedSet set = ktsvc::MakePropertySet({property});
  cuvo_property* found = nullptr;
  Require(PsFindProperty(set.get(), property.name.c_str(), &found) == 0, "a property is made");
  Require(ObSetProperty(database, &object, found) == 0, "an object takes a property");
  PsFreeProperty(found);
}

void RequireRightForm(const ktsvc::api::Response& response) {
  static const std::set<unsigned> kKnown{200, 202, 400, 401, 403, 404, 405, 410, 413, 415};
  if (kKnown.count(response.status) == 0) Finding("the status is one of the manual", response.body);
  if (response.contentType != "application/json") return;
  const Json document = Json::parse(response.body, nullptr, false);
  Require(document.is_object(), "an answer is a JSON object");
  Require((response.status >= 400) == document.contains("error"),
          "an answer that is no success has the form of an error, and no other has");
}

}  // namespace

ServiceBus& ServiceBus::Get() {
  static ServiceBus& bus = *new ServiceBus;  // its threads run until the process ends
  return bus;
}

ServiceBus::ServiceBus()
    : tokens_(ktsvc::access::TokenFile::Parse("ci " + kSecret + "\nreader " + kSecret + "x\n",
                                              "tokens")),
      hub_({.ring = 16, .queue = 16}, [this](const std::string& name, const std::string& pattern) {
        return EvMatch(database_, name.c_str(), pattern.c_str()) != 0;
      }) {
  KtProviderTable table{};
  table.Control = &Control;
  table.ChangeNotify = [](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    return KtStatus{0};
  };
  Require(KtBusOpenDatabase(&database_) == 0, "a database opens");
  Require(KtBusAttachProvider(database_, "alpha", &table, nullptr, &provider_) == 0,
          "a provider is attached");
  for (KtObjId& object : objects_) {
    Require(ObCreateObject(database_, provider_, "qelm_ktvm_disk", &object) == 0, "an object");
    Require(ObRegisterInterface(database_, &object, provider_, &kt::kDiskInterface) == 0,
            "an object offers an interface");
    SetProperty(database_, object, Text("Name", "sda"));
    SetProperty(database_, object, Text("odd name \xFF", "\xFF\n"));
    SetProperty(database_, object, {"list", TYPE_UINT32Z, 7, {1U, 2U}});
  }
  Require(ObAttachChildObject(database_, objects_.data(), &objects_[1]) == 0, "a child");
  Require(ObDeleteObject(database_, &objects_[3]) == 0, "the last object has gone");

  ktsvc::access::NamesForTests names;
  policy_ = std::make_unique<ktsvc::access::AccessPolicy>(ktsvc::access::AccessPolicy::Parse(
      "user " + std::to_string(getuid()) +
          " admin\ntoken ci operator\ntoken reader observer\ncontrol disk * 9 admin\n",
      "access.conf", names, {}));
  audit_ = std::make_unique<ktsvc::access::AuditLog>(
      std::make_unique<CheckedAudit>(), "memory", [](const std::string&) {},
      ktsvc::access::AuditLog::Limits{1024, std::chrono::hours(1)});
  ktsvc::api::ApiContext context;
  context.database = database_;
  context.policy = policy_.get();
  context.audit = audit_.get();
  context.hub = &hub_;
  context.activity = &activity_;
  context.providers = [] {
    ktsvc::ProviderReport report;
    report.name = "alpha";
    report.state = ktsvc::ProviderState::kRunning;
    return std::vector{report};
  };
  context.stopping = [] { return false; };
  context.startedAt = std::chrono::system_clock::now();
  context.started = std::chrono::steady_clock::now();
  api_ = std::make_unique<ktsvc::api::Api>(context);
  KtSetTraceLevel(kTraceLevel);
}

std::string ServiceBus::WithIds(const std::string& text) const {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '@' && at + 1 < text.size() && text[at + 1] >= '0' && text[at + 1] <= '3') {
      const std::string id =
          ktsvc::GuidText(objects_[static_cast<std::size_t>(text[++at] - '0')].guid);
      result += id.substr(1, id.size() - 2);
    } else {
      result += text[at];
    }
  }
  return result;
}

ktsvc::api::Response ServiceBus::Ask(const ktsvc::api::Request& request) {
  ktsvc::api::Response response = api_->Answer(request);
  RequireRightForm(response);
  return response;
}

std::variant<ktsvc::api::StreamHub::Selection, ktsvc::api::Response> ServiceBus::AskForStream(
    const ktsvc::api::Request& request) {
  auto opened = api_->OpenStream(request);
  if (const auto* const refused = std::get_if<ktsvc::api::Response>(&opened)) {
    RequireRightForm(*refused);
  }
  return opened;
}

void ServiceBus::Settle() {
  Require(KtBusWaitForDelivery(database_, 20'000) == 0, "what was raised is delivered");
  KtSetTraceLevel(kTraceLevel);
}

}  // namespace kt::fuzz
