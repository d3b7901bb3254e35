// Sample: what is looked at every few seconds, and its columns in the CSV.
//
// Threads: values and pure functions, but for ReadProcess, which reads /proc.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "soak/series.h"

namespace soak {

struct Sample {
  double seconds = 0;      // since the run began
  double lifeSeconds = 0;  // since this life of the service began
  double life = 0;         // its number, from 1 on
  double resident = 0;     // MiB
  double memory = 0;       // MiB that the allocator has given out; 0 when it is not known
  double handles = 0;      // open files, sockets and the like
  double threads = 0;
  double queue = 0;      // notices that wait for providers
  double kept = 0;       // what the bus has handed out and not got back
  double objects = 0;    // on the bus
  double streams = 0;    // that are followed
  double median = 0;     // ms, of the clients' requests since the sample before
  double slow = 0;       // ms, that 99 of 100 of them did not exceed
  double requests = 0;   // in all, as the next
  double generated = 0;  // calls of the walker
  double failed = 0;     // framework calls that were made to fail
  double restarts = 0;   // of a provider
};

// A column of the CSV. One that is judged has an allowance.
struct Column {
  std::string_view name;   // in the CSV
  std::string_view label;  // for people, with its unit
  double Sample::*value;
  bool judged;
  Allowance allowance;
};

// What is allowed stands here and nowhere else; docs/reliability.md shows it.
inline constexpr std::array kColumns{
    Column{"seconds", "time, s", &Sample::seconds, false, {}},
    Column{"life", "life", &Sample::life, false, {}},
    Column{"resident_mib", "resident memory, MiB", &Sample::resident, true, {8, 0, 0.25}},
    Column{"in_use_mib", "memory in use, MiB", &Sample::memory, true, {4, 0, 0.125}},
    Column{"handles", "open handles", &Sample::handles, true, {8, 0, 0.25}},
    Column{"threads", "threads", &Sample::threads, true, {4, 0, 0.1}},
    Column{"queue", "notices waiting", &Sample::queue, true, {64, 0, 1}},
    Column{"kept", "handed out by the bus", &Sample::kept, true, {64, 0, 1}},
    Column{"objects", "objects", &Sample::objects, true, {16, 0, 0.25}},
    Column{"streams", "streams followed", &Sample::streams, false, {}},
    Column{"median_ms", "answers, median, ms", &Sample::median, true, {10, 1, 0}},
    Column{"p99_ms", "answers, 99 of 100, ms", &Sample::slow, true, {100, 2, 0}},
    Column{"requests", "requests", &Sample::requests, false, {}},
    Column{"generated", "generated calls", &Sample::generated, false, {}},
    Column{"failed", "calls made to fail", &Sample::failed, false, {}},
    Column{"restarts", "restarts", &Sample::restarts, false, {}},
};

// "seconds,life,..." and "12.0,1,...", without the line's end.
std::string CsvHead();
std::string CsvLine(const Sample& sample);

// A number as people and programs read it, without zeros at its end.
std::string NumberText(double number);

// Fills in resident memory, handles and threads of that process; they stay 0 when it has gone.
void ReadProcess(std::intptr_t process, Sample& sample);

// Fills in queue, kept, objects and streams from the text of GET /metrics.
void ReadMetrics(std::string_view metrics, Sample& sample);

}  // namespace soak
