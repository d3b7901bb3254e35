// DeviceGroup is one "QELM_GenericGroup" object: the devices of one kind are its children.
//
// Threads:   none of its own; the publisher's owner guards it.
// Ownership: the wrapper belongs to the custom object container.
// Failure:   each operation is traced by the toolkit and says by its result whether it worked; none
//            throws, because no group is worth losing a device for.
#pragma once

#include <cstdint>

#include "blockdev/device_kinds.h"
#include "ktbus3/ktbus3.h"

class CKtObject;

namespace kt::blockdev {

class DeviceGroup {
 public:
  explicit DeviceGroup(const KindRow& kind) noexcept : kind_(&kind) {}

  // Publishes the group, unless it is there. May be tried again.
  bool Ensure() noexcept;

  // Makes the object a child of the group.
  bool Attach(const KtObjId& child) noexcept;

  // Writes "count", when it has changed.
  bool SetCount(std::uint32_t count) noexcept;

  // Deletes the group from the bus. Ensure() makes a new one.
  void Withdraw() noexcept;

  // The group's object; the null id while there is none.
  [[nodiscard]] KtObjId Id() const noexcept;

 private:
  static constexpr std::uint32_t kNeverWritten = UINT32_MAX;

  const KindRow* kind_;
  CKtObject* object_ = nullptr;
  std::uint32_t count_ = kNeverWritten;
};

}  // namespace kt::blockdev
