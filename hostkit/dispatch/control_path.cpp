#include "dispatch/control_path.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/owned.h"

namespace kt {

bool ControlPath::Build(const KtGuid& interface_id, std::uint32_t selector,
                        std::uint32_t control_code, const KtObjId& object_id) noexcept {
  size_ = 0;
  text_.front() = '\0';
  const FrameworkText interface_text(KtGUIDToString(&interface_id));
  const FrameworkText object_text(KtGUIDToString(&object_id.guid));
  if (interface_text == nullptr || object_text == nullptr) return false;
  Append("OBJ:");
  Append(object_text.get());
  Append(",INTF:");
  Append(interface_text.get());
  Append(",MJ:");
  AppendNumber(selector);
  Append(",MN:");
  AppendNumber(control_code);
  text_[size_] = '\0';
  return true;
}

void ControlPath::Append(std::string_view piece) noexcept {
  const std::size_t count = std::min(piece.size(), text_.size() - 1 - size_);
  std::memcpy(text_.data() + size_, piece.data(), count);
  size_ += count;
}

void ControlPath::AppendNumber(std::uint32_t number) noexcept {
  std::array<char, 12> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                 static_cast<std::int32_t>(number));
  Append({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
}

}  // namespace kt
