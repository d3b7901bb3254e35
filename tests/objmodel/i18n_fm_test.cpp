#include "objmodel/i18n_fm.h"

#include <stdexcept>
#include <utility>

#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"
#include "objmodel/property_set.h"
#include "objmodel/thrown.h"

namespace {

using fake::Error;

constexpr const char* kDestroyFailed =
    "ERROR: in CKtI18NFM::~CKtI18NFM() PsDestroyPropset() failed";
constexpr const char* kCreateFailed = "ERROR: in CKtI18NFM::Create() PsCreatePropset() failed";
constexpr const char* kCopyFailed =
    "ERROR: in CKtI18NFM(const CKtI18NFM &data) PsCopyPropset() failed";

// Short enough to live inside the string object, and too long for it.
const char* const kNames[] = {"%1", "a default text that is too long for the string object: %1"};

KtI18NDef Named(const char* name) {
  return {kGuidOne, 7, 0, name};
}

CKtI18NFM With(const char* name, const std::vector<std::pair<std::uint32_t, const char*>>& texts) {
  CKtI18NFM message(Named(name));
  for (const auto& [number, text] : texts) {
    I18nAddInsertionString(message.Insertions(), number, text);
  }
  return message;
}

::testing::AssertionResult AimsAtItself(const CKtI18NFM& message, const std::string& name) {
  if (message.Record().message.name != message.Name().c_str()) {
    return ::testing::AssertionFailure() << "the record aims at another text";
  }
  if (message.Name() != name) return ::testing::AssertionFailure() << message.Name();
  return ::testing::AssertionSuccess();
}

class I18NFM : public fake::FrameworkTest {};

// ---- A value

TEST_F(I18NFM, HoldsTheRecordRightAfterThePointerToItsVirtualTable) {
  const CKtI18NFM message;
  const auto* const object = reinterpret_cast<const unsigned char*>(&message);
  const auto* const record = reinterpret_cast<const unsigned char*>(&message.Record());
  const auto* const name = reinterpret_cast<const unsigned char*>(&message.Name());
  EXPECT_EQ(record - object, 8);
  EXPECT_EQ(name - object, 48);
}

TEST_F(I18NFM, BuiltOfNothingIsEmptyAndHasANewInsertionSet) {
  const CKtI18NFM message;
  EXPECT_TRUE(Same(message.Definition().catalog, KtGuid{}));
  EXPECT_EQ(message.Definition().messageId, 0u);
  EXPECT_TRUE(AimsAtItself(message, ""));
  EXPECT_TRUE(framework_.HasPropset(message.Insertions()));
}

TEST_F(I18NFM, BuiltFromADefinitionOwnsItsNameAndANewInsertionSet) {
  for (const char* name : kNames) {
    std::string source = name;
    const CKtI18NFM message(Named(source.c_str()));
    source.assign(source.size(), '?');
    EXPECT_TRUE(AimsAtItself(message, name));
    EXPECT_TRUE(framework_.PropertiesOf(message.Insertions()).empty());
    EXPECT_NE(message.Insertions(), nullptr);
  }
}

TEST_F(I18NFM, BuiltFromADefinitionWithoutANameHasTheEmptyOne) {
  const CKtI18NFM message(Named(nullptr));
  EXPECT_TRUE(AimsAtItself(message, ""));
}

TEST_F(I18NFM, CopyDuplicatesTheInsertionSetAndAimsAtItsOwnName) {
  for (const char* name : kNames) {
    const CKtI18NFM source = With(name, {{1, "A"}});
    framework_.ForgetCalls();
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested
    const CKtI18NFM copy(source);
    EXPECT_EQ(framework_.CallNames(), (std::vector<std::string>{"PsCopyPropset"}));
    EXPECT_TRUE(AimsAtItself(copy, name));
    EXPECT_TRUE(AimsAtItself(source, name));
    EXPECT_NE(copy.Insertions(), source.Insertions());
    EXPECT_TRUE(Same(copy, source));
  }
}

TEST_F(I18NFM, CopyOfAMessageWithoutAnInsertionSetHasANewEmptyOne) {
  CKtI18NFM source(kMessageOne);
  source.DestroyInsertions();
  framework_.ForgetCalls();
  const CKtI18NFM copy(source);
  EXPECT_EQ(framework_.CallNames(), (std::vector<std::string>{"PsCreatePropset"}));
  EXPECT_TRUE(framework_.HasPropset(copy.Insertions()));
  EXPECT_TRUE(framework_.PropertiesOf(copy.Insertions()).empty());
}

TEST_F(I18NFM, MoveTakesTheInsertionSetAndAimsAtItsOwnName) {
  for (const char* name : kNames) {
    CKtI18NFM source = With(name, {{1, "A"}});
    const KtPropset insertions = source.Insertions();
    framework_.ForgetCalls();
    const CKtI18NFM moved(std::move(source));
    EXPECT_TRUE(framework_.CallNames().empty());
    EXPECT_EQ(moved.Insertions(), insertions);
    EXPECT_TRUE(AimsAtItself(moved, name));
    // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left of the
    // source is promised
    EXPECT_EQ(source.Insertions(), nullptr);
    EXPECT_EQ(source.Record().message.name, source.Name().c_str());
    // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  }
}

TEST_F(I18NFM, AssignmentReplacesAllAndAimsAtItsOwnName) {
  for (const char* from : kNames) {
    for (const char* to : kNames) {
      const CKtI18NFM source = With(from, {{1, "A"}});
      CKtI18NFM copied = With(to, {{2, "B"}});
      copied = source;
      EXPECT_TRUE(AimsAtItself(copied, from));
      EXPECT_TRUE(Same(copied, source));
      CKtI18NFM moved = With(to, {{2, "B"}});
      moved = With(from, {{1, "A"}});
      EXPECT_TRUE(AimsAtItself(moved, from));
      EXPECT_TRUE(Same(moved, source));
    }
  }
}

TEST_F(I18NFM, SurvivesBeingAssignedToItself) {
  for (const char* name : kNames) {
    CKtI18NFM message = With(name, {{1, "A"}});
    CKtI18NFM& itself = message;
    message = itself;
    EXPECT_TRUE(AimsAtItself(message, name));
    message = std::move(itself);
    EXPECT_TRUE(AimsAtItself(message, name));
    EXPECT_EQ(framework_.PropertiesOf(message.Insertions()).size(), 1u);
  }
}

TEST_F(I18NFM, LivesInListsThatGrow) {
  std::vector<CKtI18NFM> messages;
  // NOLINTNEXTLINE(performance-inefficient-vector-operation): growing is what is tested
  for (int i = 0; i < 10; ++i) messages.push_back(With(kNames[i % 2], {{1, "A"}}));
  messages.erase(messages.begin());
  for (const CKtI18NFM& message : messages) {
    EXPECT_EQ(message.Record().message.name, message.Name().c_str());
    EXPECT_EQ(framework_.PropertiesOf(message.Insertions()).size(), 1u);
  }
}

TEST_F(I18NFM, CreateReplacesTheInsertionSetByAnEmptyOne) {
  CKtI18NFM message = With("%1", {{1, "A"}});
  message.Create();
  EXPECT_TRUE(framework_.PropertiesOf(message.Insertions()).empty());
  message.DestroyInsertions();
  message.Create();
  EXPECT_TRUE(framework_.HasPropset(message.Insertions()));
}

// ---- Failures

TEST_F(I18NFM, ConstructionTracesAndThrowsWhenNoSetCanBeCreated) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("PsCreatePropset", 1, status);
    EXPECT_EQ(ThrownBy([] { const CKtI18NFM message; }), status);
    framework_.FailCall("PsCreatePropset", 1, status);
    EXPECT_EQ(ThrownBy([] { const CKtI18NFM message(kMessageTwo); }), status);
    EXPECT_EQ(framework_.Traces(), (std::vector{Error(kCreateFailed), Error(kCreateFailed)}));
  }
}

