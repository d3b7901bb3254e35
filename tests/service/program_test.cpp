// The whole program, started as a person or a script starts it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host_system.h"
#include "service/json_search.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

using Json = nlohmann::json;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

// Whether the texts stand in `whole`, one after the other.
AssertionResult HoldsInOrder(const std::string& whole, const std::vector<std::string>& texts) {
  std::size_t at = 0;
  for (const std::string& text : texts) {
    at = whole.find(text, at);
    if (at == std::string::npos) {
      return AssertionFailure() << "\"" << text << "\" is missing, or stands too early, in\n"
                                << whole;
    }
    at += text.size();
  }
  return AssertionSuccess();
}

// The document of a life of these providers; its exit status must be this.
Json LifeOf(const std::vector<std::string>& providers, int status) {
  std::vector<std::string> words{"--once", "--json"};
  words.insert(words.end(), providers.begin(), providers.end());
  const Result result = RunKtsvc(RunWords(words));
  EXPECT_EQ(result.status, status) << result.errors;
  Json life = Json::parse(result.output, nullptr, false);
  EXPECT_FALSE(life.is_discarded()) << result.output;
  EXPECT_EQ(life.at("exitStatus"), status);
  return life;
}

TEST(Program, TellsAWholeLifeInOrderOnStandardOutput) {
  const Result result = RunKtsvc(RunWords({"--once", "good", "plain"}));
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(HoldsInOrder(
      result.output,
      {"Providers\n", "good   running  GOOD.1.2.3  ", "plain  running  -           ", "\nControl\n",
       "status  0x00000000 OK", "tracelevel UINT32 4, the previous level", "\nTypes\n",
       "qelm_system  (1 object)", "VENDOR  WSTR  \"NOBODY\"", "\nObjects\n", "qelm_system {",
       "offers  system  {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", "QELM_GenericGroup \"disks\" {",
       "    qelm_ktvm_disk \"sda\" {", "\nLedger\n", "nothing kept"}));
}

TEST(Program, ShowsTypedProperties) {
  const Result result = RunKtsvc(RunWords({"--once", "good"}));
  const std::string message =
      "message  I18NFORMATSTRING  \"Disk sda is well\" (message 7 of "
      "{01020304-0506-0708-090A-0B0C0D0E0F10}: \"Disk %1 is well\" with {p1:STR=\"sda\"})\n";
  EXPECT_TRUE(HoldsInOrder(
      result.output,
      {"size     UINT64            18446744073709551615\n",
       "bytes    BINARY            00ab10 (3 bytes)\n", "numbers  UINT32Z           [1, 2]\n",
       "nested   PROPSET           {p1:STR=\"sda\"}\n", message}));
}

TEST(Program, PutsProgressAndTraceOnStandardError) {
  const Result result = RunKtsvc(RunWords({"--once", "good"}));
  EXPECT_TRUE(
      HoldsInOrder(result.errors, {"ktsvc: loading good from ", "ktsvc: good GOOD.1.2.3 is up",
                                   "ktsvc: shutting down good", "[6] good goes down"}));
  EXPECT_EQ(result.output.find("[6]"), std::string::npos);
}

TEST(Program, RaisesTheDomainInitialisationEventAndWaitsForItsDelivery) {
  const Result result = RunKtsvc(RunWords({"--once", "good"}));
  EXPECT_TRUE(HoldsInOrder(result.errors, {"good took event.qelm.dom.initialization.ktsvc.complete",
                                           "ktsvc: shutting down good"}));
}

TEST(Program, ShutsProvidersDownInReverseOrder) {
  const Result result = RunKtsvc(RunWords({"--once", "good", "plain", "leaking"}));
  EXPECT_TRUE(HoldsInOrder(result.errors,
                           {"shutting down leaking", "shutting down plain", "shutting down good"}));
}

TEST(Program, KeepsTheTraceLevelThatWasAskedFor) {
  const Json life =
      Json::parse(RunKtsvc(RunWords({"--once", "--json", "--trace-level", "6", "good"})).output);
  EXPECT_EQ(life["control"]["level"], 6);
  EXPECT_EQ(life["control"]["previousLevel"], 6);
}

TEST(Program, WritesTheTraceToAFileInPlaceOfStandardError) {
  const ScratchFolder folder;
  const auto file = folder.path() / "trace.log";
  const Result result =
      RunKtsvc(RunWords({"--once", "--trace-file", ktsvc::PathText(file), "good"}));
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(ReadFile(file).find("[6] good goes down"), std::string::npos);
  EXPECT_EQ(result.errors.find("[6]"), std::string::npos);
}

TEST(Program, RefusesATraceFileThatCannotBeOpened) {
  const ScratchFolder folder;
  const auto file = folder.path() / "no" / "folder" / "trace.log";
  const Result result =
      RunKtsvc(RunWords({"--once", "--trace-file", ktsvc::PathText(file), "good"}));
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.errors.find("cannot be opened for writing"), std::string::npos);
  EXPECT_EQ(result.output, "");
}

