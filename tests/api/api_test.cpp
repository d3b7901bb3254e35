#include "api/api_test.h"

#include <sstream>
#include <utility>

#include "access/audit_file.h"
#include "access/names_for_tests.h"
#include "bus_text.h"

namespace api_test {
namespace {

constexpr const char* kPolicy =
    "user olga observer\n"
    "user otto operator\n"
    "user root admin\n"
    "token ci operator\n"
    "control disk * 9000 observer\n"
    "control disk * 9001 admin\n";

class AuditFileForTests final : public ktsvc::access::AuditFile {
 public:
  explicit AuditFileForTests(AuditMemory& memory) : memory_(memory) {}

  std::error_code Append(std::string_view bytes, std::size_t& written) override {
    memory_.Add(bytes);
    written = bytes.size();
    return {};
  }
  std::error_code Reopen() override { return {}; }

 private:
  AuditMemory& memory_;
};

}  // namespace

void AuditMemory::Add(std::string_view bytes) {
  const std::lock_guard guard(mutex_);
  text_ += bytes;
}

std::vector<Json> AuditMemory::Lines() const {
  const std::lock_guard guard(mutex_);
  std::istringstream text(text_);
  std::vector<Json> lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(Json::parse(line));
  }
  return lines;
}

Caller Nobody() {
  return CallerForTests::Peer("nina", 1999);
}
Caller Observer() {
  return CallerForTests::Peer("olga", 1001);
}
Caller Operator() {
  return CallerForTests::Peer("otto", 1002);
}
Caller Admin() {
  return CallerForTests::Peer("root", 0);
}
Caller Token() {
  return CallerForTests::Token("ci");
}

void ApiTest::SetUp() {
  BusTest::SetUp();
  ktsvc::ProviderReport report;
  report.name = "alpha";
  report.state = ktsvc::ProviderState::kRunning;
  report.initialize = 0;
  reports.push_back(report);
  UsePolicy(kPolicy);
}

void ApiTest::TearDown() {
  api_.reset();
  audit_.reset();
  BusTest::TearDown();
}

void ApiTest::UsePolicy(const std::string& text, bool allowRestart) {
  api_.reset();
  ktsvc::access::NamesForTests names;
  names.users = {{"olga", 1001}, {"otto", 1002}, {"root", 0}, {"nina", 1999}};
  policy_ = std::make_unique<ktsvc::access::AccessPolicy>(
      ktsvc::access::AccessPolicy::Parse(text, "access.conf", names, {allowRestart}));
  audit_ = std::make_unique<ktsvc::access::AuditLog>(
      std::make_unique<AuditFileForTests>(auditMemory_), "memory", [](const std::string&) {},
      ktsvc::access::AuditLog::Limits{1024, std::chrono::hours(1)});
  hub_ = std::make_unique<ktsvc::api::StreamHub>(
      ktsvc::api::StreamHub::Bounds{.ring = 4, .queue = 4},
      [](const std::string& name, const std::string& pattern) { return name == pattern; });
  ktsvc::api::ApiContext context;
  context.database = database();
  context.policy = policy_.get();
  context.audit = audit_.get();
  context.hub = hub_.get();
  context.activity = &activity_;
  context.providers = [this] { return reports; };
  context.stopping = [this] { return stopping; };
  context.pid = 4711;
  context.startedAt = std::chrono::system_clock::time_point(std::chrono::seconds(1769860800));
  context.started = std::chrono::steady_clock::now();
  api_ = std::make_unique<ktsvc::api::Api>(context);
}

Response ApiTest::Ask(const Caller& caller, const std::string& method, const std::string& target,
                      const std::string& body, const std::string& contentType) {
  return api_->Answer({method, target, body.empty() ? "" : contentType, body, caller});
}

Json ApiTest::Document(const Response& response, unsigned status) {
  EXPECT_EQ(response.status, status) << response.body;
  EXPECT_EQ(response.contentType, "application/json");
  return Json::parse(response.body, nullptr, false);
}

std::string ApiTest::Reason(const Response& response, unsigned status) {
  const Json json = Document(response, status);
  const Json error = json.value("error", Json::object());
  EXPECT_EQ(json.size(), 1U);
  EXPECT_EQ(error.value("status", 0U), status);
  EXPECT_TRUE(error.contains("hint"));
  EXPECT_TRUE(error.contains("code"));
  return error.value("reason", "");
}

Response ApiTest::Control(const Caller& caller, const KtObjId& object, const std::string& body) {
  return Ask(caller, "POST", "/v1/objects/" + IdText(object) + "/controls", body);
}

KtObjId ApiTest::NewDisk() {
  const KtObjId id = NewObject();
  EXPECT_EQ(ObRegisterInterface(database(), &id, provider(), &kDiskInterface), 0U);
  return id;
}

void ApiTest::AddText(const KtObjId& object, const char* name, const char* text) {
  const cuvo_property record =
      bus_test::Record(name, TYPE_STR, static_cast<std::uint32_t>(std::strlen(text) + 1), text);
  EXPECT_FALSE(ObSetProperty(database(), &object, &record) != 0);
}

std::string IdText(const KtObjId& id) {
  return ktsvc::GuidText(id.guid);
}

}  // namespace api_test
