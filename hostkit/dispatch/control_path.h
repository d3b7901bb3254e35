// The control path: the text key under which a handler is found,
// "OBJ:%s,INTF:%s,MJ:%d,MN:%d" with object id, interface id, selector and control code.
//
// The text of an id is the framework's (KtGUIDToString), released once the key is built. The key
// stands in a buffer of the caller's stack: a look-up allocates nothing of ours.
//
// Threads:   one at a time; no lock of its own.
// Ownership: owns its text; what View() and Text() give is lent.
// Failure:   Build() says whether the framework had memory; nothing throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace kt {

class ControlPath {
 public:
  // Empty. The buffer is left as it is up to there: zeroing it takes as long as filling it.
  ControlPath() noexcept { text_.front() = '\0'; }  // NOLINT(*-member-init): see above

  // Builds the key: the interface's text first, then the object's. Selector and code are printed as
  // signed decimals. Returns false, with the key empty, when the framework had no memory for one of
  // the texts.
  [[nodiscard]] bool Build(const KtGuid& interface_id, std::uint32_t selector,
                           std::uint32_t control_code, const KtObjId& object_id) noexcept;

  // The same with the interface's text, for who does something else between the two questions to
  // the framework. Null is no memory, and the object's text is asked for all the same.
  [[nodiscard]] bool Build(const char* interface_text, std::uint32_t selector,
                           std::uint32_t control_code, const KtObjId& object_id) noexcept;

  // Valid as long as this object, until it is built again.
  [[nodiscard]] std::string_view View() const noexcept { return {text_.data(), size_}; }
  [[nodiscard]] const char* Text() const noexcept { return text_.data(); }

 private:
  // An id's text has 38 characters. A framework's longer ones are cut off, at registration and
  // look-up alike; with two of them, 19 characters of the format and two numbers of up to 11 there
  // is room for all, so that no step has to look whether there is.
  static constexpr std::size_t kLongestId = 100;

  std::array<char, 256> text_;
  std::size_t size_ = 0;
};

}  // namespace kt
