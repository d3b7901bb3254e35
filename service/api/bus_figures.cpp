#include "api/bus_figures.h"

#include <exception>

#include "ktbus3/ktbus3_host.h"
#include "property_value.h"

namespace ktsvc::api {
namespace {

struct Collection {
  std::map<std::string, BusFigures> figures;
  std::exception_ptr thrown;  // must not travel through the bus
};

cuvo_bool Add(const KtBusProviderInfo* info, void* context) {
  auto& collection = *static_cast<Collection*>(context);
  try {
    collection.figures[info->name] = {info->controls,       info->exceptions,
                                      info->callsInFlight,  info->noticesDelivered,
                                      info->noticesWaiting, info->subscriptions};
    return 1;
  } catch (...) {
    collection.thrown = std::current_exception();
    return 0;
  }
}

}  // namespace

std::map<std::string, BusFigures> ReadBusFigures(KtDatabase database) {
  Collection collection;
  const KtStatus status = KtBusVisitProviders(database, &Add, &collection);
  if (collection.thrown != nullptr) {
    std::rethrow_exception(collection.thrown);
  }
  RequireOk(status, "KtBusVisitProviders");
  return std::move(collection.figures);
}

}  // namespace ktsvc::api
