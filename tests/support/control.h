// Requests and handlers for tests of the dispatch.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "dispatch/control_map.h"
#include "dispatch/control_request.h"

namespace support {

inline constexpr KtGuid kInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr const char* kInterfaceText = "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}";
inline constexpr const char* kNullText = "{00000000-0000-0000-0000-000000000000}";
inline constexpr std::uint32_t kSelector = 0;
inline constexpr std::uint32_t kCode = 11001;

// A request as the entry functions build it.
struct Request : CKtControlRequest {
  explicit Request(const KtObjId& target_id, std::uint32_t request_selector = kSelector,
                   std::uint32_t control_code = kCode, KtPropset input_set = nullptr,
                   KtPropset output_set = nullptr, const KtGuid* interface_id = &kInterface)
      : CKtControlRequest(target_id, request_selector, control_code, input_set, output_set, 6, 7, 8,
                          9, reinterpret_cast<std::uintptr_t>(interface_id), 11, &slot) {}
  std::uint64_t slot = 0;
};

using Body = std::function<KtStatus(CKtControlRequest&)>;

// A handler for one object: the context is a Body.
inline KtStatus CallBody(void* context, CKtControlRequest& request) {
  return (*static_cast<Body*>(context))(request);
}

// A map whose any-object handlers call its body.
class BodyMap : public CKtControlMap {
 public:
  explicit BodyMap(Body body) : body_(std::move(body)) {}

  static KtStatus Handle(void* context, CKtControlRequest& request) {
    return static_cast<BodyMap*>(static_cast<CKtControlMap*>(context))->body_(request);
  }

 private:
  Body body_;
};

}  // namespace support
