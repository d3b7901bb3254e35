#include "http_server_test.h"

#include <gmock/gmock.h>

#include <thread>

namespace ktsvc::api {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(HttpServerTest, ARequestIsAnsweredByTheHandlerAsItCame) {
  Start();
  const auto answer = Connect().Ask(
      Words("POST", "/v1/events?x=%20", "Content-Type: application/json\r\n", "{\"a\":1}"));
  EXPECT_EQ(answer.status, 200U);
  EXPECT_EQ(answer.body, "POST /v1/events?x=%20 {\"a\":1} for token ci");
  EXPECT_EQ(answer.Header("Content-Type"), "text/plain");
  EXPECT_EQ(answer.Header("X-Seen"), "1");
  EXPECT_EQ(requests_.front().contentType, "application/json");
}

TEST_F(HttpServerTest, AConnectionIsKeptForTheNextRequest) {
  Start();
  auto client = Connect();
  for (int i = 1; i <= 3; ++i) {
    const auto answer = client.Ask(Get("/a"));
    EXPECT_EQ(answer.Header("X-Seen"), std::to_string(i));
    EXPECT_TRUE(answer.keepsAlive);
  }
}

TEST_F(HttpServerTest, RequestsSentAheadAreAnsweredInOrder) {
  Start();
  auto client = Connect();
  client.Send(Get("/1") + Words("POST", "/2", {}, "body") + Get("/3"));
  EXPECT_THAT(client.Read().body, StartsWith("GET /1"));
  EXPECT_THAT(client.Read().body, StartsWith("POST /2 body"));
  EXPECT_THAT(client.Read().body, StartsWith("GET /3"));
}

TEST_F(HttpServerTest, AClientThatWantsToCloseIsClosed) {
  Start();
  auto client = Connect();
  EXPECT_FALSE(client.Ask(Get("/a", "Connection: close\r\n")).keepsAlive);
  EXPECT_EQ(client.Read().status, 0U);
}

TEST_F(HttpServerTest, ABodyInChunksIsPutTogether) {
  Start();
  const auto answer = Connect().Ask(Words("POST", "/a", "Transfer-Encoding: chunked\r\n") +
                                    "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
  EXPECT_THAT(answer.body, StartsWith("POST /a abcde"));
}

TEST_F(HttpServerTest, AClientThatWaitsToSendItsBodyIsToldToGoOn) {
  Start();
  auto client = Connect();
  client.Send(Words("POST", "/a", "Expect: 100-continue\r\nContent-Length: 2\r\n"));
  EXPECT_EQ(client.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
  client.Send("ok");
  EXPECT_THAT(client.Read().body, StartsWith("POST /a ok"));
}

TEST_F(HttpServerTest, AnAnswerToHeadHasTheLengthAndNoBody) {
  Start();
  auto client = Connect();
  client.Send(Words("HEAD", "/a"));
  const auto answer = client.Read(true);
  EXPECT_EQ(answer.status, 200U);
  EXPECT_EQ(answer.Header("Content-Length"),
            std::to_string(std::string("HEAD /a  for token ci").size()));
  EXPECT_THAT(client.Ask(Get("/b")).body, StartsWith("GET /b"));
}

// ---- Who asks -----------------------------------------------------------------------------------

TEST_F(HttpServerTest, WithoutATokenNobodyIsLetIn) {
  Start();
  const auto answer = Connect().Ask("GET /a HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_EQ(answer.status, 401U);
  EXPECT_EQ(answer.Header("WWW-Authenticate"), "Bearer realm=\"ktsvc\"");
  EXPECT_EQ(answer.Reason(), "no token is shown");
  EXPECT_EQ(Requests(), 0U);
}

TEST_F(HttpServerTest, AnUnknownTokenIsRefused) {
  Start();
  const auto answer = Connect().Ask("GET /a HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " +
                                    kSecret + "0\r\n\r\n");
  EXPECT_EQ(answer.status, 401U);
  EXPECT_EQ(answer.Header("WWW-Authenticate"), "Bearer realm=\"ktsvc\", error=\"invalid_token\"");
}

TEST_F(HttpServerTest, EachRequestShowsItsToken) {
  Start();
  auto client = Connect();
  EXPECT_EQ(client.Ask(Get("/a")).status, 200U);
  EXPECT_EQ(client.Ask("GET /a HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 401U);
  EXPECT_EQ(client.Ask(Get("/a")).status, 200U);
}

TEST_F(HttpServerTest, WhoCallsHimselfSomebodyElseIsStillKnownByHisToken) {
  Start();
  const auto answer =
      Connect().Ask(Get("/a", "X-Caller: root\r\nX-Forwarded-User: root\r\nFrom: root\r\n"));
  EXPECT_THAT(answer.body, HasSubstr("for token ci"));
}

TEST_F(HttpServerTest, TwoAuthorizationsAreNone) {
  Start();
  EXPECT_EQ(Connect().Ask(Get("/a", "Authorization: Bearer " + kSecret + "\r\n")).status, 401U);
}

TEST_F(HttpServerTest, ABodyFromNobodyIsNotRead) {
  Start();
  auto client = Connect();
  const auto answer =
      client.Ask("POST /a HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000\r\n\r\n");
  EXPECT_EQ(answer.status, 401U);
  EXPECT_FALSE(answer.keepsAlive);
}

TEST_F(HttpServerTest, ARequestForAnotherHostIsMisdirected) {
  Start();
  for (const char* host : {"evil.example", "evil.example:80", "localhost.evil.example",
                           "127.0.0.1.evil.example", "[::2]", ""}) {
    const auto answer = Connect().Ask(std::string("GET /a HTTP/1.1\r\nHost: ") + host +
                                      "\r\nAuthorization: Bearer " + kSecret + "\r\n\r\n");
    EXPECT_EQ(answer.status, 421U) << host;
  }
  EXPECT_EQ(Requests(), 0U);
}

TEST_F(HttpServerTest, ThisMachineHasThreeNames) {
  Start();
  for (const char* host : {"localhost", "LocalHost:8080", "127.0.0.1", "127.0.0.1:1", "[::1]:80"}) {
    const auto answer = Connect().Ask(std::string("GET /a HTTP/1.1\r\nHost: ") + host +
                                      "\r\nAuthorization: Bearer " + kSecret + "\r\n\r\n");
    EXPECT_EQ(answer.status, 200U) << host;
  }
}

// ---- What is malformed --------------------------------------------------------------------------

TEST_F(HttpServerTest, WhatIsNoHttpIsRefusedWithAReason) {
  Start();
  for (const char* text :
       {"nonsense\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "GET / HTTP/1.1\r\nno colon\r\n\r\n",
        "\x16\x03\x01\x02\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: many\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"}) {
    const auto answer = Connect().Ask(text);
    EXPECT_EQ(answer.status, 400U) << text;
    EXPECT_THAT(answer.Reason(), StartsWith("this is not HTTP/1.1: ")) << text;
    EXPECT_FALSE(answer.keepsAlive) << text;
  }
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
}

TEST_F(HttpServerTest, ARequestWithoutAHostIsRefused) {
  Start();
  EXPECT_EQ(Connect().Ask("GET / HTTP/1.1\r\n\r\n").Reason(), "the Host header is missing");
  EXPECT_EQ(Connect().Ask(Get("/", "Host: localhost\r\n")).Reason(), "there are two Host headers");
}

TEST_F(HttpServerTest, ATruncatedRequestIsRefused) {
  Start();
  for (const std::string& text :
       {std::string("GET /a HTT"), std::string("GET /a HTTP/1.1\r\nHost: loc"),
        Words("POST", "/a", "Content-Length: 10\r\n") + "half"}) {
    auto client = Connect();
    client.Send(text);
    client.EndSending();
    const auto answer = client.Read();
    EXPECT_EQ(answer.status, 400U) << text;
    EXPECT_EQ(answer.Reason(), "the request ended before its end") << text;
  }
}

TEST_F(HttpServerTest, ATruncatedRequestIsAskedAboutItsLengthWhenItGaveOne) {
  Start();
  const auto hint = [this](const std::string& text) {
    auto client = Connect();
    client.Send(text);
    client.EndSending();
    return nlohmann::json::parse(client.Read().body)["error"]["hint"];
  };
  EXPECT_EQ(hint(Words("POST", "/a", "Content-Length: 10\r\n") + "half"),
            "Does its Content-Length say too much?");
  EXPECT_EQ(hint("GET /a HTTP/1.1\r\nContent-Length: 10\r\nHost: loc"), nullptr);
  EXPECT_EQ(hint(Words("POST", "/a", "Transfer-Encoding: chunked\r\n") + "9\r\nhalf"), nullptr);
}

TEST_F(HttpServerTest, ABodyBeyondTheLimitIsRefused) {
  HttpOptions options;
  options.limits.bodyBytes = 1000;
  Start(std::move(options));
  EXPECT_EQ(Connect().Ask(Words("POST", "/a", {}, std::string(1000, 'x'))).status, 200U);
  const auto answer = Connect().Ask(Words("POST", "/a", {}, std::string(1001, 'x')));
  EXPECT_EQ(answer.status, 413U);
  EXPECT_EQ(answer.Reason(), "the body is larger than 1000 bytes");
}

TEST_F(HttpServerTest, ABodyInChunksBeyondTheLimitIsRefused) {
  HttpOptions options;
  options.limits.bodyBytes = 1000;
  Start(std::move(options));
  auto client = Connect();
  client.Send(Words("POST", "/a", "Transfer-Encoding: chunked\r\n"));
  for (int i = 0; i < 20; ++i) {
    client.Send("64\r\n" + std::string(100, 'x') + "\r\n");
  }
  EXPECT_EQ(client.Read().status, 413U);
}

TEST_F(HttpServerTest, AHugeBodyIsRefusedBeforeItHasBeenSent) {
  Start();
  auto client = Connect();
  client.Send(Words("POST", "/a", "Content-Length: 18446744073709551615\r\n"));
  EXPECT_EQ(client.Read().status, 413U);
}

TEST_F(HttpServerTest, AHeaderBeyondTheLimitIsRefused) {
  HttpOptions options;
  options.limits.headerBytes = 1000;
  Start(std::move(options));
  const auto answer = Connect().Ask(Get("/a", "X: " + std::string(1000, 'x') + "\r\n"));
  EXPECT_EQ(answer.status, 431U);
  EXPECT_EQ(answer.Reason(), "the header is larger than 1000 bytes");
  EXPECT_EQ(Connect().Ask(Get("/" + std::string(1000, 'x'))).status, 431U);
}

TEST_F(HttpServerTest, AHeaderWithoutAnEndIsRefusedAtTheLimit) {
  HttpOptions options;
  options.limits.headerBytes = 1000;
  Start(std::move(options));
  EXPECT_EQ(Connect().Ask("GET /a HTTP/1.1\r\nX: " + std::string(5000, 'x')).status, 431U);
}

TEST_F(HttpServerTest, ASlowSenderIsToldThatItTookTooLong) {
  HttpOptions options;
  options.limits.request = 20ms;
  Start(std::move(options));
  for (const std::string& text : {std::string("G"), std::string("GET /a HTTP/1.1\r\nHost:"),
                                  Words("POST", "/a", "Content-Length: 10\r\n") + "half"}) {
    const auto answer = Connect().Ask(text);
    EXPECT_EQ(answer.status, 408U) << text;
    EXPECT_EQ(answer.Reason(), "the request did not come within 0.02 s") << text;
  }
  EXPECT_THAT(Answered(), testing::ElementsAre(testing::Pair(408, 3)));
}

TEST_F(HttpServerTest, AWholeNumberOfSecondsIsSaidWithoutAPoint) {
  HttpOptions options;
  options.limits.request = 1'000ms;
  Start(std::move(options));
  EXPECT_EQ(Connect().Ask("G").Reason(), "the request did not come within 1 s");
}

TEST_F(HttpServerTest, AnIdleConnectionIsClosedInSilence) {
  HttpOptions options;
  options.limits.idle = 1ms;
  Start(std::move(options));
  EXPECT_THAT(Connect().ReadToEnd(), IsEmpty());
}

TEST_F(HttpServerTest, ConnectionsBeyondTheLimitAreToldToComeBack) {
  HttpOptions options;
  options.limits.connections = 2;
  Start(std::move(options));
  auto first = Connect();
  auto second = Connect();
  EXPECT_EQ(first.Ask(Get("/a")).status, 200U);
  EXPECT_EQ(second.Ask(Get("/a")).status, 200U);
  const auto answer = Connect().Read();
  EXPECT_EQ(answer.status, 503U);
  EXPECT_EQ(answer.Header("Retry-After"), "1");
  EXPECT_EQ(answer.Reason(), "all 2 connections are taken");
  EXPECT_EQ(first.Ask(Get("/a")).status, 200U);
}

TEST_F(HttpServerTest, EveryAnswerCountsWhoeverMadeIt) {
  HttpOptions options;
  options.limits.connections = 1;
  options.limits.headerBytes = 1000;
  options.limits.bodyBytes = 10;
  Start(std::move(options));
  const auto alone = [this](const std::string& text) {
    while (server_->Connections() != 0) {
      std::this_thread::yield();
    }
    auto client = Connect();
    client.Send(text);
    return client;
  };
  {
    auto client = alone(Get("/a"));
    EXPECT_EQ(client.Read().status, 200U);
    EXPECT_EQ(client.Ask("GET /a HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 401U);
    EXPECT_EQ(client.Ask("GET /a HTTP/1.1\r\nHost: elsewhere\r\n\r\n").status, 421U);
    EXPECT_EQ(Connect().Read().status, 503U);
  }
  EXPECT_EQ(alone(Words("POST", "/a", {}, "more than ten")).Read().status, 413U);
  EXPECT_EQ(alone(Get("/" + std::string(1000, 'x'))).Read().status, 431U);
  EXPECT_EQ(alone("nonsense\r\n\r\n").Read().status, 400U);
  auto stream = alone(Get("/v1/stream"));
  static_cast<void>(stream.ReadUntil(":\n\n"));
  EXPECT_THAT(Answered(), testing::ElementsAre(testing::Pair(200, 2), testing::Pair(400, 1),
                                               testing::Pair(401, 1), testing::Pair(413, 1),
                                               testing::Pair(421, 1), testing::Pair(431, 1),
                                               testing::Pair(503, 1)));
}

// ---- What waits ---------------------------------------------------------------------------------

TEST_F(HttpServerTest, ReadingGoesOnWhileEveryThreadForControlsWaits) {
  HttpOptions options;
  options.limits.senders = 2;
  Start(std::move(options));
  std::vector<HttpClient> blocked;
  for (int i = 0; i < 4; ++i) {
    blocked.push_back(Connect());
    blocked.back().Send(Words("POST", "/block", {}, "x"));
  }
  WaitUntilBlocked(2);
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
  Release();
  for (auto& client : blocked) {
    EXPECT_EQ(client.Read().status, 200U);
  }
}

TEST_F(HttpServerTest, AClientThatGoesWhileItsRequestRunsHarmsNobody) {
  Start();
  {
    auto client = Connect();
    client.Send(Words("POST", "/block", {}, "x"));
    WaitUntilBlocked(1);
  }
  Release();
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
}

// ---- Streams ------------------------------------------------------------------------------------

TEST_F(HttpServerTest, AStreamBringsWhatIsPublished) {
  Start();
  auto client = Connect();
  client.Send(Get("/v1/stream?topics=trace"));
  const std::string head = client.ReadUntil(":\n\n");
  EXPECT_THAT(head, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(head, HasSubstr("Content-Type: text/event-stream\r\n"));
  hub_.Publish(Topic::kTrace, "{\"text\":\"one\"}");
  EXPECT_THAT(client.ReadUntil("\n\n"),
              HasSubstr("id: 1\nevent: trace\ndata: {\"text\":\"one\"}\n\n"));
  hub_.Publish(Topic::kTrace, "{\"text\":\"two\"}");
  EXPECT_THAT(client.ReadUntil("\n\n"),
              HasSubstr("id: 2\nevent: trace\ndata: {\"text\":\"two\"}\n\n"));
}

TEST_F(HttpServerTest, AnOldClientGetsItsStreamWithoutChunks) {
  Start();
  auto client = Connect();
  client.Send("GET /v1/stream HTTP/1.0\r\nHost: localhost\r\nAuthorization: Bearer " + kSecret +
              "\r\n\r\n");
  EXPECT_THAT(client.ReadUntil("\r\n\r\n"), Not(HasSubstr("chunked")));
  EXPECT_EQ(client.ReadUntil("\n\n"), ":\n\n");
  hub_.Publish(Topic::kTrace, "{}");
  EXPECT_EQ(client.ReadUntil("\n\n"), "id: 1\nevent: trace\ndata: {}\n\n");
  hub_.Close();
  EXPECT_THAT(client.ReadToEnd(), IsEmpty());
}

TEST_F(HttpServerTest, AStreamGoesOnAfterTheNumberThatTheClientNames) {
  Start();
  for (int i = 0; i < 3; ++i) {
    hub_.Publish(Topic::kTrace, "{}");
  }
  auto client = Connect();
  client.Send(Get("/v1/stream", "Last-Event-ID: 2\r\n"));
  EXPECT_THAT(client.ReadUntil("data: "), HasSubstr("id: 3\n"));
}

TEST_F(HttpServerTest, ALastEventIdThatIsNoNumberIsRefused) {
  Start();
  const auto answer = Connect().Ask(Get("/v1/stream", "Last-Event-ID: latest\r\n"));
  EXPECT_EQ(answer.status, 400U);
  EXPECT_EQ(answer.Reason(), "the Last-Event-ID is no number");
}

TEST_F(HttpServerTest, AStreamThatIsRefusedIsAnAnswerLikeAnyOther) {
  Start();
  auto client = Connect();
  EXPECT_EQ(client.Ask(Get("/v1/stream?refused")).status, 403U);
  EXPECT_EQ(client.Ask(Get("/a")).status, 200U);
}

TEST_F(HttpServerTest, ASilentStreamSendsComments) {
  HttpOptions options;
  options.limits.streamComment = 1ms;
  Start(std::move(options));
  auto client = Connect();
  client.Send(Get("/v1/stream"));
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(client.ReadUntil(":\n\n"), HasSubstr(":\n\n"));
  }
}

TEST_F(HttpServerTest, AReaderWhoStopsReadingHoldsUpNobodyAndIsToldOfHisGap) {
  Start();
  auto slow = Connect();
  slow.Send(Get("/v1/stream"));
  static_cast<void>(slow.ReadUntil(":\n\n"));
  auto quick = Connect();
  quick.Send(Get("/v1/stream"));
  static_cast<void>(quick.ReadUntil(":\n\n"));
  // Until no more fits into what the system keeps for a connection, and into the queue.
  const std::string large = "\"" + std::string(100'000, 'x') + "\"";
  std::uint64_t published = 0;
  while (hub_.Lost() == 0) {
    hub_.Publish(Topic::kTrace, large);
    ++published;
    ASSERT_THAT(quick.ReadUntil(large + "\n\n"),
                HasSubstr("id: " + std::to_string(published) + "\n"));
  }
  EXPECT_THAT(slow.ReadUntil("event: gap\n"), HasSubstr("id: 1\n"));
  EXPECT_EQ(slow.ReadUntil("\n\n"), "data: {\"lost\": 1}\n\n");
}

TEST_F(HttpServerTest, AClientThatLeavesItsStreamIsForgotten) {
  Start();
  {
    auto client = Connect();
    client.Send(Get("/v1/stream"));
    static_cast<void>(client.ReadUntil(":\n\n"));
    EXPECT_EQ(hub_.Subscribers(), 1U);
  }
  while (hub_.Subscribers() != 0) {
    std::this_thread::yield();
  }
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
}

// ---- The end ------------------------------------------------------------------------------------

TEST_F(HttpServerTest, WhileTheServiceStopsReadingGoesOnAndWorkIsRefused) {
  Start();
  auto client = Connect();
  server_->RefuseWork();
  EXPECT_EQ(client.Ask(Get("/a")).status, 200U);
  for (const char* method : {"POST", "PUT", "DELETE"}) {
    const auto answer = Connect().Ask(Words(method, "/a", {}, "x"));
    EXPECT_EQ(answer.status, 503U) << method;
    EXPECT_EQ(answer.Reason(), "the service is stopping") << method;
  }
}

TEST_F(HttpServerTest, StoppingAnswersWhatRunsAndClosesWhatIsIdle) {
  Start();
  auto idle = Connect();
  EXPECT_EQ(idle.Ask(Get("/a")).status, 200U);
  auto running = Connect();
  running.Send(Words("POST", "/block", {}, "x"));
  WaitUntilBlocked(1);
  std::thread stopping([this] { server_->Stop(); });
  EXPECT_EQ(idle.Read().status, 0U);
  Release();
  const auto answer = running.Read();
  EXPECT_EQ(answer.status, 200U);
  EXPECT_FALSE(answer.keepsAlive);
  stopping.join();
  EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(HttpServerTest, StoppingEndsStreamsAfterWhatIsThere) {
  Start();
  auto client = Connect();
  client.Send(Get("/v1/stream"));
  static_cast<void>(client.ReadUntil(":\n\n"));
  hub_.Publish(Topic::kTrace, "\"last\"");
  server_->Stop();
  const std::string rest = client.ReadToEnd();
  EXPECT_THAT(rest, HasSubstr("\"last\"\n\n"));
  EXPECT_THAT(rest, testing::EndsWith("0\r\n\r\n"));
}

TEST_F(HttpServerTest, StoppingDoesNotWaitForAReaderWhoDoesNotRead) {
  HttpOptions options;
  options.limits.goodbye = 1ms;
  Start(std::move(options));
  auto slow = Connect();
  slow.Send(Get("/v1/stream"));
  static_cast<void>(slow.ReadUntil(":\n\n"));
  while (hub_.Lost() == 0) {
    hub_.Publish(Topic::kTrace, "\"" + std::string(100'000, 'x') + "\"");
    static_cast<void>(Connect().Ask(Get("/a")));  // which gives the stream its turn
  }
  server_->Stop();
  EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(HttpServerTest, StoppingDoesNotWaitForARequestThatDoesNotCome) {
  HttpOptions options;
  options.limits.goodbye = 1ms;
  Start(std::move(options));
  auto client = Connect();
  client.Send("GET /a");
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
  server_->Stop();
  EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(HttpServerTest, ARequestThatHasNotComeByTheStopIsToldOfTheStop) {
  HttpOptions options;
  options.limits.goodbye = 50ms;
  Start(std::move(options));
  auto client = Connect();
  EXPECT_EQ(client.Ask(Get("/a")).status, 200U);
  client.Send("GET /a HTT");
  // The first bytes have been read when another's request is answered after them.
  EXPECT_EQ(Connect().Ask(Get("/a")).status, 200U);
  server_->Stop();
  const auto answer = client.Read();
  EXPECT_EQ(answer.status, 503U);
  EXPECT_EQ(answer.Reason(), "the service is stopping");
}

TEST_F(HttpServerTest, ManyClientsAreServedAtOnce) {
  Start();
  constexpr int kClients = 20;
  constexpr int kEach = 50;
  std::atomic<int> good{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([this, &good] {
      auto client = Connect();
      for (int j = 0; j < kEach; ++j) {
        const bool post = j % 2 == 0;
        if (client.Ask(post ? Words("POST", "/a", {}, "x") : Get("/a")).status == 200) {
          ++good;
        }
      }
    });
  }
  for (auto& client : clients) {
    client.join();
  }
  EXPECT_EQ(good, kClients * kEach);
}

// ---- Where it listens ---------------------------------------------------------------------------

TEST_F(HttpServerTest, ItListensOnThisMachineAlone) {
  for (const char* where : {"0.0.0.0:0", "[::]:0", "192.0.2.1:80", "127.0.0.2:0", "[::2]:1"}) {
    ExpectNoListening(where, "only this machine itself may connect");
  }
}

TEST_F(HttpServerTest, WhatIsNoAddressAndPortIsRefused) {
  for (const char* where : {"8080", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1",
                            "::1:80", "[127.0.0.1]:80", "localhost:80", ":80", "127.0.0.1:80x"}) {
    ExpectNoListening(where, "no address and port");
  }
}

TEST_F(HttpServerTest, AnAddressThatIsTakenIsRefusedInASentence) {
  Start();
  HttpOptions options;
  options.listen = server_->Where().front().substr(std::string("http://").size());
  try {
    const HttpServer second(Handlers(), std::move(options), hub_);
    ADD_FAILURE();
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), StartsWith("cannot listen on 127.0.0.1:"));
  }
}

}  // namespace
}  // namespace ktsvc::api
