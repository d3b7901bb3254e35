// Property sets: adding, replacing, finding, enumerating, copying.
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class PropertySetTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    set_ = NewSet();
  }
  void TearDown() override {
    PsDestroyPropset(set_);
    BusTest::TearDown();
  }
  std::vector<std::string> Names(KtPropset set) {
    std::vector<std::string> names;
    KtIterator iterator = nullptr;
    EXPECT_EQ(PsOpenPropset(set, &iterator), kOk);
    cuvo_property* found = nullptr;
    while (PsFindNextProperty(set, iterator, &found) == kOk) {
      names.emplace_back(found->name);
      PsFreeProperty(found);
    }
    EXPECT_EQ(KtCloseHandle(iterator), kOk);
    return names;
  }

  KtPropset set_ = nullptr;
};

TEST_F(PropertySetTest, FindsWhatWasAddedWithItsTypeFlagsAndLength) {
  const std::uint32_t value = 7;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value, 0x55);
  ASSERT_EQ(PsAddProperty(set_, &record), kOk);
  const Found found = Find(set_, "a");
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->name, "a");
  EXPECT_EQ(found->type, TYPE_UINT32);
  EXPECT_EQ(found->flags, 0x55U);
  EXPECT_EQ(found->length, 4U);
  EXPECT_EQ(ValueOf<std::uint32_t>(found), 7U);
}

TEST_F(PropertySetTest, ARecordIsWholeHoweverLongItIs) {
  for (std::size_t length = 0; length < 400; ++length) {
    const KtPropset set = NewSet();
    const std::string name(1 + length % 11, 'n');
    std::string value;
    for (std::size_t i = 0; i < length; ++i) value += static_cast<char>('a' + i % 26);
    const cuvo_property record =
        Record(name.c_str(), TYPE_BINARY, static_cast<std::uint32_t>(length), value.data());
    ASSERT_EQ(PsAddProperty(set, &record), kOk);
    const Found found = Find(set, name.c_str());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, name);
    EXPECT_EQ(found->padding, 0U);
    ASSERT_EQ(found->length, length);
    EXPECT_EQ(found->value == nullptr, length == 0);
    if (length != 0) {
      EXPECT_EQ(std::memcmp(found->value, value.data(), length), 0);
    }
    EXPECT_EQ(PsDestroyPropset(set), kOk);
  }
}

TEST_F(PropertySetTest, RefusesToAddANameTwice) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  EXPECT_EQ(AddUint32(set_, "a", 2), kExists);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, "a")), 1U);
}

TEST_F(PropertySetTest, TellsNamesApartByLetterCase) {
  ASSERT_EQ(AddUint32(set_, "name", 1), kOk);
  ASSERT_EQ(AddUint32(set_, "Name", 2), kOk);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, "name")), 1U);
}

TEST_F(PropertySetTest, SetReplacesTheValue) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  const std::uint32_t value = 2;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value);
  EXPECT_EQ(PsSetProperty(set_, &record), kOk);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, "a")), 2U);
}

TEST_F(PropertySetTest, SetReplacesTypeAndFlagsToo) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  const cuvo_property record = Record("a", TYPE_STR, 2, "x", 9);
  EXPECT_EQ(PsSetProperty(set_, &record), kOk);
  const Found found = Find(set_, "a");
  EXPECT_EQ(found->type, TYPE_STR);
  EXPECT_EQ(found->flags, 9U);
  EXPECT_EQ(TextOf(found), "x");
}

TEST_F(PropertySetTest, SetSaysSoWhenNothingChanges) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  const std::uint32_t value = 1;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value);
  EXPECT_EQ(PsSetProperty(set_, &record), kUnchanged);
}

TEST_F(PropertySetTest, SetSeesAChangeOfTheFlagsAlone) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  const std::uint32_t value = 1;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value, 1);
  EXPECT_EQ(PsSetProperty(set_, &record), kOk);
}

