#include "bus/trace.h"

#include <array>
#include <chrono>
#include <cstdarg>
#include <string_view>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/inlining.h"
#include "bus/status.h"
#include "bus/thread_local.h"
#include "bus/trace_file.h"
#include "bus/trace_format.h"

namespace kt::bus {
namespace {

// Set while this thread is inside the host's trace call-back.
constinit thread_local bool in_callback KT_FOUND_BY_LOADS = false;

class InCallback {
 public:
  InCallback() noexcept { in_callback = true; }
  ~InCallback() { in_callback = false; }
  InCallback(const InCallback&) = delete;
  InCallback& operator=(const InCallback&) = delete;
};

void AppendNumber(std::string& out, std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  if (text.size() < digits) out.append(digits - text.size(), '0');
  out += text;
}

// "2026-01-31T12:00:00.123Z", without the C library's shared time buffers.
std::string TimeStamp() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  std::string out;
  AppendNumber(out, static_cast<int>(date.year()), 4);
  out += '-';
  AppendNumber(out, static_cast<unsigned>(date.month()), 2);
  out += '-';
  AppendNumber(out, static_cast<unsigned>(date.day()), 2);
  out += 'T';
  AppendNumber(out, time.hours().count(), 2);
  out += ':';
  AppendNumber(out, time.minutes().count(), 2);
  out += ':';
  AppendNumber(out, time.seconds().count(), 2);
  out += '.';
  AppendNumber(out, time.subseconds().count(), 3);
  out += 'Z';
  return out;
}

bool IsControl(unsigned char byte) noexcept {
  return byte < 0x20 || byte == 0x7F;
}

// The upper control characters, U+0080 to U+009F, are two bytes of UTF-8.
bool IsUpperControl(std::string_view text) noexcept {
  return text.size() > 1 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) >= 0x80 &&
         static_cast<unsigned char>(text[1]) < 0xA0;
}

void AppendVisible(std::string& out, char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (c == '\n') {
    out += "\\n";
  } else if (c == '\r') {
    out += "\\r";
  } else {
    const auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 0xFU];
  }
}

// One line whatever the text holds, and nothing in it that a terminal would obey: line ends at its
// end are dropped, control characters but the tab made visible.
std::string Line(std::uint32_t level, std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  std::string line = TimeStamp();
  line += " [";
  line += std::to_string(level);
  line += "] ";
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (IsUpperControl(text.substr(at))) {
      AppendVisible(line, text[at]);
      AppendVisible(line, text[++at]);
    } else if (text[at] != '\t' && IsControl(static_cast<unsigned char>(text[at]))) {
      AppendVisible(line, text[at]);
    } else {
      line += text[at];
    }
  }
  line += '\n';
  return line;
}

}  // namespace

Trace& Trace::Get() {
  static Trace* const trace = new Trace;
  return *trace;
}

void Trace::Close::operator()(std::FILE* file) const noexcept {
  // Lines were flushed one by one; there is nothing left that closing could lose.
  static_cast<void>(std::fclose(file));
}

void Trace::Write(std::uint32_t level, const std::string& text) {
  if (stderr_.load() || has_file_.load()) WriteLine(level, text);
  if (has_callback_.load() && !in_callback) Call(level, text);
}

void Trace::WriteLine(std::uint32_t level, const std::string& text) {
  const std::string line = Line(level, text);
  const MutexGuard guard(sinks_lock_);
  // A full disk or a closed pipe must not stop the service; there is nowhere else to say so.
  if (stderr_.load()) static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
  if (file_ != nullptr) {
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), file_.get()));
    static_cast<void>(std::fflush(file_.get()));
  }
}

void Trace::Call(std::uint32_t level, const std::string& text) {
  const ReadGuard guard(call_lock_);
  if (callback_ == nullptr) return;
  const RunningAs host(Ledger::Get().host());
  const Unseen unseen;
  const InCallback inside;
  callback_(level, text.c_str(), context_);
}

bool Trace::ToFile(const char* path) {
  std::unique_ptr<std::FILE, Close> file;
  if (path != nullptr) {
    file.reset(OpenTraceFile(path));
    if (file == nullptr) return false;
  }
  const MutexGuard guard(sinks_lock_);
  has_file_.store(file != nullptr);
  std::swap(file_, file);
  return true;
}

bool Trace::ToCallback(KtBusTraceCallback callback, void* context) {
  if (in_callback) return false;
  const WriteGuard guard(call_lock_);
  callback_ = callback;
  context_ = context;
  has_callback_.store(callback != nullptr);
  return true;
}

namespace {

// Tracing never fails its caller: a line for which there is no memory is lost.
KT_SELDOM void WriteFormatted(std::uint32_t level, const char* format,
                              Arguments& arguments) noexcept {
  static_cast<void>(Answer([&] {
    Trace::Get().Write(level, FormatTrace(format == nullptr ? "(null)" : format, arguments));
    return kOk;
  }));
}

// KtTrace with a gate up, which sees the text too. The one function that KT_GATE cannot take.
KT_SELDOM void WriteWatched(std::uint32_t level, const char* format, Arguments& arguments,
                            const void* return_address) noexcept {
  Account& asker = Asker(return_address);
  std::string text;
  const bool formatted = Answer([&] {
                           text = FormatTrace(format == nullptr ? "(null)" : format, arguments);
                           return kOk;
                         }) == kOk;
  const std::array words{Word(level), Word(format), Word(formatted ? text.c_str() : nullptr)};
  GatedCall call("KtTrace", false, asker, words.data(), words.size(), KTBUS_WORD_NONE);
  if (!call.Answered() && formatted && Trace::Wants(level)) {
    const Unseen inside;
    const RunningAs caller(asker);
    static_cast<void>(Answer([&] {
      Trace::Get().Write(level, text);
      return kOk;
    }));
  }
  call.Leave();
}

}  // namespace

void WriteTrace(std::uint32_t level, const char* format, ...) noexcept {
  if (!Trace::Wants(level)) return;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): va_start fills it.
  Arguments arguments;
  va_start(arguments.list, format);
  WriteFormatted(level, format, arguments);
  va_end(arguments.list);
}

}  // namespace kt::bus

void KtTrace(uint32_t level, const char* format, ...) {
  const bool watched = kt::bus::GateWatches();
  if (!watched && !kt::bus::Trace::Wants(level)) return;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): va_start fills it.
  kt::bus::Arguments arguments;
  va_start(arguments.list, format);
  if (watched) {
    kt::bus::WriteWatched(level, format, arguments, KT_RETURN_ADDRESS());
  } else {
    kt::bus::WriteFormatted(level, format, arguments);
  }
  va_end(arguments.list);
}

uint32_t KtSetTraceLevel(uint32_t level) {
  KT_GATE(KtSetTraceLevel, level);
  return kt::bus::Trace::SetLevel(level);
}

uint32_t KtBusTraceLevel(void) {
  return kt::bus::Trace::level();
}

void KtBusTraceToStderr(cuvo_bool on) {
  kt::bus::Trace::Get().ToStderr(on != 0);
}

KtStatus KtBusTraceToFile(const char* path) {
  return kt::bus::Answer(
      [&] { return kt::bus::Trace::Get().ToFile(path) ? kt::bus::kOk : KTBUS_TRACE_FILE_FAILED; });
}

KtStatus KtBusTraceToCallback(KtBusTraceCallback callback, void* context) {
  return kt::bus::Answer([&] {
    return kt::bus::Trace::Get().ToCallback(callback, context) ? kt::bus::kOk
                                                               : kt::bus::kInvalidArgument;
  });
}
