#include "walk/contract.h"

#include <gmock/gmock.h>

namespace walk {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

Contract TheContract() {
  return Contract(ktsvc::Json::parse(R"({"paths":{
    "/v1/types":{"get":{"responses":{"200":{},"400":{},"500":{}}}},
    "/v1/objects/{id}":{"get":{"responses":{"200":{},"404":{}}}},
    "/v1/objects/{id}/controls":{"post":{"responses":{"200":{},"400":{}}}},
    "/metrics":{"get":{"responses":{"200":{}}}}}})"));
}

Call Get(const std::string& target) {
  return {"GET", target, {}, false, {}};
}

std::string Error(unsigned status) {
  return R"({"error":{"status":)" + std::to_string(status) +
         R"(,"reason":"why","hint":null,"code":null}})";
}

TEST(Contract, TakesADocumentedSuccess) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {200, R"({"items":[]})"}), IsEmpty());
}

TEST(Contract, TakesADocumentedErrorInItsForm) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/objects/x?y=1"), {404, Error(404)}), IsEmpty());
}

TEST(Contract, RefusesAStatusThatIsNotDocumentedThere) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {404, Error(404)}),
              HasSubstr("not documented"));
}

TEST(Contract, RefusesThatTheServiceBlamesItselfEvenWhereThatIsDocumented) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {500, Error(500)}), HasSubstr("blames"));
}

TEST(Contract, RefusesAnErrorOfAnotherForm) {
  for (const std::string body : {"", "no", "{}", R"({"error":"why"})"}) {
    EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {400, body}), HasSubstr("error")) << body;
  }
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {400, Error(404)}), HasSubstr("lacks"));
}

TEST(Contract, RefusesASuccessThatIsNoJson) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v1/types"), {200, "<html>"}), HasSubstr("no JSON"));
  EXPECT_THAT(TheContract().FaultOf(Get("/metrics"), {200, "ktsvc_info 1"}), IsEmpty());
}

TEST(Contract, WantsNotFoundWhereThePathIsNotThere) {
  EXPECT_THAT(TheContract().FaultOf(Get("/v2"), {404, Error(404)}), IsEmpty());
  EXPECT_THAT(TheContract().FaultOf(Get("/v2"), {200, "{}"}), HasSubstr("not documented"));
}

TEST(Contract, WantsAnotherMethodRefused) {
  const Call call{"DELETE", "/v1/types", {}, false, {}};
  EXPECT_THAT(TheContract().FaultOf(call, {405, Error(405)}), IsEmpty());
  EXPECT_THAT(TheContract().FaultOf(call, {200, "{}"}), HasSubstr("not documented"));
}

TEST(Contract, WantsStatusOutputAndSecondsOfAControl) {
  const Call call{"POST", "/v1/objects/x/controls", "{}", true, {}};
  EXPECT_THAT(
      TheContract().FaultOf(call, {200, R"({"status":{"code":0},"output":[],"seconds":0.1})"}),
      IsEmpty());
  EXPECT_THAT(TheContract().FaultOf(call, {200, R"({"status":{"code":0},"output":[]})"}),
              HasSubstr("lacks"));
}

}  // namespace
}  // namespace walk
