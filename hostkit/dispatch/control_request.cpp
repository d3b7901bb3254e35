#include "dispatch/control_request.h"

CKtControlRequest::CKtControlRequest(const KtObjId& target_id, std::uint32_t request_selector,
                                     std::uint32_t control_code, KtPropset input_set,
                                     KtPropset output_set, std::uint32_t word6, std::uint32_t word7,
                                     std::uint64_t word8, std::uint64_t word9, std::uint64_t word10,
                                     std::uint64_t word11, std::uint64_t* provider_slot)
    : target(target_id),
      selector(request_selector),
      controlCode(control_code),
      input(input_set),
      output(output_set),
      value6(word6),
      value7(word7),
      value8(word8),
      value9(word9),
      value10(word10),
      value11(word11),
      providerOut(provider_slot) {}

CKtControlRequest::~CKtControlRequest() {
  if (release_property_sets == 0) return;
  // A failing release leaves its trace line and tells nobody else. The input set goes first.
  const kt::ScopedPropset last(output);
  const kt::ScopedPropset first(input);
}

const KtGuid* CKtControlRequest::InterfaceId() const noexcept {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the framework hands the address over as a number.
  return reinterpret_cast<const KtGuid*>(static_cast<std::uintptr_t>(value10));
}
