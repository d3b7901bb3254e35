#include "api/http_connection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/write.hpp>
#include <exception>
#include <iterator>
#include <utility>

#include "api/http_error.h"
#include "api/sse.h"

namespace ktsvc::api {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr std::size_t kReadAtOnce = 4096;

// "10", "0.02"
std::string Seconds(std::chrono::milliseconds time) {
  std::string text = std::to_string(static_cast<double>(time.count()) / 1000.0);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) {
    text.pop_back();
  }
  return text;
}

std::string_view View(beast::string_view text) {
  return {text.data(), text.size()};
}

bool SameWord(std::string_view left, std::string_view right) {
  return beast::iequals({left.data(), left.size()}, {right.data(), right.size()});
}

// The host of a Host header without its port.
std::string_view HostName(std::string_view host) {
  if (!host.empty() && host.front() == '[') {
    const std::size_t end = host.find(']');
    return end == std::string_view::npos ? host : host.substr(0, end + 1);
  }
  return host.substr(0, host.find(':'));
}

bool NamesThisMachine(std::string_view host) {
  const std::string_view name = HostName(host);
  return SameWord(name, "localhost") || name == "127.0.0.1" || name == "[::1]";
}

bool OnlyReads(http::verb method) {
  return method == http::verb::get || method == http::verb::head || method == http::verb::options;
}

Response IsStopping() {
  return HttpError(503, "the service is stopping", "Reading and streams go on until its end.")
      .ToResponse();
}

Response Unauthorized(bool shown) {
  HttpError error(401, shown ? "the token is not known" : "no token is shown",
                  "Send \"Authorization: Bearer SECRET\" with a secret of the token file.");
  return std::move(error)
      .WithHeader("WWW-Authenticate", shown ? "Bearer realm=\"ktsvc\", error=\"invalid_token\""
                                            : "Bearer realm=\"ktsvc\"")
      .ToResponse();
}

}  // namespace

HttpConnection::HttpConnection(HttpShared shared, Socket socket, PeerKind peer,
                               std::optional<ConnectionPlaces::Place> place)
    : shared_(shared),
      peer_(peer),
      place_(std::move(place)),
      socket_(std::move(socket)),
      timer_(socket_.get_executor()) {
  shared_.connections.Enter(*this);
}

HttpConnection::~HttpConnection() {
  shared_.connections.Leave(*this);
}

void HttpConnection::Start() {
  ReadNext();
}

void HttpConnection::Refuse(const ConnectionPlaces::Refusal& refusal) {
  Answer(HttpError(503, refusal.reason, refusal.hint).WithHeader("Retry-After", "1").ToResponse(),
         true);
}

void HttpConnection::Stop() noexcept {
  stopping_ = true;
  if (stage_ == Stage::kIdle) {
    Close();
  } else if (stage_ != Stage::kWorking && stage_ != Stage::kGoodbye) {
    try {
      // What is on its way may be stuck with a client that neither reads nor writes.
      Arm(shared_.limits.goodbye);
      if (stream_) {
        stream_->Stop();
      }
    } catch (const std::exception&) {
      Close();  // no memory to wait with
    }
  }
}

// ---- Reading ------------------------------------------------------------------------------------

void HttpConnection::ReadNext() {
  if (stopping_) {
    Goodbye();
    return;
  }
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(shared_.limits.headerBytes));
  parser_->body_limit(shared_.limits.bodyBytes);
  if (buffer_.size() != 0) {
    ReadHeader();
    return;
  }
  stage_ = Stage::kIdle;
  Arm(shared_.limits.idle);
  socket_.async_read_some(buffer_.prepare(kReadAtOnce),
                          [self = shared_from_this()](Error error, std::size_t count) {
                            if (error) {
                              self->Close();
                              return;
                            }
                            self->buffer_.commit(count);
                            self->ReadHeader();
                          });
}

void HttpConnection::ReadHeader() {
  stage_ = Stage::kReading;
  Arm(shared_.limits.request);
  const Error parsed = Parse(false);
  if (parsed != http::error::need_more) {
    OnHeader(parsed);
    return;
  }
  http::async_read_header(
      socket_, buffer_, *parser_,
      [self = shared_from_this()](Error error, std::size_t) { self->OnHeader(error); });
}

