// Blocks of bytes, with the memory for them running out on request.

#include <cstring>

#include "fake/fake_test.h"
#include "objmodel/property_set.h"
#include "objmodel/recording_properties.h"
#include "objmodel/thrown.h"
#include "support/failing_new.h"

namespace {

class BinaryProperty : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    set_ = CKtPropertySet(framework_.MakePropset());
    set_.AddProp("p", static_cast<const void*>(kBytes), 3, 0);
  }
  void TearDown() override {
    kt::FreeBinary(data_);
    FrameworkTest::TearDown();
  }

  static constexpr unsigned char kBytes[] = {0x00, 0xAB, 0x10};
  CKtPropertySet set_;
  void* data_ = nullptr;
  std::uint32_t length_ = 77;
};

TEST_F(BinaryProperty, IsReadBackInABlockOfTheCallersOwn) {
  set_.GetProp("p", data_, length_, false);
  ASSERT_EQ(length_, 3u);
  EXPECT_EQ(std::memcmp(data_, kBytes, 3), 0);
}

TEST_F(BinaryProperty, IsWrittenWithItsLengthInBytes) {
  EXPECT_EQ(framework_.PropertiesOf(set_.Handle()).at(0).type, TYPE_BINARY);
  EXPECT_EQ(framework_.PropertiesOf(set_.Handle()).at(0).length, 3u);
}

TEST_F(BinaryProperty, WithoutBytesIsANullBlock) {
  set_.AddProp("empty", static_cast<const void*>(kBytes), 0, 0);
  const support::RefuseArrays refused;
  data_ = this;
  set_.GetProp("empty", data_, length_, false);
  EXPECT_EQ(length_, 0u);
  EXPECT_EQ(data_, nullptr);
}

TEST_F(BinaryProperty, ThrowsOutOfMemoryAndReleasesTheRecordWhenThereIsNoBlock) {
  const support::RefuseArrays refused;
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("p", data_, length_, false); }), 0x8007000Eu);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("hostkit: ERROR: CKtPropertySet::GetProp(TYPE_BINARY) : Unable "
                                    "to allocate 3 memory for property p")});
  EXPECT_EQ(data_, nullptr);
  EXPECT_EQ(length_, 77u);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(BinaryProperty, LeavesTheOutputAloneWhenOptionalAndMissing) {
  set_.GetProp("missing", data_, length_, true);
  EXPECT_EQ(data_, nullptr);
  EXPECT_EQ(length_, 77u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(BinaryProperty, RefusesAnotherType) {
  set_.AddProp("number", 1, 0);
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("number", data_, length_, false); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property number is not of TYPE_BINARY"));
}

TEST_F(BinaryProperty, RefusesALengthWithoutBytes) {
  const TamperedProperties tampered(set_.Handle(),
                                    [](cuvo_property& record) { record.value = nullptr; });
  EXPECT_EQ(ThrownBy([&] { tampered.GetProp("p", data_, length_, false); }), 0xC100003Au);
}

}  // namespace
