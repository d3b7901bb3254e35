// The example "hello", run as a service runs it. What its comments promise is what is tested here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "examples/bus_life.h"
#include "ktbus3/ktbus3_host.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr KtGuid kGreeterInterface{
    0x4F4557A0, 0xE980, 0x4E14, {0x96, 0xDD, 0x68, 0x18, 0x80, 0x0A, 0xF1, 0x2D}};
constexpr std::uint32_t kGreetControl = 20001;

class Hello : public testing::Test {
 protected:
  void SetUp() override { life_.Start("hello"); }
  void TearDown() override {
    life_.StopAll();
    EXPECT_TRUE(ProvidersKeptNothing());
  }

  KtObjId Greeter() { return life_.Find("hello_greeter", "greeter"); }
  std::string Value(const char* property) { return life_.PropertiesOf(Greeter())[property]; }

  // Greets and returns the status; the greeting is in greeting_.
  KtStatus Greet(const char* who) {
    CKtPropertySet input;
    CKtPropertySet output;
    input.Create();
    const kt::ScopedPropset input_scope(input);
    output.Create();
    const kt::ScopedPropset output_scope(output);
    if (who != nullptr) input.AddProp("who", who, 0);
    const KtStatus status = life_.Send(Greeter(), kGreeterInterface, kGreetControl, input, output);
    greeting_.clear();
    output.GetProp("greeting", greeting_, true);
    return status;
  }

  BusLife life_;
  std::string greeting_;
};

TEST_F(Hello, PublishesOneGreeterWithItsProperties) {
  EXPECT_THAT(life_.ObjectsOf("hello_greeter"), SizeIs(1));
  EXPECT_EQ(Value("language"), "en");
  EXPECT_EQ(Value("greetings"), "0");
}

TEST_F(Hello, GreetsWhoAsksAndCounts) {
  EXPECT_EQ(Greet("world"), 0u);
  EXPECT_EQ(greeting_, "Hello, world!");
  EXPECT_EQ(Greet("bus"), 0u);
  EXPECT_EQ(Value("greetings"), "2");
}

TEST_F(Hello, RefusesAGreetingWithoutAName) {
  EXPECT_EQ(Greet(nullptr), 0x80070057u);
  EXPECT_EQ(Greet(""), 0x80070057u);
  EXPECT_EQ(greeting_, "");
  EXPECT_EQ(Value("greetings"), "0");
}

TEST_F(Hello, HearsOfEveryDomainThatIsReadyAndOfNothingElse) {
  life_.Raise("event.qelm.dom.initialization.disks.complete");
  life_.Raise("event.qelm.dom.initialization.volumes.complete");
  life_.Raise("event.qelm.dom.shutdown.volumes.complete");
  EXPECT_EQ(Value("domains_ready"), "2");
}

TEST_F(Hello, BeatsWhileItLives) {
  // No time is set for a beat: a heart that stands still is found by the time limit of the suite.
  std::string before = Value("heartbeats");
  for (int beats = 0; beats < 3; ++beats) {
    std::string now;
    while ((now = Value("heartbeats")) == before) std::this_thread::yield();
    EXPECT_GT(std::stoul(now), std::stoul(before));
    before = now;
  }
}

TEST_F(Hello, TellsItsVersion) {
  EXPECT_EQ(life_.Version("hello"), "1.0");
}

TEST_F(Hello, TakesItsObjectAlongWhenItGoes) {
  life_.StopAll();
  EXPECT_THAT(life_.ObjectsOf("hello_greeter"), IsEmpty());
}

TEST_F(Hello, CanBeLoadedAndUnloadedAgainAndAgain) {
  for (int round = 0; round < 20; ++round) {
    life_.StopAll();
    life_.Start("hello");
    EXPECT_EQ(Greet("again"), 0u);
  }
}

}  // namespace
