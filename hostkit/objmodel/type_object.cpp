#include "objmodel/type_object.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/guid_order.h"
#include "base/module.h"
#include "base/status.h"
#include "base/text.h"
#include "base/trace.h"

namespace {

constexpr std::string_view kNeverRegistered = "QELM_Configlet";
constexpr std::string_view kSkippedSuperclass = "QELM_Object";
constexpr std::size_t kMostSuperclasses = 16;
constexpr std::size_t kMostInterfaces = 64;

}  // namespace

// As the framework takes it: names ended by null.
struct CKtTypeObject::SuperclassList {
  std::array<const char*, kMostSuperclasses + 1> names{};
  std::size_t count = 0;

  bool Full() const noexcept { return count == kMostSuperclasses; }
  void Add(const char* name) noexcept { names[count++] = name; }
};

CKtTypeObject::CKtTypeObject(const char* typeName) : type_name_(typeName) {
  Create();
}

CKtTypeObject::~CKtTypeObject() {
  try {
    Destroy();
  } catch (...) {
    // Destroy() has traced it.
  }
}

void CKtTypeObject::AddSuperclass(const std::string& typeName) {
  superclasses_.push_back(typeName);
}

KtObjId CKtTypeObject::Register() {
  if (type_name_ == kNeverRegistered) return kt::kNullObjId;
  const SuperclassList superclasses = Superclasses();
  KtObjId created{};
  const KtStatus status = CreateOnBus(superclasses, created);
  if (status == KTERROR_TYPE_EXISTS) {
    KtTrace(kt::kWarning, "ERROR: Type %s already registered.", type_name_.c_str());
    return kt::kNullObjId;
  }
  if (status == KTERROR_BAD_INHERITANCE) {
    kt::ThrowIfFailedPlain(
        status, kt::kError,
        "ERROR: Bad type inheritance structure for type %s.  Registration failed.",
        type_name_.c_str());
  }
  kt::ThrowIfFailedPlain(status, kt::kError, "ERROR: Type registration failed for type: %s, %x",
                         type_name_.c_str(), status);
  id_ = created;
  RegisterInterfaces();
  return id_;
}

CKtTypeObject::SuperclassList CKtTypeObject::Superclasses() const {
  SuperclassList list;
  if (descriptor_ == nullptr) {
    for (const std::string& name : superclasses_) {
      if (list.Full()) break;
      list.Add(name.c_str());
    }
    return list;
  }
  if (descriptor_->superclasses == nullptr) return list;
  for (const char* const* each = descriptor_->superclasses; *each != nullptr && !list.Full();
       ++each) {
    if (*each == kSkippedSuperclass) {
      KtTrace(kt::kInfo,
              "ERROR: CKtTypeObject::Register() - Adding superclass to %s, QELM_Object ignored\n",
              type_name_.c_str());
      continue;
    }
    KtTrace(kt::kInfo, "ERROR: CKtTypeObject::Register() - Type %s adding superclass %s \n",
            type_name_.c_str(), *each);
    list.Add(*each);
  }
  return list;
}

KtStatus CKtTypeObject::CreateOnBus(const SuperclassList& superclasses, KtObjId& id) const {
  const char* const* const names = superclasses.names.data();
  if (flags_ != 0) {
    return ObCreateTypeObjectEx(kt::DatabaseHandle(), type_name_.c_str(), names, Handle(), flags_,
                                0, &id);
  }
  return ObCreateTypeObject(kt::DatabaseHandle(), type_name_.c_str(), names, Handle(), &id);
}

void CKtTypeObject::RegisterInterfaces() const {
  if (descriptor_ == nullptr || descriptor_->interfaces == nullptr) return;
  for (std::size_t i = 0; i < kMostInterfaces && descriptor_->interfaces[i] != nullptr; ++i) {
    const KtGuid* const interfaceId = descriptor_->interfaces[i];
    const KtStatus status = ObRegisterInterfaceOnType(kt::DatabaseHandle(), type_name_.c_str(),
                                                      kt::ProviderHandle(), interfaceId);
    if (!kt::StatusFails(status)) continue;
    const kt::FrameworkText typeId(KtGUIDToString(&id_.guid));
    const kt::FrameworkText text(KtGUIDToString(interfaceId));
    kt::ThrowIfFailedPlain(
        status, kt::kError,
        "ERROR: CKtTypeObject::Register() Unable to register interface (%s) on type object "
        "(%s) of type (%s)",
        text.get(), typeId.get(), type_name_.c_str());
  }
}
