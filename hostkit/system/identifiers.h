// Names and identifiers that the system provider shares with its clients.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace kt {

// ---- Interfaces

// Attached to the system object; controls are registered on them.
inline constexpr KtGuid kSystemInterface{// {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}
                                         0x9452C1D7,
                                         0x9A89,
                                         0x4CDF,
                                         {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr KtGuid kRebootInterface{// {13DC257B-CF59-400F-9817-82DAB2C8854C}
                                         0x13DC257B,
                                         0xCF59,
                                         0x400F,
                                         {0x98, 0x17, 0x82, 0xDA, 0xB2, 0xC8, 0x85, 0x4C}};
inline constexpr KtGuid kTraceInterface{// {ADF0779F-76AD-48EB-8337-DFB8BF32016D}
                                        0xADF0779F,
                                        0x76AD,
                                        0x48EB,
                                        {0x83, 0x37, 0xDF, 0xB8, 0xBF, 0x32, 0x01, 0x6D}};

// Attached to generic groups, by the kind of what they group.
inline constexpr KtGuid kDiskInterface{// {7EC748B5-C965-4607-8371-EB3B1B0DB7EC}
                                       0x7EC748B5,
                                       0xC965,
                                       0x4607,
                                       {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}};
inline constexpr KtGuid kVolumeInterface{// {9D763702-9F7D-47D8-B8F7-F02D8AC3530F}
                                         0x9D763702,
                                         0x9F7D,
                                         0x47D8,
                                         {0xB8, 0xF7, 0xF0, 0x2D, 0x8A, 0xC3, 0x53, 0x0F}};
inline constexpr KtGuid kDiskGroupInterface{// {028767D0-C8C3-4169-A11E-E57A09D015F2}
                                            0x028767D0,
                                            0xC8C3,
                                            0x4169,
                                            {0xA1, 0x1E, 0xE5, 0x7A, 0x09, 0xD0, 0x15, 0xF2}};

// ---- Controls

inline constexpr std::uint32_t kRebootControl = 11001;
inline constexpr std::uint32_t kTraceLevelControl = 11005;

// ---- Types and events

inline constexpr char kSystemType[] = "qelm_system";
inline constexpr char kConfigurationType[] = "qelm_ktvm_misc";
inline constexpr char kHostSuperclass[] = "qelm_ktvm";
inline constexpr char kGenericGroupType[] = "QELM_GenericGroup";
inline constexpr char kDomainInitialised[] = "event.qelm.dom.initialization.*.complete";

// The flags of a property that has none.
inline constexpr std::uint32_t kNoFlags = 0;

}  // namespace kt
