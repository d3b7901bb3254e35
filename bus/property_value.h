// PropertyValue is a property's value inside the framework: type, flags, and data that it owns. A
// value never changes once it is made, so property sets, their copies and their snapshots share it.
//
// Threads: immutable, hence any.
// Failure: FromRecord throws StatusError for a record that is not well formed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

class PropertyMap;

// How the value of a type is laid out in a record.
enum class Shape : std::uint8_t {
  kFixed,          // `width` bytes
  kText,           // narrow, zero-terminated
  kWideText,       // UTF-16, zero-terminated
  kBytes,          // as many bytes as `length` says
  kSet,            // a property set handle
  kMessage,        // KtI18NDef
  kFormatMessage,  // KtI18NFormatString
};

struct TypeLayout {
  std::uint32_t type;  // without the list bit
  Shape shape;
  std::uint32_t width;  // bytes of one element in a list, and of a scalar of fixed size
};

inline constexpr std::uint32_t kListBit = 0x80000000U;

// The layout of a type code, list or not; null for a code that a property cannot have.
const TypeLayout* FindLayout(std::uint32_t type) noexcept;

class PropertyValue {
 public:
  // One text, message or property set.
  struct Element {
    std::string text;  // without terminator; for wide text the bytes of its units
    KtGuid catalog{};
    std::uint32_t message_id = 0;
    std::shared_ptr<const PropertyMap> set;  // null: none

    bool operator==(const Element& other) const;
  };

  // Checks the record and copies what it holds, nested property sets included.
  static PropertyValue FromRecord(const cuvo_property& record);

  static PropertyValue FromText(std::string text);
  static PropertyValue FromWideText(const KtWchar* text);
  static PropertyValue FromUint32(std::uint32_t value);
  static PropertyValue FromObjId(const KtObjId& id);

  [[nodiscard]] std::uint32_t type() const noexcept { return type_; }
  [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }
  [[nodiscard]] bool is_list() const noexcept { return (type_ & kListBit) != 0; }
  [[nodiscard]] Shape shape() const noexcept { return layout_->shape; }
  [[nodiscard]] std::uint32_t width() const noexcept { return layout_->width; }

  // Elements of fixed size, one after the other, or the bytes of a block.
  [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }
  // Elements of any other shape; a value that is no list has exactly one.
  [[nodiscard]] const std::vector<Element>& elements() const noexcept { return elements_; }

  // How many property sets stand one inside the other below this value.
  [[nodiscard]] std::uint32_t depth() const noexcept;

  // How many bytes of content there are, those of sets below included.
  [[nodiscard]] std::size_t content_bytes() const noexcept;

  // The same type, flags and content.
  bool operator==(const PropertyValue& other) const;

 private:
  PropertyValue(std::uint32_t type, std::uint32_t flags);

  void ReadScalar(const cuvo_property& record);
  void ReadList(const cuvo_property& record);

  std::uint32_t type_;
  std::uint32_t flags_;
  const TypeLayout* layout_;
  std::string bytes_;
  std::vector<Element> elements_;
};

}  // namespace kt::bus
