// Recordings for tests: made, read whole, and written again with something changed.
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "replay/recording_file.h"

namespace replay_test {

// The module "replayed" in one of its variants: "same", "status", ...
std::filesystem::path Variant(const std::string& name);

// Records a life of that variant: start, version, three controls of which one throws, events, stop.
void RecordLife(const std::filesystem::path& file, const std::string& variant = "same");

// All items, as far as the file can be read.
std::vector<ktreplay::Item> ItemsOf(const std::filesystem::path& file);

// Writes the items into a recording; `end` says that it is whole.
void WriteItems(const std::filesystem::path& file, const std::vector<ktreplay::Item>& items,
                bool end = true);

// The item of that kind and function, the nth of them from 0. Fails the test when there is none.
ktreplay::Item& FindItem(std::vector<ktreplay::Item>& items, ktreplay::ItemKind kind,
                         const std::string& function, std::size_t nth = 0);

}  // namespace replay_test
