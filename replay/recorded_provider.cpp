#include "replay/recorded_provider.h"

#include <algorithm>
#include <set>
#include <unordered_set>

#include "replay/recording_file.h"
#include "replay/replay_rules.h"
#include "replay/replayer.h"

namespace ktreplay {

bool Stream::HasStrictCall() const {
  return std::any_of(
      items.begin() + static_cast<std::ptrdiff_t>(next), items.end(),
      [](const Item* item) { return item->kind == ItemKind::kCall && !IsLenient(item->function); });
}

bool Stream::HasEnter() const {
  return std::any_of(items.begin() + static_cast<std::ptrdiff_t>(next), items.end(),
                     [](const Item* item) { return item->kind == ItemKind::kEnter; });
}

RecordedProvider::RecordedProvider(const std::filesystem::path& recording,
                                   const std::string& provider) {
  std::set<std::string> others;
  try {
    RecordingReader reader(recording);
    Item item;
    while (reader.Next(item)) {
      if (item.provider == provider) {
        items_.push_back(std::move(item));
      } else {
        others.insert(item.provider);
      }
    }
    incomplete_ = reader.incomplete();
  } catch (const std::exception& error) {
    throw ReplayError(error.what());
  }
  if (items_.empty()) {
    std::string names;
    for (const std::string& name : others) {
      names += (names.empty() ? "" : ", ") + name;
    }
    throw ReplayError("it has nothing of a provider \"" + provider + "\"; it has " +
                      (names.empty() ? "none at all" : names));
  }
  Sort();
}

// Gives each thread its items, and checks that functions begin and end in turn on each.
void RecordedProvider::Sort() {
  std::unordered_map<std::uint64_t, Stream*> by_thread;
  for (const Item& item : items_) {
    Stream*& stream = by_thread[item.thread];
    if (stream == nullptr) {
      stream = &streams_.emplace_back();
      stream->thread = item.thread;
    }
    stream->items.push_back(&item);
    places_.emplace(&item, owners_.size());
    owners_.push_back(stream);
    events_before_.push_back(events_);
    if (item.kind == ItemKind::kCall) {
      continue;
    }
    const bool enters = item.kind == ItemKind::kEnter;
    if (enters == (stream->inside != nullptr)) {
      throw ReplayError("item " + std::to_string(item.number) + ": " + item.function +
                        (enters ? " begins inside of another function" : " ends without a begin"));
    }
    stream->inside = enters ? &item : nullptr;
    stream->host = true;
    ++events_;
  }
  for (Stream& stream : streams_) {
    stream.inside = nullptr;
  }
}

}  // namespace ktreplay
