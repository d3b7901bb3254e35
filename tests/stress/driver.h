// Driver: asks for the run itself, apart from the clients. Each request has a connection of its
// own: one that waited while the clients work would be closed for being idle.
//
// Threads: any, each request for itself.
// Failure: std::runtime_error for an answer that is no success, and when nobody answers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace stress {

class Driver {
 public:
  explicit Driver(std::filesystem::path socket) : socket_(std::move(socket)) {}

  // Sends the request as it stands; the body of its answer.
  [[nodiscard]] std::string Ask(const std::string& request) const;

  // Raises an event: the body of POST /v1/events.
  void Raise(const std::string& event) const;

  // The first object of that type.
  [[nodiscard]] std::string IdOf(const std::string& type) const;

  // The figure of that name that has no labels.
  [[nodiscard]] std::uint64_t Metric(const std::string& name) const;

 private:
  std::filesystem::path socket_;
};

}  // namespace stress
