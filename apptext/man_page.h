// ManPage: the manual page of a program, made from the very texts of its --help.
//
// Threads: pure functions.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace apptext {

struct ManualFile {
  std::string path;
  std::string text;
};

// What a manual page says and no --help does.
struct ManualInfo {
  std::string date = KT_VERSION_DATE;  // of the version, not of the day it is built
  std::string source = std::string("hostkit ") + KT_VERSION;
  std::string manual = "hostkit";    // title of the whole manual
  std::vector<std::string> seeAlso;  // "systemctl(1)"
  std::vector<ManualFile> files;     // section FILES, in this order
};

// A page of section 1 in man(7) macros. NAME, SYNOPSIS, DESCRIPTION, OPTIONS and COMMANDS come from
// the parser; EXAMPLES and EXIT STATUS from the parts of the footers that begin with "Examples:"
// and "Exit status:". The line under NAME is the first clause of the program's description without
// its name: "ktsvc hosts providers: it loads ..." gives "ktsvc - hosts providers". `app` needs a
// name and is not run.
std::string ManPage(const CLI::App& app, const ManualInfo& info);

}  // namespace apptext