TEST_F(PropertySetTest, SetSeesAChangeOfTheTypeAlone) {
  ASSERT_EQ(AddUint32(set_, "a", 1), kOk);
  const std::int32_t value = 1;
  const cuvo_property record = Record("a", TYPE_INT32, 4, &value);
  EXPECT_EQ(PsSetProperty(set_, &record), kOk);
}

TEST_F(PropertySetTest, SetComparesNestedSetsByTheirContent) {
  const KtPropset first = NewSet();
  const KtPropset second = NewSet();
  AddUint32(first, "x", 1);
  AddUint32(second, "x", 1);
  ASSERT_EQ(AddSet(set_, "s", first), kOk);
  const cuvo_property same = Record("s", TYPE_PROPSET, 16, second);
  EXPECT_EQ(PsSetProperty(set_, &same), kUnchanged);
  AddUint32(second, "y", 1);
  EXPECT_EQ(PsSetProperty(set_, &same), kOk);
  PsDestroyPropset(first);
  PsDestroyPropset(second);
}

TEST_F(PropertySetTest, SetOfAMissingNameIsRefused) {
  const std::uint32_t value = 1;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value);
  EXPECT_EQ(PsSetProperty(set_, &record), kNoProperty);
  EXPECT_EQ(Find(set_, "a"), nullptr);
}

TEST_F(PropertySetTest, FindingAMissingNameLeavesTheCallersPointerAlone) {
  cuvo_property sentinel{};
  cuvo_property* found = &sentinel;
  EXPECT_EQ(PsFindProperty(set_, "missing", &found), kNoProperty);
  EXPECT_EQ(found, &sentinel);
}

TEST_F(PropertySetTest, FindsEachOfManyByNameAndKeepsTheOrderOfAdding) {
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < 2000; ++i) {
    names.push_back("property" + std::to_string((i * 7919) % 2000));
    ASSERT_EQ(AddUint32(set_, names.back().c_str(), i), kOk);
  }
  for (std::uint32_t i = 0; i < 2000; ++i) {
    EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, names[i].c_str())), i);
    EXPECT_EQ(AddUint32(set_, names[i].c_str(), 0), kExists);
  }
  EXPECT_EQ(Names(set_), names);
}

TEST_F(PropertySetTest, KeepsThePlaceOfAReplacedProperty) {
  for (const char* name : {"a", "b", "c"}) AddUint32(set_, name, 1);
  const cuvo_property record = Record("b", TYPE_STR, 2, "x");
  ASSERT_EQ(PsSetProperty(set_, &record), kOk);
  EXPECT_THAT(Names(set_), testing::ElementsAre("a", "b", "c"));
}

TEST_F(PropertySetTest, AnEmptySetEnumeratesNothing) {
  EXPECT_THAT(Names(set_), testing::IsEmpty());
}

TEST_F(PropertySetTest, TheEndOfAnEnumerationIsSaidEveryTime) {
  AddUint32(set_, "a", 1);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set_, &iterator), kOk);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindNextProperty(set_, iterator, &found), kOk);
  PsFreeProperty(found);
  EXPECT_EQ(PsFindNextProperty(set_, iterator, &found), kNoMore);
  EXPECT_EQ(PsFindNextProperty(set_, iterator, &found), kNoMore);
  KtCloseHandle(iterator);
}

TEST_F(PropertySetTest, AddingDuringAnEnumerationDoesNotDisturbIt) {
  for (int i = 0; i < 5; ++i) AddUint32(set_, std::to_string(i).c_str(), 0);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set_, &iterator), kOk);
  std::vector<std::string> names;
  cuvo_property* found = nullptr;
  while (names.size() < 50 && PsFindNextProperty(set_, iterator, &found) == kOk) {
    names.emplace_back(found->name);
    PsFreeProperty(found);
    AddUint32(set_, ("new" + std::to_string(names.size())).c_str(), 0);
  }
  EXPECT_THAT(std::vector(names.begin(), names.begin() + 5),
              testing::ElementsAre("0", "1", "2", "3", "4"));
  KtCloseHandle(iterator);
}

