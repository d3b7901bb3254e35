// What keeps a module that is tried from doing harm to the machine.
//
// Threads: before any other thread is started.
#pragma once

#include <cstdint>
#include <filesystem>

namespace ktcheck {

// Whether commands that restart the machine or touch its services can be made stand-ins.
bool HasStandIns() noexcept;

// From now on this process ends when the one that started it, of that number, ends, however that
// comes to its end, and at once when it has ended already: nobody would read what it tells, nor end
// it. Where the system has no such thing, nothing happens.
void EndWithParent(std::uint64_t parent) noexcept;

// From now on this process, and those that it starts, find stand-ins for such commands, and the
// registry given (empty: an empty one). `scratch` is a folder that outlives them. Throws
// std::system_error, std::filesystem::filesystem_error.
void TakePrecautions(const std::filesystem::path& scratch, const std::filesystem::path& registry);

}  // namespace ktcheck
