// What the suites of the management API share: a bus with a provider of call-backs, an access file,
// an audit log in memory, and short ways to ask.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "access/access_policy.h"
#include "access/audit_log.h"
#include "access/caller_for_tests.h"
#include "api/activity.h"
#include "api/api.h"
#include "api/stream_hub.h"
#include "bus/bus_test.h"
#include "property_json.h"

namespace api_test {

using ktsvc::Json;
using ktsvc::access::Caller;
using ktsvc::access::CallerForTests;
using ktsvc::api::Response;

// Lines of an audit log that nobody writes to a disk. It outlives the log.
class AuditMemory {
 public:
  void Add(std::string_view bytes);
  [[nodiscard]] std::vector<Json> Lines() const;

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

// Callers of each role as the access file of the fixture has them.
Caller Nobody();    // no line names it
Caller Observer();  // user olga, line 1
Caller Operator();  // user otto, line 2
Caller Admin();     // user root, line 3
Caller Token();     // token ci, operator, line 4

inline constexpr KtGuid kDiskInterface{
    0x7EC748B5, 0xC965, 0x4607, {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}};

// The bus of bus_test::BusTest with one provider, "alpha", and the Api on it.
class ApiTest : public bus_test::BusTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Begins anew with another policy.
  void UsePolicy(const std::string& text, bool allowRestart = false);

  ktsvc::api::Api& api() { return *api_; }
  ktsvc::api::StreamHub& hub() { return *hub_; }
  ktsvc::api::Activity& activity() { return activity_; }

  Response Ask(const Caller& caller, const std::string& method, const std::string& target,
               const std::string& body = {}, const std::string& contentType = "application/json");

  // The same for an admin.
  Response Get(const std::string& target) { return Ask(Admin(), "GET", target); }

  // The document of an answer with that status.
  Json Document(const Response& response, unsigned status = 200);
  Json GetJson(const std::string& target, unsigned status = 200) {
    return Document(Get(target), status);
  }

  // The reason of an error with that status. Everything that is said of errors in general is
  // checked on the way.
  std::string Reason(const Response& response, unsigned status);

  // Sends a control as that caller.
  Response Control(const Caller& caller, const KtObjId& object, const std::string& body);

  // An object that offers the interface of disks, served by alpha.
  KtObjId NewDisk();

  void AddText(const KtObjId& object, const char* name, const char* text);

  // Entries of the audit log so far.
  std::vector<Json> AuditLines() const { return auditMemory_.Lines(); }

  bool stopping = false;
  std::vector<ktsvc::ProviderReport> reports;

 private:
  AuditMemory auditMemory_;
  std::unique_ptr<ktsvc::access::AccessPolicy> policy_;
  std::unique_ptr<ktsvc::access::AuditLog> audit_;
  std::unique_ptr<ktsvc::api::StreamHub> hub_;
  ktsvc::api::Activity activity_;
  std::unique_ptr<ktsvc::api::Api> api_;
};

std::string IdText(const KtObjId& id);

}  // namespace api_test