TEST_F(PropertySetTest, AnIteratorOfADestroyedSetIsAStatusAndCanStillBeClosed) {
  const KtPropset other = NewSet();
  AddUint32(other, "a", 1);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(other, &iterator), kOk);
  PsDestroyPropset(other);
  cuvo_property* found = nullptr;
  EXPECT_EQ(PsFindNextProperty(other, iterator, &found), kNoObject);
  EXPECT_EQ(PsFindNextProperty(set_, iterator, &found), kNoObject);
  EXPECT_EQ(KtCloseHandle(iterator), kOk);
}

TEST_F(PropertySetTest, ACopyIsIndependentOfItsSource) {
  AddUint32(set_, "a", 1);
  KtPropset copy = nullptr;
  ASSERT_EQ(PsCopyPropset(set_, &copy), kOk);
  AddUint32(set_, "b", 1);
  const std::uint32_t value = 9;
  const cuvo_property record = Record("a", TYPE_UINT32, 4, &value);
  PsSetProperty(copy, &record);
  EXPECT_THAT(Names(copy), testing::ElementsAre("a"));
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, "a")), 1U);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(copy, "a")), 9U);
  PsDestroyPropset(copy);
}

TEST_F(PropertySetTest, ACopyOfManyFindsByNameToo) {
  for (int i = 0; i < 100; ++i) AddUint32(set_, std::to_string(i).c_str(), 1);
  KtPropset copy = nullptr;
  ASSERT_EQ(PsCopyPropset(set_, &copy), kOk);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(copy, "99")), 1U);
  EXPECT_EQ(AddUint32(copy, "50", 1), kExists);
  EXPECT_EQ(AddUint32(copy, "new", 1), kOk);
  EXPECT_EQ(Find(set_, "new"), nullptr);
  PsDestroyPropset(copy);
}

TEST_F(PropertySetTest, ANestedSetIsCopiedInAndTheCallerKeepsItsOwn) {
  const KtPropset nested = NewSet();
  AddUint32(nested, "x", 1);
  ASSERT_EQ(AddSet(set_, "nested", nested), kOk);
  AddUint32(nested, "y", 2);
  EXPECT_EQ(PsDestroyPropset(nested), kOk);
  const Found found = Find(set_, "nested");
  const auto inside = static_cast<KtPropset>(found->value);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(inside, "x")), 1U);
  EXPECT_EQ(Find(inside, "y"), nullptr);
}

TEST_F(PropertySetTest, EveryFoundRecordCarriesAFreshCopyOfANestedSet) {
  const KtPropset nested = NewSet();
  AddSet(set_, "nested", nested);
  PsDestroyPropset(nested);
  const Found first = Find(set_, "nested");
  const Found second = Find(set_, "nested");
  EXPECT_NE(first->value, second->value);
  AddUint32(static_cast<KtPropset>(first->value), "x", 1);
  EXPECT_EQ(Find(static_cast<KtPropset>(second->value), "x"), nullptr);
  EXPECT_EQ(Find(static_cast<KtPropset>(Find(set_, "nested")->value), "x"), nullptr);
}

TEST_F(PropertySetTest, CopiesAreDeepOverSeveralLevels) {
  const KtPropset inner = NewSet();
  const KtPropset middle = NewSet();
  AddText(inner, "text", "deep");
  AddSet(middle, "inner", inner);
  AddSet(set_, "middle", middle);
  PsDestroyPropset(inner);
  PsDestroyPropset(middle);
  KtPropset copy = nullptr;
  ASSERT_EQ(PsCopyPropset(set_, &copy), kOk);
  const Found found_middle = Find(copy, "middle");
  const Found found_inner = Find(static_cast<KtPropset>(found_middle->value), "inner");
  EXPECT_EQ(TextOf(Find(static_cast<KtPropset>(found_inner->value), "text")), "deep");
  PsDestroyPropset(copy);
}

TEST_F(PropertySetTest, ASetCanBePutIntoItself) {
  AddUint32(set_, "a", 1);
  ASSERT_EQ(AddSet(set_, "self", set_), kOk);
  const Found found = Find(set_, "self");
  const auto inside = static_cast<KtPropset>(found->value);
  EXPECT_THAT(Names(inside), testing::ElementsAre("a"));
}

