#include "walk/call_maker.h"

#include <gmock/gmock.h>

#include <set>

namespace walk {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

ServiceMap TheMap() {
  ServiceMap map;
  map.types = {"qelm_system"};
  map.objects = {"{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"};
  map.offers = {{map.objects.front(), "qelm_system", "system"}};
  map.properties = {"Name", "serial"};
  return map;
}

std::vector<KnownControl> TheControls() {
  KnownControl control;
  control.offer = TheMap().offers.front();
  control.code = 11005;
  control.right = ktsvc::Json::parse(R"([{"name":"tracelevel","type":"UINT32","value":5}])");
  return {control};
}

std::vector<Call> Calls(std::uint64_t seed, int count) {
  CallMaker maker(seed);
  maker.Know(TheMap(), TheControls());
  std::vector<Call> calls;
  for (int i = 0; i < count; ++i) {
    calls.push_back(maker.Next());
  }
  return calls;
}

std::vector<std::string> Texts(const std::vector<Call>& calls) {
  std::vector<std::string> texts;
  for (const Call& call : calls) {
    texts.push_back(call.method + " " + call.target + " " + call.body);
  }
  return texts;
}

TEST(CallMaker, MakesTheSameCallsFromTheSameSeed) {
  EXPECT_EQ(Texts(Calls(7, 300)), Texts(Calls(7, 300)));
  EXPECT_NE(Texts(Calls(7, 300)), Texts(Calls(8, 300)));
}

TEST(CallMaker, SendsAKnownControlAsItShouldBe) {
  const Call call = CallMaker::Right(TheControls().front());
  EXPECT_EQ(call.method, "POST");
  EXPECT_EQ(call.target, "/v1/objects/%7B9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9%7D/controls");
  EXPECT_EQ(call.body, R"({"interface":"system","selector":0,"code":11005,)"
                       R"("input":[{"name":"tracelevel","type":"UINT32","value":5}]})");
  EXPECT_TRUE(call.isControl);
}

// What inputs of a control have in them, over many calls.
TEST(CallMaker, SendsRightWrongMissingAndSuperfluousProperties) {
  std::set<std::string> seen;
  for (const Call& call : Calls(1, 3000)) {
    const auto body = ktsvc::Json::parse(call.body, nullptr, false);
    if (!call.isControl || body.is_discarded() || body.value("code", ktsvc::Json()) != 11005) {
      continue;
    }
    bool given = false;
    const auto input = body.value("input", ktsvc::Json::array());
    for (const auto& property : input) {
      const bool isIt = property.value("name", ktsvc::Json()) == "tracelevel";
      given = given || isIt;
      seen.insert(!isIt                                               ? "superfluous"
                  : property.value("type", ktsvc::Json()) != "UINT32" ? "wrong type"
                  : property.value("value", ktsvc::Json()) == 5       ? "right"
                                                                      : "another value");
    }
    seen.insert(given ? "given" : "missing");
  }
  EXPECT_THAT(seen, testing::UnorderedElementsAre("right", "wrong type", "another value",
                                                  "superfluous", "given", "missing"));
}

TEST(CallMaker, AsksForAllPartsOfTheInterface) {
  const std::vector<std::string> texts = Texts(Calls(1, 3000));
  for (const char* begin :
       {"POST /v1/objects/", "GET /v1/types/", "GET /v1/objects?", "GET /v1/explain?",
        "GET /metrics", "POST /v1/events", "PUT /v1/trace-level", "DELETE /v1/objects/"}) {
    EXPECT_THAT(texts, Contains(StartsWith(begin)));
  }
}

TEST(CallMaker, SendsBodiesThatAreNoJson) {
  const std::vector<Call> calls = Calls(1, 3000);
  const auto isSpoilt = [](const Call& call) {
    return !call.body.empty() && ktsvc::Json::parse(call.body, nullptr, false).is_discarded();
  };
  EXPECT_GT(std::count_if(calls.begin(), calls.end(), isSpoilt), 20);
}

TEST(CallMaker, AsksForControlsThatAreNotThere) {
  const std::vector<std::string> texts = Texts(Calls(1, 3000));
  EXPECT_THAT(texts, Contains(HasSubstr(R"("interface":"nobody")")));
  EXPECT_THAT(texts, Contains(HasSubstr("00000000-0000-0000-0000-000000000000%7D/controls")));
}

TEST(CallMaker, HasSomethingToAskWhereNothingIsKnown) {
  CallMaker maker(1);
  for (int i = 0; i < 300; ++i) {
    EXPECT_FALSE(maker.Next().target.empty());
  }
}

}  // namespace
}  // namespace walk
