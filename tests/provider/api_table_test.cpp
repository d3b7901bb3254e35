#include "provider/api_table.h"

#include <stdexcept>

#include "base/module.h"
#include "base/status.h"
#include "provider/test_provider.h"

namespace {

using ::testing::ElementsAre;

using Initialize = ProviderTest;
using GetAttr = ProviderTest;
using ChangeNotify = ProviderTest;
using Version = ProviderTest;
class AnyApiCall : public ProviderTest {};

// ---- Guards

TEST_F(AnyApiCall, IsRefusedAfterShutdown) {
  Start();
  ASSERT_EQ(__KtApiShutdown(0), 0u);
  framework_.ForgetTraces();
  framework_.ForgetCalls();

  KtWchar* text = nullptr;
  const KtEventRecord event{};
  EXPECT_EQ(Control(), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()),
            KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiChangeNotify(1, 2, 3, reinterpret_cast<std::uintptr_t>(&event)),
            KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiVersion(&text), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_THAT(framework_.CallNames(), ::testing::IsEmpty());
  EXPECT_EQ(provider_out_, 0u) << "the slot is the control's, and none ran";
  EXPECT_EQ(CKtProvider::Existing(), nullptr);

  EXPECT_EQ(__KtApiShutdown(0), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started.")));
}

TEST_F(AnyApiCall, IsRefusedBeforeInitializeWithItsNotInstantiatedLine) {
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), KTERROR_UNEXPECTED);
  EXPECT_EQ(__KtApiChangeNotify(1, 2, 3, 4), KTERROR_UNEXPECTED);
  EXPECT_EQ(Control(), KTERROR_UNEXPECTED);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(fake::Error("hostkit: ERROR: in CKtProvider::__KtApiGetAttr(), provider object "
                              "is not instantiated."),
                  fake::Error("hostkit: ERROR: in CKtProvider::__KtApiChangeNotify(), provider "
                              "object is not instantiated."),
                  fake::Error("hostkit: ERROR: in CKtProvider::__KtApiControl(), provider object "
                              "is not instantiated.")));
  EXPECT_EQ(provider_out_, 0u);
}

TEST_F(Version, IsNotImplementedBeforeInitializeAndLeavesNoLine) {
  KtWchar* text = nullptr;
  EXPECT_EQ(__KtApiVersion(&text), E_NOTIMPL);
  EXPECT_EQ(text, nullptr);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(AnyApiCall, ChecksTheFlagsBeforeItsPointers) {
  EXPECT_EQ(__KtApiControl(nullptr, 0, 0, nullptr, nullptr, 0, 0, 0, 0, 0, 0, nullptr),
            KTERROR_UNEXPECTED);
  EXPECT_EQ(__KtApiChangeNotify(0, 0, 0, 0), KTERROR_UNEXPECTED);
  EXPECT_EQ(__KtApiVersion(nullptr), E_NOTIMPL);
  Start();
  ASSERT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_EQ(__KtApiControl(nullptr, 0, 0, nullptr, nullptr, 0, 0, 0, 0, 0, 0, nullptr),
            KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiChangeNotify(0, 0, 0, 0), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_EQ(__KtApiVersion(nullptr), KTERROR_PROVIDER_SHUTTING_DOWN);
}

TEST_F(AnyApiCall, AnswersInvalidArgumentForANullPointerThatItNeedsAndLeavesNoLine) {
  Start();
  const auto interface_word = reinterpret_cast<std::uintptr_t>(&interface_);
  EXPECT_EQ(__KtApiControl(nullptr, 1, 2, input_, output_, 6, 7, 8, 9, interface_word, 11,
                           &provider_out_),
            E_INVALIDARG);
  EXPECT_EQ(__KtApiControl(&object_, 1, 2, input_, output_, 6, 7, 8, 9, 0, 11, &provider_out_),
            E_INVALIDARG);
  EXPECT_EQ(
      __KtApiControl(&object_, 1, 2, input_, output_, 6, 7, 8, 9, interface_word, 11, nullptr),
      E_INVALIDARG);
  EXPECT_EQ(provider_out_, 0u);
  EXPECT_EQ(__KtApiChangeNotify(1, 2, 3, 0), E_INVALIDARG);
  EXPECT_EQ(__KtApiVersion(nullptr), E_INVALIDARG);
  EXPECT_TRUE(fake::NothingTraced());
}

// ---- Initialize

TEST_F(Initialize, StoresTheTwoHandlesAndSetsTheFlagBeforeTheProvidersOwnInitialize) {
  KtDatabase database = nullptr;
  KtProvider provider = nullptr;
  bool initialised = false;
  TheScript().initialize = [&]() -> KtStatus {
    database = kt::DatabaseHandle();
    provider = kt::ProviderHandle();
    initialised = kt::GetApiState().initialised;
    return 0;
  };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
  EXPECT_EQ(database, framework_.database());
  EXPECT_EQ(provider, framework_.provider());
  EXPECT_TRUE(initialised);
}

TEST_F(Initialize, ReturnsWhatTheProviderReturnsAndStaysInitialisedWhateverThatIs) {
  TheScript().initialize = [] { return KtStatus{0xC1000042}; };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0xC1000042u);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), 0u);
}

TEST_F(Initialize, TurnsAThrownStatusIntoUnexpectedWithOneLineThatNamesTheProvider) {
  TheScript().initialize = []() -> KtStatus { throw KtStatus{0x8007000E}; };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), KTERROR_UNEXPECTED);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit: ERROR: An exception was thrown in [hostkit] "
                                      "CKtProvider::Initialize()")));
}

