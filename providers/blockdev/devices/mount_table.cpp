#include "blockdev/devices/mount_table.h"

#include <charconv>
#include <cstddef>
#include <optional>

namespace kt::blockdev {
namespace {

// The fields of one line that stand before the separator "-" and are fixed in number.
constexpr std::size_t kDeviceField = 2;
constexpr std::size_t kRootField = 3;
constexpr std::size_t kMountPointField = 4;
constexpr std::size_t kFirstOptionalField = 6;

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = text.find(separator);
    if (end != 0) parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return parts;
}

bool ReadNumber(std::string_view text, std::uint32_t& value) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && rest == end;
}

std::optional<Mount> ParseLine(std::string_view line) {
  const std::vector<std::string_view> fields = Split(line, ' ');
  std::size_t separator = kFirstOptionalField;
  while (separator < fields.size() && fields[separator] != "-") ++separator;
  if (separator + 2 >= fields.size()) return std::nullopt;

  Mount mount;
  const std::string_view device = fields[kDeviceField];
  const std::size_t colon = device.find(':');
  if (colon == std::string_view::npos || !ReadNumber(device.substr(0, colon), mount.major) ||
      !ReadNumber(device.substr(colon + 1), mount.minor)) {
    return std::nullopt;
  }
  mount.root = UnescapeOctal(fields[kRootField]);
  mount.mount_point = UnescapeOctal(fields[kMountPointField]);
  mount.file_system = UnescapeOctal(fields[separator + 1]);
  mount.source = UnescapeOctal(fields[separator + 2]);
  return mount;
}

}  // namespace

std::string UnescapeOctal(std::string_view text) {
  constexpr std::size_t kEscapeLength = 4;
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    unsigned value = 0;
    if (text[at] == '\\' && at + kEscapeLength <= text.size()) {
      const char* const first = text.data() + at + 1;
      const char* const end = text.data() + at + kEscapeLength;
      const auto [rest, error] = std::from_chars(first, end, value, 8);
      if (error == std::errc() && rest == end && value <= 0xFF) {
        result.push_back(static_cast<char>(value));
        at += kEscapeLength;
        continue;
      }
    }
    result.push_back(text[at++]);
  }
  return result;
}

std::vector<Mount> ParseMountInfo(std::string_view text) {
  std::vector<Mount> mounts;
  for (const std::string_view line : Split(text, '\n')) {
    if (std::optional<Mount> mount = ParseLine(line)) mounts.push_back(*std::move(mount));
  }
  return mounts;
}

}  // namespace kt::blockdev
