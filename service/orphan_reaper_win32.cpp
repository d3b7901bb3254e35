#include "orphan_reaper.h"

namespace ktsvc {

// A process of this system ends completely without anybody collecting it.
int RunBesideReaper(const std::function<int()>& service) {
  return service();
}

}  // namespace ktsvc
