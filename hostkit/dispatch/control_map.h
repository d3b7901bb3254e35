// CKtControlMap is how code that serves controls registers its handlers: it owns a map, and the map
// records each handler with the control manager.
//
// Threads:   none of its own. The owner registers and unregisters from one thread (start-up and
//            shutdown); controls run on any thread meanwhile.
// Ownership: the map owns its entries; a running control keeps the entry it runs. The map itself is
//            the context of its any-object handlers: whoever cannot rule out that one still runs
//            keeps the map until the module is detached (base/retired.h).
// Failure:   statuses, each after a line at level 6.
//
// A registration lives until UnRegister, UnRegisterAll or the end of the map.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "dispatch/control_map_entry.h"
#include "ktbus3/ktbus3.h"

class CKtControlMap {
 public:
  CKtControlMap() = default;
  CKtControlMap(const CKtControlMap&) = delete;
  CKtControlMap& operator=(const CKtControlMap&) = delete;

  // Unregisters every entry in order and empties the map. What the manager says is ignored.
  virtual void UnRegisterAll() noexcept;

  // Whether this map has a handler for exactly these four.
  [[nodiscard]] virtual bool IsRegistered(const KtGuid& interface_id, const std::uint32_t& selector,
                                          const std::uint32_t& control_code,
                                          const KtObjId& object_id) const noexcept;

  virtual ~CKtControlMap();

  // A handler for one object. Makes the object offer the interface first (one that it offers
  // already is no failure). Returns 0; KTERROR_UNEXPECTED when the interface could not be
  // registered; KTERROR_DUPLICATE_INTERFACE when the manager did not take the path. Throws
  // std::bad_alloc.
  virtual KtStatus Register(const KtGuid& interface_id, const std::uint32_t& selector,
                            const std::uint32_t& control_code, KtControlHandler handler,
                            const KtObjId& object_id, void* context);

  // A handler for any object, with the map itself as context. Returns 0 or
  // KTERROR_DUPLICATE_INTERFACE. Throws std::bad_alloc.
  virtual KtStatus Register(const KtGuid& interface_id, const std::uint32_t& selector,
                            const std::uint32_t& control_code, KtControlHandler handler);

  // Takes a handler out, here and in the manager. Returns 0, or KTERROR_UNEXPECTED when this map
  // has no such handler. The manager drops the path in either case, also when another map's handler
  // stands under it: as required.
  virtual KtStatus UnRegister(const KtGuid& interface_id, const std::uint32_t& selector,
                              const std::uint32_t& control_code, const KtObjId& object_id);

  // The number of handlers.
  [[nodiscard]] std::size_t Count() const noexcept { return entries_.size(); }

 private:
  using Entries = std::vector<std::shared_ptr<CKtControlMapEntry>>;

  KtStatus Record(std::shared_ptr<CKtControlMapEntry> entry);
  [[nodiscard]] Entries::const_iterator Find(const KtGuid& interface_id, std::uint32_t selector,
                                             std::uint32_t control_code,
                                             const KtObjId& object_id) const noexcept;

  Entries entries_;
};
