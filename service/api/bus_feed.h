// BusFeed: brings what happens on the bus, and what is traced, to the streams.
//
// events  {"name", "time", "raisedBy", "properties": [...]}
// alerts  {"name", "time", "raisedBy", "description", "severity", "object": "{...}" or null,
//          "properties": [...]}
// trace   {"level", "time", "text"}
// objects {"what": "created", "deleted" or "changed", "id", "type", "time"}
//
// "raisedBy" is a provider's name, or "" for the service itself. One feed at a time in a process,
// since the trace is the process's.
//
// Threads: the feed's call-backs run wherever the bus calls them. The destructor not from one.
// Failure: what cannot be put into words, or was lost on the bus, is traced and counts as lost with
//          all who follow it.
#pragma once

#include "api/stream_hub.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc::api {

class BusFeed {
 public:
  // Both are lent and must outlive the feed. Throws BusError.
  BusFeed(KtDatabase database, StreamHub& hub);
  ~BusFeed();
  BusFeed(const BusFeed&) = delete;
  BusFeed& operator=(const BusFeed&) = delete;

 private:
  const KtDatabase database_;
};

}  // namespace ktsvc::api
