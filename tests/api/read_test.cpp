// What can be looked at: health, providers, types, objects, alerts, the ledger.
#include <gmock/gmock.h>

#include "api/api_test.h"
#include "ktbus3/ktbus3_host.h"

namespace api_test {
namespace {

using testing::HasSubstr;

class ApiRead : public ApiTest {
 protected:
  // The ids of the items.
  static std::vector<std::string> Ids(const Json& json) {
    std::vector<std::string> ids;
    for (const Json& item : json["items"]) {
      ids.push_back(item["id"]);
    }
    return ids;
  }

  static std::vector<std::string> Texts(const std::vector<KtObjId>& ids) {
    std::vector<std::string> texts;
    for (const KtObjId& id : ids) {
      texts.push_back(IdText(id));
    }
    return texts;
  }

  void AddType(const char* name, const char* superclass) {
    const std::array<const char*, 2> superclasses{superclass, nullptr};
    KtObjId id{};
    ASSERT_EQ(ObCreateTypeObject(database(), name, superclasses.data(), nullptr, &id), 0U);
  }
};

TEST_F(ApiRead, TellsHowTheServiceIsAndWhoAsks) {
  const KtObjId object = NewObject();
  static_cast<void>(object);
  const Json health = GetJson("/v1/health");
  EXPECT_EQ(health["service"]["name"], "ktsvc");
  EXPECT_EQ(health["state"], "serving");
  EXPECT_EQ(health["pid"], 4711);
  EXPECT_EQ(health["startedAt"], "2026-01-31T12:00:00.000Z");
  EXPECT_EQ(health["traceLevel"], 1);
  EXPECT_EQ(health["providers"]["running"], 1);
  EXPECT_EQ(health["providers"]["failed"], 0);
  EXPECT_EQ(health["objects"], 1);
  EXPECT_EQ(health["controlsInFlight"], 0);
  EXPECT_EQ(health["subscribers"], 0);
  EXPECT_EQ(health["caller"].dump(), R"x({"text":"user root (0)","kind":"user","role":"admin"})x");
}

TEST_F(ApiRead, TellsATokenThatItIsOne) {
  const Json health = Document(Ask(Token(), "GET", "/v1/health"));
  EXPECT_EQ(health["caller"].dump(), R"({"text":"token ci","kind":"token","role":"operator"})");
}

TEST_F(ApiRead, TellsThatTheServiceIsStopping) {
  stopping = true;
  EXPECT_EQ(GetJson("/v1/health")["state"], "stopping");
}

TEST_F(ApiRead, ListsProvidersWithWhatTheyDo) {
  const KtObjId disk = NewDisk();
  alpha().control = [](const auto& call) { return call.code == 1 ? 0U : 5U; };
  Control(Admin(), disk, R"({"interface":"disk","code":1})");
  Control(Admin(), disk, R"({"interface":"disk","code":2})");
  const Json provider = GetJson("/v1/providers")["items"].at(0);
  EXPECT_EQ(provider["name"], "alpha");
  EXPECT_EQ(provider["state"], "running");
  EXPECT_EQ(provider["controls"], 2);
  EXPECT_EQ(provider["activity"]["served"], 2);
  EXPECT_EQ(provider["activity"]["failures"], 1);
  EXPECT_THAT(provider["activity"]["slowest"]["what"].get<std::string>(), HasSubstr("disk"));
  EXPECT_TRUE(provider["activity"]["inFlight"].empty());
  EXPECT_TRUE(provider["waitsFor"].empty());
  EXPECT_TRUE(provider["ledger"].is_array());
}

TEST_F(ApiRead, ListsTheControlsInFlightOfAProvider) {
  const KtObjId disk = NewDisk();
  Json seen;
  alpha().control = [&](const auto&) {
    seen = GetJson("/v1/providers")["items"].at(0);
    return 0U;
  };
  Control(Operator(), disk, R"({"interface":"disk","selector":3,"code":7})");
  ASSERT_EQ(seen["activity"]["inFlight"].size(), 1U);
  const Json running = seen["activity"]["inFlight"][0];
  EXPECT_EQ(running["caller"], "user otto (1002)");
  EXPECT_EQ(running["object"], IdText(disk));
  EXPECT_EQ(running["interfaceName"], "disk");
  EXPECT_EQ(running["selector"], 3);
  EXPECT_EQ(running["code"], 7);
  EXPECT_EQ(seen["activity"]["callsInFlight"], 1);
}

TEST_F(ApiRead, ShowsTheFiguresOfAProviderThatIsStoppingAndWhatItWaitsFor) {
  const KtObjId disk = NewDisk();
  reports.front().state = ktsvc::ProviderState::kStopping;
  reports.front().waitsFor = {"1 control in flight: ...", "1 thread in its functions"};
  Json seen;
  alpha().control = [&](const auto&) {
    seen = GetJson("/v1/providers")["items"].at(0);
    return 0U;
  };
  Control(Operator(), disk, R"({"interface":"disk","code":7})");
  EXPECT_EQ(seen["state"], "stopping");
  EXPECT_EQ(seen["waitsFor"], (Json{"1 control in flight: ...", "1 thread in its functions"}));
  EXPECT_EQ(seen["activity"]["callsInFlight"], 1);
  EXPECT_EQ(seen["activity"]["inFlight"].size(), 1U);
}

TEST_F(ApiRead, ListsAProviderThatFailedWithItsReason) {
  ktsvc::ProviderReport failed;
  failed.name = "beta";
  failed.failures.push_back({"no such file", "Give its path."});
  reports.push_back(failed);
  const Json provider = GetJson("/v1/providers")["items"].at(1);
  EXPECT_EQ(provider["state"], "failed");
  EXPECT_EQ(provider["failures"][0]["what"], "no such file");
  EXPECT_EQ(provider["activity"]["callsInFlight"], 0);
}

TEST_F(ApiRead, ListsTypesAndShowsOne) {
  AddType("disk", "QELM_Object");
  const Json items = GetJson("/v1/types")["items"];
  EXPECT_EQ(items.back()["name"], "disk");
  EXPECT_EQ(items.back()["superclasses"].dump(), R"(["QELM_Object"])");
  EXPECT_EQ(GetJson("/v1/types/disk"), items.back());
}

TEST_F(ApiRead, ShowsATypeWhoseNameHasToBeEscaped) {
  AddType("a/b \xC3\xA9", "QELM_Object");
  EXPECT_EQ(GetJson("/v1/types/a%2Fb%20%c3%A9")["name"], "a/b \xC3\xA9");
}

TEST_F(ApiRead, AnswersNotFoundForATypeThatIsNotThere) {
  EXPECT_EQ(Reason(Get("/v1/types/none"), 404), "no type none");
  for (const char* target : {"/v1/types/none", "/v1/objects?type=none"}) {
    EXPECT_EQ(GetJson(target, 404)["error"]["code"], "0xC1000039") << target;
  }
}

TEST_F(ApiRead, ListsObjectsInTheOrderOfCreation) {
  AddType("disk", "QELM_Object");
  const std::vector<KtObjId> ids{NewObject(), NewObject("disk"), NewObject()};
  const Json page = GetJson("/v1/objects");
  EXPECT_EQ(Ids(page), Texts(ids));
  EXPECT_TRUE(page["next"].is_null());
}

TEST_F(ApiRead, ListsObjectsOfATypeAndOfTypesDerivedFromIt) {
  AddType("disk", "QELM_Object");
  AddType("fast_disk", "disk");
  NewObject();
  const std::vector<KtObjId> ids{NewObject("fast_disk"), NewObject("disk")};
  EXPECT_EQ(Ids(GetJson("/v1/objects?type=disk")), Texts(ids));
}

TEST_F(ApiRead, ListsObjectsThatOfferAnInterfaceByNameOrGuid) {
  NewObject();
  const std::vector<KtObjId> ids{NewDisk()};
  NewObject();
  EXPECT_EQ(Ids(GetJson("/v1/objects?interface=disk")), Texts(ids));
  EXPECT_EQ(Ids(GetJson("/v1/objects?interface=7ec748b5-c965-4607-8371-eb3b1b0db7ec")), Texts(ids));
  EXPECT_EQ(Ids(GetJson("/v1/objects?interface=volume")), Texts({}));
}

TEST_F(ApiRead, FindsAnInterfaceThatTheTypeOffers) {
  AddType("disk", "QELM_Object");
  ASSERT_EQ(ObRegisterInterfaceOnType(database(), "disk", provider(), &kDiskInterface), 0U);
  const std::vector<KtObjId> ids{NewObject("disk")};
  EXPECT_EQ(Ids(GetJson("/v1/objects?interface=disk")), Texts(ids));
}

TEST_F(ApiRead, GoesThroughAllPagesOnceAndInOrder) {
  std::vector<KtObjId> ids;
  for (int i = 0; i < 7; ++i) {
    ids.push_back(NewObject());
  }
  std::vector<std::string> seen;
  std::string target = "/v1/objects?limit=3";
  for (int pages = 0; pages < 3; ++pages) {
    const Json page = GetJson(target);
    for (const std::string& id : Ids(page)) {
      seen.push_back(id);
    }
    if (page["next"].is_null()) {
      break;
    }
    target = "/v1/objects?limit=3&after=" + page["next"].get<std::string>();
  }
  EXPECT_EQ(seen, Texts(ids));
}

TEST_F(ApiRead, HasNoNextPageWhenTheLastOneIsJustFull) {
  NewObject();
  NewObject();
  EXPECT_TRUE(GetJson("/v1/objects?limit=2")["next"].is_null());
}

TEST_F(ApiRead, GoesOnAtItsPlaceWhenTheObjectAtTheEndOfAPageHasGone) {
  std::vector<KtObjId> ids{NewObject(), NewObject(), NewObject(), NewObject()};
  const std::string next = GetJson("/v1/objects?limit=2")["next"];
  ASSERT_EQ(ObDeleteObject(database(), &ids[1]), 0U);
  ASSERT_EQ(ObDeleteObject(database(), &ids[2]), 0U);
  EXPECT_EQ(Ids(GetJson("/v1/objects?after=" + next)), Texts({ids[3]}));
}

TEST_F(ApiRead, ShowsNewObjectsOnALaterPage) {
  std::vector<KtObjId> ids{NewObject(), NewObject(), NewObject()};
  const std::string next = GetJson("/v1/objects?limit=2")["next"];
  const KtObjId added = NewObject();
  EXPECT_EQ(Ids(GetJson("/v1/objects?after=" + next)), Texts({ids[2], added}));
}

TEST_F(ApiRead, BeginsBehindAnyObjectThatIsThere) {
  const std::vector<KtObjId> ids{NewObject(), NewObject()};
  EXPECT_EQ(Ids(GetJson("/v1/objects?after=" + IdText(ids[0]))), Texts({ids[1]}));
}

TEST_F(ApiRead, AnswersGoneForAPlaceThatNobodyKnows) {
  const KtObjId gone = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &gone), 0U);
  EXPECT_EQ(Reason(Get("/v1/objects?after=" + IdText(gone)), 410),
            "object " + IdText(gone) + " has gone, and no page ended with it lately");
}

