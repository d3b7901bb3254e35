#include "objmodel/object.h"

#include "base/module.h"
#include "base/owned.h"
#include "base/text.h"
#include "base/trace.h"
#include "lifetime/custom_object_container.h"

namespace {

// Held around the one call that creates an object. Whether the framework gives the lock or not is
// its affair: the creation is tried in any case, and its status is the one that counts.
class DatabaseLock {
 public:
  explicit DatabaseLock(KtProvider provider) noexcept : provider_(provider) {
    static_cast<void>(DbLockDatabase(provider_));
  }
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;
  ~DatabaseLock() { static_cast<void>(DbUnlockDatabase(provider_)); }

 private:
  KtProvider provider_;
};

// Insertion 1 of a message. The message's set is made first where there is none.
template <typename Unit, typename Add>
CKtI18NFM WithInsertion(const KtI18NDef& definition, const Unit* insertion, Add add,
                        const char* failure) {
  CKtI18NFM message(definition);
  if (message.Insertions() == nullptr) message.Create();
  kt::ThrowIfFailed(add(message.Insertions(), 1, insertion), kt::kError, failure);
  return message;
}

const char* RegisterInterfaceFailure(KtStatus status) noexcept {
  switch (status) {
    case KTERROR_NO_OBJECT:
      return "%S: ERROR: in CKtObject::RegisterInterface(%s), invalid object (KTERROR_NO_OBJECT).";
    case E_INVALIDARG:
      return "%S: ERROR: in CKtObject::RegisterInterface(%s), invalid arguments to "
             "ObRegisterInterface().";
    default:
      return "%S: ERROR: in CKtObject::RegisterInterface(%s) call to ObRegisterInterface failed.";
  }
}

// Reads a message that is a property of the object.
CKtI18NFM GetMessage(const CKtObject& object, const char* name) {
  CKtI18NFM message;
  cuvo_property* found = nullptr;
  object.GetProp(name, found, false);
  CKtPropertySetBase::GetProp(name, message, found);
  return message;
}

}  // namespace

CKtObject::CKtObject(const KtObjId& id) noexcept
    : database_(kt::DatabaseHandle()), provider_(kt::ProviderHandle()), id_(id) {}

CKtObject::~CKtObject() {
  if (transaction_open_ == 0) return;
  try {
    __m_transaction.Destroy();
  } catch (...) {
    KtTrace(kt::kError, "ERROR: ~CKtObject(): __m_transaction.Destroy() failed");
  }
}

// ---- The object on the bus ----

KtStatus CKtObject::Create(const char* typeName, std::uint32_t flags) {
  database_ = kt::DatabaseHandle();
  provider_ = kt::ProviderHandle();
  id_ = kt::kNullObjId;
  KtObjId created{};
  KtStatus status = 0;
  {
    const DatabaseLock lock(provider_);
    status = flags != 0 ? ObCreateObjectEx(database_, provider_, typeName, flags, nullptr, &created)
                        : ObCreateObject(database_, provider_, typeName, &created);
  }
  kt::ThrowIfFailed(status, kt::kError,
                    "%S: ERROR: CKtObject::Create(), ObCreateObject of type %s failed", typeName);
  id_ = created;
  return 0;
}

void CKtObject::Destroy() {
  if (ObCompareId(&id_, &kt::kNullObjId) != 0) {
    kt::TraceAndThrow(KTERROR_NO_OBJECT, kt::kError,
                      "%S: ERROR: in CKtObject::Destroy(), Cannot destroy a null object.");
  }
  kt::ThrowIfFailed(ObDeleteObject(database_, &id_), kt::kError,
                    "%S: ERROR: in CKtObject::Destroy() ObDeleteObject() failed");
  id_ = kt::kNullObjId;
}

CKtPropertySet CKtObject::GetProperties() const {
  CKtPropertySet properties;
  kt::ThrowIfFailed(ObGetProperties(database_, &id_, properties.Out()), kt::kError,
                    "%S: ERROR: in CKtObject::GetProperties() ObGetProperties() failed");
  return properties;
}

std::string CKtObject::GetType() const {
  char* type = nullptr;
  const KtStatus status = ObGetObjectType(database_, &id_, &type);
  const kt::FrameworkText owned(type);
  kt::ThrowIfFailed(status, kt::kError,
                    "%S: ERROR: in CKtObject::GetType() ObGetObjectType() failed");
  return owned == nullptr ? std::string() : std::string(owned.get());
}

KtStatus CKtObject::RegisterInterface(const KtGuid& interfaceId, KtProvider owner) {
  const KtStatus status =
      ObRegisterInterface(database_, &id_, owner == nullptr ? provider_ : owner, &interfaceId);
  if (status == KTERROR_DUPLICATE_INTERFACE || !kt::StatusFails(status)) return 0;
  const kt::FrameworkText text(KtGUIDToString(&interfaceId));
  kt::TraceAndThrow(status, kt::kError, RegisterInterfaceFailure(status), text.get());
}

// ---- Properties ----

