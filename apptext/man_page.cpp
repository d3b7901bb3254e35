#include "apptext/man_page.h"

#include <algorithm>
#include <cctype>

#include "apptext/command_text.h"
#include "apptext/footer.h"
#include "apptext/roff.h"

namespace apptext {
namespace {

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char byte) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
  });
  return text;
}

std::string Bold(const std::string& text) {
  return "\\fB" + RoffText(text) + "\\fR";
}

std::string Italic(const std::string& text) {
  return "\\fI" + RoffText(text) + "\\fR";
}

// The words in capitals at the beginning stand for a value.
std::string ValueText(const std::string& value) {
  const std::size_t end =
      std::min(value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_|:=-"), value.size());
  const std::string rest = value.substr(end);
  return (end == 0 ? "" : Italic(value.substr(0, end))) + (rest.empty() ? "" : RoffText(rest));
}

class Page {
 public:
  Page(const CommandText& program, const ManualInfo& info) : program_(program), info_(info) {}

  std::string Make() {
    // The date alone is no text: it is read, not shown.
    roff_.Line(".TH " + Upper(program_.name) + " 1 " + info_.date + " \"" + RoffText(info_.source) +
               "\" \"" + RoffText(info_.manual) + "\"");
    Name();
    roff_.Macro("SH", "SYNOPSIS");
    Synopsis(program_);
    Description();
    if (!program_.groups.empty() || !program_.arguments.empty()) {
      roff_.Macro("SH", "OPTIONS");
      Words(program_);
    }
    if (!program_.commands.empty()) {
      roff_.Macro("SH", "COMMANDS");
      for (const CommandText& command : program_.commands) {
        Command(command);
      }
    }
    ExitStatuses();
    Files();
    Examples();
    SeeAlso();
    return roff_.page();
  }

 private:
  // ---- Sections ---------------------------------------------------------------------------------

  void Name() {
    std::string brief = Brief(program_.description);
    if (brief.rfind(program_.name + " ", 0) == 0) {
      brief.erase(0, program_.name.size() + 1);
    }
    roff_.Macro("SH", "NAME");
    roff_.Line(RoffText(program_.name) + " \\- " + RoffText(brief));
  }

  void Synopsis(const CommandText& command) {
    const bool first = &command == &program_;
    if (command.commands.empty() || first) {
      if (!first) {
        roff_.Line(".br");
      }
      roff_.Line(Bold(command.path) + (command.usage.empty() ? "" : " " + RoffText(command.usage)));
    }
    for (const CommandText& below : command.commands) {
      Synopsis(below);
    }
  }

  void Description() {
    roff_.Macro("SH", "DESCRIPTION");
    roff_.Prose(program_.description);
    const std::string prose = ReadFooter(program_.footer).prose;
    if (!prose.empty()) {
      roff_.Line(".PP");
      roff_.Prose(prose);
    }
  }

  void Command(const CommandText& command) {
    roff_.Line(".SS " + Bold(command.path) +
               (command.usage.empty() ? "" : " " + RoffText(command.usage)));
    roff_.Prose(command.description);
    if (!command.aliases.empty()) {
      std::string names;
      for (const std::string& alias : command.aliases) {
        names += (names.empty() ? "" : ", ") + Bold(alias);
      }
      roff_.Line(".PP");
      roff_.Line("Also: " + names);
    }
    Words(command);
    const std::string prose = ReadFooter(command.footer).prose;
    if (!prose.empty()) {
      roff_.Line(".PP");
      roff_.Prose(prose);
    }
    for (const CommandText& below : command.commands) {
      Command(below);
    }
  }

  // Arguments and options. A title is said where there is more than one group.
  void Words(const CommandText& command) {
    for (const ArgumentText& argument : command.arguments) {
      roff_.Line(".TP");
      roff_.Line(Italic(argument.usage));
      Explain(argument.description);
    }
    for (const OptionGroup& group : command.groups) {
      if (command.groups.size() > 1) {
        roff_.Line(".PP");
        roff_.Line(RoffText(group.title) + ":");
      }
      for (const OptionText& option : group.options) {
        Option(option);
      }
    }
  }

  void Option(const OptionText& option) {
    std::string names;
    for (const std::string& name : option.names) {
      names += (names.empty() ? "" : ", ") + Bold(name);
    }
    roff_.Line(".TP");
    roff_.Line(names + (option.value.empty() ? "" : " " + ValueText(option.value)));
    Explain(option.description);
  }

  void Explain(const std::string& description) {
    if (description.empty()) {
      roff_.Line("\\&");
    } else {
      roff_.Prose(description);
    }
  }

  // ---- What the footers say ---------------------------------------------------------------------

  template <typename Function>
  static void EachFooter(const CommandText& command, const Function& function) {
    if (!command.footer.empty()) {
      function(command, ReadFooter(command.footer));
    }
    for (const CommandText& below : command.commands) {
      EachFooter(below, function);
    }
  }

  // A text that several commands have is said once.
  void ExitStatuses() {
    std::vector<std::string> said;
    EachFooter(program_, [this, &said](const CommandText& command, const Footer& footer) {
      std::string key = footer.statusText;
      for (const ExitStatus& status : footer.statuses) {
        key += status.status + " " + status.meaning + "\n";
      }
      if (key.empty() || std::find(said.begin(), said.end(), key) != said.end()) {
        return;
      }
      if (said.empty()) {
        roff_.Macro("SH", "EXIT STATUS");
      } else {
        roff_.Line(".PP");
        roff_.Line(Bold(command.path) + ":");
      }
      said.push_back(key);
      roff_.Prose(footer.statusText);
      for (const ExitStatus& status : footer.statuses) {
        roff_.Line(".TP");
        roff_.Line(Bold(status.status));
        roff_.Line(RoffText(status.meaning));
      }
    });
  }

  void Examples() {
    std::vector<std::string> said;
    EachFooter(program_, [this, &said](const CommandText& /*command*/, const Footer& footer) {
      for (const Example& example : footer.examples) {
        if (std::find(said.begin(), said.end(), example.command) != said.end()) {
          continue;
        }
        if (said.empty()) {
          roff_.Macro("SH", "EXAMPLES");
        }
        said.push_back(example.command);
        roff_.Line(".TP");
        roff_.Line(Bold(example.command));
        Explain(example.comment);
      }
    });
  }

  // ---- What no help says ------------------------------------------------------------------------

  void Files() {
    if (info_.files.empty()) {
      return;
    }
    roff_.Macro("SH", "FILES");
    for (const ManualFile& file : info_.files) {
      roff_.Line(".TP");
      roff_.Line(Italic(file.path));
      Explain(file.text);
    }
  }

  void SeeAlso() {
    if (info_.seeAlso.empty()) {
      return;
    }
    roff_.Macro("SH", "SEE ALSO");
    for (const std::string& page : info_.seeAlso) {
      const std::size_t bracket = std::min(page.find('('), page.size());
      roff_.Line(Bold(page.substr(0, bracket)) + RoffText(page.substr(bracket)) +
                 (&page == &info_.seeAlso.back() ? "" : ","));
    }
  }

  const CommandText& program_;
  const ManualInfo& info_;
  Roff roff_;
};

}  // namespace

std::string ManPage(const CLI::App& app, const ManualInfo& info) {
  return Page(Describe(app), info).Make();
}

}  // namespace apptext
