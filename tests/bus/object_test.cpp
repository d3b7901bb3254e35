// Types, objects, their properties, interfaces and children.
#include <set>
#include <string>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class TypeTest : public BusTest {
 protected:
  KtStatus NewType(const char* name, const std::vector<const char*>& superclasses = {},
                   KtPropset properties = nullptr) {
    std::vector<const char*> list = superclasses;
    list.push_back(nullptr);
    return ObCreateTypeObject(database(), name, list.data(), properties, &id_);
  }
  KtObjId id_{};
};

TEST_F(TypeTest, TheBaseTypesAreThereAndNothingThatAProviderRegisters) {
  for (const char* const name :
       {"QELM_Object", "QELM_GenericGroup", "QELM_Configlet", "qelm_ktvm", "qelm_ktvm_disk",
        "qelm_ktvm_cdrom", "qelm_ktvm_volume", "qelm_ktvm_partition", "qelm_ktvm_partition_oem",
        "qelm_ktvm_diskgroup"}) {
    EXPECT_EQ(NewType(name), kTypeExists) << name;
  }
  for (const char* const name : {"qelm_system", "qelm_ktvm_misc"}) {
    EXPECT_EQ(NewType(name, {"qelm_ktvm"}), kOk) << name;
  }
}

TEST_F(TypeTest, ASuperclassThatIsNotThereIsRefused) {
  EXPECT_EQ(NewType("t", {"qelm_ktvm", "missing"}), kBadInheritance);
  EXPECT_EQ(NewType("t"), kOk);
}

TEST_F(TypeTest, ATypeCannotDeriveFromItself) {
  EXPECT_EQ(NewType("t", {"t"}), kBadInheritance);
}

TEST_F(TypeTest, ATypeThatIsThereIsSaidBeforeABadSuperclass) {
  EXPECT_EQ(NewType("qelm_ktvm", {"missing"}), kTypeExists);
}

TEST_F(TypeTest, AnEmptyNameIsRefused) {
  EXPECT_EQ(NewType(""), kInvalid);
}

TEST_F(TypeTest, TypeNamesAreToldApartByLetterCase) {
  EXPECT_EQ(NewType("QELM_KTVM"), kOk);
}

TEST_F(TypeTest, ATypeObjectHasAnIdOfItsOwnAndItsPropertiesUnderIt) {
  const KtPropset properties = NewSet();
  AddText(properties, "VENDOR", "TORMELD");
  ASSERT_EQ(NewType("t", {"qelm_ktvm"}, properties), kOk);
  PsDestroyPropset(properties);
  cuvo_property* found = nullptr;
  ASSERT_EQ(ObGetProperty(database(), &id_, "VENDOR", &found), kOk);
  EXPECT_EQ(TextOf(Found(found)), "TORMELD");
  char* name = nullptr;
  ASSERT_EQ(ObGetObjectType(database(), &id_, &name), kOk);
  EXPECT_STREQ(name, "t");
  _KtFree(name);
}

TEST_F(TypeTest, ATypeObjectIsNoObjectThatCouldBeDeletedOrListed) {
  ASSERT_EQ(NewType("t"), kOk);
  EXPECT_EQ(ObDeleteObject(database(), &id_), kNoObject);
  EXPECT_THAT(ObjectsOf("QELM_Object"), testing::IsEmpty());
}

TEST_F(TypeTest, TheExtendedCallKeepsTheFlags) {
  ASSERT_EQ(ObCreateTypeObjectEx(database(), "t", nullptr, nullptr, 0x42, 0, &id_), kOk);
  std::uint32_t flags = 0;
  KtBusVisitTypes(
      database(),
      [](const KtBusTypeInfo* info, void* context) -> cuvo_bool {
        if (std::string(info->name) == "t") *static_cast<std::uint32_t*>(context) = info->flags;
        return 1;
      },
      &flags);
  EXPECT_EQ(flags, 0x42U);
}

using ObjectTest = BusTest;

TEST_F(ObjectTest, IsListedUnderItsTypeAndEveryTypeAboveIt) {
  const KtObjId disk = NewObject("qelm_ktvm_disk");
  for (const char* const type : {"qelm_ktvm_disk", "qelm_ktvm", "QELM_Object"}) {
    EXPECT_TRUE(SameIds(ObjectsOf(type), {disk})) << type;
  }
  EXPECT_THAT(ObjectsOf("qelm_ktvm_volume"), testing::IsEmpty());
}

TEST_F(ObjectTest, AreListedInTheOrderOfCreationWhateverTheirTypes) {
  std::vector<KtObjId> ids;
  for (int i = 0; i < 30; ++i) {
    static constexpr std::array kTypes{"qelm_ktvm_volume", "qelm_ktvm_disk", "qelm_ktvm"};
    ids.push_back(NewObject(kTypes[static_cast<std::size_t>(i) % kTypes.size()]));
  }
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), ids));
}

