#include "dispatch/control_path.h"

#include <charconv>
#include <cstring>

#include "base/owned.h"

namespace kt {
namespace {

// Each writes behind what stands there and returns the new end. There is room for all of them.
char* Append(char* end, std::string_view piece) noexcept {
  std::memcpy(end, piece.data(), piece.size());
  return end + piece.size();
}

// Usual texts of ids have one length: that many bytes are copied in a few steps.
char* AppendId(char* end, std::string_view id) noexcept {
  constexpr std::size_t kUsual = 38;
  if (id.size() != kUsual) return Append(end, id);
  std::memcpy(end, id.data(), kUsual);
  return end + kUsual;
}

char* AppendNumber(char* end, std::uint32_t number) noexcept {
  constexpr std::ptrdiff_t kDigits = 11;
  return std::to_chars(end, end + kDigits, static_cast<std::int32_t>(number)).ptr;
}

}  // namespace

bool ControlPath::Build(const KtGuid& interface_id, std::uint32_t selector,
                        std::uint32_t control_code, const KtObjId& object_id) noexcept {
  const FrameworkText interface_text(KtGUIDToString(&interface_id));
  return Build(interface_text.get(), selector, control_code, object_id);
}

bool ControlPath::Build(const char* interface_text, std::uint32_t selector,
                        std::uint32_t control_code, const KtObjId& object_id) noexcept {
  size_ = 0;
  text_.front() = '\0';
  const FrameworkText object_text(KtGUIDToString(&object_id.guid));
  if (interface_text == nullptr || object_text == nullptr) return false;
  char* end = Append(text_.data(), "OBJ:");
  end = AppendId(end, std::string_view(object_text.get()).substr(0, kLongestId));
  end = Append(end, ",INTF:");
  end = AppendId(end, std::string_view(interface_text).substr(0, kLongestId));
  end = Append(end, ",MJ:");
  end = AppendNumber(end, selector);
  end = Append(end, ",MN:");
  end = AppendNumber(end, control_code);
  *end = '\0';
  size_ = static_cast<std::size_t>(end - text_.data());
  return true;
}

}  // namespace kt
