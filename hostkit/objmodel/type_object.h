// CKtTypeObject describes one type of objects and registers it on the bus.
//
// It is itself a property set: what is put into it with the inherited setters become the type's
// properties. Typically a local: built, given its properties and superclasses, registered, and
// gone; the framework keeps the type.
//
// Ownership: unlike its base, a type object creates its property set when it is built and destroys
//            it when it goes (a failure of that is traced and swallowed). It is not copied. The
//            descriptor is lent and must outlive Register().
// Failure:   one trace line, then the 32-bit status is thrown. The lines of this class do not begin
//            with the module's name.
// Threads:   one at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "objmodel/property_set.h"

// A static description of a type. Both lists end in a null pointer; a null list is an empty one.
struct KtTypeDescriptor {
  const KtGuid* const* interfaces;  // what its objects offer; the first 64 count
  const char* const* superclasses;  // "QELM_Object" is skipped; of the others the first 16 count
};

class CKtTypeObject : public CKtPropertySet {
 public:
  explicit CKtTypeObject(const char* typeName);
  CKtTypeObject(const CKtTypeObject&) = delete;
  CKtTypeObject& operator=(const CKtTypeObject&) = delete;
  ~CKtTypeObject() override;

  // Of the names added, the first 16 count, and none where there is a descriptor.
  void AddSuperclass(const std::string& typeName);

  // Zero at first; any other value makes Register() use the framework's extended call.
  void SetFlags(std::uint32_t flags) noexcept { flags_ = flags; }

  void SetDescriptor(const KtTypeDescriptor* descriptor) noexcept { descriptor_ = descriptor; }

  // Creates the type on the bus, with the interfaces of its descriptor, and returns its id.
  // A type that is there already, and "QELM_Configlet", which is nobody's to register, give the
  // zero id. Interfaces registered before a failing one stay registered.
  KtObjId Register();

  [[nodiscard]] const std::string& TypeName() const noexcept { return type_name_; }

  // The zero id until the framework has created the type.
  [[nodiscard]] const KtObjId& Id() const noexcept { return id_; }

 private:
  struct SuperclassList;
  SuperclassList Superclasses() const;
  KtStatus CreateOnBus(const SuperclassList& superclasses, KtObjId& id) const;
  void RegisterInterfaces() const;

  std::string type_name_;
  std::uint32_t flags_ = 0;
  KtObjId id_{};
  const KtTypeDescriptor* descriptor_ = nullptr;
  std::vector<std::string> superclasses_;
};