TEST_F(ObjectTest, OfATypeWithTwoWaysUpIsListedOnce) {
  KtObjId id{};
  const std::array<const char*, 3> both{"qelm_ktvm_disk", "qelm_ktvm_volume", nullptr};
  ASSERT_EQ(ObCreateTypeObject(database(), "both", both.data(), nullptr, &id), kOk);
  const KtObjId object = NewObject("both");
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), {object}));
}

TEST_F(ObjectTest, NoneGivesANullListAndStatusZero) {
  KtObjId sentinel{};
  KtObjId* list = &sentinel;
  std::uint32_t count = 7;
  EXPECT_EQ(DbGetObjects(database(), "qelm_ktvm", &list, &count), kOk);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(count, 0U);
}

TEST_F(ObjectTest, OfAnUnknownTypeIsRefused) {
  KtObjId id{};
  EXPECT_EQ(ObCreateObject(database(), provider(), "missing", &id), kUnknownType);
  EXPECT_EQ(ObCreateObjectEx(database(), provider(), "missing", 2, nullptr, &id), kUnknownType);
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(DbGetObjects(database(), "missing", &list, &count), kUnknownType);
  EXPECT_EQ(ObRegisterInterfaceOnType(database(), "missing", provider(), &kInterfaceA),
            kUnknownType);
}

TEST_F(ObjectTest, KnowsItsType) {
  const KtObjId disk = NewObject("qelm_ktvm_disk");
  char* type = nullptr;
  ASSERT_EQ(ObGetObjectType(database(), &disk, &type), kOk);
  EXPECT_STREQ(type, "qelm_ktvm_disk");
  _KtFree(type);
}

TEST_F(ObjectTest, LeavesTheListsWhenItIsDeleted) {
  const KtObjId first = NewObject("qelm_ktvm");
  const KtObjId second = NewObject("qelm_ktvm");
  EXPECT_EQ(ObDeleteObject(database(), &first), kOk);
  EXPECT_EQ(ObDeleteObject(database(), &first), kNoObject);
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), {second}));
}

TEST_F(ObjectTest, ListsKeepTheOrderWhenManyAreDeleted) {
  std::vector<KtObjId> disks;
  std::vector<KtObjId> all;
  for (int i = 0; i < 600; ++i) {
    const bool disk = i % 3 != 0;
    const KtObjId id = NewObject(disk ? "qelm_ktvm_disk" : "qelm_ktvm_volume");
    if (i % 7 != 0 && i < 500) {
      ASSERT_EQ(ObDeleteObject(database(), &id), kOk);
      continue;
    }
    all.push_back(id);
    if (disk) disks.push_back(id);
  }
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm_disk"), disks));
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), all));
}

TEST_F(ObjectTest, IdsAreDistinctVersion4Guids) {
  std::set<std::string> seen;
  for (int i = 0; i < 5000; ++i) {
    const KtObjId id = NewObject();
    EXPECT_EQ(id.guid.Data3 >> 12U, 4U);
    EXPECT_EQ(id.guid.Data4[0] >> 6U, 2U);
    char* const text = KtGUIDToString(&id.guid);
    EXPECT_TRUE(seen.insert(text).second);
    _KtFree(text);
  }
}

TEST_F(ObjectTest, PropertiesAreAddedAndReplacedByOneCall) {
  const KtObjId object = NewObject();
  const std::uint32_t value = 5;
  const cuvo_property number = Record("State", TYPE_UINT32, 4, &value, 3);
  EXPECT_EQ(ObSetProperty(database(), &object, &number), kOk);
  EXPECT_EQ(ObSetProperty(database(), &object, &number), kOk);
  const cuvo_property text = Record("State", TYPE_STR, 3, "on");
  EXPECT_EQ(ObSetProperty(database(), &object, &text), kOk);
  cuvo_property* found = nullptr;
  ASSERT_EQ(ObGetProperty(database(), &object, "State", &found), kOk);
  EXPECT_EQ(TextOf(Found(found)), "on");
}

TEST_F(ObjectTest, AMissingPropertyIsAStatus) {
  const KtObjId object = NewObject();
  cuvo_property* found = nullptr;
  EXPECT_EQ(ObGetProperty(database(), &object, "missing", &found), kNoProperty);
  EXPECT_EQ(found, nullptr);
}

TEST_F(ObjectTest, AMalformedPropertyIsRefused) {
  const KtObjId object = NewObject();
  const cuvo_property record = Record("a", TYPE_UINT32, 3, "abc");
  EXPECT_EQ(ObSetProperty(database(), &object, &record), kInvalid);
}