TEST_F(I18NFM, CopyTracesAndThrowsWhenTheSetCannotBeCopied) {
  const CKtI18NFM source(kMessageTwo);
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("PsCopyPropset", 1, status);
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested
    EXPECT_EQ(ThrownBy([&] { const CKtI18NFM copy(source); }), status);
    EXPECT_EQ(framework_.Traces(), std::vector{Error(kCopyFailed)});
  }
}

TEST_F(I18NFM, AssignmentLeavesTheMessageAsItWasWhenTheCopyFails) {
  const CKtI18NFM source = With("x", {});
  CKtI18NFM message = With("%1", {{1, "A"}});
  framework_.FailCall("PsCopyPropset", 1, 5);
  EXPECT_EQ(ThrownBy([&] { message = source; }), 5u);
  EXPECT_EQ(message.Format(), "A");
}

TEST_F(I18NFM, DestructorTracesAndThrowsWhenTheSetCannotBeDestroyed) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    EXPECT_EQ(ThrownBy([&] {
                const CKtI18NFM message(kMessageTwo);
                framework_.FailCall("PsDestroyPropset", 1, status);
              }),
              status);
    EXPECT_EQ(framework_.Traces(), std::vector{Error(kDestroyFailed)});
  }
}

TEST_F(I18NFM, DestructorOnlyTracesWhileAnotherExceptionIsOnItsWay) {
  EXPECT_THROW(
      {
        const CKtI18NFM message(kMessageOne);
        framework_.FailCall("PsDestroyPropset", 1, 5);
        throw std::runtime_error("the one that counts");
      },
      std::runtime_error);
  EXPECT_EQ(framework_.Traces(), std::vector{Error(kDestroyFailed)});
}

