// The document that describes the API is true: what it lists is answered as it says, and there is
// nothing that it does not list.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "api/api_test.h"
#include "api/json_schema.h"
#include "api/openapi.h"
#include "api/route.h"

namespace api_test {
namespace {

using testing::HasSubstr;

class OpenApi : public ApiTest {
 protected:
  void SetUp() override {
    ApiTest::SetUp();
    document = GetJson("/openapi.json");
    object = NewDisk();
    AddText(object, "serial", "X1");
    const KtObjId child = NewObject();
    ASSERT_EQ(ObAttachChildObject(database(), &object, &child), 0U);
    alpha().control = [](const auto& call) {
      return bus_test::AddUint32(call.output, "previous", 4);
    };
    hub().Publish(ktsvc::api::Topic::kAlerts,
                  R"({"name":"a","time":"t","description":"d","severity":1,"object":null,)"
                  R"("properties":[]})");
    ktsvc::ProviderReport failed;
    failed.name = "beta";
    failed.failures.push_back({"no such file", ""});
    reports.push_back(failed);
  }

  // The path with something in the place of each argument.
  std::string Fill(std::string path, const std::string& id) const {
    const auto replace = [&path](const std::string& what, const std::string& with) {
      if (const std::size_t at = path.find(what); at != std::string::npos) {
        path.replace(at, what.size(), with);
      }
    };
    replace("{id}", id);
    replace("{name}", path.find("/types/") != std::string::npos ? "QELM_Object" : "serial");
    return path;
  }

  static std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
  }

  // A request that each operation serves: the query, and the body.
  static std::string QueryOf(const std::string& operation) {
    if (operation == "explain") return "?action=control&interface=disk&code=1";
    return operation == "follow" ? "?topics=events" : "";
  }
  static std::string BodyOf(const std::string& operation) {
    if (operation == "sendControl") {
      return R"({"interface":"disk","selector":0,"code":1,
                 "input":[{"name":"a","type":"UINT32","value":1}]})";
    }
    if (operation == "raiseEvent") return R"({"name":"event.x","properties":[]})";
    return operation == "setTraceLevel" ? R"({"level":2})" : "";
  }

  Response Send(const Caller& caller, const std::string& method, const std::string& path,
                const std::string& operation) {
    const std::string target = path + QueryOf(operation);
    if (ktsvc::api::Api::IsStream(target)) {
      const auto opened = api().OpenStream({method, target, "", "", caller});
      if (const auto* response = std::get_if<Response>(&opened)) return *response;
      Response stream;
      stream.contentType = "text/event-stream";
      return stream;
    }
    return Ask(caller, method, target, BodyOf(operation));
  }

  // Calls `visit` with path, method and operation of each row.
  void ForEach(
      const std::function<void(const std::string&, const std::string&, const Json&)>& visit) const {
    for (const auto& [path, methods] : document["paths"].items()) {
      for (const auto& [method, operation] : methods.items()) {
        visit(path, Upper(method), operation);
      }
    }
  }

  // The answer is one that the operation lists, and what is said of it holds.
  void ExpectListed(const Response& response, const Json& operation) const {
    const std::string status = std::to_string(response.status);
    ASSERT_TRUE(operation["responses"].contains(status))
        << operation["operationId"] << " answers " << status << " " << response.body;
    const std::string type = response.contentType.substr(0, response.contentType.find(';'));
    const Json content = operation["responses"][status]["content"];
    ASSERT_TRUE(content.contains(type)) << operation["operationId"] << " " << type;
    if (type == "application/json") {
      EXPECT_EQ(SchemaFault(document, content[type]["schema"], Json::parse(response.body)), "")
          << operation["operationId"];
    }
  }

  Json document;
  KtObjId object{};
};

TEST_F(OpenApi, ListsEveryRouteAndNoOther) {
  std::set<std::string> listed;
  ForEach([&listed](const std::string& path, const std::string& method, const Json&) {
    listed.insert(method + " " + path);
  });
  std::set<std::string> routes;
  for (const ktsvc::api::Route& route : ktsvc::api::Routes()) {
    routes.insert(std::string(route.method) + " " + std::string(route.path));
  }
  EXPECT_EQ(listed, routes);
  EXPECT_EQ(routes.size(), 18U);
}

TEST_F(OpenApi, IsAnsweredAsItSaysForEveryOperation) {
  ForEach([this](const std::string& path, const std::string& method, const Json& operation) {
    const std::string name = operation["operationId"];
    const Response response = Send(Admin(), method, Fill(path, IdText(object)), name);
    EXPECT_LT(response.status, 300U) << method << " " << path << " " << response.body;
    ExpectListed(response, operation);
  });
}

TEST_F(OpenApi, ListsWhatIsAnsweredToWhomNoLineNames) {
  ForEach([this](const std::string& path, const std::string& method, const Json& operation) {
    const std::string name = operation["operationId"];
    const Response response = Send(Nobody(), method, Fill(path, IdText(object)), name);
    EXPECT_EQ(response.status, name == "explain" ? 200U : 403U) << path;
    ExpectListed(response, operation);
  });
}

