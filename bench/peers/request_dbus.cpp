// A method call through a dbus-daemon of our own, with sd-bus at both ends.
#include <benchmark/benchmark.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <thread>

#include "bench/operations/request_work.h"
#include "bench/support/child.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

constexpr const char* kName = "org.example.Bench";

void Require(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string("D-Bus: ") + what);
}

// Tried for ten seconds: the daemon may still be starting.
sd_bus* Connect(const std::string& address) {
  for (int attempt = 0; attempt < 1'000; ++attempt) {
    sd_bus* bus = nullptr;
    Require(sd_bus_new(&bus), "no connection");
    if (sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 &&
        sd_bus_start(bus) >= 0) {
      return bus;
    }
    sd_bus_unref(bus);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error("D-Bus: the daemon does not come up");
}

int SetLevel(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
  auto& level = *static_cast<std::uint32_t*>(context);
  std::uint32_t wanted = 0;
  const char* name = nullptr;
  const int read = sd_bus_message_read(call, "a{sv}", 1, &name, "u", &wanted);
  if (read < 0) return read;
  const std::uint32_t before = level;
  level = wanted;
  return sd_bus_reply_method_return(call, "ua{sv}", 0U, 1, "tracelevel", "u", before);
}

const std::array<sd_bus_vtable, 3> kTable{
    sd_bus_vtable SD_BUS_VTABLE_START(0),
    sd_bus_vtable SD_BUS_METHOD("SetLevel", "a{sv}", "ua{sv}", &SetLevel,
                                SD_BUS_VTABLE_UNPRIVILEGED),
    sd_bus_vtable SD_BUS_VTABLE_END};

void Serve(const std::string& address) {
  std::uint32_t level = 0;
  sd_bus* const bus = Connect(address);
  Require(sd_bus_add_object_vtable(bus, nullptr, "/system", kName, kTable.data(), &level),
          "no object");
  Require(sd_bus_request_name(bus, kName, 0), "no name");
  for (;;) {
    const int done = sd_bus_process(bus, nullptr);
    Require(done, "the connection has gone");
    if (done == 0) sd_bus_wait(bus, ~0ULL);
  }
}

class Daemon {
 public:
  Daemon() : address_("unix:path=" + folder_.File("bus")) {
    const std::string configuration = folder_.File("bus.conf");
    std::ofstream(configuration)
        << "<busconfig><type>session</type><listen>" << address_
        << "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
    daemon_.emplace(std::vector<std::string>{"dbus-daemon", "--nofork", "--nosyslog", "--nopidfile",
                                             "--config-file=" + configuration},
                    std::vector<std::string>{});
    server_.emplace([this] { Serve(address_); });
    bus_ = Connect(address_);
    for (int attempt = 0; attempt < 1'000 && sd_bus_get_name_creds(bus_, kName, 0, nullptr) < 0;
         ++attempt) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  ~Daemon() { sd_bus_unref(bus_); }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  bool Works() { return Call() < 8 && Call() == 7; }
  void Run() { benchmark::DoNotOptimize(Call()); }

 private:
  std::uint32_t Call() {
    sd_bus_message* reply = nullptr;
    std::uint32_t status = 1;
    std::uint32_t before = ~0U;
    sd_bus_error error{};
    if (sd_bus_call_method(bus_, kName, "/system", kName, "SetLevel", &error, &reply, "a{sv}", 1,
                           "tracelevel", "u", 7U) < 0) {
      const std::string message = error.message == nullptr ? "no answer" : error.message;
      sd_bus_error_free(&error);
      throw std::runtime_error("D-Bus: " + message);
    }
    const char* name = nullptr;
    sd_bus_message_read(reply, "ua{sv}", &status, 1, &name, "u", &before);
    sd_bus_message_unref(reply);
    return before;
  }

  Folder folder_;
  std::string address_;
  std::optional<Child> daemon_;
  std::optional<Child> server_;
  sd_bus* bus_ = nullptr;
};

const bool entered = Add<Daemon>("request/control/dbus-daemon", How{Clock::kWall});

}  // namespace
}  // namespace kt::bench
