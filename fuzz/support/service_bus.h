// ServiceBus is what the service's readers stand on: a database with one provider and a few
// objects, an access file, an audit log that checks its own lines, and the Api on top. One for the
// whole process.
//
// The ids of objects differ from run to run, so inputs name objects as @0 to @3.
//
// Threads: as Api; the provider answers on the threads that ask.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <variant>

#include "access/token_file.h"
#include "api/api.h"

namespace kt::fuzz {

// The secret of the token "ci", which is an operator; "reader" has the same with an x at the end.
inline const std::string kSecret = "0123456789abcdef0123456789abcdef";

class ServiceBus {
 public:
  static ServiceBus& Get();

  ktsvc::api::Api& api() { return *api_; }
  ktsvc::api::StreamHub& hub() { return hub_; }
  const ktsvc::access::TokenFile& tokens() const { return tokens_; }

  // The text with each @0 to @3 replaced by an object's id.
  [[nodiscard]] std::string WithIds(const std::string& text) const;

  // Asks and checks what every answer must be: a status that the manual knows, no fault of the
  // service's own, JSON where it says so.
  ktsvc::api::Response Ask(const ktsvc::api::Request& request);
  std::variant<ktsvc::api::StreamHub::Selection, ktsvc::api::Response> AskForStream(
      const ktsvc::api::Request& request);

  // What was raised is delivered, and the trace level is as it was.
  void Settle();

 private:
  ServiceBus();

  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  std::array<KtObjId, 4> objects_{};
  ktsvc::access::TokenFile tokens_;
  std::unique_ptr<ktsvc::access::AccessPolicy> policy_;
  std::unique_ptr<ktsvc::access::AuditLog> audit_;
  ktsvc::api::StreamHub hub_;
  ktsvc::api::Activity activity_;
  std::unique_ptr<ktsvc::api::Api> api_;
};

}  // namespace kt::fuzz
