// What an object keeps of its properties, however many, large and of whatever types they are.
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class ObjectPropertyTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    object_ = NewObject();
  }
  KtStatus Set(const std::string& name, const std::string& text) {
    const cuvo_property record =
        Record(name.c_str(), TYPE_STR, static_cast<std::uint32_t>(text.size() + 1), text.c_str());
    return ObSetProperty(database(), &object_, &record);
  }
  Found Get(const std::string& name) {
    cuvo_property* found = nullptr;
    const KtStatus status = ObGetProperty(database(), &object_, name.c_str(), &found);
    EXPECT_EQ(status, found == nullptr ? kNoProperty : kOk);
    return Found(found);
  }
  std::vector<std::string> Names() {
    KtPropset set = nullptr;
    EXPECT_EQ(ObGetProperties(database(), &object_, &set), kOk);
    KtIterator iterator = nullptr;
    EXPECT_EQ(PsOpenPropset(set, &iterator), kOk);
    std::vector<std::string> names;
    cuvo_property* found = nullptr;
    while (PsFindNextProperty(set, iterator, &found) == kOk) {
      names.emplace_back(found->name);
      PsFreeProperty(found);
    }
    KtCloseHandle(iterator);
    PsDestroyPropset(set);
    return names;
  }
  // A set with one property.
  static KtPropset Nested() {
    const KtPropset set = NewSet();
    EXPECT_EQ(AddText(set, "inner", "text"), kOk);
    return set;
  }

  KtObjId object_{};
};

TEST_F(ObjectPropertyTest, ManyKeepTheirValuesAndTheirOrder) {
  std::vector<std::string> names;
  for (int i = 0; i < 200; ++i) {
    names.push_back("name " + std::to_string(i));
    ASSERT_EQ(Set(names.back(), "value " + std::to_string(i)), kOk);
    ASSERT_EQ(TextOf(Get(names.front())), "value 0");
    ASSERT_EQ(TextOf(Get(names.back())), "value " + std::to_string(i));
  }
  EXPECT_EQ(Names(), names);
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(TextOf(Get(names[static_cast<std::size_t>(i)])), "value " + std::to_string(i));
  }
}

