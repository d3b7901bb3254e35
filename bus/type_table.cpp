#include "bus/type_table.h"

#include <algorithm>
#include <array>

#include "bus/status.h"

namespace kt::bus {
namespace {

constexpr const char* kRootType = "QELM_Object";

struct BaseType {
  const char* name;
  const char* superclass;  // null: the root itself
};

constexpr std::array kBaseTypes{
    BaseType{kRootType, nullptr},
    BaseType{"QELM_GenericGroup", kRootType},
    BaseType{"QELM_Configlet", kRootType},
    BaseType{"qelm_ktvm", kRootType},
    BaseType{"qelm_ktvm_disk", "qelm_ktvm"},
    BaseType{"qelm_ktvm_cdrom", "qelm_ktvm"},
    BaseType{"qelm_ktvm_volume", "qelm_ktvm"},
    BaseType{"qelm_ktvm_partition", "qelm_ktvm"},
    BaseType{"qelm_ktvm_partition_oem", "qelm_ktvm"},
    BaseType{"qelm_ktvm_diskgroup", "qelm_ktvm"},
};

}  // namespace

Type::Type(std::string name, std::uint32_t flags, std::vector<Type*> superclasses,
           const PropertyMap& properties)
    : name_(std::move(name)),
      id_(NewId()),
      flags_(flags),
      superclasses_(std::move(superclasses)),
      line_{this},
      properties_(properties) {
  // Level by level, so that near superclasses come before far ones.
  for (std::size_t i = 0; i < line_.size(); ++i) {
    const std::vector<Type*> above = line_[i]->superclasses_;
    for (Type* const type : above) {
      if (std::find(line_.begin(), line_.end(), type) == line_.end()) line_.push_back(type);
    }
  }
}

void Type::Remove(std::uint64_t number, std::size_t place) noexcept {
  const WriteGuard guard(objects_lock_);
  objects_.Remove(number, place);
}

std::size_t Type::ObjectCount() const {
  const ReadGuard guard(objects_lock_);
  return objects_.size();
}

void Type::ListObjects(const IdRoom& room) const {
  const ReadGuard guard(objects_lock_);
  if (objects_.size() != 0) objects_.CopyTo(room(objects_.size()));
}

void Type::AppendObjects(std::vector<IdRoll::Entry>& out) const {
  const ReadGuard guard(objects_lock_);
  objects_.AppendTo(out);
}

TypeTable::TypeTable() {
  for (const BaseType& base : kBaseTypes) {
    std::vector<std::string> superclasses;
    if (base.superclass != nullptr) superclasses.emplace_back(base.superclass);
    KtObjId id{};
    if (Create(base.name, superclasses, 0, {}, id) != kOk) throw StatusError(kUnexpected);
  }
}

KtStatus TypeTable::Create(std::string name, const std::vector<std::string>& superclasses,
                           std::uint32_t flags, const PropertyMap& properties, KtObjId& id) {
  const WriteGuard guard(lock_);
  if (by_name_.find(name) != by_name_.end()) return kTypeExists;
  std::vector<Type*> above;
  for (const std::string& superclass : superclasses) {
    const auto found = by_name_.find(superclass);
    if (found == by_name_.end()) return kBadInheritance;
    if (std::find(above.begin(), above.end(), found->second) == above.end()) {
      above.push_back(found->second);
    }
  }
  if (above.empty() && !types_.empty()) above.push_back(types_.front().get());

  auto made = std::make_unique<Type>(std::move(name), flags, std::move(above), properties);
  Type* const type = made.get();
  types_.reserve(types_.size() + 1);
  for (const Type* const ancestor : type->line()) {
    auto& derived = derived_[ancestor];
    derived.reserve(derived.size() + 1);
  }
  by_id_.emplace(type->id(), type);
  try {
    by_name_.emplace(type->name(), type);
  } catch (...) {
    by_id_.erase(type->id());
    throw;
  }
  // Nothing below throws.
  for (const Type* const ancestor : type->line()) derived_[ancestor].push_back(type);
  types_.push_back(std::move(made));
  id = type->id();
  return kOk;
}

Type* TypeTable::Find(std::string_view name) const {
  const ReadGuard guard(lock_);
  const auto found = by_name_.find(name);
  return found == by_name_.end() ? nullptr : found->second;
}

Type* TypeTable::Find(const KtObjId& id) const {
  const ReadGuard guard(lock_);
  const auto found = by_id_.find(id);
  return found == by_id_.end() ? nullptr : found->second;
}

std::vector<Type*> TypeTable::All() const {
  const ReadGuard guard(lock_);
  std::vector<Type*> types;
  types.reserve(types_.size());
  for (const auto& type : types_) types.push_back(type.get());
  return types;
}

std::vector<const Type*> TypeTable::WithDerived(const Type& type) const {
  const ReadGuard guard(lock_);
  return derived_.at(&type);  // itself included: a type stands in its own line
}

void TypeTable::ListObjects(const Type& type, const IdRoom& room) const {
  std::vector<const Type*> types = WithDerived(type);
  std::erase_if(types, [](const Type* one) { return one->ObjectCount() == 0; });
  if (types.empty()) return;
  if (types.size() == 1) {
    types.front()->ListObjects(room);
    return;
  }
  // Each type's own are in order already: runs, which are merged two by two.
  std::vector<IdRoll::Entry> objects;
  std::vector<std::size_t> ends;
  for (const Type* const one : types) {
    one->AppendObjects(objects);
    ends.push_back(objects.size());
  }
  const auto at = [&](std::size_t place) {
    return objects.begin() + static_cast<std::ptrdiff_t>(place);
  };
  while (ends.size() > 1) {
    std::vector<std::size_t> merged;
    for (std::size_t i = 0; i < ends.size(); i += 2) {
      if (i + 1 < ends.size()) {
        std::inplace_merge(
            at(i == 0 ? 0 : ends[i - 1]), at(ends[i]), at(ends[i + 1]),
            [](const auto& left, const auto& right) { return left.number < right.number; });
      }
      merged.push_back(ends[std::min(i + 1, ends.size() - 1)]);
    }
    ends = std::move(merged);
  }
  if (objects.empty()) return;
  std::transform(objects.begin(), objects.end(), room(objects.size()),
                 [](const IdRoll::Entry& entry) { return entry.id; });
}

}  // namespace kt::bus
