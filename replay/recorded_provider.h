// RecordedProvider: what a recording holds of one provider, by threads and in the order of its
// functions.
//
// Threads: plain values; built on one thread.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include "replay/recording.h"

namespace ktreplay {

// The items of one thread, in their order. They belong to the RecordedProvider.
struct Stream {
  std::uint64_t thread = 0;
  std::vector<const Item*> items;
  std::size_t next = 0;          // the first that has not come yet
  bool host = false;             // a thread of the host, on which functions are called
  bool taken = false;            // a thread of the replay stands for it
  bool unordered = false;        // the others do not wait for it any more
  const Item* inside = nullptr;  // the function that runs on it

  // Whether a call is left that must come.
  [[nodiscard]] bool HasStrictCall() const;
  // Whether a function is still to be called on it.
  [[nodiscard]] bool HasEnter() const;
  [[nodiscard]] const Item* Peek() const { return next < items.size() ? items[next] : nullptr; }
};

class RecordedProvider {
 public:
  // Reads the recording. Throws ReplayError when it cannot be read, or has no such provider.
  RecordedProvider(const std::filesystem::path& recording, const std::string& provider);
  RecordedProvider(const RecordedProvider&) = delete;
  RecordedProvider& operator=(const RecordedProvider&) = delete;

  [[nodiscard]] std::uint64_t items() const noexcept { return items_.size(); }
  [[nodiscard]] const std::string& incomplete() const noexcept { return incomplete_; }
  std::deque<Stream>& streams() noexcept { return streams_; }

  // The place of an item among those of the provider, from 0, and the thread of the one there.
  [[nodiscard]] std::size_t PlaceOf(const Item& item) const { return places_.at(&item); }
  [[nodiscard]] Stream& StreamAt(std::size_t place) const { return *owners_[place]; }

  // How many begins and ends of functions there are, and how many stand before the item.
  [[nodiscard]] std::size_t events() const noexcept { return events_; }
  [[nodiscard]] std::size_t EventsBefore(const Item& item) const {
    return events_before_[PlaceOf(item)];
  }

 private:
  void Sort();

  std::deque<Item> items_;
  std::deque<Stream> streams_;
  std::vector<Stream*> owners_;
  std::vector<std::size_t> events_before_;
  std::size_t events_ = 0;
  std::unordered_map<const Item*, std::size_t> places_;
  std::string incomplete_;
};

}  // namespace ktreplay
