// Writing what was recorded into the places of a call.
#pragma once

#include "ktbus3/ktbus3_host.h"
#include "replay/recording.h"

namespace ktreplay {

// True when the recorded call failed: by its status, or by a null pointer.
bool Failed(const Item& recorded);

// Gives the call the recorded result and, unless it failed, what came back. Throws
// ktsvc::BusError for what the framework cannot hold, std::bad_alloc.
void Answer(const Item& recorded, KtBusCall& call);

}  // namespace ktreplay