TEST_F(ObjectTest, ItsPropertiesAsASetAreACopyInTheOrderOfAdding) {
  const KtObjId object = NewObject();
  for (const char* const name : {"b", "a", "c"}) {
    const cuvo_property record = Record(name, TYPE_STR, 2, "x");
    ASSERT_EQ(ObSetProperty(database(), &object, &record), kOk);
  }
  KtPropset set = nullptr;
  ASSERT_EQ(ObGetProperties(database(), &object, &set), kOk);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), kOk);
  std::string names;
  cuvo_property* found = nullptr;
  while (PsFindNextProperty(set, iterator, &found) == kOk) {
    names += found->name;
    PsFreeProperty(found);
  }
  EXPECT_EQ(names, "bac");
  KtCloseHandle(iterator);
  AddUint32(set, "d", 1);
  EXPECT_EQ(ObGetProperty(database(), &object, "d", &found), kNoProperty);
  PsDestroyPropset(set);
}

class ChildTest : public BusTest {
 protected:
  KtStatus Attach(const KtObjId& parent, const KtObjId& child) {
    return ObAttachChildObject(database(), &parent, &child);
  }
  KtStatus Detach(const KtObjId& parent, const KtObjId& child) {
    return ObDetachChildObject(database(), &parent, &child);
  }
};

TEST_F(ChildTest, AreListedInTheOrderOfAttaching) {
  const KtObjId parent = NewObject();
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  const KtObjId c = NewObject();
  EXPECT_EQ(Attach(parent, b), kOk);
  EXPECT_EQ(Attach(parent, c), kOk);
  EXPECT_EQ(Attach(parent, a), kOk);
  EXPECT_TRUE(SameIds(ChildrenOf(parent), {b, c, a}));
  EXPECT_EQ(Detach(parent, c), kOk);
  EXPECT_EQ(Attach(parent, c), kOk);
  EXPECT_TRUE(SameIds(ChildrenOf(parent), {b, a, c}));
}

TEST_F(ChildTest, NoneGivesANullList) {
  const KtObjId parent = NewObject();
  KtObjId sentinel{};
  KtObjId* list = &sentinel;
  std::uint32_t count = 7;
  EXPECT_EQ(ObGetChildObjects(database(), &parent, &list, &count), kOk);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(count, 0U);
}

TEST_F(ChildTest, CannotBeAttachedTwice) {
  const KtObjId parent = NewObject();
  const KtObjId child = NewObject();
  EXPECT_EQ(Attach(parent, child), kOk);
  EXPECT_EQ(Attach(parent, child), kInvalid);
  EXPECT_EQ(ChildrenOf(parent).size(), 1U);
}

TEST_F(ChildTest, CannotBeItsOwnParent) {
  const KtObjId object = NewObject();
  EXPECT_EQ(Attach(object, object), kInvalid);
  EXPECT_THAT(ChildrenOf(object), testing::IsEmpty());
}

TEST_F(ChildTest, CannotCloseACircle) {
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  const KtObjId c = NewObject();
  ASSERT_EQ(Attach(a, b), kOk);
  ASSERT_EQ(Attach(b, c), kOk);
  EXPECT_EQ(Attach(c, a), kInvalid);
  EXPECT_EQ(Attach(b, a), kInvalid);
  ASSERT_EQ(Detach(a, b), kOk);
  EXPECT_EQ(Attach(c, a), kOk);
}

TEST_F(ChildTest, MayHaveSeveralParents) {
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  const KtObjId child = NewObject();
  EXPECT_EQ(Attach(a, child), kOk);
  EXPECT_EQ(Attach(b, child), kOk);
  EXPECT_EQ(Attach(a, b), kOk);
  EXPECT_TRUE(SameIds(ChildrenOf(b), {child}));
}

TEST_F(ChildTest, ThatIsDeletedLeavesAllItsParents) {
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  const KtObjId child = NewObject();
  const KtObjId other = NewObject();
  Attach(a, child);
  Attach(a, other);
  Attach(b, child);
  ASSERT_EQ(ObDeleteObject(database(), &child), kOk);
  EXPECT_TRUE(SameIds(ChildrenOf(a), {other}));
  EXPECT_THAT(ChildrenOf(b), testing::IsEmpty());
}

TEST_F(ChildTest, OutlivesItsParentAndCanBeAttachedElsewhere) {
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  const KtObjId child = NewObject();
  Attach(a, child);
  ASSERT_EQ(ObDeleteObject(database(), &a), kOk);
  EXPECT_EQ(Attach(b, child), kOk);
  EXPECT_EQ(Attach(child, b), kInvalid);
}

TEST_F(ChildTest, ThatIsNotThereCannotBeDetached) {
  const KtObjId a = NewObject();
  const KtObjId b = NewObject();
  EXPECT_EQ(Detach(a, b), kInvalid);
}

TEST_F(ChildTest, InALongChainStillCannotCloseACircle) {
  std::vector<KtObjId> chain{NewObject()};
  for (int i = 0; i < 3000; ++i) {
    chain.push_back(NewObject());
    ASSERT_EQ(Attach(chain[chain.size() - 2], chain.back()), kOk);
  }
  EXPECT_EQ(Attach(chain.back(), chain.front()), kInvalid);
}

}  // namespace
}  // namespace bus_test
