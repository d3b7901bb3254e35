#include "base/lock_order.h"

namespace kt::rank {

Rank event_manager;
Rank activity;
Rank queue_list;
Rank container;

}  // namespace kt::rank
