// What docs/access.md shows is what happens.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "access/access_decision.h"
#include "access/access_error.h"
#include "access/interface_names.h"
#include "caller_for_tests.h"
#include "names_for_tests.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using testing::HasSubstr;

std::string Document() {
  return TemporaryFolder::Read(std::filesystem::path(KT_DOCS_FOLDER) / "access.md");
}

// The block between fences that begins with that text.
std::string Block(const std::string& document, const std::string& beginning) {
  const std::size_t begin = document.find("```\n" + beginning);
  if (begin == std::string::npos) {
    ADD_FAILURE() << "no block begins with " << beginning;
    return {};
  }
  return document.substr(begin + 4, document.find("```\n", begin + 4) - begin - 4);
}

AccessPolicy Example(const std::string& document) {
  return AccessPolicy::Parse(Block(document, "# /etc/ktsvc/access.conf"), "/etc/ktsvc/access.conf",
                             NamesForTests());
}

TEST(AccessDocument, ShowsAnAccessFileThatIsTakenWithoutAWarning) {
  const AccessPolicy policy = Example(Document());
  EXPECT_EQ(policy.subjects().size(), 6U);
  EXPECT_EQ(policy.controls().size(), 3U);
  EXPECT_THAT(policy.warnings(), testing::IsEmpty());
}

TEST(AccessDocument, ShowsTheExplanationThatItsExampleGives) {
  const std::string document = Document();
  const Caller ada = CallerForTests::Peer("ada", 1001, {{1001, "ada"}, {990, "storage"}});
  const Explanation explanation =
      Explain(Example(document), ada, Action::SendControl(*InterfaceFromText("volume"), 0, 7));
  const std::vector<std::string> text = explanation.Text();
  const std::string block = Block(document, "* /etc/ktsvc/access.conf:4");
  EXPECT_THAT(block, HasSubstr(explanation.decision.sentence + "\n"));
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if (explanation.lines[i].decides) {
      EXPECT_THAT(block, HasSubstr(text[i] + "\n"));
    }
  }
}

TEST(AccessDocument, ShowsTheAnswerToAMalformedLine) {
  try {
    AccessPolicy::Parse("\n\n\ngroup storage  operater\n", "/etc/ktsvc/access.conf",
                        NamesForTests());
    ADD_FAILURE() << "taken";
  } catch (const AccessError& error) {
    EXPECT_THAT(Document(), HasSubstr(error.what() + ("\n" + error.advice()) + "\n"));
  }
}

TEST(AccessDocument, NamesEveryInterfaceAndRole) {
  const std::string document = Document();
  for (const NamedInterface& known : kNamedInterfaces) {
    EXPECT_THAT(document, HasSubstr("`" + std::string(known.name) + "`"));
  }
  for (const std::string_view role : {"observer", "operator", "admin"}) {
    EXPECT_THAT(document, HasSubstr("| `" + std::string(role) + "` |"));
  }
}

}  // namespace
}  // namespace ktsvc::access
