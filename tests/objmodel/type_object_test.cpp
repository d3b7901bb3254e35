#include "objmodel/type_object.h"

#include <array>
#include <cstdio>

#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"
#include "objmodel/thrown.h"
#include "objmodel/value_text.h"

namespace {

using fake::Error;
using fake::Info;
using fake::Warning;
using Names = std::vector<std::string>;

class TypeObject : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    for (int i = 1; i <= 20; ++i) {
      numbered_.push_back("super" + std::to_string(i));
      framework_.AddType(numbered_.back());
    }
  }

  Names numbered_;
};

TEST_F(TypeObject, IsAPropertySetWhosePropertiesBecomeTheTypes) {
  CKtTypeObject type("disk");
  EXPECT_EQ(type.TypeName(), "disk");
  EXPECT_NE(type.Handle(), nullptr);
  type.AddProp("VENDOR", KtWString(KT_W("TORMELD")), 0);
  type.AddSuperclass("super1");
  const KtObjId id = type.Register();
  EXPECT_FALSE(Same(id, KtObjId{}));
  EXPECT_TRUE(Same(type.Id(), id));
  EXPECT_EQ(framework_.SuperclassesOf("disk"), Names{"super1"});
  ASSERT_EQ(framework_.TypeProperties("disk").size(), 1u);
  EXPECT_EQ(framework_.TypeProperties("disk")[0].text, "TORMELD");
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(TypeObject, DestroysItsPropertySetWhenItGoes) {
  { const CKtTypeObject type("disk"); }
  EXPECT_EQ(framework_.CallNames(), (Names{"PsCreatePropset", "PsDestroyPropset"}));
}

TEST_F(TypeObject, DestructorTracesAndSwallowsAFailingDestroy) {
  EXPECT_EQ(ThrownBy([&] {
              const CKtTypeObject type("disk");
              framework_.FailCall("PsDestroyPropset", 1, 5);
            }),
            0u);
  EXPECT_EQ(
      framework_.Traces(),
      std::vector{Error("hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed")});
}

TEST_F(TypeObject, ThrowsWhenItsPropertySetCannotBeCreated) {
  framework_.FailCall("PsCreatePropset", 1, 0x8007000Eu);
  EXPECT_EQ(ThrownBy([] { const CKtTypeObject type("disk"); }), 0x8007000Eu);
}

TEST_F(TypeObject, RegistersWithThePlainCallWithoutFlagsAndTheExtendedCallWithThem) {
  CKtTypeObject plain("plain");
  plain.Register();
  EXPECT_EQ(framework_.CountOf("ObCreateTypeObject"), 1u);
  EXPECT_EQ(framework_.CountOf("ObCreateTypeObjectEx"), 0u);
  CKtTypeObject extended("extended");
  extended.SetFlags(4);
  extended.Register();
  EXPECT_EQ(framework_.CountOf("ObCreateTypeObject"), 1u);
  EXPECT_EQ(framework_.CountOf("ObCreateTypeObjectEx"), 1u);
  EXPECT_TRUE(framework_.HasType("extended"));
  EXPECT_THAT(framework_.CallTexts().back(), ::testing::EndsWith("4, 0)"));
}

TEST_F(TypeObject, ConfigletIsNeverRegistered) {
  CKtTypeObject type("QELM_Configlet");
  framework_.ForgetCalls();
  EXPECT_TRUE(Same(type.Register(), KtObjId{}));
  EXPECT_TRUE(framework_.Calls().empty());
  EXPECT_TRUE(fake::NothingTraced());
  CKtTypeObject other("qelm_configlet");
  EXPECT_FALSE(Same(other.Register(), KtObjId{})) << "the name is compared exactly";
}

TEST_F(TypeObject, PassesTheFirstSixteenOfTwentySuperclasses) {
  CKtTypeObject type("disk");
  for (const std::string& name : numbered_) type.AddSuperclass(name);
  type.Register();
  EXPECT_EQ(framework_.SuperclassesOf("disk"), Names(numbered_.begin(), numbered_.begin() + 16));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(TypeObject, PassesObjectOnUnchangedWithoutADescriptor) {
  CKtTypeObject type("disk");
  type.AddSuperclass("QELM_Object");
  type.AddSuperclass("super1");
  type.Register();
  EXPECT_EQ(framework_.SuperclassesOf("disk"), (Names{"QELM_Object", "super1"}));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(TypeObject, WithADescriptorSkipsObjectAndTracesEveryName) {
  const std::array<const char*, 3> superclasses{"QELM_Object", "super1", nullptr};
  const KtTypeDescriptor descriptor{nullptr, superclasses.data()};
  CKtTypeObject type("disk");
  type.AddSuperclass("super2");
  type.SetDescriptor(&descriptor);
  type.Register();
  EXPECT_EQ(framework_.SuperclassesOf("disk"), Names{"super1"});
  EXPECT_EQ(framework_.Traces(),
            (std::vector{
                Info("ERROR: CKtTypeObject::Register() - Adding superclass to disk, QELM_Object "
                     "ignored\n"),
                Info("ERROR: CKtTypeObject::Register() - Type disk adding superclass super1 \n")}));
}

TEST_F(TypeObject, SkippedSuperclassUsesNoneOfTheSixteenPlaces) {
  std::vector<const char*> superclasses{"QELM_Object"};
  for (const std::string& name : numbered_) superclasses.push_back(name.c_str());
  superclasses.push_back(nullptr);
  const KtTypeDescriptor descriptor{nullptr, superclasses.data()};
  CKtTypeObject type("disk");
  type.SetDescriptor(&descriptor);
  type.Register();
  EXPECT_EQ(framework_.SuperclassesOf("disk"), Names(numbered_.begin(), numbered_.begin() + 16));
  EXPECT_EQ(framework_.TracesAt(1).size(), 17u);
}

TEST_F(TypeObject, WithADescriptorWithoutSuperclassesHasNone) {
  const std::array<const char*, 1> none{nullptr};
  const KtTypeDescriptor empty_list{nullptr, none.data()};
  const KtTypeDescriptor no_list{nullptr, nullptr};
  CKtTypeObject first("first");
  first.AddSuperclass("super1");
  first.SetDescriptor(&empty_list);
  first.Register();
  CKtTypeObject second("second");
  second.AddSuperclass("super1");
  second.SetDescriptor(&no_list);
  second.Register();
  EXPECT_TRUE(framework_.SuperclassesOf("first").empty());
  EXPECT_TRUE(framework_.SuperclassesOf("second").empty());
}

TEST_F(TypeObject, ThatIsThereAlreadyGivesTheZeroIdAndRegistersNoInterfaces) {
  framework_.AddType("disk");
  const std::array<const KtGuid*, 2> interfaces{&kGuidOne, nullptr};
  const KtTypeDescriptor descriptor{interfaces.data(), nullptr};
  CKtTypeObject type("disk");
  type.SetDescriptor(&descriptor);
  EXPECT_TRUE(Same(type.Register(), KtObjId{}));
  EXPECT_TRUE(Same(type.Id(), KtObjId{}));
  EXPECT_EQ(framework_.Traces(), std::vector{Warning("ERROR: Type disk already registered.")});
  EXPECT_TRUE(framework_.TypeInterfacesOf("disk").empty());
}

TEST_F(TypeObject, RegisteredTwiceIsHarmless) {
  CKtTypeObject type("disk");
  EXPECT_FALSE(Same(type.Register(), KtObjId{}));
  EXPECT_TRUE(Same(type.Register(), KtObjId{}));
}

TEST_F(TypeObject, WithAnUnknownSuperclassGivesTheInheritanceMessage) {
  CKtTypeObject type("disk");
  type.AddSuperclass("unknown");
  EXPECT_EQ(ThrownBy([&] { type.Register(); }), 0xC1000037u);
  EXPECT_EQ(framework_.Traces(),
            std::vector{Error(
                "ERROR: Bad type inheritance structure for type disk.  Registration failed.")});
}

TEST_F(TypeObject, AnyOtherFailureGivesTheGenericMessageWithTheStatusInHexadecimal) {
  for (const std::uint32_t flags : {0u, 1u}) {
    for (const KtStatus status : fake::kFailures) {
      framework_.ForgetTraces();
      CKtTypeObject type("disk");
      type.SetFlags(flags);
      framework_.FailCall(flags == 0 ? "ObCreateTypeObject" : "ObCreateTypeObjectEx", 1, status);
      EXPECT_EQ(ThrownBy([&] { type.Register(); }), status);
      char hexadecimal[16];
      static_cast<void>(std::snprintf(hexadecimal, sizeof hexadecimal, "%x", status));
      EXPECT_EQ(framework_.Traces(),
                std::vector{Error(std::string("ERROR: Type registration failed for type: disk, ") +
                                  hexadecimal)});
      EXPECT_TRUE(Same(type.Id(), KtObjId{}));
    }
  }
}

TEST_F(TypeObject, RegistersTheInterfacesOfItsDescriptorInOrder) {
  const std::array<const KtGuid*, 3> interfaces{&kGuidTwo, &kGuidOne, nullptr};
  const KtTypeDescriptor descriptor{interfaces.data(), nullptr};
  CKtTypeObject type("disk");
  type.SetDescriptor(&descriptor);
  type.Register();
  const std::vector<KtGuid> registered = framework_.TypeInterfacesOf("disk");
  ASSERT_EQ(registered.size(), 2u);
  EXPECT_TRUE(Same(registered[0], kGuidTwo));
  EXPECT_TRUE(Same(registered[1], kGuidOne));
}

TEST_F(TypeObject, RegistersAtMostSixtyFourInterfaces) {
  std::array<KtGuid, 70> ids{};
  std::array<const KtGuid*, 71> interfaces{};
  for (std::size_t i = 0; i < ids.size(); ++i) {
    ids.at(i).Data1 = static_cast<std::uint32_t>(i + 1);
    interfaces.at(i) = &ids.at(i);
  }
  const KtTypeDescriptor descriptor{interfaces.data(), nullptr};
  CKtTypeObject type("disk");
  type.SetDescriptor(&descriptor);
  type.Register();
  EXPECT_EQ(framework_.TypeInterfacesOf("disk").size(), 64u);
}

TEST_F(TypeObject, InterfaceThatCannotBeRegisteredThrowsAndKeepsThoseBeforeIt) {
  const std::array<const KtGuid*, 3> interfaces{&kGuidTwo, &kGuidOne, nullptr};
  const KtTypeDescriptor descriptor{interfaces.data(), nullptr};
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    const std::string name = "disk" + std::to_string(status);
    CKtTypeObject type(name.c_str());
    type.SetDescriptor(&descriptor);
    framework_.FailCall("ObRegisterInterfaceOnType", 2, status);
    EXPECT_EQ(ThrownBy([&] { type.Register(); }), status);
    const std::string line =
        std::string("ERROR: CKtTypeObject::Register() Unable to register interface (") +
        kGuidOneText + ") on type object (" + kt::ValueText(type.Id()) + ") of type (" + name + ")";
    EXPECT_EQ(framework_.Traces(), std::vector{Error(line)});
    EXPECT_FALSE(Same(type.Id(), KtObjId{})) << "the type itself is there";
    EXPECT_EQ(framework_.TypeInterfacesOf(name).size(), 1u);
    EXPECT_EQ(framework_.Outstanding().blocks, 0u);
  }
}

}  // namespace