TEST_F(PropertySetTest, NestingWithoutEndIsRefusedBeforeItIsTooDeep) {
  KtStatus status = kOk;
  int levels = 0;
  for (; levels < 1000 && status == kOk; ++levels) {
    status = AddSet(set_, std::to_string(levels).c_str(), set_);
  }
  EXPECT_EQ(status, kInvalid);
  EXPECT_GT(levels, 32);
  EXPECT_LT(levels, 1000);
}

TEST_F(PropertySetTest, FreeingOnlyTheRecordLeavesTheNestedSetToTheCaller) {
  const KtPropset nested = NewSet();
  AddUint32(nested, "x", 1);
  AddSet(set_, "nested", nested);
  PsDestroyPropset(nested);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set_, "nested", &found), kOk);
  const auto kept = static_cast<KtPropset>(found->value);
  _KtFree(found);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(kept, "x")), 1U);
  EXPECT_EQ(PsDestroyPropset(kept), kOk);
}

TEST_F(PropertySetTest, FreeingThePropertyDestroysTheSetsThatItCarries) {
  const KtPropset nested = NewSet();
  const std::array<KtPropset, 3> list{nested, nullptr, nested};
  const cuvo_property record = Record("list", TYPE_PROPSETZ, 3, list.data());
  ASSERT_EQ(PsAddProperty(set_, &record), kOk);
  PsDestroyPropset(nested);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set_, "list", &found), kOk);
  std::array<KtPropset, 3> carried{};
  std::memcpy(carried.data(), found->value, sizeof(carried));
  EXPECT_EQ(carried[1], nullptr);
  EXPECT_EQ(PsFreeProperty(found), kOk);
  EXPECT_EQ(PsDestroyPropset(carried[0]), kNoObject);
  EXPECT_EQ(PsDestroyPropset(carried[2]), kNoObject);
}

TEST_F(PropertySetTest, FreeingAPropertyWhoseSetTheHolderTookOutLeavesThatSet) {
  const KtPropset nested = NewSet();
  AddSet(set_, "nested", nested);
  PsDestroyPropset(nested);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set_, "nested", &found), kOk);
  const auto taken = static_cast<KtPropset>(found->value);
  found->value = nullptr;
  EXPECT_EQ(PsFreeProperty(found), kOk);
  EXPECT_EQ(PsDestroyPropset(taken), kOk);
}

TEST_F(PropertySetTest, FreeingARecordWhoseListPointsElsewhereDoesNotFollowIt) {
  const KtPropset nested = NewSet();
  const std::array<KtPropset, 1> list{nested};
  const cuvo_property record = Record("list", TYPE_PROPSETZ, 1, list.data());
  ASSERT_EQ(PsAddProperty(set_, &record), kOk);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set_, "list", &found), kOk);
  KtPropset carried = nullptr;
  std::memcpy(&carried, found->value, sizeof(carried));
  found->value = &found;
  found->length = 1000000;
  EXPECT_EQ(PsFreeProperty(found), kOk);
  EXPECT_EQ(PsDestroyPropset(carried), kOk);
  PsDestroyPropset(nested);
}

TEST_F(PropertySetTest, InsertionsAreNamedByTheirNumber) {
  EXPECT_EQ(I18nAddInsertionString(set_, 1, "one"), kOk);
  EXPECT_EQ(I18nAddInsertionWideString(set_, 12, KT_W("zw\u00F6lf")), kOk);
  EXPECT_THAT(Names(set_), testing::ElementsAre("p1", "p12"));
  const Found narrow = Find(set_, "p1");
  EXPECT_EQ(narrow->type, TYPE_STR);
  EXPECT_EQ(narrow->length, 4U);
  EXPECT_EQ(TextOf(narrow), "one");
  const Found wide = Find(set_, "p12");
  EXPECT_EQ(wide->type, TYPE_WSTR);
  EXPECT_EQ(wide->length, 12U);
  EXPECT_EQ(std::basic_string<KtWchar>(static_cast<const KtWchar*>(wide->value)),
            KT_W("zw\u00F6lf"));
}

