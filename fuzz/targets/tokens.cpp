// The token file: a fault quotes nothing of the file, and every secret of a file that is accepted
// proves its token and no other.
//
// Input: the text of a token file.

#include <string>
#include <utility>
#include <vector>

#include "access/access_error.h"
#include "access/token_file.h"
#include "support/byte_source.h"
#include "support/printable.h"
#include "support/require.h"

namespace {

using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;
using ktsvc::access::TokenFile;

// The words of the text, line by line, comments left out.
std::vector<std::vector<std::string>> LinesOf(std::string text) {
  if (text.rfind("\xEF\xBB\xBF", 0) == 0) text.erase(0, 3);
  std::vector<std::vector<std::string>> lines(1);
  bool comment = false;
  bool inside = false;
  for (const char c : text) {
    if (c == '\n') {
      lines.emplace_back();
      comment = inside = false;
    } else if (c == ' ' || c == '\t' || c == '\r') {
      inside = false;
    } else if (!comment && !inside && c == '#') {
      comment = true;
    } else if (!comment) {
      if (!inside) lines.back().emplace_back();
      inside = true;
      lines.back().back() += c;
    }
  }
  return lines;
}

// No word of a message is as long as the shortest secret.
void RequireUnquoted(const std::string& message,
                     const std::vector<std::vector<std::string>>& lines) {
  for (const auto& line : lines) {
    for (const std::string& word : line) {
      if (word.size() < ktsvc::access::kMinSecretLength) continue;
      Require(message.find(word) == std::string::npos, "a fault quotes no secret");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = kt::fuzz::TextOf(data, size);
  const auto lines = LinesOf(text);
  try {
    const TokenFile tokens = TokenFile::Parse(text, "tokens");
    std::vector<std::pair<std::string, std::string>> entries;
    for (const auto& line : lines) {
      if (line.empty()) continue;
      RequireSameNumber<std::size_t>(2, line.size(), "a line that is accepted has two words");
      entries.emplace_back(line[0], line[1]);
    }
    RequireSameNumber(entries.size(), tokens.Names().size(), "every line is a token");
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const auto& [name, secret] = entries[i];
      RequireSame(name, tokens.Names()[i], "the names are those of the file, in its order");
      const auto caller = tokens.Verify(secret);
      Require(caller.has_value(), "a secret of the file is known");
      RequireSame("token " + name, caller->Text(), "and proves its own token");
      const auto shorter = tokens.Verify(std::string_view(secret).substr(1));
      Require(!shorter || shorter->name() != name, "a part of a secret is not that secret");
    }
    Require(!tokens.Verify(""), "no secret is no proof");
  } catch (const ktsvc::access::AccessError& error) {
    kt::fuzz::RequirePrintable(error.what(), "a fault can be shown");
    RequireUnquoted(std::string(error.what()) + error.advice(), lines);
    Require(error.line() >= 1 && error.line() <= lines.size(), "a fault stands in a line");
  }
  return 0;
}
