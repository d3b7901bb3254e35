// CKtObject is the provider's handle on one object that lives on the bus.
//
// It holds the identity, not the data: every property is read from and written to the framework by
// the object's id. While a transaction is open, what is written is only collected, and goes to the
// bus with the commit.
//
// Ownership: deleting the wrapper never deletes the object on the bus, and Destroy() never frees
//            the wrapper. A wrapper that the custom object container keeps ends through
//            LazyDelete().
// Failure:   one trace line (level 6 unless stated), then the 32-bit status is thrown.
// Threads:   no lock of its own; a wrapper that is shared between threads is guarded by its owner.
//            Create() takes the framework's database lock around the one call that creates.
//
// Wrappers compare by their ids only, field by field as a GUID. The all-zero id is bound to no
// object.
#pragma once

#include <cstdint>
#include <string>

#include "base/guid_order.h"
#include "objmodel/property_set.h"

class CKtObject : public CKtPropertySetBase {
 public:
  using CKtPropertySetBase::GetProp;

  // Bound to nothing, until Create().
  CKtObject() = default;

  // Bound to an object that exists, with the module's current handles; also a key for maps.
  explicit CKtObject(const KtObjId& id) noexcept;

  CKtObject(const CKtObject&) = delete;
  CKtObject& operator=(const CKtObject&) = delete;

  // Destroys what an open transaction has collected; a failure of that is traced and swallowed.
  ~CKtObject() override;

  // Reads from the bus, also while a transaction is open. A missing property is traced at level 4.
  bool GetProp(const char* name, cuvo_property*& found, bool isOptionalProp) const override;

  // Add or replace, on the bus or in the open transaction.
  KtStatus AddProperty(const cuvo_property& property) override;
  KtStatus AddProperty(const CKtProperty& property) override;

  // The text of one of the object's current properties.
  std::string ToString(const char* propId, bool isOptionalProp, bool showType) const override;

  // A name in the client's language: "Name" becomes the formatted text of the message, "NameI18N"
  // the message itself. With a text: insertion number 1. Returns the status of the last write.
  virtual KtStatus SetNameI18N(const KtI18NDef& definition);
  virtual KtStatus SetNameI18N(const KtI18NDef& definition, const KtWchar* insertion);
  virtual KtStatus SetNameI18N(const KtI18NDef& definition, const char* insertion);
  virtual KtStatus SetNameI18N(const CKtI18NFM& message);

  // "Name". A missing one throws.
  virtual KtStatus SetName(const KtWString& name);
  virtual KtWString GetName() const;
  virtual CKtI18NFM GetNameI18N() const;

  // A word of the provider's own that travels with the wrapper; zero at first.
  virtual void SetContext(std::uint64_t context);
  virtual std::uint64_t GetContext() const;

  // "State". A missing one throws.
  virtual KtStatus SetState(std::uint32_t state);
  virtual std::uint32_t GetState() const;

  // "StateDescription"; neither "State" nor "Name" is touched. A missing one throws.
  virtual KtStatus SetStateDescription(const KtI18NDef& definition);
  virtual KtStatus SetStateDescription(const CKtI18NFM& message);
  virtual CKtI18NFM GetStateDescription() const;

  // The text of all current properties, as CKtPropertySet::ToString(showType) gives it.
  virtual std::string ToStringEx(bool showType) const;

  // Hands this wrapper to the custom object container: the object goes at once, the wrapper when no
  // call of the provider is in flight. Returns 0. Only for wrappers that the container keeps.
  virtual KtStatus LazyDelete();

  // Creates an object of that type and binds the wrapper to it. Returns 0.
  KtStatus Create(const char* typeName, std::uint32_t flags);

  // Deletes the object from the bus; the wrapper is bound to nothing afterwards and may be bound
  // again. KTERROR_NO_OBJECT when it is bound to nothing.
  void Destroy();

  // All current properties, in a set that is the caller's to Destroy().
  [[nodiscard]] CKtPropertySet GetProperties() const;

  // The name of the object's type, as the bus has it. Throws the framework's status, for a wrapper
  // that is bound to nothing too.
  [[nodiscard]] std::string GetType() const;

  // The object offers the interface, served by `owner` (null: the object's own provider handle). An
  // interface that the object has already is a success. Returns 0.
  KtStatus RegisterInterface(const KtGuid& interfaceId, KtProvider owner);

  // A transaction collects what is written from here on. Opening a second one, or ending one that
  // is not open, throws KTERROR_UNEXPECTED.
  void BeginTransaction();

  // Writes the collected properties to the bus in the order in which they were first added, and
  // ends the transaction. Where a write fails, the transaction stays open with all it has: the
  // properties before that one are on the bus, and the commit can be tried again or rolled back.
  void CommitTransaction();

  // Drops what was collected and ends the transaction.
  void RollbackTransaction();

  [[nodiscard]] bool InTransaction() const noexcept { return transaction_open_ != 0; }
  [[nodiscard]] const KtObjId& Id() const noexcept { return id_; }
  [[nodiscard]] KtDatabase Database() const noexcept { return database_; }
  [[nodiscard]] KtProvider Provider() const noexcept { return provider_; }

  friend bool operator<(const CKtObject& left, const CKtObject& right) noexcept {
    return kt::ObjIdLess()(left.id_, right.id_);
  }

 private:
  void EndTransaction();

  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  KtObjId id_{};
  CKtPropertySet __m_transaction;
  std::uint64_t transaction_open_ = 0;  // 1 while __m_transaction holds a set
  std::uint64_t context_ = 0;
};
