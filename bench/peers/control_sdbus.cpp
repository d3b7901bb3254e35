// A method of an sd-bus vtable, called over a socket pair, both ends on one thread.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/operations/control.h"
#include "bench/peers/sdbus_pair.h"
#include "bench/support/operation.h"
#include "bench/support/order.h"

namespace kt::bench {
namespace {

constexpr const char* kInterfaceName = "org.example.Bench";

int Answer(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
  return sd_bus_reply_method_return(
      call, "u", AnswerOf(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(context))));
}

const std::array<sd_bus_vtable, 3> kTable{
    sd_bus_vtable SD_BUS_VTABLE_START(0),
    sd_bus_vtable SD_BUS_METHOD("Work", "uu", "u", &Answer, SD_BUS_VTABLE_UNPRIVILEGED),
    sd_bus_vtable SD_BUS_VTABLE_END};

class SdBus {
 public:
  explicit SdBus(std::size_t handlers) : order_(handlers) {
    for (std::size_t i = 0; i < handlers; ++i) {
      paths_.push_back("/object/" + std::to_string(i));
      RequireBus(sd_bus_add_object_vtable(bus_.server(), nullptr, paths_.back().c_str(),
                                          kInterfaceName, kTable.data(),
                                          reinterpret_cast<void*>(i)),  // NOLINT: a number
                 "no object");
    }
  }
  bool Works() { return Send(3) == AnswerOf(3); }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 private:
  static int OnReply(sd_bus_message* reply, void* context, sd_bus_error* /*error*/) {
    auto& self = *static_cast<SdBus*>(context);
    sd_bus_message_read(reply, "u", &self.answer_);
    self.answered_ = true;
    return 0;
  }

  KtStatus Send(std::size_t index) {
    answered_ = false;
    answer_ = 0;
    RequireBus(
        sd_bus_call_method_async(bus_.client(), nullptr, nullptr, paths_[index].c_str(),
                                 kInterfaceName, "Work", &OnReply, this, "uu", kSelector, kWork),
        "no call");
    while (!answered_) bus_.Process();
    return answer_;
  }

  SdBusPair bus_;
  std::vector<std::string> paths_;
  Order order_;
  bool answered_ = false;
  std::uint32_t answer_ = 0;
};

const bool entered = Add<SdBus>("control/10000/sd-bus", {}, 10'000U);

}  // namespace
}  // namespace kt::bench
