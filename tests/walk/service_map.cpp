#include "walk/service_map.h"

#include <algorithm>
#include <stdexcept>

#include "property_json.h"

namespace walk {
namespace {

using ktsvc::Json;

constexpr std::ptrdiff_t kObjectsOfAKind = 2;
constexpr const char* kObjects = "/v1/objects?limit=1000";

// The items of the list at that path.
Json Items(const Ask& ask, const std::string& target) {
  const Answer answer = ask({"GET", target, {}, false, {}});
  if (answer.status != 200) {
    throw std::runtime_error("GET " + target + " was answered with " +
                             std::to_string(answer.status) + " " + answer.body);
  }
  return Json::parse(answer.body).at("items");
}

// A name or a text is an object where its bytes are no UTF-8; such a one is passed over.
std::string TextOf(const Json& json) {
  return json.is_string() ? json.get<std::string>() : std::string{};
}

void AddOffers(const Json& object, ServiceMap& map) {
  for (const Json& offered : object.at("interfaces")) {
    if (offered.at("ownerGone").get<bool>()) {
      continue;
    }
    const std::string name = TextOf(offered.at("name"));
    Offer offer{TextOf(object.at("id")), TextOf(object.at("type")),
                name.empty() ? TextOf(offered.at("id")) : name};
    const auto alike = std::count_if(map.offers.begin(), map.offers.end(), [&](const Offer& has) {
      return has.type == offer.type && has.interface == offer.interface;
    });
    if (alike < kObjectsOfAKind) {
      map.offers.push_back(std::move(offer));
    }
  }
}

}  // namespace

ServiceMap ReadServiceMap(const Ask& ask) {
  ServiceMap map;
  const Json types = Items(ask, "/v1/types");
  for (const Json& type : types) {
    if (const std::string name = TextOf(type.at("name")); !name.empty()) {
      map.types.push_back(name);
    }
  }
  std::set<std::string> names;
  const Json objects = Items(ask, kObjects);
  for (const Json& object : objects) {
    map.objects.push_back(TextOf(object.at("id")));
    AddOffers(object, map);
    for (const Json& property : object.at("properties")) {
      if (const std::string name = TextOf(property.at("name")); !name.empty()) {
        names.insert(name);
      }
    }
  }
  map.properties.assign(names.begin(), names.end());
  const Json providers = Items(ask, "/v1/providers");
  for (const Json& provider : providers) {
    if (provider.at("state") == "running") {
      map.providers.push_back(TextOf(provider.at("name")));
    }
    map.exceptions += provider.at("exceptions").get<std::uint64_t>();
  }
  return map;
}

}  // namespace walk