TEST_F(ApiRead, RefusesAPageWithoutSense) {
  EXPECT_EQ(Reason(Get("/v1/objects?limit=0"), 400), "\"limit\" is no number from 1 to 1000");
  EXPECT_EQ(Reason(Get("/v1/objects?limit=1001"), 400), "\"limit\" is no number from 1 to 1000");
  EXPECT_EQ(Reason(Get("/v1/objects?limit=99999999999"), 400),
            "\"limit\" is no number from 1 to 1000");
  EXPECT_EQ(Reason(Get("/v1/objects?limit=-1"), 400), "\"limit\" is no number from 1 to 1000");
  EXPECT_EQ(Reason(Get("/v1/objects?limit="), 400), "\"limit\" is no number from 1 to 1000");
  EXPECT_EQ(Reason(Get("/v1/objects?type=none"), 404), "no type none");
  EXPECT_EQ(Reason(Get("/v1/objects?interface=none"), 400), "\"none\" is no interface");
  EXPECT_EQ(Reason(Get("/v1/objects?after=none"), 400), "\"none\" is no object id");
}

TEST_F(ApiRead, ShowsAnObjectByItsIdInAnyForm) {
  const KtObjId id = NewDisk();
  AddText(id, "serial", "X1");
  const Json object = GetJson("/v1/objects/" + IdText(id));
  EXPECT_EQ(object["id"], IdText(id));
  EXPECT_EQ(object["properties"].dump(), R"([{"name":"serial","type":"STR","value":"X1"}])");
  EXPECT_EQ(object["interfaces"][0]["name"], "disk");
  std::string bare = IdText(id).substr(1, 36);
  for (char& letter : bare) {
    letter = letter >= 'A' && letter <= 'F' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  EXPECT_EQ(GetJson("/v1/objects/" + bare), object);
  EXPECT_EQ(GetJson("/v1/objects/%7B" + bare + "%7d"), object);
}

TEST_F(ApiRead, AnswersNotFoundForAnObjectThatIsNotThere) {
  const KtObjId gone = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &gone), 0U);
  for (const char* rest : {"", "/children", "/properties/x"}) {
    const Response response = Get("/v1/objects/" + IdText(gone) + rest);
    EXPECT_EQ(Reason(response, 404), "no object " + IdText(gone));
    EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0xC1000010");
  }
}

