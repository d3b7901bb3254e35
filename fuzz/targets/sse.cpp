// What ktctl reads of a stream: server-sent events in pieces of any size, against a plain reader,
// and the texts that it makes of their data for a terminal.
//
// Input: a byte, the size of the pieces; then the stream.

#include <string>
#include <vector>

#include "cli/document_text.h"
#include "cli/sse_reader.h"
#include "support/byte_source.h"
#include "support/printable.h"
#include "support/require.h"

namespace {

using kt::fuzz::RequirePrintable;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;
using ktctl::Json;
using Event = ktctl::SseReader::Event;

// Line by line; an empty line ends an event, and one without data is none.
std::vector<Event> PlainEvents(const std::string& stream) {
  std::vector<Event> events;
  Event event;
  bool has_data = false;
  std::size_t begin = 0;
  for (std::size_t end = stream.find('\n'); end != std::string::npos;
       end = stream.find('\n', begin)) {
    std::string line = stream.substr(begin, end - begin);
    begin = end + 1;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) {
      if (has_data) events.push_back(event);
      event = {};
      has_data = false;
      continue;
    }
    const std::size_t colon = line.find(':');
    const std::string name = line.substr(0, colon);
    std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.erase(0, 1);
    if (name == "id") event.id = value;
    if (name == "event") event.name = value;
    if (name != "data") continue;
    event.data += (has_data ? "\n" : "") + value;
    has_data = true;
  }
  return events;
}

// The parts of a document that ktctl shows; one that is not as the API promises may be refused.
template <typename Function>
void Show(Function function) {
  try {
    RequirePrintable(function(), "what ktctl shows cannot command a terminal");
  } catch (const Json::exception&) {
    return;
  }
}

void ShowData(const std::string& data) {
  const Json json = Json::parse(data, nullptr, false);
  if (json.is_discarded()) return;
  Show([&] { return ktctl::TextOf(json); });
  Show([&] { return ktctl::ValueOf(json); });
  Show([&] { return ktctl::SetOf(json); });
  Show([&] { return ktctl::StatusOf(json); });
  Show([&] { return ktctl::NameOf(json); });
  Show([&] { return ktctl::InterfacesOf(json); });
  Show([&] { return ktctl::CountText(json, "object"); });
  Show([&] {
    std::string text;
    for (const std::string& line : ktctl::LinesOf(json)) text += line;
    return text;
  });
  Show([&] { return ktctl::DurationText(json.get<double>()); });
  if (!json.is_object()) return;
  for (const auto& member : json.items()) {
    Show([&] { return ktctl::TextOf(member.value()); });
    Show([&] { return ktctl::SetOf(member.value()); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kt::fuzz::ByteSource source(data, size);
  const std::size_t piece = source.Below(255) + 1;
  const std::string stream = source.Rest();
  const std::vector<Event> expected = PlainEvents(stream);
  std::vector<Event> events;
  ktctl::SseReader reader;
  for (std::size_t at = 0; at < stream.size(); at += piece) {
    reader.Add(std::string_view(stream).substr(at, piece));
    while (auto event = reader.Next()) events.push_back(*event);
  }
  RequireSameNumber(expected.size(), events.size(), "as many events, however they came");
  for (std::size_t i = 0; i < events.size(); ++i) {
    RequireSame(expected[i].id, events[i].id, "the event's number");
    RequireSame(expected[i].name, events[i].name, "the event's name");
    RequireSame(expected[i].data, events[i].data, "the event's data");
    ShowData(events[i].data);
  }
  return 0;
}