void HttpConnection::OnHeader(Error error) {
  if (error || expired_) {
    OnReadError(error);
    return;
  }
  if (auto refused = JudgeHeader()) {
    // A body that was not wanted is not read either.
    Answer(std::move(*refused), !parser_->is_done());
    return;
  }
  if (!parser_->is_done() && SameWord(View(parser_->get()[http::field::expect]), "100-continue")) {
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    net::async_write(socket_, net::buffer(kContinue),
                     [self = shared_from_this()](Error written, std::size_t) {
                       if (written) {
                         self->Close();
                       } else {
                         self->ReadBody();
                       }
                     });
    return;
  }
  ReadBody();
}

void HttpConnection::ReadBody() {
  const Error parsed = Parse(true);
  if (!parsed) {
    Dispatch();
    return;
  }
  if (parsed != http::error::need_more) {
    OnReadError(parsed);
    return;
  }
  http::async_read(socket_, buffer_, *parser_,
                   [self = shared_from_this()](Error error, std::size_t) {
                     if (error) {
                       self->OnReadError(error);
                     } else {
                       self->Dispatch();
                     }
                   });
}

void HttpConnection::OnReadError(Error error) {
  const HttpLimits& limits = shared_.limits;
  const auto refuse = [this](unsigned status, const std::string& reason, std::string hint = {}) {
    Answer(HttpError(status, reason, std::move(hint)).ToResponse(), true);
  };
  if (expired_ && stopping_) {
    Answer(IsStopping(), true);
  } else if (expired_) {
    refuse(408, "the request did not come within " + Seconds(limits.request) + " s");
  } else if (error == http::error::end_of_stream) {
    Goodbye();
  } else if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    refuse(431, "the header is larger than " + std::to_string(limits.headerBytes) + " bytes");
  } else if (error == http::error::body_limit) {
    refuse(413, "the body is larger than " + std::to_string(limits.bodyBytes) + " bytes");
  } else if (error == http::error::partial_message) {
    const bool announced =
        parser_->is_header_done() && parser_->get().count(http::field::content_length) != 0;
    refuse(400, "the request ended before its end",
           announced ? "Does its Content-Length say too much?" : "");
  } else if (error.category() == Error(http::error::bad_method).category()) {
    refuse(400, "this is not HTTP/1.1: " + error.message());
  } else {
    Close();
  }
}

// Takes what has come already, without a turn of the event loop: most requests come in one piece.
// No error when the header, or the whole message, is there; "need more" when it is not yet.
HttpConnection::Error HttpConnection::Parse(bool whole) {
  parser_->eager(whole);
  while (whole ? !parser_->is_done() : !parser_->is_header_done()) {
    if (buffer_.size() == 0) {
      return http::error::need_more;
    }
    Error error;
    buffer_.consume(parser_->put(buffer_.data(), error));
    if (error) {
      return error;
    }
  }
  return {};
}

// ---- Judging ------------------------------------------------------------------------------------

std::optional<Response> HttpConnection::JudgeHost() const {
  const auto& request = parser_->get();
  const auto hosts = request.count(http::field::host);
  if (hosts > 1 || (hosts == 0 && request.version() == kHttp11)) {
    return HttpError(400, hosts == 0 ? "the Host header is missing" : "there are two Host headers")
        .ToResponse();
  }
  if (peer_ == PeerKind::kToken && hosts == 1 &&
      !NamesThisMachine(View(request[http::field::host]))) {
    return HttpError(421, "the Host header names another machine",
                     "Write localhost, 127.0.0.1 or [::1].")
        .ToResponse();
  }
  return std::nullopt;
}

std::optional<Response> HttpConnection::JudgeToken() {
  if (peer_ != PeerKind::kToken) {
    return std::nullopt;
  }
  caller_.reset();
  const auto& request = parser_->get();
  if (request.count(http::field::authorization) != 1) {
    return Unauthorized(request.count(http::field::authorization) != 0);
  }
  static constexpr std::string_view kScheme = "Bearer ";
  const std::string_view shown = View(request[http::field::authorization]);
  if (!SameWord(shown.substr(0, kScheme.size()), kScheme)) {
    return Unauthorized(false);
  }
  if (shared_.tokens != nullptr) {
    caller_ = shared_.tokens->Verify(shown.substr(kScheme.size()));
  }
  return caller_ ? std::nullopt : std::optional(Unauthorized(true));
}