TEST_F(PropertySetTest, AnInsertionIsReplacedWhenItIsThere) {
  I18nAddInsertionString(set_, 1, "one");
  EXPECT_EQ(I18nAddInsertionWideString(set_, 1, KT_W("uno")), kOk);
  EXPECT_EQ(I18nAddInsertionString(set_, 1, "eins"), kOk);
  EXPECT_EQ(I18nAddInsertionString(set_, 1, "eins"), kOk);
  EXPECT_EQ(TextOf(Find(set_, "p1")), "eins");
  EXPECT_THAT(Names(set_), testing::ElementsAre("p1"));
}

TEST_F(PropertySetTest, NullPointersAreRefused) {
  const std::uint32_t value = 1;
  const cuvo_property unnamed = Record(nullptr, TYPE_UINT32, 4, &value);
  cuvo_property* found = nullptr;
  EXPECT_EQ(PsCreatePropset(nullptr), kInvalid);
  EXPECT_EQ(PsCopyPropset(set_, nullptr), kInvalid);
  EXPECT_EQ(PsAddProperty(set_, nullptr), kInvalid);
  EXPECT_EQ(PsAddProperty(set_, &unnamed), kInvalid);
  EXPECT_EQ(PsSetProperty(set_, nullptr), kInvalid);
  EXPECT_EQ(PsSetProperty(set_, &unnamed), kInvalid);
  EXPECT_EQ(PsFindProperty(set_, nullptr, &found), kInvalid);
  EXPECT_EQ(PsFindProperty(set_, "a", nullptr), kInvalid);
  EXPECT_EQ(PsOpenPropset(set_, nullptr), kInvalid);
  EXPECT_EQ(PsFreeProperty(nullptr), kInvalid);
  EXPECT_EQ(I18nAddInsertionString(set_, 1, nullptr), kInvalid);
  EXPECT_EQ(I18nAddInsertionWideString(set_, 1, nullptr), kInvalid);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set_, &iterator), kOk);
  EXPECT_EQ(PsFindNextProperty(set_, iterator, nullptr), kInvalid);
  KtCloseHandle(iterator);
}

TEST_F(PropertySetTest, EightThreadsOnOneSetLoseNothing) {
  constexpr int kThreads = 8;
  constexpr int kEach = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kEach; ++i) {
        const std::string own = std::to_string(t) + "." + std::to_string(i);
        EXPECT_EQ(AddUint32(set_, own.c_str(), 1), kOk);
        const std::string shared = "shared" + std::to_string(i);
        AddUint32(set_, shared.c_str(), 1);
        const std::uint32_t value = static_cast<std::uint32_t>(t);
        const cuvo_property record = Record(shared.c_str(), TYPE_UINT32, 4, &value);
        const KtStatus status = PsSetProperty(set_, &record);
        EXPECT_TRUE(status == kOk || status == kUnchanged || status == kNoProperty);
        Find(set_, own.c_str());
        if (i % 50 == 0) {
          Names(set_);
          KtPropset copy = nullptr;
          EXPECT_EQ(PsCopyPropset(set_, &copy), kOk);
          PsDestroyPropset(copy);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Names(set_).size(), static_cast<std::size_t>(kThreads * kEach + kEach));
}

TEST_F(PropertySetTest, ASetDestroyedUnderOtherThreadsIsAStatusToThem) {
  for (int round = 0; round < 50; ++round) {
    const KtPropset shared = NewSet();
    AddUint32(shared, "a", 1);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
          cuvo_property* found = nullptr;
          const KtStatus status = PsFindProperty(shared, "a", &found);
          if (status == kOk) {
            PsFreeProperty(found);
          } else if (status != kNoObject) {
            ++wrong;
          }
        }
      });
    }
    EXPECT_EQ(PsDestroyPropset(shared), kOk);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
  }
}

}  // namespace
}  // namespace bus_test
