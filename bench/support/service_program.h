// The service, started as a user starts it, with both providers, a socket file and nothing of the
// machine's: no registry but an empty one, and a systemctl that does nothing.
#pragma once

#include <optional>
#include <string>

#include "bench/support/child.h"

namespace kt::bench {

class ServiceProgram {
 public:
  // Returns when the service has told that it is ready.
  ServiceProgram();
  ~ServiceProgram();
  ServiceProgram(const ServiceProgram&) = delete;
  ServiceProgram& operator=(const ServiceProgram&) = delete;

  // Ends it and waits; false when it did not end well.
  bool Stop() { return child_->Stop() == 0; }

  [[nodiscard]] std::string socket() const { return folder_.File("ktsvc.sock"); }

  // The memory that it has, in bytes.
  [[nodiscard]] double ResidentBytes() const;

 private:
  void WaitUntilReady() const;

  Folder folder_;
  int notify_ = -1;
  std::optional<Child> child_;
};

}  // namespace kt::bench
