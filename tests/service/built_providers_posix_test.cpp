// The program with the providers of the build and a registry of the test's own.

#include <gtest/gtest.h>

#include "service/json_search.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

using Json = nlohmann::json;

TEST(BuiltProvidersRegistry, WithTheMultipathKeyAloneAddsTheConfigurationObject) {
  const ScratchFolder services;
  const ScratchFolder registry;
  std::filesystem::create_directories(registry.path() / "HKEY_LOCAL_MACHINE" / "SOFTWARE" /
                                      "Tormeld" / "KtSvc" / "CurrentVersion" / "InstalledProducts" /
                                      "Multiplex Paths");
  const Result result =
      RunKtsvc({"run", "--once", "--json", "--registry", registry.path().string(), "hostkit"},
               HarmlessServices(services));
  ASSERT_EQ(result.status, 0) << result.errors;
  const Json object = FindBy(Json::parse(result.output)["objects"], "type", "qelm_ktvm_misc");
  ASSERT_TRUE(object.is_object());
  EXPECT_EQ(object["properties"].size(), 11U);
  EXPECT_EQ(FindBy(object["properties"], "name", "Name")["value"], "misc-internal-object");
  EXPECT_EQ(FindBy(object["properties"], "name", "vm_product_version")["value"], "WINNT.6.1.0.445");
}

}  // namespace
}  // namespace ktsvc_test
