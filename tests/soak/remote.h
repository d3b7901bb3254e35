// Remote: the driver's hand inside the service, by the controls of the soak's own provider, and the
// service's figures.
//
// Threads: one thread.
// Failure: std::runtime_error for an answer that is no success, and when none comes in time.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

#include "cli/http_client.h"
#include "property_json.h"

namespace soak {

class Remote {
 public:
  explicit Remote(const std::filesystem::path& socket);

  // From now on one of so many calls of the providers fails; 0 for none.
  void FailOneIn(std::uint32_t count);

  // Restarts a provider inside the service; how often that has gone wrong so far.
  std::uint64_t Restart();

  struct Figures {
    std::uint64_t memory = 0;  // bytes
    std::uint64_t failed = 0;  // calls that were made to fail
  };
  Figures ReadFigures();

  // The text of GET /metrics.
  std::string Metrics();

  // Raises an event of that name so many times.
  void Raise(const std::string& name, unsigned count);

 private:
  std::string Ask(const std::string& method, const std::string& target, const std::string& body);
  ktsvc::Json Control(std::uint32_t code, const ktsvc::PropertyList& input);

  ktctl::HttpClient http_;
  std::string object_;
};

}  // namespace soak
