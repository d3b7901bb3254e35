// The verbs that read, through the real server.

#include <sstream>

#include "cli_test.h"

namespace ktctl {
namespace {

using api_test::IdText;
using cli_test::CliTest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ReadingTest : public CliTest {
 protected:
  KtObjId NewNamed(const char* type, const char* name) {
    const KtObjId id = NewObject(type);
    AddText(id, "Name", name);
    return id;
  }
};

TEST_F(ReadingTest, StatusTellsOfTheServiceAndOfTheCaller) {
  const Ended ended = RunAs("reader", {"status"});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_THAT(ended.output,
              AllOf(HasSubstr("process 4711, at " + Url()), HasSubstr("serving"),
                    HasSubstr("token reader, observer"), HasSubstr("1 running, 0 failed")));
}

TEST_F(ReadingTest, EveryVerbAnswersWithADocumentWhereItIsAskedTo) {
  const KtObjId disk = NewDisk();
  AddText(disk, "serial", "X1");
  alpha().control = [](const auto& /*call*/) { return KtStatus{0}; };
  const std::vector<std::vector<std::string>> commands{{"status"},
                                                       {"providers"},
                                                       {"types"},
                                                       {"ls"},
                                                       {"tree"},
                                                       {"show", IdText(disk)},
                                                       {"ledger"},
                                                       {"get", IdText(disk), "serial"},
                                                       {"alerts"},
                                                       {"trace-level"},
                                                       {"raise", "a.b"},
                                                       {"explain", "read"},
                                                       {"control", "disk", "1"}};
  for (std::vector<std::string> words : commands) {
    words.emplace_back("--json");
    const Ended ended = Do(words);
    EXPECT_EQ(ended.status, kExitDone) << words.front() << ended.messages;
    EXPECT_TRUE(ended.Document().is_object()) << words.front() << ended.output;
    EXPECT_EQ(ended.messages, "") << words.front();
    EXPECT_EQ(ended.output.find('\n'), ended.output.size() - 1) << words.front();
  }
}

TEST_F(ReadingTest, ProvidersTellWhatTheyDo) {
  NewDisk();
  alpha().control = [](const auto& /*call*/) { return KtStatus{5}; };
  Do({"control", "disk", "1"});
  const Ended ended = Do({"providers"});
  EXPECT_THAT(ended.output, AllOf(HasSubstr("PROVIDER  STATE    VERSION  SERVED  FAILED"),
                                  HasSubstr("alpha     running"), HasSubstr("slowest  "),
                                  HasSubstr("control 1 of")));
}

TEST_F(ReadingTest, ProvidersTellWhatWentWrongAndWhatToDo) {
  ktsvc::ProviderReport broken;
  broken.name = "broken";
  broken.state = ktsvc::ProviderState::kFailed;
  broken.failures.push_back({"it refuses", "Mend it."});
  reports.push_back(broken);
  EXPECT_THAT(Do({"providers"}).output, HasSubstr("broken  failure  it refuses. Mend it.\n"));
}

TEST_F(ReadingTest, ProvidersTellWhatAStopWaitsFor) {
  ktsvc::ProviderReport leaving;
  leaving.name = "slow";
  leaving.state = ktsvc::ProviderState::kStopping;
  leaving.waitsFor = {"2 notices to be delivered", "1 thread in its functions"};
  reports.push_back(leaving);
  EXPECT_THAT(Do({"providers"}).output, HasSubstr("slow  waits for  2 notices to be delivered\n"
                                                  "slow  waits for  1 thread in its functions\n"));
}

TEST_F(ReadingTest, ProvidersTellWhichControlsAreUnderWay) {
  ktsvc::api::Activity::Control control;
  control.caller = "token ci";
  control.provider = "alpha";
  control.interfaceName = "disk";
  control.code = 9000;
  const auto running = activity().Begin(control);
  EXPECT_THAT(
      Do({"providers"}).output,
      AllOf(HasSubstr("alpha  runs  "), HasSubstr("control 9000 of interface disk, selector 0"),
            HasSubstr("token ci")));
}

TEST_F(ReadingTest, TypesTellWhatTheyAreDerivedFromAndHowManyObjectsTheyHave) {
  NewObject("qelm_ktvm_disk");
  EXPECT_THAT(Do({"types"}).output, testing::ContainsRegex("qelm_ktvm_disk +1  qelm_ktvm\n"));
}

TEST_F(ReadingTest, LsListsObjectsWithTheirNames) {
  const KtObjId disk = NewNamed("qelm_ktvm_disk", "sda");
  EXPECT_EQ(Do({"ls", "qelm_ktvm_disk"}).output,
            "ID                                      TYPE            NAME  PROVIDER  OFFERS\n" +
                IdText(disk) + "  qelm_ktvm_disk  sda   alpha\n");
}

TEST_F(ReadingTest, LsGivesWordsThatNameTheObjects) {
  NewNamed("qelm_ktvm_disk", "sda");
  const std::string ids[] = {IdText(NewNamed("qelm_ktvm_volume", "v")),
                             IdText(NewNamed("qelm_ktvm_volume", "v")), IdText(NewObject())};
  const Ended ended = Do({"ls", "--names"});
  EXPECT_EQ(ended.output, "qelm_ktvm_disk/sda\n" + ids[0] + "\n" + ids[1] + "\n" + ids[2] + "\n");
  std::istringstream words(ended.output);
  for (std::string word; std::getline(words, word);) {
    EXPECT_EQ(Do({"show", word}).status, kExitDone) << word;
  }
}

TEST_F(ReadingTest, TypesGiveTheirNamesAlone) {
  EXPECT_THAT(Do({"types", "--names"}).output, HasSubstr("\nqelm_ktvm_disk\n"));
}

TEST_F(ReadingTest, LsFollowsThePagesToTheEnd) {
  for (int i = 0; i < 1100; ++i) {
    NewObject();
  }
  const Ended ended = Do({"ls", "--json"});
  EXPECT_EQ(ended.Document()["items"].size(), 1100U);
  EXPECT_TRUE(ended.Document()["next"].is_null());
}

TEST_F(ReadingTest, LsListsThoseThatOfferAnInterface) {
  NewObject();
  const KtObjId disk = NewDisk();
  const Ended ended = Do({"ls", "--interface", "disk", "--json"});
  ASSERT_EQ(ended.Document()["items"].size(), 1U) << ended.output;
  EXPECT_EQ(ended.Document()["items"][0]["id"], IdText(disk));
}

TEST_F(ReadingTest, LsRefusesATypeOrAnInterfaceThatIsNone) {
  const Ended type = Do({"ls", "nosuch"});
  EXPECT_EQ(type.status, kExitWrongWords);
  EXPECT_EQ(type.messages, "ktctl: no type nosuch\n       ktctl types lists them.\n");
  EXPECT_EQ(Do({"ls", "--interface", "floppy"}).status, kExitWrongWords);
}

TEST_F(ReadingTest, LsIsEmptyWithoutObjectsAndSaysSoToAPerson) {
  EXPECT_EQ(Do({"ls"}).output, "");
  EXPECT_EQ(Do({"ls"}).messages, "");
  auto person = MakeConsole();
  person->BeTerminal(80);
  EXPECT_EQ(RunWith({"ls"}, "boss", std::move(person)).messages,
            "ktctl: there is no such object\n");
}

TEST_F(ReadingTest, TablesFitATerminal) {
  NewNamed("qelm_ktvm_disk", std::string(200, 'x').c_str());
  auto person = MakeConsole();
  person->BeTerminal(90);
  const Ended ended = RunWith({"ls", "--color", "never"}, "boss", std::move(person));
  EXPECT_THAT(ended.output, HasSubstr("xxx\xE2\x80\xA6"));
  EXPECT_THAT(Do({"ls"}).output, HasSubstr(std::string(200, 'x')));
}

TEST_F(ReadingTest, TreeShowsChildrenBelowTheirParents) {
  const KtObjId parent = NewNamed("QELM_GenericGroup", "disks");
  const KtObjId child = NewNamed("qelm_ktvm_disk", "sda");
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &child), 0U);
  EXPECT_EQ(Do({"tree"}).output, "QELM_GenericGroup \"disks\" " + IdText(parent) +
                                     "\n`- qelm_ktvm_disk \"sda\" " + IdText(child) + "\n");
  EXPECT_EQ(Do({"tree", "qelm_ktvm_disk/sda"}).output,
            "qelm_ktvm_disk \"sda\" " + IdText(child) + "\n");
}