std::optional<Response> HttpConnection::JudgeHeader() {
  if (auto refused = JudgeHost()) {
    return refused;
  }
  if (auto refused = JudgeToken()) {
    return refused;
  }
  if (shared_.refusesWork.load() && !OnlyReads(parser_->get().method())) {
    return IsStopping();
  }
  return std::nullopt;
}

// ---- Working ------------------------------------------------------------------------------------

void HttpConnection::Dispatch() {
  Disarm();
  stage_ = Stage::kWorking;
  const http::verb method = parser_->get().method();
  const std::string_view target = View(parser_->get().target());
  const bool stream = method == http::verb::get && shared_.handlers.isStream(target);
  // The executor counts as work under way, so that the thread of input and output waits for it.
  const auto executor =
      net::prefer(socket_.get_executor(), net::execution::outstanding_work.tracked);
  auto work = [self = shared_from_this(), executor, stream]() mutable noexcept {
    try {
      Outcome outcome = self->TryWork(stream);
      net::post(executor, [self = std::move(self), outcome = std::move(outcome)]() mutable {
        self->OnWorked(std::move(outcome));
      });
    } catch (const std::exception&) {
      // No memory to say anything with: the connection closes with its last owner, which this was.
      return;
    }
  };
  try {
    (OnlyReads(method) ? shared_.readers : shared_.senders).Post(std::move(work));
  } catch (const std::exception&) {
    Answer(HttpError(503, "the system has no thread for this", "Try again later.").ToResponse(),
           false);
  }
}

HttpConnection::Outcome HttpConnection::TryWork(bool stream) {
  try {
    return Work(stream);
  } catch (const std::exception& error) {
    return HttpError(500, std::string("the request cannot be worked on: ") + error.what())
        .ToResponse();
  }
}

HttpConnection::Outcome HttpConnection::Work(bool stream) {
  if (!caller_) {
    // Once for the connection: the system may have to ask a network for the names.
    try {
      caller_ = CallerOf(socket_.native_handle());
    } catch (const std::exception& error) {
      return HttpError(500, std::string("the system does not say who asks: ") + error.what())
          .ToResponse();
    }
  }
  auto& message = parser_->get();
  Request request{std::string(View(message.method_string())), std::string(View(message.target())),
                  std::string(View(message[http::field::content_type])), std::move(message.body()),
                  *caller_};
  if (!stream) {
    return shared_.handlers.answer(request);
  }
  auto opened = shared_.handlers.openStream(request);
  if (auto* const refused = std::get_if<Response>(&opened)) {
    return std::move(*refused);
  }
  return std::get<StreamHub::Selection>(std::move(opened));
}

void HttpConnection::OnWorked(Outcome outcome) {
  if (auto* const response = std::get_if<Response>(&outcome)) {
    Answer(std::move(*response), false);
  } else {
    StartStream(std::get<StreamHub::Selection>(outcome));
  }
}

// ---- Answering ----------------------------------------------------------------------------------

void HttpConnection::Answer(Response response, bool close) {
  stage_ = Stage::kAnswering;
  Count(response.status);
  const bool asked = parser_ && parser_->is_header_done();
  const bool head = asked && parser_->get().method() == http::verb::head;
  const bool keep = asked && parser_->get().keep_alive() && !close && !stopping_;

  answer_.emplace();
  answer_->version(asked ? parser_->get().version() : kHttp11);
  answer_->result(response.status);
  SetCommonFields(*answer_);
  if (!response.contentType.empty()) {
    answer_->set(http::field::content_type, response.contentType);
  }
  for (const auto& [name, value] : response.headers) {
    answer_->set(name, value);
  }
  answer_->keep_alive(keep);
  if (!head) {
    answer_->body() = std::move(response.body);
    answer_->prepare_payload();
  } else if (!response.body.empty()) {
    answer_->content_length(response.body.size());
  }
  Arm(stopping_ ? shared_.limits.goodbye : shared_.limits.write);
  http::async_write(socket_, *answer_, [self = shared_from_this(), keep](Error error, std::size_t) {
    self->OnAnswered(error, !keep);
  });
}

