// One entry of the audit log, and the JSON line that it becomes.
//
// {"time":"2026-01-31T12:00:00.123Z","caller":{"kind":"user","name":"alice","uid":1000},
//  "action":"control","object":"{...}","interface":"{...}","interfaceName":"trace","selector":0,
//  "code":11005,"level":null,"status":"0x00000000","allowed":true,
//  "decidedBy":"/etc/ktsvc/access.conf:3","durationUs":1234}
//
// Every member is always there, in this order; one that does not apply is null.
//
// Threads: pure functions.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "access/access_decision.h"
#include "access/caller.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc::access {

struct AuditEntry {
  explicit AuditEntry(Caller who) : caller(std::move(who)) {}

  std::chrono::system_clock::time_point time;  // when the request came
  Caller caller;
  Action action;
  std::optional<std::string> object;   // an object's id, or the name of the event that is raised
  std::optional<std::uint32_t> level;  // the trace level that is wished for
  std::optional<KtStatus> status;      // what was answered; nothing where there was no status
  bool allowed = false;
  std::string decidedBy;  // Decision::decidedBy
  std::chrono::microseconds duration{};
};

// The line, its line feed included. Text that is no UTF-8 is mended with U+FFFD, and text of more
// than 1024 bytes is cut, so that a request cannot make a line that does not parse or does not end.
std::string AuditLine(const AuditEntry& entry);

// {"time":"...","lost":12}: said where entries are missing.
std::string LostLine(std::chrono::system_clock::time_point time, std::uint64_t lost);

// "2026-01-31T12:00:00.123Z": UTC with milliseconds, rounded down.
std::string UtcText(std::chrono::system_clock::time_point time);

}  // namespace ktsvc::access