TEST(Program, SaysNothingButFailuresWhenQuiet) {
  EXPECT_EQ(RunKtsvc(RunWords({"--once", "--quiet", "good"})).errors, "");
  EXPECT_EQ(RunKtsvc(RunWords({"--once", "--quiet", "good", "nobody"}))
                .errors.rfind("ktsvc: error: nobody: there is no file ", 0),
            0U);
}

TEST(Program, WritesOneJsonDocumentForALife) {
  const Json life = LifeOf({"good", "plain"}, 0);
  EXPECT_EQ(life["service"]["name"], "ktsvc");
  const Json good = FindBy(life["providers"], "name", "good");
  EXPECT_EQ(good["state"], "stopped");
  EXPECT_EQ(good["version"], "GOOD.1.2.3");
  EXPECT_EQ(good["initialize"]["fails"], false);
  EXPECT_EQ(good["controls"], 1);
  EXPECT_EQ(good["notices"], 1);
  EXPECT_TRUE(FindBy(life["providers"], "name", "plain")["version"].is_null());
  EXPECT_EQ(life["control"]["status"]["name"], "OK");
  EXPECT_EQ(life["ledger"]["clean"], true);
}

TEST(Program, WritesObjectsInJsonWithTypedValues) {
  const Json life = LifeOf({"good"}, 0);
  const Json values = FindBy(life["objects"], "type", "test_values");
  EXPECT_EQ(FindBy(values["properties"], "name", "size"),
            (Json{{"name", "size"}, {"type", "UINT64"}, {"value", "18446744073709551615"}}));
  EXPECT_EQ(FindBy(values["properties"], "name", "bytes")["value"], "AKsQ");
  EXPECT_EQ(FindBy(values["properties"], "name", "message")["value"]["text"], "Disk sda is well");

  const Json group = FindBy(life["objects"], "type", "QELM_GenericGroup");
  ASSERT_EQ(group["children"].size(), 2U);
  EXPECT_EQ(FindBy(life["objects"], "id", group["children"][0])["type"], "qelm_ktvm_disk");

  const Json system = FindBy(life["objects"], "type", "qelm_system");
  EXPECT_EQ(system["interfaces"][0]["name"], "system");
  EXPECT_EQ(system["interfaces"][0]["owner"], "good");
}

TEST(Program, WritesTypesInJsonWithTheirSuperclasses) {
  const Json life = LifeOf({"good"}, 0);
  const Json type = FindBy(life["types"], "name", "qelm_system");
  EXPECT_EQ(type["superclasses"], Json::array({"qelm_ktvm"}));
  EXPECT_EQ(type["objectCount"], 1);
  EXPECT_EQ(type["properties"][0]["value"], "NOBODY");
}

TEST(Program, LivesWithoutASystemObject) {
  const Json life = LifeOf({"plain"}, 0);
  EXPECT_EQ(life["control"]["sent"], false);
  EXPECT_TRUE(life["control"]["status"].is_null());
}

TEST(Program, FailsWhenTheControlFails) {
  const Json life = LifeOf({"deaf"}, 1);
  EXPECT_EQ(life["control"]["status"]["name"], "KTERROR_UNEXPECTED");
}

TEST(Program, FailsWhenAProviderKeptSomethingAndSaysWhat) {
  const Result result = RunKtsvc(RunWords({"--once", "leaking"}));
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(HoldsInOrder(result.output, {"Ledger\n", "leaking   property sets  1"}));
  const Json row = FindBy(LifeOf({"leaking"}, 1)["ledger"]["rows"], "provider", "leaking");
  EXPECT_EQ(row["kind"], "property sets");
  EXPECT_EQ(row["kept"], 1);
}

TEST(Program, GoesOnWithoutAProviderThatFailsAndEndsWithStatusOne) {
  for (const char* name : {"nobody", "misnamed", "exportless", "refusing", "throwing", "stubborn",
                           "explosive", "jumpy"}) {
    const Json life = LifeOf({name, "good"}, 1);
    const Json bad = FindBy(life["providers"], "name", name);
    EXPECT_EQ(bad["state"], "failed") << name;
    EXPECT_EQ(bad["failures"].size(), 1U) << name << bad;
    EXPECT_EQ(FindBy(life["providers"], "name", "good")["state"], "stopped") << name;
  }
}

TEST(Program, ExplainsOnStandardErrorWhatToDoAboutAFailure) {
  const Result result = RunKtsvc(RunWords({"--once", "nobody"}));
  EXPECT_TRUE(HoldsInOrder(result.errors,
                           {"ktsvc: error: nobody: there is no file ", "Modules in ", "good"}));
}

TEST(Program, EndsAtOnceWhenThereIsNothingToServe) {
  const Result result = RunKtsvc(RunWords({"nobody"}));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.errors.find("nothing to serve"), std::string::npos);
}

TEST(Program, EndsWithStatusTwoForWrongWords) {
  const Result result = RunKtsvc({"run", "--wrong"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors.rfind("ktsvc: ", 0), 0U);
}

TEST(Program, ShowsItsHelpOnStandardOutput) {
  const Result result = RunKtsvc({"run", "--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.output.find("--module-folder"), std::string::npos);
  EXPECT_EQ(result.errors, "");
}

}  // namespace
}  // namespace ktsvc_test
