#include "dispatch/control_filter.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "dispatch/control_manager.h"
#include "support/control.h"
#include "support/managers_test.h"

namespace {

using support::BodyMap;
using support::kCode;
using support::kInterface;
using support::kSelector;

class Filter : public CKtControlFilter {
 public:
  explicit Filter(std::function<KtStatus()> body) : body_(std::move(body)) {}
  KtStatus filter(CKtControlRequest&) override { return body_(); }

 private:
  std::function<KtStatus()> body_;
};

class ControlFilterTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    ASSERT_EQ(map_.Register(kInterface, kSelector, kCode, &BodyMap::Handle), 0u);
    framework_.ForgetTraces();
  }
  void ReleaseModuleState() override {
    map_.UnRegisterAll();
    ManagersTest::ReleaseModuleState();
  }

  KtStatus Invoke() {
    support::Request request(fake::ObjectNumber(1));
    return manager().Invoke(request);
  }
  CKtControlManager& manager() { return CKtControlManager::Instance(); }

  std::vector<std::string> log_;
  BodyMap map_{[this](CKtControlRequest&) {
    log_.emplace_back("handler");
    return KtStatus{0};
  }};
};

TEST_F(ControlFilterTest, LetsARequestGoOnThatEveryFilterLetsGoOn) {
  Filter first([&] { return log_.emplace_back("1"), KTSTATUS_CONTINUE; });
  Filter second([&] { return log_.emplace_back("2"), KTSTATUS_CONTINUE; });
  manager().AddFilter(first);
  manager().AddFilter(second);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(log_, (std::vector<std::string>{"1", "2", "handler"}));
}

TEST_F(ControlFilterTest, RunsEveryOneOfManyFiltersInTheirOrder) {
  std::vector<std::unique_ptr<Filter>> filters;
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i) {
    expected.push_back(std::to_string(i));
    filters.push_back(std::make_unique<Filter>(
        [this, i] { return log_.emplace_back(std::to_string(i)), KTSTATUS_CONTINUE; }));
    manager().AddFilter(*filters.back());
  }
  expected.emplace_back("handler");
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(log_, expected);
}

TEST_F(ControlFilterTest, EndsTheRequestWithTheStatusOfAFilterUnchanged) {
  for (const KtStatus verdict : {KtStatus{0}, KTERROR_NO_OBJECT, KtStatus{0x41000012}}) {
    log_.clear();
    Filter veto([&] { return log_.emplace_back("veto"), verdict; });
    Filter never([&] { return log_.emplace_back("never"), KTSTATUS_CONTINUE; });
    manager().AddFilter(veto);
    manager().AddFilter(never);
    EXPECT_EQ(Invoke(), verdict);
    EXPECT_EQ(log_, std::vector<std::string>{"veto"});
    EXPECT_EQ(manager().ActivityCount(), 0u);
    manager().RemoveFilter(veto);
    manager().RemoveFilter(never);
  }
  EXPECT_TRUE(framework_.TracesAt(6).empty());
  EXPECT_TRUE(framework_.TracesAt(4).empty());
}

TEST_F(ControlFilterTest, AnswersWithTheStatusThatAFilterThrowsAfterALine) {
  Filter thrower([]() -> KtStatus { throw std::uint32_t{0xC1000010}; });
  manager().AddFilter(thrower);
  EXPECT_EQ(Invoke(), KTERROR_NO_OBJECT);
  EXPECT_TRUE(log_.empty());
  EXPECT_TRUE(fake::Traced(4,
                           "hostkit: WARNING: CKtControlManager::Invoke()  A control filter threw "
                           "exception c1000010."));
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ControlFilterTest, PassesAnythingElseThatAFilterThrowsToTheCallerWithTheScopeClosed) {
  Filter thrower([]() -> KtStatus { throw std::runtime_error("x"); });
  manager().AddFilter(thrower);
  EXPECT_THROW(Invoke(), std::runtime_error);
  EXPECT_EQ(manager().ActivityCount(), 0u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(ControlFilterTest, RunsFiltersWithNoLockHeldAndLetsThemRemoveThemselves) {
  Filter* self = nullptr;
  std::size_t held = 1;
  Filter leaver([&] {
    held = framework_.Outstanding().held_sections;
    manager().RemoveFilter(*self);
    log_.emplace_back("leaver");
    return KTSTATUS_CONTINUE;
  });
  self = &leaver;
  manager().AddFilter(leaver);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(held, 0u);
  EXPECT_EQ(log_, (std::vector<std::string>{"leaver", "handler", "handler"}));
}

TEST_F(ControlFilterTest, RunsAFilterFromTheNextRequestOnThatIsAddedMeanwhile) {
  Filter late([&] {
    log_.emplace_back("late");
    return KTSTATUS_CONTINUE;
  });
  bool added = false;
  Filter adder([&] {
    log_.emplace_back("adder");
    if (!std::exchange(added, true)) manager().AddFilter(late);
    return KTSTATUS_CONTINUE;
  });
  manager().AddFilter(adder);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(log_, (std::vector<std::string>{"adder", "handler", "adder", "late", "handler"}));
}

TEST_F(ControlFilterTest, KeepsTheOrderOfAddingWhenSomeComeAndGo) {
  const auto named = [this](const char* name) {
    return [this, name] {
      log_.emplace_back(name);
      return KTSTATUS_CONTINUE;
    };
  };
  Filter a(named("a"));
  Filter b(named("b"));
  Filter c(named("c"));
  for (Filter* const filter : {&a, &b, &a}) manager().AddFilter(*filter);
  manager().RemoveFilter(a);  // both times that it was added
  manager().AddFilter(c);
  manager().AddFilter(a);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(log_, (std::vector<std::string>{"b", "c", "a", "handler"}));
  for (Filter* const filter : {&a, &b, &c}) manager().RemoveFilter(*filter);
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(log_.size(), 5u);
}

}  // namespace