TEST_F(ApiRead, RefusesWhatIsNoObjectId) {
  for (const char* id : {"x", "%7B%7D", "system", "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002DG"}) {
    EXPECT_THAT(Reason(Get(std::string("/v1/objects/") + id), 400), HasSubstr("is no object id"));
  }
}

TEST_F(ApiRead, ShowsOneProperty) {
  const KtObjId id = NewObject();
  AddText(id, "a name/x", "X1");
  EXPECT_EQ(GetJson("/v1/objects/" + IdText(id) + "/properties/a%20name%2Fx").dump(),
            R"({"name":"a name/x","type":"STR","value":"X1"})");
  EXPECT_EQ(Reason(Get("/v1/objects/" + IdText(id) + "/properties/b"), 404),
            "object " + IdText(id) + " has no property b");
}

TEST_F(ApiRead, ShowsTextThatIsNoUtf8ByItsBytes) {
  const KtObjId id = NewObject();
  AddText(id, "x", "a\xFF");
  EXPECT_EQ(GetJson("/v1/objects/" + IdText(id) + "/properties/x")["value"].dump(),
            R"({"base64":"Yf8="})");
}

TEST_F(ApiRead, ListsChildrenInTheirOrder) {
  const KtObjId parent = NewObject();
  const std::vector<KtObjId> children{NewObject(), NewObject()};
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &children[1]), 0U);
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &children[0]), 0U);
  EXPECT_EQ(Ids(GetJson("/v1/objects/" + IdText(parent) + "/children")),
            Texts({children[1], children[0]}));
  EXPECT_EQ(GetJson("/v1/objects/" + IdText(parent))["children"].size(), 2U);
}