TEST_F(I18NFM, DestructorOnlyTracesWhileAnotherExceptionIsBeingHandled) {
  try {
    throw std::runtime_error("the one that counts");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(ThrownBy([&] {
                const CKtI18NFM message(kMessageOne);
                framework_.FailCall("PsDestroyPropset", 1, 5);
              }),
              0u);
  }
  EXPECT_EQ(framework_.Traces(), std::vector{Error(kDestroyFailed)});
}

TEST_F(I18NFM, DestructorOfAMessageWithoutAnInsertionSetCallsNothing) {
  {
    CKtI18NFM message(kMessageOne);
    message.DestroyInsertions();
    framework_.ForgetCalls();
  }
  EXPECT_TRUE(framework_.CallNames().empty());
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(I18NFM, ListOfMessagesIsDestroyedWholeAndTheFirstFailureThrown) {
  std::vector<CKtI18NFM> messages;
  messages.reserve(3);
  for (int i = 0; i < 3; ++i) messages.emplace_back(kMessageOne);
  framework_.FailCall("PsDestroyPropset", 1, 5);
  framework_.FailCall("PsDestroyPropset", 2, 0xC1000010u);
  EXPECT_EQ(ThrownBy([&] { kt::DestroyMessages(messages); }), 5u);
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u);
}

TEST_F(I18NFM, ListOfMessagesIsDestroyedWithoutAWordWhenNothingFails) {
  std::vector<CKtI18NFM> messages(3);
  kt::DestroyMessages(messages);
  EXPECT_TRUE(messages.empty());
  EXPECT_TRUE(fake::NothingKept());
}

// ---- Texts

