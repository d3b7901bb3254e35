// ApiContext: all that the management API stands on. It owns none of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include "access/access_policy.h"
#include "access/audit_log.h"
#include "api/activity.h"
#include "api/stream_hub.h"
#include "ktbus3/ktbus3.h"
#include "provider_host.h"

namespace ktsvc::api {

// Everything pointed to must outlive the Api. The call-backs are called on many threads at once.
struct ApiContext {
  KtDatabase database = nullptr;
  const access::AccessPolicy* policy = nullptr;
  access::AuditLog* audit = nullptr;  // null: nothing is recorded
  StreamHub* hub = nullptr;
  Activity* activity = nullptr;
  std::function<std::vector<ProviderReport>()> providers;
  std::function<bool()> stopping;  // true from the moment at which the service is told to stop
  std::uint64_t pid = 0;
  std::chrono::system_clock::time_point startedAt;  // what the clock on the wall said
  std::chrono::steady_clock::time_point started;    // what the time since is counted from
};

}  // namespace ktsvc::api