TEST_F(ReadingTest, TreeRefusesAnIdThatNoObjectHas) {
  EXPECT_EQ(Do({"tree", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"}).status, kExitWrongWords);
}

TEST_F(ReadingTest, ShowTellsAllAboutAnObject) {
  const KtObjId parent = NewNamed("QELM_GenericGroup", "disks");
  ASSERT_EQ(ObRegisterInterface(database(), &parent, provider(), &api_test::kDiskInterface), 0U);
  const KtObjId child = NewNamed("qelm_ktvm_disk", "sda");
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &child), 0U);
  const Ended ended = Do({"show", "QELM_GenericGroup/disks"});
  EXPECT_EQ(ended.output, "QELM_GenericGroup \"disks\" " + IdText(parent) +
                              "  from alpha\n"
                              "\n"
                              "PROPERTY  TYPE  VALUE\n"
                              "Name      STR   \"disks\"\n"
                              "\n"
                              "OFFERS  INTERFACE\n"
                              "disk    {7EC748B5-C965-4607-8371-EB3B1B0DB7EC}\n"
                              "\n"
                              "CHILD                                   TYPE            NAME\n" +
                              IdText(child) + "  qelm_ktvm_disk  sda\n");
}

TEST_F(ReadingTest, ShowFindsAnObjectByTheBeginningOfItsId) {
  const KtObjId id = NewObject();
  EXPECT_THAT(Do({"show", IdText(id).substr(1, 36)}).output, HasSubstr(IdText(id)));
  const Ended ended = Do({"show", IdText(id).substr(1, 30)});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_THAT(ended.output, HasSubstr(IdText(id)));
}

TEST_F(ReadingTest, ShowRefusesAWordThatNamesSeveralAndListsThem) {
  const KtObjId one = NewNamed("qelm_ktvm_disk", "sda");
  const KtObjId other = NewNamed("qelm_ktvm_disk", "sdb");
  const Ended ended = Do({"show", "qelm_ktvm_disk"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.messages,
            "ktctl: \"qelm_ktvm_disk\" names 2 objects\n"
            "       Say more of it. It could be\n"
            "         " +
                IdText(one) + " qelm_ktvm_disk \"sda\"\n         " + IdText(other) +
                " qelm_ktvm_disk \"sdb\"\n");
}

TEST_F(ReadingTest, ShowRefusesAnIdThatNoObjectHas) {
  const Ended ended = Do({"show", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages, HasSubstr("ktctl ls lists them."));
}

TEST_F(ReadingTest, GetGivesTheValueAlone) {
  const KtObjId disk = NewNamed("qelm_ktvm_disk", "C:\\x");
  EXPECT_EQ(Do({"get", IdText(disk), "Name"}).output, "C:\\x\n");
}

TEST_F(ReadingTest, GetFindsPropertiesWhoseNamesNeedEscaping) {
  const KtObjId disk = NewObject();
  AddText(disk, "a/b c?", "x");
  EXPECT_EQ(Do({"get", IdText(disk), "a/b c?"}).output, "x\n");
}

TEST_F(ReadingTest, GetRefusesAPropertyThatIsNotThere) {
  const KtObjId disk = NewObject();
  const Ended ended = Do({"get", IdText(disk), "nosuch"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages,
              AllOf(HasSubstr("no property nosuch"), HasSubstr("ktctl show " + IdText(disk))));
}

TEST_F(ReadingTest, ControlCharactersOfAProviderReachNoTerminal) {
  const KtObjId disk = NewNamed("qelm_ktvm_disk", "a\x1b]0;title\x07");
  AddText(disk, "x\x1b[2J", "y\x1b[2J");
  for (const std::vector<std::string>& words : {std::vector<std::string>{"ls"},
                                                {"tree"},
                                                {"show", IdText(disk)},
                                                {"get", IdText(disk), "Name"}}) {
    const Ended ended = Do(words);
    EXPECT_THAT(ended.output,
                AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), HasSubstr("\\x1b")))
        << words.front();
  }
}

TEST_F(ReadingTest, LedgerTellsWhatEachProviderHolds) {
  NewDisk();
  EXPECT_THAT(Do({"ledger"}).output,
              AllOf(HasSubstr("PROVIDER"), HasSubstr("HANDED OUT"), HasSubstr("(the service)")));
}

TEST_F(ReadingTest, AlertsAreListedNewestLast) {
  for (const char* name : {"disk.failing", "disk.failed"}) {
    hub().Publish(ktsvc::api::Topic::kAlerts,
                  std::string(R"({"name":")") + name +
                      R"(","time":"2026-01-31T12:00:00.123Z","raisedBy":"alpha",)"
                      R"("description":"A disk","severity":2,"object":null,"properties":[]})",
                  name);
  }
  EXPECT_EQ(Do({"alerts"}).output,
            "TIME                      SEVERITY  ALERT         DESCRIPTION  OBJECT  HAS\n"
            "2026-01-31T12:00:00.123Z         2  disk.failing  A disk\n"
            "2026-01-31T12:00:00.123Z         2  disk.failed   A disk\n");
}

TEST_F(ReadingTest, WhoHasNoRoleIsToldSo) {
  const Ended ended = RunAs("guest", {"ls"});
  EXPECT_EQ(ended.status, kExitNotPermitted);
  EXPECT_THAT(ended.messages, AllOf(HasSubstr("token guest may not read"), HasSubstr("explain")));
}

TEST_F(ReadingTest, WhoShowsNoTokenIsToldHow) {
  cli_test::MemoryConsole console;
  EXPECT_EQ(ktctl::Run({"status", "--url", Url()}, cli_test::VariablesOf({}), console),
            kExitNotPermitted);
  EXPECT_THAT(console.messages, HasSubstr("--token-file FILE"));
}

TEST_F(ReadingTest, AServiceThatIsGoneIsNone) {
  const std::string url = Url();
  EndServer();
  cli_test::MemoryConsole console;
  EXPECT_EQ(ktctl::Run({"status", "--url", url}, cli_test::VariablesOf({}), console),
            kExitNoService);
  EXPECT_EQ(console.output, "");
}

TEST_F(ReadingTest, AReaderThatGoesAwayIsNoFailure) {
  auto gone = MakeConsole();
  gone->TakeOnly(1);
  const Ended ended = RunWith({"types"}, "boss", std::move(gone));
  EXPECT_EQ(ended.status, kExitDone);
  EXPECT_EQ(ended.messages, "");
}

}  // namespace
}  // namespace ktctl
