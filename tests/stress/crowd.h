// Crowd: clients that work at once, each on a thread of its own, and then read what waits for them.
//
// Threads: one thread drives it.
// Failure: what the clients find is theirs to tell; a request of the crowd's own that fails throws
//          std::runtime_error. The destructor hangs up and ends the threads.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "stress/client.h"
#include "stress/driver.h"

namespace stress {

class Crowd {
 public:
  // Connects them. The first is a lazy one if that is wanted. The field is lent.
  Crowd(Field& field, std::size_t clients, bool oneIsLazy);
  ~Crowd();
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

  // All work until the field is done.
  void Start();

  // Ends the work, after which all read on until the end event has come. `fill` is called before
  // the lazy one reads.
  void Finish(const std::function<void()>& fill = {});

  // All leave; returns when the service knows them no more.
  void Leave();

  [[nodiscard]] const std::vector<std::unique_ptr<Client>>& clients() const { return clients_; }

 private:
  void Join();

  Field& field_;
  const Driver driver_;
  std::vector<std::unique_ptr<Client>> clients_;
  std::vector<std::thread> threads_;
};

}  // namespace stress
