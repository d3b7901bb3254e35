// Laws of the JSON form: what is written is read back as it was, through the bus too.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <string>

#include "api/random_properties.h"
#include "property_json.h"
#include "property_writer.h"

namespace ktsvc {
namespace {

using ktsvc_test::RandomProperties;
using ktsvc_test::Same;

constexpr int kRounds = 400;

// KTSVC_SEED repeats a run that failed.
std::uint64_t Seed() {
  const char* text = std::getenv("KTSVC_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : std::random_device()();
}

class PropertyRoundTrip : public ::testing::Test {
 protected:
  PropertyRoundTrip() : seed_(Seed()), random_(seed_) {
    RecordProperty("seed", std::to_string(seed_));
  }

  std::string Trace() const { return "KTSVC_SEED=" + std::to_string(seed_) + " repeats this"; }

  static PropertyList ThroughText(const PropertyList& list) {
    return PropertyListFromJson(Json::parse(PropertyListJson(list).dump()));
  }

  const std::uint64_t seed_;
  RandomProperties random_;
};

TEST_F(PropertyRoundTrip, ReadsBackFromJsonEveryBitOfAnyPropertySet) {
  SCOPED_TRACE(Trace());
  std::set<std::uint32_t> types;
  for (int round = 0; round < kRounds; ++round) {
    const PropertyList list = random_.List(3);
    for (const Property& property : list) {
      types.insert(property.type);
    }
    ASSERT_TRUE(Same(ThroughText(list), list)) << PropertyListJson(list).dump(1);
  }
  EXPECT_EQ(types.size(), 27U) << "not every type was tried";
}

TEST_F(PropertyRoundTrip, ReadsBackFromTheBusEveryBitOfAnyPropertySet) {
  SCOPED_TRACE(Trace());
  for (int round = 0; round < kRounds; ++round) {
    const PropertyList list = random_.List(3);
    const OwnedSet set = MakePropertySet(list);
    ASSERT_TRUE(Same(ReadPropertySet(set.get()), list)) << PropertyListJson(list).dump(1);
  }
}

TEST_F(PropertyRoundTrip, KeepsASetThatGoesFromTheBusToJsonAndBack) {
  SCOPED_TRACE(Trace());
  for (int round = 0; round < kRounds; ++round) {
    const PropertyList list = random_.List(3);
    const OwnedSet first = MakePropertySet(list);
    const OwnedSet second = MakePropertySet(ThroughText(ReadPropertySet(first.get())));
    ASSERT_TRUE(Same(ReadPropertySet(second.get()), list)) << PropertyListJson(list).dump(1);
  }
}

TEST_F(PropertyRoundTrip, WritesTheSameJsonAgainAfterReadingIt) {
  SCOPED_TRACE(Trace());
  for (int round = 0; round < kRounds; ++round) {
    const Json json = PropertyListJson(random_.List(3));
    ASSERT_EQ(PropertyListJson(PropertyListFromJson(json)).dump(), json.dump());
  }
}

TEST_F(PropertyRoundTrip, GivesJsonThatIsUtf8WhateverTheTextsAre) {
  SCOPED_TRACE(Trace());
  for (int round = 0; round < kRounds; ++round) {
    const PropertyList list = random_.List(3);
    ASSERT_NO_THROW(static_cast<void>(PropertyListJson(list).dump()));
  }
}

}  // namespace
}  // namespace ktsvc
