// The getters; the setters are in property_set_base_setters.cpp.

#include "objmodel/property_set_base.h"

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "base/trace.h"
#include "objmodel/property_traits.h"

namespace {

using kt::PropertyTraits;

// Where a getter of lists fails half-way, the caller's list gets its old length back.
template <typename T>
class Appending {
 public:
  Appending(std::vector<T>& list, std::size_t count) : list_(list), size_(list.size()) {
    if (list_.capacity() >= size_ + count) return;
    // Moved one by one and not by reserve(), which would copy messages: their destructors may
    // throw. One that was moved from has nothing left to destroy.
    std::vector<T> larger;
    larger.reserve(size_ + count);
    for (T& value : list_) larger.push_back(std::move(value));
    list_.swap(larger);
  }
  Appending(const Appending&) = delete;
  Appending& operator=(const Appending&) = delete;
  ~Appending() {
    // A message that goes here cannot throw: another exception is on its way.
    while (!done_ && list_.size() > size_) list_.pop_back();
  }
  void Done() noexcept { done_ = true; }

 private:
  std::vector<T>& list_;
  std::size_t size_;
  bool done_ = false;
};

[[noreturn]] void ThrowWrongType(const char* message, const char* name) {
  kt::TraceAndThrow(KTERROR_WRONG_PROPERTY_TYPE, kt::kError, message, name);
}

// Shared by the two converters of found records.
template <typename T>
T& ReadFound(const char* name, T& out, cuvo_property*& found) {
  const kt::FoundProperty record(std::exchange(found, nullptr));
  if (record == nullptr || !PropertyTraits<T>::Accepts(record->type) ||
      !PropertyTraits<T>::Read(*record, out)) {
    ThrowWrongType(PropertyTraits<T>::kWrongType, name);
  }
  return out;
}

}  // namespace

// ---- What all kinds have in common ----

kt::FoundProperty CKtPropertySetBase::Find(const char* name, bool isOptionalProp) const {
  cuvo_property* found = nullptr;
  if (!GetProp(name, found, isOptionalProp)) return nullptr;
  return kt::FoundProperty(found);
}

// A look-up that is not optional throws by itself. One that does not, in a derived class, must not
// make us read through null.
kt::FoundProperty CKtPropertySetBase::FindOrThrow(const char* name) const {
  kt::FoundProperty record = Find(name, false);
  if (record == nullptr) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: CKtPropertySet::GetProp() : Property %s was not looked up", name);
  }
  return record;
}

template <typename T>
T& CKtPropertySetBase::ReadScalar(const char* name, T& out, bool isOptionalProp) const {
  using Row = PropertyTraits<T>;
  const kt::FoundProperty record = Find(name, isOptionalProp);
  if (record == nullptr) return out;
  if (!Row::Accepts(record->type) || !Row::Read(*record, out)) {
    ThrowWrongType(Row::kWrongType, name);
  }
  return out;
}

template <typename T>
std::vector<T>& CKtPropertySetBase::ReadList(const char* name, List<T>& out,
                                             bool isOptionalProp) const {
  using Row = PropertyTraits<T>;
  using Element = typename Row::Element;
  kt::FoundProperty record = Find(name, isOptionalProp);
  if (record == nullptr) return out;
  if (!Row::AcceptsList(record->type) || (record->value == nullptr && record->length != 0)) {
    ThrowWrongType(Row::kWrongListType, name);
  }
  // NOLINTNEXTLINE(bugprone-sizeof-expression): where elements are pointers, a pointer's size it is
  constexpr std::size_t kWidth = sizeof(Element);
  const std::size_t count = record->length;
  const auto* const elements = static_cast<const unsigned char*>(record->value);
  Appending<T> appending(out, count);
  for (std::size_t i = 0; i < count; ++i) {
    Element element{};
    std::memcpy(&element, elements + i * kWidth, kWidth);
    out.push_back(Row::FromElement(element));
  }
  appending.Done();
  if constexpr (std::is_same_v<T, KtPropset>) {
    // The listed sets pass to the caller: the record goes without them.
    kt::FoundRecordOnly(record.release()).reset();
  }
  return out;
}

// ---- Getters ----

CKtPropertySetBase::Flags CKtPropertySetBase::GetPropFlags(const char* name) const {
  return FindOrThrow(name)->flags;
}

std::uint32_t CKtPropertySetBase::GetPropType(const char* name) const {
  return FindOrThrow(name)->type;
}

