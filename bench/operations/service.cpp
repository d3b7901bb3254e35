// The service with both providers: start to ready, stop, memory at rest; and what an object with
// two properties takes on the bus.
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/support/heap.h"
#include "bench/support/operation.h"
#include "bench/support/service_program.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bench {
namespace {

using Watch = std::chrono::steady_clock;
double MillisecondsSince(Watch::time_point start) {
  return std::chrono::duration<double, std::milli>(Watch::now() - start).count();
}

double Start() {
  const auto start = Watch::now();
  const ServiceProgram service;
  return MillisecondsSince(start);
}

double Stop() {
  ServiceProgram service;
  const auto start = Watch::now();
  if (!service.Stop()) throw std::runtime_error("the service did not end well");
  return MillisecondsSince(start);
}

double AtRest() {
  const ServiceProgram service;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  return service.ResidentBytes() / (1'024.0 * 1'024.0);
}

double PerObject() {
  constexpr std::uint32_t kObjects = 100'000;
  KtDatabase database = nullptr;
  KtProvider provider = nullptr;
  const KtProviderTable table{};
  if (KtBusOpenDatabase(&database) != 0 ||
      KtBusAttachProvider(database, "publisher", &table, nullptr, &provider) != 0) {
    throw std::runtime_error("no bus");
  }
  const double before = HeapInUse();
  for (std::uint32_t i = 0; i < kObjects; ++i) {
    KtObjId id{};
    const std::uint64_t bytes = i;
    const cuvo_property size{"size", TYPE_UINT64, 0, 8, 0, const_cast<std::uint64_t*>(&bytes)};
    const cuvo_property path{
        "device_path", TYPE_STR, 0, 18, 0, const_cast<char*>("/dev/disk/by-id/0")};
    if (ObCreateObject(database, provider, "qelm_ktvm_disk", &id) != 0 ||
        ObSetProperty(database, &id, &size) != 0 || ObSetProperty(database, &id, &path) != 0) {
      throw std::runtime_error("no object");
    }
  }
  const double bytes = (HeapInUse() - before) / kObjects;
  KtBusCloseDatabase(database);
  if (bytes <= 0) throw std::runtime_error("the heap did not grow");
  return bytes;
}

const bool entered = AddFigure("service/start/kt", &Start) && AddFigure("service/stop/kt", &Stop) &&
                     AddFigure("service/rest/kt", &AtRest) &&
                     AddFigure("service/object/kt", &PerObject);

}  // namespace
}  // namespace kt::bench
