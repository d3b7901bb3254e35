// Two ends of an sd-bus connection over a socket pair, without a bus between them.
#pragma once

#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <array>
#include <stdexcept>

namespace kt::bench {

inline void RequireBus(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string("sd-bus: ") + what);
}

class SdBusPair {
 public:
  SdBusPair() {
    std::array<int, 2> ends{};
    RequireBus(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()),
               "no socket pair");
    sd_id128_t id{};
    RequireBus(sd_id128_randomize(&id), "no id");
    RequireBus(sd_bus_new(&server_), "no server");
    RequireBus(sd_bus_set_fd(server_, ends[0], ends[0]), "no server socket");
    RequireBus(sd_bus_set_server(server_, 1, id), "no server");
    RequireBus(sd_bus_set_anonymous(server_, 1), "no server");
    RequireBus(sd_bus_start(server_), "the server does not start");
    RequireBus(sd_bus_new(&client_), "no client");
    RequireBus(sd_bus_set_fd(client_, ends[1], ends[1]), "no client socket");
    RequireBus(sd_bus_set_anonymous(client_, 1), "no client");
    RequireBus(sd_bus_start(client_), "the client does not start");
    // Both sides agree on who they are.
    for (int i = 0; i < 20; ++i) Process();
  }
  ~SdBusPair() {
    sd_bus_close_unref(client_);
    sd_bus_close_unref(server_);
  }
  SdBusPair(const SdBusPair&) = delete;
  SdBusPair& operator=(const SdBusPair&) = delete;

  // What waits on either side.
  void Process() {
    RequireBus(sd_bus_process(server_, nullptr), "the server fails");
    RequireBus(sd_bus_process(client_, nullptr), "the client fails");
  }

  [[nodiscard]] sd_bus* server() const noexcept { return server_; }
  [[nodiscard]] sd_bus* client() const noexcept { return client_; }

 private:
  sd_bus* server_ = nullptr;
  sd_bus* client_ = nullptr;
};

}  // namespace kt::bench
