#include "dispatch/control_path_map.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Handler = std::shared_ptr<CKtControlMapEntry>;

// A handler with that number for its selector.
Handler MakeHandler(std::uint32_t number) {
  return std::make_shared<CKtControlMapEntry>(nullptr, number, 0, KtGuid{}, nullptr, KtObjId{});
}

// The key with that number, and its path: any text will do.
kt::ControlKey KeyOf(std::uint32_t number) {
  return {KtGuid{}, KtObjId{}, number, 7};
}
std::string PathOf(std::uint32_t number) {
  return "path " + std::to_string(number);
}

TEST(ControlPathMap, FindsEachOfManyUnderItsOwnPath) {
  kt::ControlPathMap map;
  std::vector<Handler> handlers;
  EXPECT_EQ(map.Find(KeyOf(0)), nullptr);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    handlers.push_back(MakeHandler(i));
    map.Put(KeyOf(i), PathOf(i), handlers.back());
  }
  for (std::uint32_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(map.Find(KeyOf(i)), handlers[i]);
  }
  EXPECT_EQ(map.Find(KeyOf(1000)), nullptr);
}

TEST(ControlPathMap, DropsOnePathAndKeepsTheOthers) {
  kt::ControlPathMap map;
  std::vector<Handler> handlers;
  for (std::uint32_t i = 0; i < 200; ++i) {
    handlers.push_back(MakeHandler(i));
    map.Put(KeyOf(i), PathOf(i), handlers.back());
  }
  for (std::uint32_t i = 0; i < 200; i += 2) {
    EXPECT_TRUE(map.Erase(KeyOf(i), PathOf(i)));
    EXPECT_FALSE(map.Erase(KeyOf(i), PathOf(i)));
  }
  for (std::uint32_t i = 0; i < 200; ++i) {
    EXPECT_EQ(map.Find(KeyOf(i)), i % 2 == 0 ? nullptr : handlers[i]) << i;
  }
}

TEST(ControlPathMap, DropsWhatWasPutUnderAnotherText) {
  kt::ControlPathMap map;
  const Handler first = MakeHandler(1);
  const Handler second = MakeHandler(2);
  map.Put(KeyOf(1), "a", first);
  map.Put(KeyOf(2), "c", second);
  EXPECT_TRUE(map.Erase(KeyOf(1), "b"));
  EXPECT_EQ(map.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(map.Find(KeyOf(2)), second);
  EXPECT_TRUE(map.Erase(KeyOf(2), "d"));
  EXPECT_EQ(map.Find(KeyOf(2)), nullptr);
}

// Keys by chance leave a bit more than a third of as many places empty.
TEST(ControlKey, SpreadsKeysThatDifferInOneOfItsNumbersAlone) {
  constexpr std::size_t kPlaces = 4096;
  for (std::size_t word = 0; word < sizeof(kt::ControlKey) / sizeof(std::uint32_t); ++word) {
    for (const unsigned shift : {0U, 20U}) {  // in its lowest bits, and in its highest
      std::vector<bool> taken(kPlaces);
      for (std::uint32_t i = 0; i < kPlaces; ++i) {
        std::array<std::uint32_t, 10> words{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        words.at(word) = i << shift;
        kt::ControlKey key{};
        std::memcpy(static_cast<void*>(&key), words.data(), sizeof(key));
        taken[key.Hash() % kPlaces] = true;
      }
      EXPECT_GE(std::count(taken.begin(), taken.end(), true), 2048) << word << ' ' << shift;
    }
  }
}

TEST(ControlPathMap, TakesAHandlerThatHasGoneForAbsent) {
  kt::ControlPathMap map;
  Handler first = MakeHandler(1);
  map.Put(KeyOf(1), "path", first);
  first.reset();
  EXPECT_EQ(map.Find(KeyOf(1)), nullptr);
  const Handler second = MakeHandler(2);
  map.Put(KeyOf(1), "path", second);
  EXPECT_EQ(map.Find(KeyOf(1)), second);
  EXPECT_TRUE(map.Erase(KeyOf(1), "path"));
  map.Put(KeyOf(1), "path", MakeHandler(3));
  EXPECT_FALSE(map.Erase(KeyOf(1), "path"));
}

TEST(ControlPathMap, DropsTheFirstThatMatchesInTheOrderOfPaths) {
  kt::ControlPathMap map;
  const Handler b = MakeHandler(1);
  const Handler a = MakeHandler(2);
  map.Put(KeyOf(1), "b", b);
  map.Put(KeyOf(2), "a", a);
  map.Put(KeyOf(3), "0", MakeHandler(3));  // has gone
  map.ExpectPath(KeyOf(2).Hash());
  const auto any = [](const CKtControlMapEntry&) { return true; };
  EXPECT_FALSE(map.EraseFirst([](const CKtControlMapEntry&) { return false; }));
  EXPECT_TRUE(map.EraseFirst(any));
  EXPECT_EQ(map.Find(KeyOf(2)), nullptr);
  EXPECT_EQ(map.Find(KeyOf(1)), b);
  EXPECT_TRUE(map.EraseFirst(any));
  EXPECT_FALSE(map.EraseFirst(any));
}

// One with the highest bit set, one with a zero byte, and so on: each byte counts.
TEST(ControlPathMap, TellsKeysApartThatDifferInOneByte) {
  kt::ControlPathMap map;
  std::vector<Handler> handlers;
  std::vector<kt::ControlKey> keys;
  for (std::size_t at = 0; at < sizeof(kt::ControlKey); ++at) {
    std::array<unsigned char, sizeof(kt::ControlKey)> bytes{};
    bytes.at(at) = static_cast<unsigned char>(0x80U + at);
    kt::ControlKey key{};
    std::memcpy(&key, bytes.data(), bytes.size());
    keys.push_back(key);
    handlers.push_back(MakeHandler(static_cast<std::uint32_t>(at)));
    map.Put(key, PathOf(static_cast<std::uint32_t>(at)), handlers.back());
  }
  for (std::size_t at = 0; at < keys.size(); ++at) EXPECT_EQ(map.Find(keys[at]), handlers[at]);
  EXPECT_EQ(map.Find(kt::ControlKey{}), nullptr);
}

TEST(ControlPathMap, FindsAnyObjectUnderTheKeyOfAnyObject) {
  kt::ControlPathMap map;
  const Handler any = MakeHandler(1);
  kt::ControlKey key = KeyOf(1);
  map.Put(key, "any", any);
  key.object_id.guid.Data1 = 5;
  EXPECT_EQ(map.Find(key), nullptr);
  EXPECT_EQ(map.Find(key.ForAnyObject()), any);
}

// A framework that says the same of two ids mixes up no handlers, and none is lost.
TEST(ControlPathMap, KeepsTwoKeysWithOneText) {
  kt::ControlPathMap map;
  const Handler first = MakeHandler(1);
  const Handler second = MakeHandler(2);
  map.Put(KeyOf(1), "text", first);
  map.Put(KeyOf(2), "text", second);
  EXPECT_EQ(map.Find(KeyOf(1)), first);
  EXPECT_TRUE(map.Erase(KeyOf(1), "text"));
  EXPECT_EQ(map.Find(KeyOf(1)), nullptr);
  EXPECT_EQ(map.Find(KeyOf(2)), second);
  EXPECT_TRUE(map.Erase(KeyOf(2), "text"));
}

}  // namespace
