#include "system/generic_groups.h"

#include <cstddef>
#include <cstdint>

#include "base/ascii.h"
#include "base/module.h"
#include "base/owned.h"
#include "base/status.h"
#include "objmodel/object.h"

namespace kt {
namespace {

using ObjectList = FrameworkBlock<KtObjId>;

// The name of the object's type, or null.
FrameworkText TypeOf(const KtObjId& object) noexcept {
  char* type_name = nullptr;
  const KtStatus named = ObGetObjectType(DatabaseHandle(), &object, &type_name);
  FrameworkText text(type_name);
  if (StatusFails(named)) return nullptr;
  return text;
}

// By the type of its first child. The type's name goes back before the list of the children.
void Decorate(const KtObjId& group) noexcept {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  const KtStatus listed = ObGetChildObjects(DatabaseHandle(), &group, &list, &count);
  const ObjectList children(list);
  if (StatusFails(listed) || children == nullptr || count == 0) return;

  const FrameworkText type_name = TypeOf(*children);
  if (type_name == nullptr) return;
  const KtGuid* const interface_id = InterfaceForChildType(type_name.get());
  if (interface_id == nullptr) return;
  try {
    CKtObject(group).RegisterInterface(*interface_id, ProviderHandle());
  } catch (...) {  // NOLINT(bugprone-empty-catch): traced; the next group's turn comes
  }
}

}  // namespace

const KtGuid* InterfaceForChildType(const char* type_name) noexcept {
  for (const GroupInterface& row : kGroupInterfaces) {
    if (SameIgnoringCase(type_name, row.child_type)) return &row.interface_id;
  }
  return nullptr;
}

void DecorateGenericGroups() noexcept {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  const KtStatus status = DbGetObjects(DatabaseHandle(), kGenericGroupType, &list, &count);
  const ObjectList groups(list);
  if (StatusFails(status) || groups == nullptr) return;
  for (std::size_t i = 0; i < count; ++i) Decorate(groups.get()[i]);
}

}  // namespace kt