TEST_F(ApiRead, ListsTheAlertsThatAreKept) {
  for (int i = 0; i < 6; ++i) {
    hub().Publish(ktsvc::api::Topic::kAlerts, R"({"name":"a)" + std::to_string(i) + "\"}");
    hub().Publish(ktsvc::api::Topic::kEvents, R"({"name":"event"})");
  }
  const Json items = GetJson("/v1/alerts")["items"];
  ASSERT_EQ(items.size(), 4U);
  EXPECT_EQ(items.front()["name"], "a2");
  EXPECT_EQ(items.back()["name"], "a5");
}

TEST_F(ApiRead, ShowsTheLedger) {
  const Json ledger = GetJson("/v1/ledger");
  EXPECT_TRUE(ledger["rows"].is_array());
  EXPECT_TRUE(ledger["clean"].is_boolean());
}

TEST_F(ApiRead, LeavesNothingBehindOfManyReads) {
  const KtObjId id = NewDisk();
  AddText(id, "x", "y");
  const KtBusLedgerTotal before = bus_test::Sum();
  for (int i = 0; i < 20; ++i) {
    GetJson("/v1/objects");
    GetJson("/v1/types");
    GetJson("/v1/objects/" + IdText(id) + "/properties/x");
    Get("/metrics");
  }
  EXPECT_EQ(bus_test::Sum().outstanding, before.outstanding);
}

TEST_F(ApiRead, ReadsBesideAProviderThatMakesAndDeletesObjects) {
  std::atomic<bool> done{false};
  std::thread maker([&] {
    for (int i = 0; i < 300; ++i) {
      const KtObjId id = NewObject();
      ObDeleteObject(database(), &id);
    }
    done = true;
  });
  while (!done) {
    EXPECT_EQ(Get("/v1/objects?limit=5").status, 200U);
  }
  maker.join();
}

}  // namespace
}  // namespace api_test
