// CKtControlRequest is one control on its way: what the host asked for, as filters and handlers see
// it. It lives on the stack of the API function for the length of the call.
//
// Threads:   one; the thread of the call.
// Ownership: the two property sets are the host's and stay so, unless a handler sets
//            `release_property_sets`: then the request releases both when it goes. The target is a
//            view of the object, bound to the module's handles.
// Failure:   releasing a set may fail; that leaves its own trace line and nothing else.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"
#include "objmodel/object.h"
#include "objmodel/property_set.h"

struct CKtControlRequest {
  // The id is copied; `provider_slot` is lent for the call and not written here.
  CKtControlRequest(const KtObjId& target_id, std::uint32_t request_selector,
                    std::uint32_t control_code, KtPropset input_set, KtPropset output_set,
                    std::uint32_t word6, std::uint32_t word7, std::uint64_t word8,
                    std::uint64_t word9, std::uint64_t word10, std::uint64_t word11,
                    std::uint64_t* provider_slot);
  ~CKtControlRequest();
  CKtControlRequest(const CKtControlRequest&) = delete;
  CKtControlRequest& operator=(const CKtControlRequest&) = delete;

  // The interface through which the control is sent; null when the host named none.
  [[nodiscard]] const KtGuid* InterfaceId() const noexcept;

  CKtObject target;
  std::uint32_t selector;
  std::uint32_t controlCode;
  CKtPropertySet input;
  CKtPropertySet output;
  std::uint32_t value6;
  std::uint32_t value7;
  std::uint64_t value8;
  std::uint64_t value9;
  std::uint64_t value10;  // the address of the interface's KtGuid
  std::uint64_t value11;
  std::uint64_t* providerOut;
  std::uint8_t release_property_sets = 0;  // set by a handler: release both sets afterwards
};