TEST_F(ObjectPropertyTest, ReplacingKeepsThePlaceWhateverTheSize) {
  for (const char* const name : {"a", "b", "c"}) ASSERT_EQ(Set(name, name), kOk);
  for (const std::size_t size : {50U, 5U, 127U, 128U, 100'000U, 0U}) {
    ASSERT_EQ(Set("b", std::string(size, 'x')), kOk);
    EXPECT_EQ(TextOf(Get("b")), std::string(size, 'x'));
    EXPECT_THAT(Names(), testing::ElementsAre("a", "b", "c"));
    EXPECT_EQ(TextOf(Get("a")), "a");
    EXPECT_EQ(TextOf(Get("c")), "c");
  }
}

TEST_F(ObjectPropertyTest, LongNamesAndEmptyOnesAreNames) {
  const std::string name(100'000, 'n');
  ASSERT_EQ(Set("", "empty"), kOk);
  ASSERT_EQ(Set(name, "long"), kOk);
  EXPECT_EQ(TextOf(Get(name)), "long");
  EXPECT_EQ(TextOf(Get("")), "empty");
  EXPECT_STREQ(Get(name)->name, name.c_str());
  EXPECT_THAT(Names(), testing::ElementsAre("", name));
}

TEST_F(ObjectPropertyTest, TheRecordIsTheOneThatWasGiven) {
  const KtGuid guid = kInterfaceA;
  const KtI18NDef message{kInterfaceB, 7, 0, "message"};
  const std::uint8_t yes = 1;
  const std::vector<cuvo_property> records{
      Record("boolean", TYPE_BOOLEAN, 1, &yes, 1),
      Record("guid", TYPE_GUID, sizeof(guid), &guid, 2),
      Record("bytes", TYPE_BINARY, 3, "a\0b", 3),
      Record("no bytes", TYPE_BINARY, 0, nullptr, 4),
      Record("wide", TYPE_WSTR, 6, KT_W("ab"), 5),
      Record("empty", TYPE_STR, 0, nullptr, 6),
  };
  const cuvo_property other = Record("message", TYPE_I18N, sizeof(message), &message, 7);
  // Once as they stand side by side, once with a message among them.
  for (const bool with_message : {false, true}) {
    if (with_message) {
      ASSERT_EQ(ObSetProperty(database(), &object_, &other), kOk);
      const Found found = Get("message");
      EXPECT_EQ(ValueOf<KtI18NDef>(found).messageId, 7U);
      EXPECT_STREQ(ValueOf<KtI18NDef>(found).name, "message");
    }
    for (const cuvo_property& record : records) {
      ASSERT_EQ(ObSetProperty(database(), &object_, &record), kOk);
      const Found found = Get(record.name);
      ASSERT_NE(found, nullptr);
      EXPECT_EQ(found->type, record.type) << record.name;
      EXPECT_EQ(found->flags, record.flags) << record.name;
      // A text has a terminator, even one of no room.
      const std::uint32_t length = record.type == TYPE_STR ? 1 : record.length;
      EXPECT_EQ(found->length, length) << record.name;
      EXPECT_EQ(found->value == nullptr, length == 0) << record.name;
      if (record.length != 0) {
        EXPECT_EQ(std::memcmp(found->value, record.value, record.length), 0) << record.name;
      }
    }
  }
}

TEST_F(ObjectPropertyTest, ASetAmongThemIsACopyAndTheOthersStay) {
  ASSERT_EQ(Set("a", "x"), kOk);
  const KtPropset nested = Nested();
  const cuvo_property record = Record("nested", TYPE_PROPSET, 16, nested);
  ASSERT_EQ(ObSetProperty(database(), &object_, &record), kOk);
  PsDestroyPropset(nested);
  {
    const Found found = Get("nested");
    EXPECT_EQ(TextOf(Find(static_cast<KtPropset>(found->value), "inner")), "text");
  }
  EXPECT_EQ(TextOf(Get("a")), "x");
  EXPECT_THAT(Names(), testing::ElementsAre("a", "nested"));
  ASSERT_EQ(Set("nested", "no set any more"), kOk);
  EXPECT_EQ(TextOf(Get("nested")), "no set any more");
}

TEST_F(ObjectPropertyTest, AnUnknownObjectIsToldBeforeAMalformedRecord) {
  const cuvo_property malformed = Record("a", TYPE_UINT32, 3, "abc");
  const KtObjId gone = object_;
  ASSERT_EQ(ObDeleteObject(database(), &object_), kOk);
  EXPECT_EQ(ObSetProperty(database(), &gone, &malformed), kNoObject);
  EXPECT_EQ(Set("a", "x"), kNoObject);
}

TEST_F(ObjectPropertyTest, ATypeObjectHasPropertiesAsWell) {
  KtObjId type{};
  ASSERT_EQ(ObCreateTypeObject(database(), "t", nullptr, nullptr, &type), kOk);
  object_ = type;
  const cuvo_property malformed = Record("a", TYPE_UINT32, 3, "abc");
  EXPECT_EQ(ObSetProperty(database(), &type, &malformed), kInvalid);
  ASSERT_EQ(Set("a", "x"), kOk);
  EXPECT_EQ(TextOf(Get("a")), "x");
  EXPECT_THAT(Names(), testing::ElementsAre("a"));
}

TEST_F(ObjectPropertyTest, ManyThreadsReadAndChangeOneObject) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 300; ++i) {
        const std::string name = "name " + std::to_string(i % 40);
        if (t % 2 == 0) {
          const std::string text(static_cast<std::size_t>(i % 150), 'x');
          EXPECT_EQ(Set(name, text), kOk);
        } else {
          cuvo_property* found = nullptr;
          const KtStatus status = ObGetProperty(database(), &object_, name.c_str(), &found);
          if (status != kOk) continue;
          const std::string text = static_cast<const char*>(found->value);
          EXPECT_EQ(text, std::string(text.size(), 'x'));
          EXPECT_EQ(text.size() + 1, found->length);
          PsFreeProperty(found);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Names().size(), 40U);
}

}  // namespace
}  // namespace bus_test