bool CKtObject::GetProp(const char* name, cuvo_property*& found, bool isOptionalProp) const {
  cuvo_property* record = nullptr;
  KtStatus status = ObGetProperty(database_, &id_, name, &record);
  if (!kt::StatusFails(status)) {
    if (record != nullptr) {
      found = record;
      return true;
    }
    status = KTERROR_UNEXPECTED;  // a success that brings no record is none
  }
  if (isOptionalProp) return false;
  kt::TraceAndThrow(status, kt::kWarning,
                    "%S: ERROR: CKtObject::GetProp() : Unable to find property %s", name);
}

KtStatus CKtObject::AddProperty(const cuvo_property& property) {
  if (InTransaction()) return __m_transaction.AddProperty(property);
  const KtStatus status = ObSetProperty(database_, &id_, &property);
  kt::ThrowIfFailed(
      status, kt::kError,
      "%S: ERROR: CKtObject::AddProperty(const cuvo_property &property): ObSetProperty failed");
  return status;
}

KtStatus CKtObject::AddProperty(const CKtProperty& property) {
  if (InTransaction()) return __m_transaction.AddProperty(property);
  const KtStatus status = ObSetProperty(database_, &id_, &property);
  kt::ThrowIfFailed(
      status, kt::kError,
      "%S: ERROR: CKtObject::AddProperty(const CKtProperty &property): ObSetProperty failed");
  return status;
}

std::string CKtObject::ToString(const char* propId, bool isOptionalProp, bool showType) const {
  kt::ScopedPropset properties(GetProperties());
  std::string text = properties->ToString(propId, isOptionalProp, showType);
  properties->Destroy();
  return text;
}

std::string CKtObject::ToStringEx(bool showType) const {
  kt::ScopedPropset properties(GetProperties());
  std::string text = properties->ToString(showType);
  properties->Destroy();
  return text;
}

// ---- Name, state, context ----

KtStatus CKtObject::SetNameI18N(const KtI18NDef& definition) {
  return SetNameI18N(CKtI18NFM(definition));
}

KtStatus CKtObject::SetNameI18N(const KtI18NDef& definition, const KtWchar* insertion) {
  return SetNameI18N(
      WithInsertion(definition, insertion, &I18nAddInsertionWideString,
                    "%S: ERROR: in CKtObject::SetNameI18N() I18nAddInsertionWideString() failed"));
}

KtStatus CKtObject::SetNameI18N(const KtI18NDef& definition, const char* insertion) {
  return SetNameI18N(
      WithInsertion(definition, insertion, &I18nAddInsertionString,
                    "%S: ERROR: in CKtObject::SetNameI18N() I18nAddInsertionString() failed"));
}

// The plain name follows the message: "Name" always holds the text that "NameI18N" gives.
KtStatus CKtObject::SetNameI18N(const CKtI18NFM& message) {
  SetName(kt::Widen(message.Format()));
  return AddProp("NameI18N", message, 0);
}

KtStatus CKtObject::SetName(const KtWString& name) {
  return AddProp("Name", name, 0);
}

KtWString CKtObject::GetName() const {
  KtWString name;
  return GetProp("Name", name, false);
}

CKtI18NFM CKtObject::GetNameI18N() const {
  return GetMessage(*this, "NameI18N");
}

void CKtObject::SetContext(std::uint64_t context) {
  context_ = context;
}

std::uint64_t CKtObject::GetContext() const {
  return context_;
}

KtStatus CKtObject::SetState(std::uint32_t state) {
  return AddProp("State", state, 0);
}

std::uint32_t CKtObject::GetState() const {
  std::uint32_t state = 0;
  return GetProp("State", state, false);
}

KtStatus CKtObject::SetStateDescription(const KtI18NDef& definition) {
  return SetStateDescription(CKtI18NFM(definition));
}

KtStatus CKtObject::SetStateDescription(const CKtI18NFM& message) {
  return AddProp("StateDescription", message, 0);
}

CKtI18NFM CKtObject::GetStateDescription() const {
  return GetMessage(*this, "StateDescription");
}

KtStatus CKtObject::LazyDelete() {
  CKtCustomObjectContainer::Instance().LazyDelete(this);
  return 0;
}

// ---- Transaction ----

void CKtObject::BeginTransaction() {
  if (InTransaction()) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: in CKtObject::BeginTransaction(), a transaction is open.");
  }
  __m_transaction.Create();
  transaction_open_ = 1;
}

void CKtObject::CommitTransaction() {
  if (!InTransaction()) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: in CKtObject::CommitTransaction(), no transaction is open.");
  }
  for (const std::string& key : __m_transaction.GetKeys()) {
    cuvo_property* found = nullptr;
    __m_transaction.GetProp(key.c_str(), found, false);
    const kt::FoundProperty record(found);
    kt::ThrowIfFailed(
        ObSetProperty(database_, &id_, record.get()), kt::kError,
        "%S: ERROR: in CKtObject::CommitTransaction() ObSetProperty() of property %s failed",
        key.c_str());
  }
  EndTransaction();
}

void CKtObject::RollbackTransaction() {
  if (!InTransaction()) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: in CKtObject::RollbackTransaction(), no transaction is open.");
  }
  EndTransaction();
}

void CKtObject::EndTransaction() {
  transaction_open_ = 0;
  __m_transaction.Destroy();
}
