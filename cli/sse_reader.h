// SseReader: server-sent events, put together from the pieces in which they come.
//
// Threads: one.
// Failure: a line that is no field of an event is passed over, as the format has it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ktctl {

class SseReader {
 public:
  struct Event {
    std::string id;    // "" when it has none
    std::string name;  // "event:"
    std::string data;  // its lines, joined with line feeds
  };

  // Takes the next piece, of any size.
  void Add(std::string_view piece) { rest_ += piece; }

  // The next whole event; nothing until more has come.
  std::optional<Event> Next();

 private:
  void TakeField(std::string_view line);

  std::string rest_;  // what has come and has not been read
  Event event_;       // the one that is being put together
  bool hasData_ = false;
};

}  // namespace ktctl
