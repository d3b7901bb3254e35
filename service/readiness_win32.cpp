#include "readiness.h"

namespace ktsvc {

// Programs here are not started by a manager that listens.
void Readiness::Serving(const std::string& /*text*/) const noexcept {}
void Readiness::Stopping(const std::string& /*text*/) const noexcept {}
void Readiness::Doing(const std::string& /*text*/) const noexcept {}

}  // namespace ktsvc
