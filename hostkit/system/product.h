// Which product this host carries.
#pragma once

namespace kt {

// True when the registry has the multipathing product's key and not the volume engine's: this
// module then publishes the configuration object that the volume engine would publish.
bool IsMultipathOnly();

}  // namespace kt
