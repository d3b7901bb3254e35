// The verbs of ktctl: each asks the service, shows what it answered, and says how the program ends.
//
// Threads: one.
// Failure: Refusal; Json's own exceptions when the service answers with something else than its API
//          promises.
#pragma once

#include <string>

#include "console.h"
#include "options.h"
#include "screen.h"
#include "service_client.h"
#include "table.h"

namespace ktctl {

// What a verb works with; all of it is lent.
struct Session {
  const Options& options;
  ServiceClient& service;
  Console& console;
  Screen screen;

  // Shows the document with --json, the text otherwise. A reader that went away ends the showing,
  // not the program.
  void Show(const Json& document, const std::string& text) const;

  // The same for a table. A person to whom an empty one says nothing is told `none` in its place.
  void Show(const Json& document, const Table& table, const std::string& none) const;
};

// Returns the exit status.
using Verb = int (*)(const Session&);

int ShowStatus(const Session& session);
int ShowProviders(const Session& session);
int ShowTypes(const Session& session);
int ShowLedger(const Session& session);

int ListObjects(const Session& session);
int ShowTree(const Session& session);
int ShowObject(const Session& session);
int GetProperty(const Session& session);

int SendControl(const Session& session);
int TraceLevel(const Session& session);
int RaiseEvent(const Session& session);
int Explain(const Session& session);

int FollowTrace(const Session& session);
int FollowEvents(const Session& session);
int ShowAlerts(const Session& session);

// The id of the object that the word names (object_finder.h).
std::string FindObjectOf(const Session& session, const std::string& word);

}  // namespace ktctl
