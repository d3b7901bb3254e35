// Client: one of many that use the management API at once, each with a mix of its own of reads,
// controls, events and requests that must be refused, and with a stream that it follows.
//
// Threads: Work() and Drain() on one thread at a time; what they have found is read afterwards.
// Failure: an answer that was not asked for is kept as a sentence; the work goes on. A connection
//          that breaks ends it.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "api/http_client.h"
#include "stress/stream_reader.h"
#include "stress/timings.h"

namespace stress {

// What the clients have in common.
struct Field {
  std::filesystem::path socket;
  std::string disk;               // the object that takes controls
  std::string system;             // the object of the built provider
  std::atomic<int> phase{0};      // 0 all read their streams, 1 one does not
  std::atomic<bool> done{false};  // the work is over
  bool failing = false;           // providers' calls are made to fail: any status may come back
  std::chrono::milliseconds pause{0};  // between two requests
  // Is told how long each request took, on the clients' threads. Without one the clients keep it.
  std::function<void(std::chrono::duration<double, std::milli>)> took;
  mutable std::atomic<std::uint64_t> errors{0};  // of all clients so far
};

ktsvc::api::HttpClient Connect(const std::filesystem::path& socket);
std::string GetText(std::string_view target);
std::string PostText(std::string_view target, std::string_view body);

class Client {
 public:
  // A lazy one stops reading its stream in phase 1. Connects.
  Client(const Field& field, unsigned number, bool lazy);

  // Asks one thing after the other until the field is done.
  void Work();

  // Reads its stream until the end event has come.
  void Drain();

  // Ends both connections, and with them what runs. Any thread.
  void HangUp() noexcept;

  [[nodiscard]] const Timings& timings(int phase) const { return timings_.at(std::size_t(phase)); }
  [[nodiscard]] const StreamReader& stream() const noexcept { return reader_; }
  [[nodiscard]] const std::vector<std::string>& errors() const noexcept { return errors_; }
  [[nodiscard]] std::uint64_t refused() const noexcept { return refused_; }
  [[nodiscard]] bool lazy() const noexcept { return lazy_; }

  // True when nothing more can be expected of its stream.
  [[nodiscard]] bool Drained() const noexcept { return drained_; }

 private:
  struct Request {
    std::string text;
    unsigned status = 200;
    std::string part;  // must stand in the answer
  };

  Request Next();
  Request NextRead();
  Request NextControl();
  Request NextRefusal();
  void Ask(const Request& request);
  void ReadWhatIsThere();
  void Fail(const std::string& what);

  const Field& field_;
  const bool lazy_;
  std::minstd_rand random_;
  ktsvc::api::HttpClient requests_;
  ktsvc::api::HttpClient events_;
  StreamReader reader_;
  std::vector<Timings> timings_{2};
  std::vector<std::string> errors_;
  std::uint64_t refused_ = 0;
  bool broken_ = false;
  std::atomic<bool> drained_{false};
};

}  // namespace stress
