#include "api/http_server.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_set>
#include <utility>

#include "api/http_connection.h"
#include "api/listener.h"
#include "api/worker_pool.h"

namespace ktsvc::api {
namespace {

namespace net = boost::asio;

// Of those for whom there is no place, so many are told so at once; others are closed without a
// word.
constexpr std::size_t kRefusedAtOnce = 64;
// When the process has no descriptor left, it is asked again after this time.
constexpr std::chrono::milliseconds kAcceptPause{100};

// Where loopback is the only way, it has all of the places.
ConnectionPlaces::Limits PlacesFor(const HttpOptions& options) {
  const HttpLimits& limits = options.limits;
  if (options.socket.empty()) {
    return {limits.connections, limits.connectionsOfUser, limits.connections, 0, {}};
  }
  return {limits.connections, limits.connectionsOfUser, limits.connectionsOverLoopback,
          limits.connectionsReserved, options.reservedFor};
}

}  // namespace

class HttpServer::State final : public ConnectionRegister {
 public:
  State(HttpHandlers handlers, HttpOptions options, StreamHub& hub)
      : handlers_(std::move(handlers)),
        options_(std::move(options)),
        places_(PlacesFor(options_)),
        readers_(std::in_place, options_.limits.readers),
        senders_(std::in_place, options_.limits.senders),
        shared_{handlers_, options_.limits, options_.tokens.get(), hub,
                *readers_, *senders_,       refusesWork_,          *this},
        pause_(context_),
        open_(context_.get_executor()) {
    if (!options_.socket.empty()) {
      listeners_.push_back(ListenOnSocketFile(context_, options_.socket));
    }
    if (!options_.listen.empty()) {
      listeners_.push_back(ListenOnLoopback(context_, options_.listen));
    }
    for (const auto& listener : listeners_) {
      Accept(*listener);
    }
    thread_ = std::thread([this] { Run(); });
  }

  void Stop() noexcept {
    if (stopped_.exchange(true)) {
      return;
    }
    refusesWork_.store(true);
    context_.stop();  // unlike a handler posted, this needs no memory
    thread_.join();
    readers_.reset();
    senders_.reset();
  }

  [[nodiscard]] std::vector<std::string> Where() const {
    std::vector<std::string> where;
    for (const auto& listener : listeners_) {
      where.push_back(listener->Where());
    }
    return where;
  }

  void RefuseWork() noexcept { refusesWork_.store(true); }

  [[nodiscard]] std::size_t Connections() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
  }

  void Enter(HttpConnection& connection) override {
    const std::lock_guard lock(mutex_);
    connections_.insert(&connection);
  }
  void Leave(HttpConnection& connection) noexcept override {
    const std::lock_guard lock(mutex_);
    connections_.erase(&connection);
  }

 private:
  void Run() noexcept {
    for (;;) {
      try {
        context_.run();
      } catch (const std::exception&) {
        // No memory for one connection, which is gone with its handler; the others go on.
        continue;
      }
      if (stopping_) {
        return;
      }
      BeginStop();
      context_.restart();
    }
  }

  // From here on the context runs out of work when the last connection has gone.
  void BeginStop() noexcept {
    stopping_ = true;  // which ends the pause of a listener too
    for (const auto& listener : listeners_) {
      listener->Close();
    }
    while (const auto connection = NextToStop()) {
      connection->Stop();
    }
    open_.reset();
  }

  void Accept(Listener& listener) {
    listener.Accept([this, &listener](boost::system::error_code error, Socket socket) {
      if (stopping_) {
        return;
      }
      if (error && error != net::error::connection_aborted) {
        pause_.expires_after(kAcceptPause);
        pause_.async_wait([this, &listener](boost::system::error_code ended) {
          if (!ended && !stopping_) {
            Accept(listener);
          }
        });
        return;
      }
      Accept(listener);
      if (!error) {
        Welcome(std::move(socket), listener.peers());
      }
    });
  }

  void Welcome(Socket socket, PeerKind peer) {
    auto taken = places_.Take(peer == PeerKind::kToken
                                  ? ConnectionPlaces::Peer()
                                  : ConnectionPlaces::Peer(PeerUser(socket.native_handle())));
    if (auto* const place = std::get_if<ConnectionPlaces::Place>(&taken)) {
      std::make_shared<HttpConnection>(shared_, std::move(socket), peer, std::move(*place))
          ->Start();
    } else if (Connections() < places_.Taken() + kRefusedAtOnce) {
      std::make_shared<HttpConnection>(shared_, std::move(socket), peer, std::nullopt)
          ->Refuse(std::get<ConnectionPlaces::Refusal>(taken));
    }
  }

  // One that has not been told to stop and is not being destroyed at this moment.
  std::shared_ptr<HttpConnection> NextToStop() const {
    const std::lock_guard lock(mutex_);
    for (HttpConnection* const connection : connections_) {
      if (connection->Stopping()) {
        continue;
      }
      if (auto shared = connection->weak_from_this().lock()) {
        return shared;
      }
    }
    return nullptr;
  }

  const HttpHandlers handlers_;
  const HttpOptions options_;
  ConnectionPlaces places_;
  std::atomic<bool> refusesWork_{false};
  std::atomic<bool> stopped_{false};
  std::optional<WorkerPool> readers_;
  std::optional<WorkerPool> senders_;
  const HttpShared shared_;

  mutable std::mutex mutex_;
  std::unordered_set<HttpConnection*> connections_;

  net::io_context context_{1};
  std::vector<std::unique_ptr<Listener>> listeners_;
  net::steady_timer pause_;
  net::executor_work_guard<net::io_context::executor_type> open_;
  bool stopping_ = false;  // of the thread alone
  std::thread thread_;
};

HttpServer::HttpServer(HttpHandlers handlers, HttpOptions options, StreamHub& hub)
    : state_(std::make_unique<State>(std::move(handlers), std::move(options), hub)) {}

HttpServer::~HttpServer() {
  Stop();
}

std::vector<std::string> HttpServer::Where() const {
  return state_->Where();
}

void HttpServer::RefuseWork() noexcept {
  state_->RefuseWork();
}

void HttpServer::Stop() noexcept {
  state_->Stop();
}

std::size_t HttpServer::Connections() const {
  return state_->Connections();
}

}  // namespace ktsvc::api
