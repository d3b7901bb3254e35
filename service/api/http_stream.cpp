#include "api/http_stream.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/chunk_encode.hpp>
#include <boost/beast/http/write.hpp>
#include <exception>
#include <utility>

#include "api/sse.h"

namespace ktsvc::api {
namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;

constexpr std::size_t kAtOnce = std::size_t{64} * 1024;

}  // namespace

HttpStream::HttpStream(Carrier& carrier, Socket& socket, std::chrono::milliseconds comment)
    : carrier_(carrier), socket_(socket), silence_(comment), comment_(socket.get_executor()) {}

void HttpStream::Start(StreamHub& hub, const StreamHub::Selection& selection,
                       std::optional<std::uint64_t> lastEventId, unsigned version) {
  const std::weak_ptr<Carrier> weak = carrier_.Keep();
  subscription_ = hub.Subscribe(selection, lastEventId,
                                [this, weak, executor = socket_.get_executor()]() noexcept {
                                  try {
                                    net::post(executor, [this, weak] {
                                      if (const auto kept = weak.lock()) {
                                        Pump();
                                      }
                                    });
                                  } catch (const std::exception&) {
                                    return;  // what is there goes out with the next comment
                                  }
                                });
  head_.emplace(http::status::ok, version);
  SetCommonFields(*head_);
  head_->set(http::field::content_type, "text/event-stream");
  head_->keep_alive(false);
  head_->chunked(version == kHttp11);
  headWriter_.emplace(*head_);
  writing_ = true;
  http::async_write_header(
      socket_, *headWriter_,
      [this, kept = carrier_.Keep()](Error error, std::size_t) { OnHead(error); });
  WatchClient();
}

void HttpStream::Stop() {
  stopping_ = true;
  Pump();
}

void HttpStream::Close() noexcept {
  closed_ = true;
  try {
    comment_.cancel();
  } catch (const boost::system::system_error&) {
    ending_ = true;  // its handler finds the stream closed
  }
  subscription_.reset();
}

void HttpStream::OnHead(Error error) {
  writing_ = false;
  if (error || closed_) {
    carrier_.StreamBroken();
    return;
  }
  // The first bytes tell the reader that the stream stands.
  sending_ = kSseComment;
  Send(false);
  ArmComment();
}

// A client says nothing more; when it goes, that shows as the end of what can be read.
void HttpStream::WatchClient() {
  socket_.async_read_some(net::buffer(scrap_),
                          [this, kept = carrier_.Keep()](Error error, std::size_t) {
                            if (Over()) {
                              return;
                            }
                            if (error) {
                              carrier_.StreamBroken();
                            } else {
                              WatchClient();
                            }
                          });
}

void HttpStream::Pump() {
  if (Over() || writing_ || ending_) {
    return;
  }
  while (sending_.size() < kAtOnce) {
    const auto item = subscription_->Take();
    if (!item) {
      break;
    }
    AppendSse(*item, sending_);
  }
  const bool last = sending_.empty() && (stopping_ || subscription_->Ended());
  if (last || !sending_.empty()) {
    Send(last);
  }
}

void HttpStream::Send(bool last) {
  writing_ = true;
  ending_ = last;
  auto sent = [this, kept = carrier_.Keep()](Error error, std::size_t) { OnSent(error); };
  const bool chunked = head_->chunked();
  if (last && chunked) {
    net::async_write(socket_, http::make_chunk_last(), std::move(sent));
  } else if (chunked) {
    net::async_write(socket_, http::make_chunk(net::buffer(sending_)), std::move(sent));
  } else {
    net::async_write(socket_, net::buffer(sending_), std::move(sent));
  }
}

void HttpStream::OnSent(Error error) {
  writing_ = false;
  sending_.clear();
  if (sending_.capacity() > 2 * kAtOnce) {
    sending_.shrink_to_fit();  // it held one large message
  }
  if (closed_) {
    return;
  }
  if (error) {
    carrier_.StreamBroken();
  } else if (ending_) {
    done_ = true;
    carrier_.StreamDone();
  } else {
    Pump();
  }
}

void HttpStream::ArmComment() {
  comment_.expires_after(silence_);
  comment_.async_wait([this, kept = carrier_.Keep()](Error error) {
    if (error || Over()) {
      return;
    }
    if (!writing_ && !ending_) {
      sending_ = kSseComment;
      Pump();
    }
    ArmComment();
  });
}

}  // namespace ktsvc::api
