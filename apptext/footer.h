// The text at the end of a help, cut into what a manual page has sections for.
//
// A line at the margin that begins with a title and a colon ("Examples:", "Exit status: 0 all went
// well") opens a part; a blank line, or another such line, ends it. What has no such title stays
// prose.
//
// Threads: pure functions.
#pragma once

#include <string>
#include <vector>

namespace apptext {

// "  ktsvc run hostkit    serve until Ctrl-C": a command and, behind two blanks or more, what it
// does.
struct Example {
  std::string command;
  std::string comment;  // may be empty
};

struct ExitStatus {
  std::string status;  // "0"
  std::string meaning;
};

struct Footer {
  std::vector<Example> examples;
  std::vector<ExitStatus> statuses;  // where the text is a list "0 this, 1 that"
  std::string statusText;            // where it is not
  std::string prose;
};

Footer ReadFooter(const std::string& text);

}  // namespace apptext
