#include "blockdev/publishing.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "base/status.h"
#include "base/trace.h"
#include "lifetime/custom_object_container.h"
#include "objmodel/object.h"

namespace kt::blockdev {
namespace {

void Discard(CKtObject& object) noexcept {
  try {
    object.Destroy();
  } catch (...) {
    // Traced where it was thrown. The object stays on the bus half-made, as the line says.
    kt::Trace(kt::kError, "%S: ERROR: an object that is not published could not be deleted.");
  }
}

}  // namespace

CKtObject* PublishObject(const char* type, const std::function<void(CKtObject&)>& fill) {
  auto owned = std::make_unique<CKtObject>();
  CKtObject& object = *owned;
  object.Create(type, 0);
  try {
    fill(object);
    const KtStatus status = CKtCustomObjectContainer::Instance().Add(std::move(owned));
    if (status != 0) throw std::uint32_t{status};
    return &object;
  } catch (...) {
    // A container that has failed has left the wrapper with us.
    Discard(object);
    throw;
  }
}

std::uint32_t ReportFailure(const char* what, const char* whom) noexcept {
  std::uint32_t status = KTERROR_UNEXPECTED;
  try {
    throw;
  } catch (std::uint32_t thrown) {
    status = thrown;
  } catch (const std::bad_alloc&) {
    status = E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    kt::Trace(kt::kError, "%S: ERROR: %s", error.what());
  } catch (...) {
    // Nothing is known about it but that it happened; the line below says so.
  }
  kt::Trace(kt::kWarning, "%S: WARNING: %s %s failed with 0x%x.", what, whom, status);
  return status;
}

}  // namespace kt::blockdev
