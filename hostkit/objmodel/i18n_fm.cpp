#include "objmodel/i18n_fm.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>
#include <utility>

#include "base/text.h"
#include "base/trace.h"
#include "objmodel/property_set.h"
#include "objmodel/value_text.h"

namespace {

// True while an exception is being thrown, or handled: containers clean up in a handler and throw
// the same exception on from it.
bool ExceptionOnItsWay() noexcept {
  return std::uncaught_exceptions() > 0 || std::current_exception() != nullptr;
}

// The number of an insertion, from the decimal digits behind the first character of its name; -1
// where there are none.
int InsertionNumber(const std::string& name) {
  if (name.empty()) return -1;
  const char* const digits = name.c_str() + 1;
  char* end = nullptr;
  const long long number = std::strtoll(digits, &end, 10);
  if (end == digits) return -1;
  return static_cast<int>(std::clamp<long long>(number, std::numeric_limits<int>::min(),
                                                std::numeric_limits<int>::max()));
}

std::string InsertionText(const CKtPropertySet& insertions, const char* name) {
  switch (insertions.GetPropType(name)) {
    case TYPE_STR: {
      std::string text;
      return insertions.GetProp(name, text, false);
    }
    case TYPE_WSTR: {
      KtWString text;
      return kt::Narrow(insertions.GetProp(name, text, false));
    }
    case TYPE_I18N: {
      CKtI18N message;
      cuvo_property* found = nullptr;
      insertions.GetProp(name, found, false);
      return CKtPropertySetBase::GetProp(name, message, found).Name();
    }
    default:
      return {};
  }
}

void PutInsertions(const CKtPropertySet& insertions, std::string& result) {
  for (const std::string& name : insertions.GetKeys()) {
    const std::string text = InsertionText(insertions, name.c_str());
    if (text.empty()) continue;
    const std::string placeholder = "%" + std::to_string(InsertionNumber(name));
    const std::size_t place = result.find(placeholder);
    if (place != std::string::npos) result.replace(place, placeholder.size(), text);
  }
}

}  // namespace

CKtI18NFM::CKtI18NFM(const KtI18NDef& definition, Bare)
    : record_{definition, nullptr}, name_(definition.name == nullptr ? "" : definition.name) {
  Aim();
}

// From here on the constructors delegate: the object is complete before the first framework call,
// so that its destructor cleans up after a call that fails.
CKtI18NFM::CKtI18NFM() : CKtI18NFM(KtI18NDef{}) {}

CKtI18NFM::CKtI18NFM(const KtI18NDef& definition) : CKtI18NFM(definition, Bare{}) {
  Create();
}

CKtI18NFM::CKtI18NFM(const KtI18NFormatString& record) : CKtI18NFM(record.message, Bare{}) {
  CopyInsertions(record.insertions);
}

CKtI18NFM::CKtI18NFM(const CKtI18NFM& other) : CKtI18NFM(other.record_) {}

CKtI18NFM::CKtI18NFM(CKtI18NFM&& other) noexcept
    : record_{other.record_.message, std::exchange(other.record_.insertions, nullptr)},
      name_(std::move(other.name_)) {
  Aim();
  other.Aim();
}

CKtI18NFM& CKtI18NFM::operator=(const CKtI18NFM& other) {
  if (this != &other) {
    CKtI18NFM copy(other);
    Swap(copy);
  }
  return *this;
}

CKtI18NFM& CKtI18NFM::operator=(CKtI18NFM&& other) noexcept {
  Swap(other);
  return *this;
}

// Required: a destroy that fails is thrown to whoever drops the message.
// NOLINTNEXTLINE(bugprone-exception-escape)
CKtI18NFM::~CKtI18NFM() noexcept(false) {
  const bool silent = ExceptionOnItsWay();
  try {
    DestroyInsertions();
  } catch (...) {
    if (!silent) throw;
  }
}

void CKtI18NFM::Create() {
  DestroyInsertions();
  KtPropset created = nullptr;
  kt::ThrowIfFailedPlain(PsCreatePropset(&created), kt::kError,
                         "ERROR: in CKtI18NFM::Create() PsCreatePropset() failed");
  record_.insertions = created;
}

void CKtI18NFM::CopyInsertions(KtPropset source) {
  if (source == nullptr) {
    Create();
    return;
  }
  KtPropset copy = nullptr;
  kt::ThrowIfFailedPlain(PsCopyPropset(source, &copy), kt::kError,
                         "ERROR: in CKtI18NFM(const CKtI18NFM &data) PsCopyPropset() failed");
  record_.insertions = copy;
}

void CKtI18NFM::DestroyInsertions() {
  const KtPropset old = std::exchange(record_.insertions, nullptr);
  if (old == nullptr) return;
  kt::ThrowIfFailedPlain(PsDestroyPropset(old), kt::kError,
                         "ERROR: in CKtI18NFM::~CKtI18NFM() PsDestroyPropset() failed");
}

void CKtI18NFM::Swap(CKtI18NFM& other) noexcept {
  std::swap(record_, other.record_);
  name_.swap(other.name_);
  Aim();
  other.Aim();
}

std::string CKtI18NFM::Format() const {
  std::string result = name_;
  try {
    PutInsertions(CKtPropertySet(record_.insertions), result);
  } catch (...) {
    // What cannot be read was traced where it failed; a name half made is better than none.
  }
  return result;
}

std::string CKtI18NFM::ToString() const {
  return kt::ValueText(record_.message);
}

namespace kt {

void DestroyMessages(std::vector<CKtI18NFM>& messages) {
  KtStatus first = 0;
  for (CKtI18NFM& message : messages) {
    try {
      message.DestroyInsertions();
    } catch (KtStatus status) {
      if (first == 0) first = status;
    }
  }
  messages.clear();
  if (first != 0) throw KtStatus{first};
}

}  // namespace kt