TEST_F(Initialize, ContainsExceptionsOfAnyKind) {
  TheScript().initialize = []() -> KtStatus { throw std::runtime_error("disk on fire"); };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), KTERROR_UNEXPECTED);
  TheScript().initialize = []() -> KtStatus { throw "neither a status nor a class"; };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), KTERROR_UNEXPECTED);
}

TEST_F(Initialize, LeavesTheProviderInPlaceButNotInitialisedWhenItThrows) {
  TheScript().initialize = []() -> KtStatus { throw KTERROR_NO_OBJECT; };
  __KtApiInitialize(framework_.database(), framework_.provider());
  EXPECT_NE(CKtProvider::Existing(), nullptr);
  EXPECT_EQ(TheScript().destroyed, 0u);
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), KTERROR_UNEXPECTED);
  KtWchar* text = nullptr;
  EXPECT_EQ(__KtApiVersion(&text), E_NOTIMPL);
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Initialize, ClearsTheFlagOfAnEarlierStartWhenASecondOneThrows) {
  Start();
  TheScript().initialize = []() -> KtStatus { throw KTERROR_NO_OBJECT; };
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), KTERROR_UNEXPECTED);
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), KTERROR_UNEXPECTED);
}

TEST_F(Initialize, RunsTheSameProviderAgainWhileItIsRunningAndTakesTheNewHandles) {
  std::size_t starts = 0;
  TheScript().initialize = [&]() -> KtStatus {
    ++starts;
    return 0;
  };
  Start();
  const KtDatabase other = framework_.MakeDatabase();
  EXPECT_EQ(__KtApiInitialize(other, framework_.provider()), 0u);
  EXPECT_EQ(starts, 2u);
  EXPECT_EQ(TheScript().made, 1u);
  EXPECT_EQ(kt::DatabaseHandle(), other);
}

TEST_F(Initialize, ReportsAProviderThatCannotBeMadeAndCanBeTriedAgain) {
  TheScript().making = Script::Making::kReturnsNull;
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), KTERROR_UNEXPECTED);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Error("hostkit: ERROR: CKtProvider::Instance(), Unable to construct provider"),
          fake::Error("hostkit: ERROR: An exception was thrown in [hostkit] "
                      "CKtProvider::Initialize()")));
  EXPECT_EQ(kt::DatabaseHandle(), nullptr) << "stored only once the provider exists";
  TheScript().making = Script::Making::kWorks;
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
}

// ---- GetAttr, ChangeNotify, Version

TEST_F(GetAttr, DropsItsThirdArgumentAndReturnsTheProvidersStatus) {
  Start();
  std::vector<std::uint64_t> words;
  TheScript().get_attr = [&](std::uint64_t a, std::uint64_t b, std::uint64_t d) {
    words = {a, b, d};
    return KtStatus{77};
  };
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), 77u);
  EXPECT_THAT(words, ElementsAre(1u, 2u, 4u));
}

TEST_F(GetAttr, LetsExceptionsPassToTheHost) {
  Start();
  TheScript().get_attr = [](std::uint64_t, std::uint64_t, std::uint64_t) -> KtStatus {
    throw KTERROR_NO_OBJECT;
  };
  EXPECT_THROW(__KtApiGetAttr(1, 2, 3, 4), KtStatus);
}

TEST_F(ChangeNotify, DropsItsSecondArgumentAndReturnsTheProvidersStatus) {
  Start();
  std::vector<std::uint64_t> words;
  TheScript().notify = [&](std::uint64_t a, std::uint64_t c, std::uint64_t d) {
    words = {a, c, d};
    return KtStatus{78};
  };
  EXPECT_EQ(__KtApiChangeNotify(1, 2, 3, 4), 78u);
  EXPECT_THAT(words, ElementsAre(1u, 3u, 4u));
}

TEST_F(ChangeNotify, HandsTheNoticeToTheEventManager) {
  Start();
  const KtEventRecord event{0, "event.of.nobody", nullptr, framework_.database()};
  EXPECT_EQ(__KtApiChangeNotify(1, 2, 3, reinterpret_cast<std::uintptr_t>(&event)),
            KTERROR_NO_EVENT);
  EXPECT_TRUE(fake::Traced(6,
                           "ERROR: CKtEventManager::Notify(event.of.nobody) failed with error "
                           "KTERROR_NO_EVENT, no listener for event."));
}

TEST_F(ChangeNotify, LetsExceptionsPassToTheHost) {
  Start();
  TheScript().notify = [](std::uint64_t, std::uint64_t, std::uint64_t) -> KtStatus {
    throw std::runtime_error("gone");
  };
  EXPECT_THROW(__KtApiChangeNotify(1, 2, 3, 4), std::runtime_error);
}

TEST_F(Version, ForwardsToTheProvider) {
  Start();
  KtWchar text[] = KT_W("1.2");
  TheScript().version = [&](KtWchar** out) {
    *out = text;
    return KtStatus{0};
  };
  KtWchar* got = nullptr;
  EXPECT_EQ(__KtApiVersion(&got), 0u);
  EXPECT_EQ(got, text);
}

TEST_F(Version, LetsExceptionsPassToTheHost) {
  Start();
  TheScript().version = [](KtWchar**) -> KtStatus { throw E_OUTOFMEMORY; };
  KtWchar* got = nullptr;
  EXPECT_THROW(__KtApiVersion(&got), KtStatus);
}

}  // namespace
