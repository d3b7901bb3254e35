// Every operation of the object model with every framework call that it makes made to fail in turn,
// with statuses of every kind: what is thrown is the framework's status or one of the fixed ones,
// each failure is traced, and nothing is kept.

#include <array>
#include <functional>
#include <iterator>
#include <set>

#include "fake/fake_test.h"
#include "objmodel/object.h"
#include "objmodel/property_kinds.h"
#include "objmodel/thrown.h"
#include "objmodel/type_object.h"

namespace {

// What the text conversions of the toolkit throw by themselves.
constexpr KtStatus kNoMemory = 0x8007000Eu;
// What the enumeration of a set throws by itself.
constexpr KtStatus kUnexpected = 0xC1000001u;

class FailingCalls : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    framework_.AddType("disk");
    id_ = framework_.AddObject("disk");
    set_ = CKtPropertySet(framework_.MakePropset());
  }

  // `operation` runs with one failing call after the other. Beside the injected status it may throw
  // one of `fixed`.
  void Run(const std::function<void()>& operation, const std::set<KtStatus>& fixed = {}) {
    const std::vector<KtStatus> statuses(std::begin(fake::kFailures), std::end(fake::kFailures));
    const std::size_t happened =
        fake::FailEveryCallInTurn(statuses, [&](const std::function<void()>& arm, KtStatus status) {
          framework_.ForgetTraces();
          arm();
          const std::uint32_t thrown = ThrownBy(operation);
          EXPECT_TRUE(thrown == 0 || thrown == status || fixed.count(thrown) == 1) << thrown;
          if (thrown != 0) {
            EXPECT_FALSE(framework_.Traces().empty());
          }
          EXPECT_TRUE(fake::NothingKept());
        });
    EXPECT_GT(happened, 0u);
  }

  void FillWithEverything(CKtPropertySetBase& set) {
    CKtI18NFM message(kMessageOne);
    I18nAddInsertionString(message.Insertions(), 1, "A");
    set.AddProp("number", 1, 0);
    set.AddProp("text", KtWString(KT_W("wide")), 0);
    set.AddProp("block", static_cast<const void*>("abc"), 3, 0);
    set.AddProp("guid", kGuidOne, 0);
    set.AddProp("message", kMessageOne, 0);
    set.AddProp("format", message, 0);
    set.AddProp("set", SampleSet(1), 0);
    set.AddProp("sets", std::vector{SampleSet(1), SampleSet(2)}, 0);
    set.AddProp("texts", std::vector<KtWString>{KT_W("a"), KT_W("b")}, 0);
    set.AddProp("guids", std::vector{kGuidOne, kGuidTwo}, 0);
    set.AddProp("messages", std::vector{kMessageOne, kMessageTwo}, 0);
    framework_.ForgetCalls();
  }

  KtObjId id_{};
  CKtPropertySet set_;
};

TEST_F(FailingCalls, OfWritingAndReplacingAPropertyOfASet) {
  std::uint32_t value = 0;
  // A look-up that fails counts as absence, so the property is then there twice.
  constexpr KtStatus kThereAlready = 0xC1000013u;
  Run([&] { set_.AddProp("p", ++value, 0); }, {kThereAlready});
  Run([&] { set_.AddProp("text", std::string(++value, 'x'), 0); }, {kThereAlready});
}

TEST_F(FailingCalls, OfReadingAPropertyOfASet) {
  FillWithEverything(set_);
  Run([&] {
    std::int32_t number = 0;
    set_.GetProp("number", number, false);
    KtWString text;
    set_.GetProp("text", text, false);
    std::vector<KtWString> texts;
    set_.GetProp("texts", texts, false);
  });
  Run([&] {
    void* data = nullptr;
    std::uint32_t length = 0;
    set_.GetProp("block", data, length, false);
    kt::FreeBinary(data);
  });
}

TEST_F(FailingCalls, OfReadingListsThatPassSetsToTheCaller) {
  FillWithEverything(set_);
  Run([&] {
    std::vector<KtPropset> sets;
    set_.GetProp("sets", sets, false);
    for (const KtPropset each : sets) static_cast<void>(PsDestroyPropset(each));
  });
}

