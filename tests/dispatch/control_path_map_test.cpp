#include "dispatch/control_path_map.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Handler = std::shared_ptr<CKtControlMapEntry>;

// A handler with that number for its selector.
Handler MakeHandler(std::uint32_t number) {
  return std::make_shared<CKtControlMapEntry>(nullptr, number, 0, KtGuid{}, nullptr, KtObjId{});
}

TEST(ControlPathMap, FindsEachOfManyUnderItsOwnPath) {
  kt::ControlPathMap map;
  std::vector<Handler> handlers;
  EXPECT_EQ(map.Find("path 0"), nullptr);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    handlers.push_back(MakeHandler(i));
    map.Put("path " + std::to_string(i), handlers.back());
  }
  for (std::uint32_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(map.Find("path " + std::to_string(i)), handlers[i]);
  }
  EXPECT_EQ(map.Find("path 1000"), nullptr);
  EXPECT_EQ(map.Find(""), nullptr);
}

TEST(ControlPathMap, DropsOnePathAndKeepsTheOthers) {
  kt::ControlPathMap map;
  std::vector<Handler> handlers;
  for (std::uint32_t i = 0; i < 200; ++i) {
    handlers.push_back(MakeHandler(i));
    map.Put("path " + std::to_string(i), handlers.back());
  }
  for (std::uint32_t i = 0; i < 200; i += 2) {
    EXPECT_TRUE(map.Erase("path " + std::to_string(i)));
    EXPECT_FALSE(map.Erase("path " + std::to_string(i)));
  }
  for (std::uint32_t i = 0; i < 200; ++i) {
    EXPECT_EQ(map.Find("path " + std::to_string(i)), i % 2 == 0 ? nullptr : handlers[i]) << i;
  }
}

TEST(ControlPathMap, TakesAHandlerThatHasGoneForAbsent) {
  kt::ControlPathMap map;
  Handler first = MakeHandler(1);
  map.Put("path", first);
  first.reset();
  EXPECT_EQ(map.Find("path"), nullptr);
  const Handler second = MakeHandler(2);
  map.Put("path", second);
  EXPECT_EQ(map.Find("path"), second);
  EXPECT_TRUE(map.Erase("path"));
  map.Put("path", MakeHandler(3));
  EXPECT_FALSE(map.Erase("path"));
}

TEST(ControlPathMap, DropsTheFirstThatMatchesInTheOrderOfPaths) {
  kt::ControlPathMap map;
  const Handler b = MakeHandler(1);
  const Handler a = MakeHandler(2);
  map.Put("b", b);
  map.Put("a", a);
  map.Put("0", MakeHandler(3));  // has gone
  const auto any = [](const CKtControlMapEntry&) { return true; };
  EXPECT_FALSE(map.EraseFirst([](const CKtControlMapEntry&) { return false; }));
  EXPECT_TRUE(map.EraseFirst(any));
  EXPECT_EQ(map.Find("a"), nullptr);
  EXPECT_EQ(map.Find("b"), b);
  EXPECT_TRUE(map.EraseFirst(any));
  EXPECT_FALSE(map.EraseFirst(any));
}

}  // namespace
