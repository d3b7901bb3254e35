// Management: what lets others look at the service and talk to it while it runs. The service only
// knows this much of it, and runs without one as well.
//
// Threads: InFlight() and ReopenLogs() from any thread, the rest from the main thread, in the order
// in which the
//          functions stand here.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "provider_host.h"

namespace ktsvc {

class Management {
 public:
  Management() = default;
  virtual ~Management() = default;
  Management(const Management&) = delete;
  Management& operator=(const Management&) = delete;

  // Sees from now on what happens on the bus. No provider has been loaded yet.
  virtual void Watch(KtDatabase database) = 0;

  // The providers are up: serves them until Stop(). False when it cannot, which has been reported;
  // nobody else can then talk to the service.
  virtual bool Serve(const ProviderHost& host) = 0;

  // Opens the files of its own logs anew, after a rotation has moved them; from any thread. Adds
  // their names. What cannot be opened is reported, and the former file stays in use.
  virtual void ReopenLogs(std::vector<std::string>& names) = 0;

  // The service has been told to stop: new work is refused, looking goes on.
  virtual void RefuseWork() noexcept = 0;

  // What the provider still works on, one sentence each, which may hold foreign text.
  [[nodiscard]] virtual std::vector<std::string> InFlight(const std::string& provider) const = 0;

  // Lets go of the bus and of the providers. More calls do nothing.
  virtual void Stop() noexcept = 0;
};

}  // namespace ktsvc
