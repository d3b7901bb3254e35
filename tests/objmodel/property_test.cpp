#include "objmodel/property.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>

#include "objmodel/property_types.h"

namespace {

TEST(Property, LaysItsFieldsOutAsTheFrameworksRecordDoes) {
  int value = 0;
  const CKtProperty property("a name", TYPE_UINT32, 5, 4, &value);
  unsigned char bytes[32];
  static_assert(sizeof property == sizeof bytes);
  std::memcpy(bytes, static_cast<const cuvo_property*>(&property), sizeof bytes);
  const void* pointer = nullptr;
  std::uint32_t word = 0;
  std::memcpy(&pointer, bytes, 8);
  EXPECT_STREQ(static_cast<const char*>(pointer), "a name");
  std::memcpy(&word, bytes + 8, 4);
  EXPECT_EQ(word, 3u);
  std::memcpy(&word, bytes + 12, 4);
  EXPECT_EQ(word, 5u);
  std::memcpy(&word, bytes + 16, 4);
  EXPECT_EQ(word, 4u);
  std::memcpy(&pointer, bytes + 24, 8);
  EXPECT_EQ(pointer, &value);
}

TEST(Property, OwnsNothingAndPointsIntoItsCallersMemory) {
  char name[] = "n";
  char value[] = "v";
  {
    const CKtProperty property(name, TYPE_STR, 0, 2, value);
    EXPECT_EQ(property.name, name);
    EXPECT_EQ(property.value, value);
  }
  EXPECT_STREQ(value, "v");
}

TEST(PropertyTypes, ListsEveryCodeOnceWithTheUnknownTypeFirst) {
  std::set<std::uint32_t> codes;
  for (const auto& [code, name] : kt::kPropertyTypeNames) {
    EXPECT_TRUE(codes.insert(code).second) << name;
  }
  EXPECT_EQ(codes.size(), 29u);
  EXPECT_EQ(kt::kPropertyTypeNames.front().code, 0u);
  EXPECT_STREQ(kt::kPropertyTypeNames.front().name, "UNKNOWN");
  EXPECT_STREQ(kt::kPropertyTypeNames[12].name, "DATABASE");
}

TEST(PropertyTypes, NamesAListByItsElementWithAZ) {
  for (const auto& list : kt::kPropertyTypeNames) {
    if ((list.code & kt::kListBit) == 0) continue;
    bool found = false;
    for (const auto& scalar : kt::kPropertyTypeNames) {
      if (scalar.code != (list.code & ~kt::kListBit)) continue;
      EXPECT_EQ(list.name, std::string(scalar.name) + "Z");
      found = true;
    }
    EXPECT_TRUE(found) << list.name;
  }
}

}  // namespace
