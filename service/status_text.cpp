#include "status_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace ktsvc {
namespace {

struct StatusRow {
  KtStatus code;
  std::string_view name;
  std::string_view meaning;
};

constexpr std::array kStatuses{
    StatusRow{0x00000000U, "OK", "done"},
    StatusRow{0x41000012U, "KTSTATUS_UNCHANGED", "nothing changed"},
    StatusRow{0x4EEE0001U, "KTSTATUS_CONTINUE", "let the request go on"},
    StatusRow{0x80004001U, "E_NOTIMPL", "not implemented"},
    StatusRow{0x80070005U, "E_ACCESSDENIED", "not permitted"},
    StatusRow{0x8007000EU, "E_OUTOFMEMORY", "out of memory"},
    StatusRow{0x80070057U, "E_INVALIDARG", "a value is missing or makes no sense"},
    StatusRow{0xC1000001U, "KTERROR_UNEXPECTED", "general failure, or an unknown control"},
    StatusRow{0xC1000005U, "KTERROR_WRONG_PROVIDER", "asked for a provider of another name"},
    StatusRow{0xC100000DU, "KTERROR_NO_EVENT", "no such event"},
    StatusRow{0xC1000010U, "KTERROR_NO_OBJECT", "no such object or handle"},
    StatusRow{0xC1000011U, "KTERROR_NO_PROPERTY", "no such property"},
    StatusRow{0xC1000013U, "KTERROR_PROPERTY_EXISTS", "the property is there already"},
    StatusRow{0xC1000014U, "KTERROR_NO_MORE_PROPERTIES", "no more properties"},
    StatusRow{0xC100001FU, "KTERROR_REBOOT_FAILED", "the restart could not be issued"},
    StatusRow{0xC1000029U, "KTERROR_DUPLICATE_INTERFACE", "the interface is there already"},
    StatusRow{0xC100002DU, "KTERROR_REDEFINING_ALERT", "the alert is published already"},
    StatusRow{0xC100002EU, "KTERROR_NO_ALERT", "the alert is not published"},
    StatusRow{0xC1000037U, "KTERROR_BAD_INHERITANCE", "a superclass is not there"},
    StatusRow{0xC1000038U, "KTERROR_TYPE_EXISTS", "the type is there already"},
    StatusRow{0xC1000039U, "KTERROR_UNKNOWN_TYPE", "no such type"},
    StatusRow{0xC100003AU, "KTERROR_WRONG_PROPERTY_TYPE", "the property is of another type"},
    StatusRow{0xC10000C9U, "KTERROR_PROVIDER_SHUTTING_DOWN", "the provider is shutting down"},
};

const StatusRow* FindRow(KtStatus status) noexcept {
  const auto row = std::find_if(kStatuses.begin(), kStatuses.end(),
                                [status](const StatusRow& r) { return r.code == status; });
  return row == kStatuses.end() ? nullptr : row;
}

}  // namespace

std::string_view StatusName(KtStatus status) noexcept {
  const StatusRow* row = FindRow(status);
  return row == nullptr ? std::string_view() : row->name;
}

std::string StatusHex(KtStatus status) {
  std::array<char, 11> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(status)));
  return text.data();
}

std::string StatusText(KtStatus status) {
  std::string text = StatusHex(status);
  if (const StatusRow* row = FindRow(status)) {
    text.append(" ").append(row->name).append(" (").append(row->meaning).append(")");
  }
  return text;
}

}  // namespace ktsvc
