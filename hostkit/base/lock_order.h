// The order of locks, written once. A thread that holds one of these takes only later ones:
//
//   1. event manager        held for a whole delivery, call-backs included
//   2. activity             guards the count of calls in flight, held for the flush at zero and by
//                           whoever else runs destructors of wrappers (dispatch/activity_hold.h)
//   3. queue list           held while the control manager's lazy-delete queues are flushed
//   4. custom object container
//
// The path-map lock of the control manager and the thread container's lock are leaves: held for a
// look-up or a copy, with nothing else taken inside, the framework's own locks excepted.
//
// Each rank below is a name for clang's analysis and nothing at run time; a lock says where it
// stands with KT_ACQUIRED_AFTER(kt::rank::...). At run time it says it with its kt::LockRank, which
// a debug build watches (base/lock_watch.h).
#pragma once

#include "base/annotations.h"

namespace kt::rank {

class KT_CAPABILITY("lock rank") Rank {};

extern Rank event_manager;
extern Rank activity KT_ACQUIRED_AFTER(event_manager);
extern Rank queue_list KT_ACQUIRED_AFTER(activity);
extern Rank container KT_ACQUIRED_AFTER(queue_list);

}  // namespace kt::rank
