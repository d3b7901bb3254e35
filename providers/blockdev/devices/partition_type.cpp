#include "blockdev/devices/partition_type.h"

#include <algorithm>
#include <array>

namespace kt::blockdev {
namespace {

// GPT GUIDs, then MBR codes.
constexpr std::array<std::string_view, 11> kOemPartitionTypes{
    "c12a7328-f81f-11d2-ba4b-00a0c93ec93b",  // EFI system
    "e3c9e316-0b5c-4db8-817d-f92df00215ae",  // Microsoft reserved
    "de94bba4-06d1-4d40-a16a-bfd50179d6ac",  // Windows recovery
    "21686148-6449-6e6f-744e-656564454649",  // BIOS boot
    "bfbfafe7-a34f-448a-9a5b-6213eb736c22",  // vendor's boot
    "f4019732-066e-4e12-8273-346c5641494f",  // vendor's boot
    "d3bfe2de-3daf-11df-ba40-e3a556d89593",  // vendor's fast start
    "0xef",                                  // EFI system
    "0x27",                                  // recovery
    "0x12",                                  // vendor's configuration
    "0xde",                                  // vendor's utilities
};

}  // namespace

bool IsOemPartitionType(std::string_view type) noexcept {
  return std::find(kOemPartitionTypes.begin(), kOemPartitionTypes.end(), type) !=
         kOemPartitionTypes.end();
}

}  // namespace kt::blockdev