void HttpConnection::Count(unsigned status) const {
  if (shared_.handlers.answered) {
    shared_.handlers.answered(status);
  }
}

void HttpConnection::OnAnswered(Error error, bool close) {
  answer_.reset();
  if (error) {
    Close();
  } else if (close) {
    Goodbye();
  } else {
    ReadNext();
  }
}

// Closing with bytes unread would take the answer away from the peer, so what it still sends is
// read, for a moment.
void HttpConnection::Goodbye() {
  stage_ = Stage::kGoodbye;
  Error error;
  static_cast<void>(socket_.shutdown(Socket::shutdown_send, error));
  if (error) {
    Close();
    return;
  }
  Arm(shared_.limits.goodbye);
  ReadGoodbye();
}

void HttpConnection::ReadGoodbye() {
  socket_.async_read_some(net::buffer(scrap_),
                          [self = shared_from_this()](Error error, std::size_t) {
                            if (error || self->expired_) {
                              self->Close();
                            } else {
                              self->ReadGoodbye();
                            }
                          });
}

void HttpConnection::Close() noexcept {
  Disarm();
  if (stream_) {
    stream_->Close();
  }
  Error ignored;
  // What is under way is called back before its handle goes: Wine's server loses its memory over a
  // handle that is closed under a write half done.
  static_cast<void>(socket_.cancel(ignored));
  static_cast<void>(socket_.close(ignored));
}

// ---- Streaming ----------------------------------------------------------------------------------

void HttpConnection::StartStream(const StreamHub::Selection& selection) {
  const auto& request = parser_->get();
  std::optional<std::uint64_t> last;
  if (request.count("Last-Event-ID") != 0) {
    last = ParseEventId(View(request["Last-Event-ID"]));
    if (!last) {
      Answer(HttpError(400, "the Last-Event-ID is no number",
                       "Send the id of the last event that came, or none.")
                 .ToResponse(),
             false);
      return;
    }
  }
  stage_ = Stage::kStreaming;
  Count(static_cast<unsigned>(http::status::ok));
  stream_.emplace(*this, socket_, shared_.limits.streamComment);
  stream_->Start(shared_.hub, selection, last, request.version());
  if (stopping_) {
    Arm(shared_.limits.goodbye);
    stream_->Stop();
  }
}

// ---- Time ---------------------------------------------------------------------------------------

void HttpConnection::Arm(std::chrono::milliseconds time) {
  expired_ = false;
  deadline_ = std::chrono::steady_clock::now() + time;
  if (deadline_ < waiting_) {
    Wait(deadline_);
  }
}

void HttpConnection::Disarm() noexcept {
  deadline_ = Time::max();
  expired_ = false;
}

// The wait does not keep the connection: what is under way with the socket does.
void HttpConnection::Wait(Time until) {
  waiting_ = Time::max();
  const std::uint64_t mine = ++waits_;
  timer_.expires_at(until);
  timer_.async_wait([weak = weak_from_this(), mine](Error error) {
    const auto self = weak.lock();
    if (error || self == nullptr || self->waits_ != mine) {
      return;
    }
    self->waiting_ = Time::max();
    if (self->deadline_ == Time::max()) {
      return;
    }
    if (std::chrono::steady_clock::now() < self->deadline_) {
      try {
        self->Wait(self->deadline_);
      } catch (const std::exception&) {
        self->Close();  // no memory to wait with
      }
    } else {
      self->deadline_ = Time::max();
      self->Expired();
    }
  });
  waiting_ = until;
}

void HttpConnection::Expired() {
  expired_ = true;
  if (stage_ == Stage::kReading) {
    Error ignored;
    static_cast<void>(socket_.cancel(ignored));  // and is answered, which closing would not allow
  } else {
    Close();
  }
}

}  // namespace ktsvc::api
