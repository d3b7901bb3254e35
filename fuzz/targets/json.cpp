// The JSON forms of properties: what is taken comes back the same from JSON and from the bus, and
// reads for people without a control character.
//
// Input: a JSON text, the array of a property set.

#include <cstring>
#include <string>

#include "api/random_properties.h"
#include "ktbus3/ktbus3_host.h"
#include "property_json.h"
#include "property_text.h"
#include "property_writer.h"
#include "support/byte_source.h"
#include "support/ledger_check.h"
#include "support/printable.h"
#include "support/require.h"

namespace {

using kt::fuzz::Finding;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using ktsvc::Json;
using ktsvc::PropertyList;

void TryProperties(const Json& json) {
  PropertyList list;
  try {
    list = ktsvc::PropertyListFromJson(json, "input");
  } catch (const ktsvc::JsonError& error) {
    Require(std::strncmp(error.what(), "input", 5) == 0, "a fault is named with its place");
    return;
  }
  const Json written = ktsvc::PropertyListJson(list);
  const std::string text = written.dump();
  const PropertyList again = ktsvc::PropertyListFromJson(Json::parse(text), "again");
  if (!ktsvc_test::Same(list, again)) Finding("what is written is read as it was", text);
  RequireSame(text, ktsvc::PropertyListJson(again).dump(), "and is written the same again");

  const ktsvc::OwnedSet set = ktsvc::MakePropertySet(list);
  if (!ktsvc_test::Same(list, ktsvc::ReadPropertySet(set.get()))) {
    Finding("the bus takes what JSON says and gives it back", text);
  }
  kt::fuzz::RequirePrintable(ktsvc::PropertyListText(list), "a set reads well for people");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kt::fuzz::LedgerCheck ledger;
  const Json json = Json::parse(kt::fuzz::TextOf(data, size), nullptr, false);
  if (!json.is_discarded()) TryProperties(json);
  ledger.RequireSettled("when the sets are destroyed");
  return 0;
}
