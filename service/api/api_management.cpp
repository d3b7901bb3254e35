#include "api/api_management.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <utility>

#include "access/access_error.h"
#include "access/access_policy.h"
#include "access/audit_log.h"
#include "access/token_file.h"
#include "api/activity.h"
#include "api/api.h"
#include "api/bus_feed.h"
#include "api/http_server.h"
#include "api/stream_hub.h"
#include "default_socket.h"
#include "host_system.h"

namespace ktsvc::api {
namespace {

// A number that no earlier life has given: none publishes a thousand messages in a millisecond for
// all of its life.
std::uint64_t FirstMessageId(std::chrono::system_clock::time_point startedAt) {
  const auto since = startedAt.time_since_epoch();
  return static_cast<std::uint64_t>(
             std::chrono::duration_cast<std::chrono::milliseconds>(since).count()) *
             1000 +
         1;
}

class ApiManagement final : public Management {
 public:
  ApiManagement(const Options& options, Progress& progress)
      : progress_(progress),
        socket_(options.socket),
        socketIsDefault_(options.socket.empty() && !options.noSocket && HasSocketFiles()),
        listen_(options.listen),
        auditName_(PathText(options.auditLog)),
        policy_(options.accessFile.empty()
                    ? access::AccessPolicy::Default(access::OwnUserId(), {options.allowRestart})
                    : access::AccessPolicy::Load(options.accessFile, {options.allowRestart})) {
    if (!options.tokenFile.empty()) {
      tokens_ =
          std::make_shared<const access::TokenFile>(access::TokenFile::Load(options.tokenFile));
    }
    for (const std::string& warning : policy_.warnings()) {
      progress_.Say("warning: " + warning);
    }
    if (tokens_ != nullptr) {
      for (const std::string& warning : policy_.CompareTokens(tokens_->Names())) {
        progress_.Say("warning: " + warning);
      }
    }
    if (!options.auditLog.empty()) {
      audit_.emplace(options.auditLog,
                     [this](const std::string& sentence) { progress_.Fail(sentence); });
    }
  }
  ~ApiManagement() override { Stop(); }
  ApiManagement(const ApiManagement&) = delete;
  ApiManagement& operator=(const ApiManagement&) = delete;

  void Watch(KtDatabase database) override {
    database_ = database;
    feed_.emplace(database, hub_);
  }

  bool Serve(const ProviderHost& host) override {
    ApiContext context;
    context.database = database_;
    context.policy = &policy_;
    context.audit = audit_ ? &*audit_ : nullptr;
    context.hub = &hub_;
    context.activity = &activity_;
    context.providers = [&host] { return host.Reports(); };
    context.stopping = [this] { return stopping_.load(); };
    context.pid = ProcessNumber();
    context.startedAt = startedAt_;
    context.started = started_;
    api_.emplace(std::move(context));
    if (!socketIsDefault_) {
      return Listen(socket_);
    }
    // The usual place may be taken by another service of the same user, which hinders neither.
    const std::filesystem::path usual = DefaultSocket(true);
    if (usual.empty()) {
      progress_.Say("no management socket: there is no folder for it; name a file with --socket");
      return listen_.empty() || Listen({});
    }
    try {
      Open(usual);
      return true;
    } catch (const ListenError& error) {
      progress_.Say(std::string("no management socket: ") + error.what());
    }
    return listen_.empty() || Listen({});
  }

  void ReopenLogs(std::vector<std::string>& names) override {
    if (audit_) {
      audit_->Reopen();
      names.push_back(auditName_);
    }
  }

  void RefuseWork() noexcept override {
    stopping_.store(true);
    if (server_) {
      server_->RefuseWork();
    }
  }

  [[nodiscard]] std::vector<std::string> InFlight(const std::string& provider) const override {
    std::vector<std::string> sentences;
    for (const Activity::InFlight& running : activity_.NowOf(provider)) {
      sentences.push_back(InFlightText(running));
    }
    return sentences;
  }

  void Stop() noexcept override {
    stopping_.store(true);
    hub_.Close();
    server_.reset();
    feed_.reset();
  }

 private:
  bool Listen(const std::filesystem::path& socket) {
    try {
      Open(socket);
      return true;
    } catch (const ListenError& error) {
      progress_.Fail(error.what());
      return false;
    }
  }

  void Open(const std::filesystem::path& socket) {
    HttpOptions options;
    options.socket = socket;
    options.listen = listen_;
    options.tokens = tokens_;
    server_.emplace(
        HttpHandlers{[this](const Request& request) { return api_->Answer(request); },
                     [](std::string_view target) { return Api::IsStream(target); },
                     [this](const Request& request) { return api_->OpenStream(request); },
                     [this](unsigned status) { api_->Answered(status); }},
        std::move(options), hub_);
    for (const std::string& where : server_->Where()) {
      progress_.Say("management API at " + where);
    }
  }

  Progress& progress_;
  const std::filesystem::path socket_;
  const bool socketIsDefault_;
  const std::string listen_;
  const std::string auditName_;
  const access::AccessPolicy policy_;
  std::shared_ptr<const access::TokenFile> tokens_;
  std::optional<access::AuditLog> audit_;
  const std::chrono::system_clock::time_point startedAt_ = std::chrono::system_clock::now();
  const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();

  KtDatabase database_ = nullptr;
  std::atomic<bool> stopping_{false};
  StreamHub hub_{{},
                 [this](const std::string& name, const std::string& pattern) {
                   return EvMatch(database_, name.c_str(), pattern.c_str()) != 0;
                 },
                 FirstMessageId(startedAt_)};
  Activity activity_;
  std::optional<Api> api_;
  std::optional<BusFeed> feed_;
  std::optional<HttpServer> server_;
};

}  // namespace

std::unique_ptr<Management> MakeManagement(const Options& options, Progress& progress) {
  if (options.once || (options.listen.empty() && options.socket.empty() &&
                       (options.noSocket || !HasSocketFiles()))) {
    return nullptr;
  }
  try {
    return std::make_unique<ApiManagement>(options, progress);
  } catch (const access::AccessError& error) {
    throw CommandLineEnd(
        std::string("ktsvc: ") + error.what() + "\n       " + error.advice() + "\n", kExitUsage);
  }
}

}  // namespace ktsvc::api