std::vector<KtWString>& CKtPropertySetBase::GetProp(const char* name, List<KtWString>& out,
                                                    bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<std::string>& CKtPropertySetBase::GetProp(const char* name, List<std::string>& out,
                                                      bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<std::uint64_t>& CKtPropertySetBase::GetProp(const char* name, List<std::uint64_t>& out,
                                                        bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<std::int64_t>& CKtPropertySetBase::GetProp(const char* name, List<std::int64_t>& out,
                                                       bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<std::uint32_t>& CKtPropertySetBase::GetProp(const char* name, List<std::uint32_t>& out,
                                                        bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<std::int32_t>& CKtPropertySetBase::GetProp(const char* name, List<std::int32_t>& out,
                                                       bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtTime>& CKtPropertySetBase::GetProp(const char* name, List<KtTime>& out,
                                                 bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtI18NFormatString>& CKtPropertySetBase::GetProp(const char* name,
                                                             List<KtI18NFormatString>& out,
                                                             bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtI18NDef>& CKtPropertySetBase::GetProp(const char* name, List<KtI18NDef>& out,
                                                    bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<CKtI18NFM>& CKtPropertySetBase::GetProp(const char* name, List<CKtI18NFM>& out,
                                                    bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<CKtI18N>& CKtPropertySetBase::GetProp(const char* name, List<CKtI18N>& out,
                                                  bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<cuvo_bool>& CKtPropertySetBase::GetProp(const char* name, List<cuvo_bool>& out,
                                                    bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtGuid>& CKtPropertySetBase::GetProp(const char* name, List<KtGuid>& out,
                                                 bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtObjId>& CKtPropertySetBase::GetProp(const char* name, List<KtObjId>& out,
                                                  bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

std::vector<KtPropset>& CKtPropertySetBase::GetProp(const char* name, List<KtPropset>& out,
                                                    bool isOptionalProp) const {
  return ReadList(name, out, isOptionalProp);
}

void CKtPropertySetBase::GetProp(const char* name, void*& data, std::uint32_t& length,
                                 bool isOptionalProp) const {
  const kt::FoundProperty record = Find(name, isOptionalProp);
  if (record == nullptr) return;
  const std::uint32_t size = record->length;
  if (record->type != TYPE_BINARY || (record->value == nullptr && size != 0)) {
    ThrowWrongType("%S: ERROR: CKtPropertySet::GetProp() : Property %s is not of TYPE_BINARY",
                   name);
  }
  kt::BinaryBlock block;
  if (size != 0) {
    block.reset(new (std::nothrow) unsigned char[size]);
    if (block == nullptr) {
      kt::TraceAndThrow(E_OUTOFMEMORY, kt::kError,
                        "%S: ERROR: CKtPropertySet::GetProp(TYPE_BINARY) : Unable to allocate %d "
                        "memory for property %s",
                        size, name);
    }
    std::memcpy(block.get(), record->value, size);
  }
  data = block.release();
  length = size;
}

KtGuid CKtPropertySetBase::GetProp(const char* name, KtGuid& out, bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

KtObjId CKtPropertySetBase::GetProp(const char* name, KtObjId& out, bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

KtTime& CKtPropertySetBase::GetProp(const char* name, KtTime& out, bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

std::int64_t& CKtPropertySetBase::GetProp(const char* name, std::int64_t& out,
                                          bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

std::uint64_t& CKtPropertySetBase::GetProp(const char* name, std::uint64_t& out,
                                           bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

std::int32_t& CKtPropertySetBase::GetProp(const char* name, std::int32_t& out,
                                          bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

std::uint32_t& CKtPropertySetBase::GetProp(const char* name, std::uint32_t& out,
                                           bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

cuvo_bool& CKtPropertySetBase::GetProp(const char* name, cuvo_bool& out,
                                       bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

std::string& CKtPropertySetBase::GetProp(const char* name, std::string& out,
                                         bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

KtWString& CKtPropertySetBase::GetProp(const char* name, KtWString& out,
                                       bool isOptionalProp) const {
  return ReadScalar(name, out, isOptionalProp);
}

CKtI18N& CKtPropertySetBase::GetProp(const char* name, CKtI18N& out, cuvo_property*& found) {
  return ReadFound(name, out, found);
}

CKtI18NFM& CKtPropertySetBase::GetProp(const char* name, CKtI18NFM& out, cuvo_property*& found) {
  return ReadFound(name, out, found);
}
