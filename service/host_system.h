// What the service asks of the operating system besides loading and signals; host_system_posix.cpp
// and host_system_win32.cpp answer.
//
// Threads: call from the main thread, before any provider is loaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ktsvc {

// ".so" or ".dll": the ending of a provider module's file.
std::string_view ModuleSuffix() noexcept;

// The characters that separate folders in a path as a person types it.
std::string_view PathSeparators() noexcept;

// "Linux" or "Windows", as in "this is no module for Linux on x86-64".
std::string_view SystemName() noexcept;

// The running program's file.
std::filesystem::path ProgramFile();

// The folder in which it stands.
std::filesystem::path ProgramFolder();

// The command line's words in UTF-8, the program's name left out.
std::vector<std::string> CommandLineWords(int argc, const char* const* argv);

// True when providers read their registry from a tree of folders, which --registry can name.
bool RegistryIsAFolder() noexcept;

// Makes that folder the registry of this process. Only where RegistryIsAFolder().
void UseRegistryFolder(const std::filesystem::path& folder);

// Readies standard output: a reader that goes away makes a write fail instead of ending the
// process, without changing what child processes inherit, and a console shows UTF-8.
void PrepareOutput();

// From now on the system's loader looks for libraries that are named without a path in the system's
// own folder alone: not in the working folder, nor along PATH. Windows; POSIX systems never look
// there. Throws std::system_error.
void LimitLibrarySearch();

// The number of this process.
std::uint64_t ProcessNumber() noexcept;

// True when that errno of a failed write says that the reader of a pipe went away.
bool IsReaderGone(int error) noexcept;

// Paths in UTF-8, for messages and from the command line.
std::string PathText(const std::filesystem::path& path);
std::filesystem::path PathFromText(std::string_view text);

}  // namespace ktsvc