TEST_F(I18NFM, HasTheTextFormOfItsDefinition) {
  EXPECT_EQ(CKtI18NFM(kMessageOne).ToString(),
            std::string("messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText);
}

TEST_F(I18NFM, FormatOfAMessageWithoutInsertionsIsItsName) {
  EXPECT_EQ(With("Disk %1 on %2", {}).Format(), "Disk %1 on %2");
}

TEST_F(I18NFM, FormatPutsTheInsertionsInPlaceOfTheirNumbers) {
  EXPECT_EQ(With("Disk %1 on %2", {{1, "A"}, {2, "B"}}).Format(), "Disk A on B");
}

TEST_F(I18NFM, FormatReplacesOnlyTheFirstOfTwoPlaceholders) {
  EXPECT_EQ(With("%1 and %1", {{1, "X"}}).Format(), "X and %1");
}

TEST_F(I18NFM, FormatTakesTheStartOfALongerNumberForThePlaceholder) {
  EXPECT_EQ(With("%12 %1", {{1, "X"}}).Format(), "X2 %1");
}

TEST_F(I18NFM, FormatLeavesThePlaceholderOfAnEmptyInsertion) {
  EXPECT_EQ(With("Disk %1 on %2", {{1, ""}, {2, "B"}}).Format(), "Disk %1 on B");
}

TEST_F(I18NFM, FormatLetsALaterInsertionReplaceWhatAnEarlierOneBroughtIn) {
  EXPECT_EQ(With("%1", {{1, "a %2"}, {2, "B"}}).Format(), "a B");
  EXPECT_EQ(With("%1", {{2, "B"}, {1, "a %2"}}).Format(), "a %2");
}

TEST_F(I18NFM, FormatIgnoresAnInsertionWithoutAPlaceholder) {
  EXPECT_EQ(With("none", {{1, "A"}}).Format(), "none");
}

TEST_F(I18NFM, FormatMakesWideInsertionsNarrow) {
  const CKtI18NFM message(Named("[%1]"));
  I18nAddInsertionWideString(message.Insertions(), 1, KT_W("g\u00E4mma"));
  EXPECT_EQ(message.Format(), "[g\xC3\xA4mma]");
}

TEST_F(I18NFM, FormatTakesTheNameOfANestedMessageUnformatted) {
  const CKtI18NFM message(Named("[%1]"));
  CKtPropertySet(message.Insertions()).AddProp("p1", kMessageOne, 0);
  EXPECT_EQ(message.Format(), "[Disk %1]");
}

TEST_F(I18NFM, FormatTakesNothingFromOtherTypes) {
  const CKtI18NFM message(Named("[%1]"));
  CKtPropertySet(message.Insertions()).AddProp("p1", 5, 0);
  EXPECT_EQ(message.Format(), "[%1]");
}

TEST_F(I18NFM, FormatReadsTheNumberBehindTheFirstCharacterOfTheName) {
  const auto formatted = [](const char* name, const char* property) {
    const CKtI18NFM message(Named(name));
    CKtPropertySet(message.Insertions()).AddProp(property, "X", 0);
    return message.Format();
  };
  EXPECT_EQ(formatted("%3", "q3"), "X");
  EXPECT_EQ(formatted("%3", "p3rd"), "X");
  EXPECT_EQ(formatted("%3", "p 3"), "X");
  EXPECT_EQ(formatted("%-3", "p-3"), "X");
  EXPECT_EQ(formatted("%-1", "px"), "X") << "a name without a number counts as -1";
  EXPECT_EQ(formatted("%-1", "p"), "X");
  EXPECT_EQ(formatted("%2147483647", "p99999999999999999999"), "X");
}

TEST_F(I18NFM, FormatGivesWhatItHasWhenAnInsertionCannotBeRead) {
  const CKtI18NFM message = With("%1 %2", {{1, "A"}, {2, "B"}});
  for (const char* function : {"PsOpenPropset", "PsFindProperty"}) {
    framework_.FailCall(function, 1, 0xC1000010u);
    EXPECT_EQ(message.Format(), "%1 %2");
  }
  framework_.FailCall("PsFindProperty", 3, 5);
  EXPECT_EQ(message.Format(), "A %2");
}

TEST_F(I18NFM, FormatOfAMessageWithoutAnInsertionSetIsItsName) {
  CKtI18NFM message(Named("%1"));
  message.DestroyInsertions();
  EXPECT_EQ(message.Format(), "%1");
}

}  // namespace