TEST_F(OpenApi, ListsWhatIsAnsweredForAnObjectThatIsNotThere) {
  const KtObjId gone = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &gone), 0U);
  ForEach([&](const std::string& path, const std::string& method, const Json& operation) {
    if (path.find("{id}") != std::string::npos) {
      const Response response =
          Send(Admin(), method, Fill(path, IdText(gone)), operation["operationId"]);
      EXPECT_EQ(response.status, 404U) << path;
      ExpectListed(response, operation);
    }
  });
}

TEST_F(OpenApi, ListsWhatIsAnsweredToAQueryThatIsUnknown) {
  ForEach([&](const std::string& path, const std::string& method, const Json& operation) {
    Response response;
    const std::string target = Fill(path, IdText(object)) + "?unknown=1";
    if (path == "/v1/stream") {
      response = std::get<Response>(api().OpenStream({method, target, "", "", Admin()}));
    } else {
      response = Ask(Admin(), method, target, BodyOf(operation["operationId"]));
    }
    EXPECT_EQ(response.status, 400U) << path;
    ExpectListed(response, operation);
  });
}

TEST_F(OpenApi, ListsWhatIsAnsweredToABodyThatIsNoJson) {
  ForEach([&](const std::string& path, const std::string& method, const Json& operation) {
    if (operation.contains("requestBody")) {
      const std::string target = Fill(path, IdText(object));
      const Response malformed = Ask(Admin(), method, target, "{");
      EXPECT_EQ(malformed.status, 400U) << path;
      ExpectListed(malformed, operation);
      const Response text = Ask(Admin(), method, target, "{}", "text/plain");
      EXPECT_EQ(text.status, 415U) << path;
      ExpectListed(text, operation);
      stopping = true;
      const Response late = Ask(Admin(), method, target, "{}");
      EXPECT_EQ(late.status, 503U) << path;
      ExpectListed(late, operation);
      stopping = false;
    }
  });
}

TEST_F(OpenApi, DescribesTheBodiesThatAreTaken) {
  ForEach([&](const std::string&, const std::string&, const Json& operation) {
    const std::string body = BodyOf(operation["operationId"]);
    EXPECT_EQ(body.empty(), !operation.contains("requestBody"));
    if (!body.empty()) {
      const Json schema = operation["requestBody"]["content"]["application/json"]["schema"];
      EXPECT_EQ(SchemaFault(document, schema, Json::parse(body)), "");
    }
  });
}

TEST_F(OpenApi, DescribesTheArgumentsOfEveryPath) {
  ForEach([](const std::string& path, const std::string&, const Json& operation) {
    for (const Json& parameter : operation["parameters"]) {
      const bool inPath =
          path.find("{" + parameter["name"].get<std::string>() + "}") != std::string::npos;
      EXPECT_EQ(parameter["in"], inPath ? "path" : "query") << path;
      EXPECT_FALSE(parameter["description"].get<std::string>().empty()) << path;
    }
  });
}

TEST_F(OpenApi, TakesEveryQueryThatItDescribes) {
  EXPECT_EQ(
      Get("/v1/objects?type=QELM_Object&interface=disk&limit=5&after=" + IdText(object)).status,
      200U);
  EXPECT_EQ(Get("/v1/explain?action=control&interface=disk&selector=1&code=2").status, 200U);
}

TEST_F(OpenApi, GivesEveryOperationANameOfItsOwnAndEverySchemaAUse) {
  std::set<std::string> names;
  ForEach([&names](const std::string&, const std::string&, const Json& operation) {
    EXPECT_TRUE(names.insert(operation["operationId"]).second);
  });
  const std::string text = document.dump();
  for (const auto& [name, schema] : document["components"]["schemas"].items()) {
    EXPECT_THAT(text, HasSubstr("#/components/schemas/" + name + "\""));
  }
}

TEST_F(OpenApi, TellsOfAHostThatIsAnotherMachine) {
  ForEach([](const std::string& path, const std::string& method, const Json& operation) {
    EXPECT_TRUE(operation["responses"].contains("421")) << method << " " << path;
  });
}

TEST_F(OpenApi, NamesItsVersion) {
  EXPECT_EQ(document["openapi"], "3.1.0");
  EXPECT_EQ(document["info"]["title"], "ktsvc");
}

TEST_F(OpenApi, IsWhatTheManualTells) {
  std::ifstream file(std::string(KT_DOCS_FOLDER) + "/api.md");
  std::stringstream manual;
  manual << file.rdbuf();
  ForEach([&](const std::string& path, const std::string& method, const Json& operation) {
    std::string heading = path;
    const std::map<std::string, std::string> names{{"{id}", "ID"}, {"{name}", "NAME"}};
    for (const auto& [from, to] : names) {
      if (const std::size_t at = heading.find(from); at != std::string::npos) {
        heading.replace(at, from.size(), to);
      }
    }
    EXPECT_THAT(manual.str(), HasSubstr("### " + method + " " + heading + "\n"));
    for (const Json& parameter : operation["parameters"]) {
      if (parameter["in"] == "query") {
        EXPECT_THAT(manual.str(), HasSubstr("| `" + parameter["name"].get<std::string>() + "` |"))
            << path;
      }
    }
  });
}

}  // namespace
}  // namespace api_test
