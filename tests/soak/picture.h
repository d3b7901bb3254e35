// The picture of a soak: its figures over time, drawn by gnuplot from the CSV.
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <string>

namespace soak {

// What gnuplot is told to draw. `samples` is the number of lines in the CSV, of which not all are
// drawn when they are many; the time is shown in minutes, or in hours when it is long.
std::string PictureScript(const std::filesystem::path& csv, const std::filesystem::path& picture,
                          std::size_t samples, double seconds);

// Draws it. False where gnuplot is not installed or fails.
bool DrawPicture(const std::filesystem::path& csv, const std::filesystem::path& picture,
                 std::size_t samples, double seconds);

}  // namespace soak
