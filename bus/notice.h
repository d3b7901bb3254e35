// What was raised, as it waits in the queues of providers.
#pragma once

#include <cstdint>
#include <memory>

#include "bus/property_map.h"
#include "bus/route.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {

// The name of an alert's notice, and the registration that stands for all alerts.
inline constexpr const char* kAlertNotice = "event.alert";

struct Notice {
  std::uint32_t kind = 0;                         // KTBUS_NOTICE_...
  std::shared_ptr<const Route> route;             // shared by all queues that it waits in
  std::shared_ptr<const PropertyMap> properties;  // shared as well; null for none
  std::uint64_t sequence = 0;                     // counts all that is raised in the database
  std::uint64_t removals = 0;                     // subscriptions that had gone by then

  // As the provider sees it.
  [[nodiscard]] const char* name() const noexcept {
    return kind == KTBUS_NOTICE_ALERT ? kAlertNotice : route->name().data();
  }
};

}  // namespace kt::bus