TEST_F(FailingCalls, OfReadingMessages) {
  FillWithEverything(set_);
  std::vector<KtI18NFormatString> records{{kMessageOne, SampleSet(1)}, {kMessageTwo, nullptr}};
  set_.AddProp("formats", records, 0);
  Run([&] {
    std::vector<CKtI18NFM> messages;
    set_.GetProp("formats", messages, false);
    kt::DestroyMessages(messages);
  });
  Run([&] {
    CKtI18NFM message;
    cuvo_property* found = nullptr;
    set_.GetProp("format", found, false);
    CKtPropertySetBase::GetProp("format", message, found);
    CKtI18N plain;
    set_.GetProp("message", found, false);
    CKtPropertySetBase::GetProp("message", plain, found);
  });
}

TEST_F(FailingCalls, OfPrintingASet) {
  FillWithEverything(set_);
  Run([&] { static_cast<void>(set_.ToString(true)); }, {kUnexpected, kNoMemory});
}

TEST_F(FailingCalls, OfMessages) {
  Run([&] {
    const CKtI18NFM source(kMessageOne);
    CKtI18NFM copy(source);
    copy = source;
    copy.Create();
    static_cast<void>(copy.Format());
    static_cast<void>(copy.ToString());
  });
}

TEST_F(FailingCalls, OfFormattingAreNeverThrown) {
  CKtI18NFM message(KtI18NDef{kGuidOne, 1, 0, "%1 %2 %3"});
  I18nAddInsertionString(message.Insertions(), 1, "A");
  I18nAddInsertionWideString(message.Insertions(), 2, KT_W("B"));
  CKtPropertySet(message.Insertions()).AddProp("p3", kMessageOne, 0);
  const std::vector<KtStatus> statuses(std::begin(fake::kFailures), std::end(fake::kFailures));
  fake::FailEveryCallInTurn(statuses, [&](const std::function<void()>& arm, KtStatus) {
    arm();
    EXPECT_EQ(ThrownBy([&] { EXPECT_FALSE(message.Format().empty()); }), 0u);
  });
}

TEST_F(FailingCalls, OfCreatingAndDestroyingAnObject) {
  Run([&] {
    CKtObject object;
    object.Create("disk", 0);
    object.Destroy();
  });
  Run([&] {
    CKtObject object;
    object.Create("disk", 3);
    object.Destroy();
  });
}

TEST_F(FailingCalls, OfNamesAndStatesOfAnObject) {
  CKtObject object(id_);
  Run(
      [&] {
        object.SetNameI18N(kMessageOne);
        object.SetNameI18N(kMessageOne, "A");
        object.SetNameI18N(kMessageOne, KT_W("A"));
        object.SetState(1);
        object.SetStateDescription(kMessageOne);
      },
      {kNoMemory});
  ASSERT_EQ(ThrownBy([&] {
              object.SetNameI18N(kMessageOne, "A");
              object.SetState(1);
              object.SetStateDescription(kMessageOne);
            }),
            0u);
  Run(
      [&] {
        static_cast<void>(object.GetName());
        static_cast<void>(object.GetNameI18N());
        static_cast<void>(object.GetState());
        static_cast<void>(object.GetStateDescription());
      },
      {kNoMemory});
}

TEST_F(FailingCalls, OfPrintingAnObjectAndAskingItsType) {
  CKtObject object(id_);
  FillWithEverything(object);
  Run([&] { static_cast<void>(object.GetType()); });
  Run([&] { static_cast<void>(object.ToString("sets", false, true)); }, {kUnexpected});
  Run([&] { static_cast<void>(object.ToStringEx(true)); }, {kUnexpected, kNoMemory});
}

TEST_F(FailingCalls, OfRegisteringAnInterface) {
  CKtObject object(id_);
  Run([&] { object.RegisterInterface(kGuidOne, nullptr); });
}

TEST_F(FailingCalls, OfATransaction) {
  std::uint32_t value = 0;
  Run(
      [&] {
        CKtObject object(id_);
        object.BeginTransaction();
        object.AddProp("a", ++value, 0);
        object.AddProp("b", ++value, 0);
        object.CommitTransaction();
      },
      {kUnexpected});
}

TEST_F(FailingCalls, OfRegisteringAType) {
  const std::array<const KtGuid*, 3> interfaces{&kGuidTwo, &kGuidOne, nullptr};
  const std::array<const char*, 2> superclasses{"disk", nullptr};
  const KtTypeDescriptor descriptor{interfaces.data(), superclasses.data()};
  int number = 0;
  Run([&] {
    const std::string name = "type" + std::to_string(++number);
    CKtTypeObject type(name.c_str());
    type.AddProp("VENDOR", KtWString(KT_W("TORMELD")), 0);
    type.SetDescriptor(&descriptor);
    type.Register();
  });
}

}  // namespace
