#include "access/token_file.h"

#include <algorithm>
#include <iterator>

#include "access/access_error.h"
#include "access/access_policy.h"
#include "access/access_system.h"
#include "access/line_reader.h"

namespace ktsvc::access {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// Overwrites a text on every way out.
class WipeAtEnd {
 public:
  explicit WipeAtEnd(std::string& text) : text_(text) {}
  ~WipeAtEnd() { Wipe(text_); }
  WipeAtEnd(const WipeAtEnd&) = delete;
  WipeAtEnd& operator=(const WipeAtEnd&) = delete;

 private:
  std::string& text_;
};

bool IsSecret(std::string_view text) {
  for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) {
    text.remove_suffix(1);
  }
  return text.find_first_not_of(kAlphabet) == std::string_view::npos;
}

std::string LineText(std::size_t line) {
  return "line " + std::to_string(line);
}

}  // namespace

TokenFile TokenFile::Load(const std::filesystem::path& file) {
  std::string text = ReadGuardedFile(file, FileGuard::kReadByOwnerOnly, kMaxTokenFileBytes);
  const WipeAtEnd wipe(text);
  return Parse(text, FileText(file));
}

TokenFile TokenFile::Parse(std::string_view text, const std::string& file) {
  TokenFile tokens;
  LineReader reader(text, file);
  for (Line line; reader.Next(line);) {
    const auto fail = [&](const Word& word, const std::string& reason, const std::string& advice) {
      throw AccessError(file, line.number, word.column, reason, advice);
    };
    const Word& name = line.words.front();
    if (line.words.size() != 2) {
      fail(line.words.size() > 2 ? line.words[2] : name,
           "the line has " + std::to_string(line.words.size()) + " words, not 2",
           "Write: NAME SECRET");
    }
    if (!IsTokenName(name.text)) {
      fail(name, "the first word is no name of a token",
           "Write the name first: 1 to 64 letters, digits or . _ - @, then the secret.");
    }
    const Word& secret = line.words[1];
    if (secret.text.size() < kMinSecretLength || secret.text.size() > kMaxSecretLength) {
      fail(secret,
           "the secret has " + std::to_string(secret.text.size()) + " characters; " +
               std::to_string(kMinSecretLength) + " to " + std::to_string(kMaxSecretLength) +
               " are allowed",
           "Write the name first, then a secret such as 32 random bytes in hexadecimal.");
    }
    if (!IsSecret(secret.text)) {
      fail(secret, "the secret has characters other than letters, digits, - and _",
           "Write a secret in hexadecimal or in URL-safe base64.");
    }
    for (const Token& token : tokens.tokens_) {
      if (token.name == name.text) {
        fail(name, "the name stands in " + LineText(token.line) + " already",
             "Give each token a name of its own.");
      }
      if (token.secret.Equals(secret.text)) {
        fail(secret, "the secret stands in " + LineText(token.line) + " already",
             "Give each token a secret of its own.");
      }
    }
    tokens.tokens_.push_back({std::string(name.text), Secret(secret.text), line.number});
  }
  return tokens;
}

std::optional<Caller> TokenFile::Verify(std::string_view presented) const {
  // What is longer than any secret is not worth the time to compare it.
  if (presented.size() > kMaxSecretLength) {
    return std::nullopt;
  }
  const Token* found = nullptr;
  for (const Token& token : tokens_) {
    // No end at the first match: later tokens must not be told apart from earlier ones.
    found = token.secret.Equals(presented) ? &token : found;
  }
  return found != nullptr ? std::optional(Caller(found->name)) : std::nullopt;
}

std::vector<std::string> TokenFile::Names() const {
  std::vector<std::string> names;
  names.reserve(tokens_.size());
  std::transform(tokens_.begin(), tokens_.end(), std::back_inserter(names),
                 [](const Token& token) { return token.name; });
  return names;
}

}  // namespace ktsvc::access
