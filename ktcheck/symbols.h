// What frames are in the source, where the system has a tool that says so (Linux: addr2line of
// binutils). Without it, or without debug information, a frame stays "file+0x1a2b".
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <vector>

#include "ktcheck/finding.h"

namespace ktcheck {

// Leaves out frames of the framework and of this program that say nothing of the module, and adds
// to the others: "hostkit.so+0x1a2b CKtObject::Name at object.cpp:41". `scratch` is a folder to
// write in.
void NameFrames(std::vector<Finding>& findings, const std::filesystem::path& scratch);

}  // namespace ktcheck
