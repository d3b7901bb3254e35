// The recording as a file: what comes back, and what becomes of damaged ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "replay/codec.h"
#include "replay/recorder.h"
#include "replay/recordings.h"
#include "service/scratch_folder.h"

namespace replay_test {
namespace {

using ktreplay::Item;
using ktreplay::ItemKind;
using ktreplay::RecordingReader;
using testing::HasSubstr;

std::string Bytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Write(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// What can be read of the file, and what is said of the rest; "" for a whole one.
struct ReadBack {
  std::size_t items = 0;
  std::string fault;
};

ReadBack Read(const std::filesystem::path& file) {
  ReadBack back;
  try {
    RecordingReader reader(file);
    Item item;
    while (reader.Next(item)) {
      ++back.items;
    }
    back.fault = reader.incomplete();
  } catch (const ktreplay::MalformedRecording& error) {
    back.fault = error.what();
  }
  return back;
}

// Every kind of value that a property can have.
ktsvc::PropertyList AllValues() {
  const KtGuid guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  const ktsvc::PropertyList nested{{"in", TYPE_UINT32, 1, {std::uint32_t{9}}}};
  const ktsvc::Message message{guid, 12, "Disk %1"};
  return {
      {"none", TYPE_STRZ, 0, {}},
      {"nothing", TYPE_PROPSET, 0, {std::monostate()}},
      {"yes", TYPE_BOOLEANZ, 0, {true, false}},
      {"int32", TYPE_INT32Z, 2, {std::int32_t{-1}, std::int32_t{INT32_MIN}, std::int32_t{5}}},
      {"uint32", TYPE_UINT32, 0, {std::uint32_t{UINT32_MAX}}},
      {"int64", TYPE_INT64Z, 0, {std::int64_t{INT64_MIN}, std::int64_t{INT64_MAX}}},
      {"uint64", TYPE_UINT64, 0, {std::uint64_t{UINT64_MAX}}},
      {"text", TYPE_STRZ, 0, {std::string("a\xFF"), std::string()}},
      {"wide", TYPE_WSTR, 0, {ktsvc::KtWString(KT_W("w\x00E4\xD800"))}},
      {"bytes", TYPE_BINARY, 0, {std::vector<std::uint8_t>{0, 255}}},
      {"guid", TYPE_GUID, 0, {guid}},
      {"set", TYPE_PROPSET, 0, {nested}},
      {"message", TYPE_I18N, 0, {message}},
      {"format",
       TYPE_I18NFORMATSTRINGZ,
       0,
       {ktsvc::FormatMessage{message, nested}, ktsvc::FormatMessage{message, std::nullopt}}},
  };
}

Item FullItem() {
  Item item;
  item.kind = ItemKind::kLeave;
  item.outcome = KTBUS_CALL_THREW;
  item.microseconds = 1234567;
  item.thread = 3;
  item.function = "Control";
  item.provider = "p";
  item.arguments.resize(2);
  item.arguments[0].kind = KTBUS_WORD_OUT_RECORD;
  item.arguments[0].number = UINT64_MAX;
  item.arguments[0].text = std::string("x\0y", 3);
  item.arguments[0].ids = {{1, 2, 3, {}}, {1, 2, 3, {}}};
  item.arguments[0].properties = AllValues();
  item.arguments[0].sets = {1, 200, 70000};
  item.result.kind = KTBUS_WORD_STATUS;
  item.result.number = 0xC1000002;
  return item;
}

class RecordingFile : public testing::Test {
 protected:
  [[nodiscard]] std::filesystem::path File(const char* name = "file.ktrec") const {
    return folder_.path() / name;
  }
  // A small recording of some blocks.
  [[nodiscard]] std::string Small() const {
    ktreplay::RecordingWriter writer(File("small"), {"test", "here", 77});
    for (int i = 0; i < 3; ++i) {
      writer.Put(FullItem());
      writer.Flush();
    }
    writer.End();
    return Bytes(File("small"));
  }

 private:
  ktsvc_test::ScratchFolder folder_;
};

TEST_F(RecordingFile, GivesBackWhatWasPutIntoIt) {
  WriteItems(File(), {FullItem(), FullItem()});
  const auto items = ItemsOf(File());
  ASSERT_EQ(items.size(), 2U);
  const Item wanted = FullItem();
  const Item& item = items[1];
  EXPECT_EQ(item.number, 2U);
  EXPECT_EQ(item.kind, wanted.kind);
  EXPECT_EQ(item.outcome, wanted.outcome);
  EXPECT_EQ(item.microseconds, wanted.microseconds);
  EXPECT_EQ(item.thread, wanted.thread);
  EXPECT_EQ(item.function, wanted.function);
  EXPECT_EQ(item.provider, wanted.provider);
  ASSERT_EQ(item.arguments.size(), 2U);
  EXPECT_EQ(item.arguments[0].number, wanted.arguments[0].number);
  EXPECT_EQ(item.arguments[0].text, wanted.arguments[0].text);
  EXPECT_EQ(item.arguments[0].ids.size(), 2U);
  EXPECT_EQ(item.arguments[0].sets, wanted.arguments[0].sets);
  EXPECT_TRUE(ktreplay::SameProperties(*item.arguments[0].properties, AllValues()));
  EXPECT_FALSE(item.arguments[1].text.has_value());
  EXPECT_EQ(item.result.number, wanted.result.number);
}

TEST_F(RecordingFile, KeepsItsHead) {
  WriteItems(File(), {});
  const RecordingReader reader(File());
  EXPECT_EQ(reader.info().program, "test");
  EXPECT_EQ(reader.info().system, "here");
  EXPECT_EQ(reader.info().begun, 1U);
}

TEST_F(RecordingFile, WritesATextOnceThatComesOften) {
  Item item = FullItem();
  item.arguments[0].text = std::string(200, 'x');
  WriteItems(File("once"), {item});
  WriteItems(File("twice"), {item, item});
  EXPECT_LT(Bytes(File("twice")).size(), Bytes(File("once")).size() + 300);
}

TEST_F(RecordingFile, IsReadableUpToWhereItIsCutOff) {
  const std::string whole = Small();
  std::size_t most = 0;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    Write(File(), whole.substr(0, size));
    const ReadBack back = Read(File());
    EXPECT_NE(back.fault, "") << size;
    EXPECT_GE(back.items, most) << size;
    most = back.items;
  }
  EXPECT_EQ(most, 3U);
  Write(File(), whole);
  EXPECT_EQ(Read(File()).items, 3U);
  EXPECT_EQ(Read(File()).fault, "");
}

TEST_F(RecordingFile, TellsEveryChangedByte) {
  const std::string whole = Small();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    Write(File(), bytes);
    EXPECT_NE(Read(File()).fault, "") << at;
  }
}

TEST_F(RecordingFile, SaysWhereItIsDamaged) {
  std::string bytes = Small();
  bytes[bytes.size() - 30] = static_cast<char>(bytes[bytes.size() - 30] ^ 1);
  Write(File(), bytes);
  EXPECT_THAT(Read(File()).fault, HasSubstr("damaged in the block at byte"));
}

TEST_F(RecordingFile, WithAnotherVersionIsRefused) {
  std::string bytes = Small();
  bytes[8] = 2;
  Write(File(), bytes);
  EXPECT_EQ(Read(File()).fault, "it is a recording of version 2; this program reads version 1");
}

TEST_F(RecordingFile, ThatIsNoneIsRefused) {
  Write(File(), "no recording at all, but long enough");
  EXPECT_EQ(Read(File()).fault, "it is no recording");
  Write(File(), "");
  EXPECT_EQ(Read(File()).fault, "it is no recording");
}

TEST_F(RecordingFile, ThatIsNotThereIsAnError) {
  EXPECT_THROW(RecordingReader(File("none")), std::runtime_error);
}

TEST_F(RecordingFile, CannotBeMadeInAFolderThatIsNotThere) {
  EXPECT_THROW(ktreplay::RecordingWriter(File("none") / "file", {}), std::runtime_error);
}

// Blocks whose checksums fit and whose content is nonsense reach the decoder.
TEST(RecordingDecoder, TakesNoNonsense) {
  ktreplay::Encoder encoder;
  encoder.Put(FullItem());
  const std::string good = encoder.Take();
  std::size_t refused = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const int bits : {0x01, 0x80, 0xFF}) {
      std::string bytes = good;
      bytes[at] = static_cast<char>(bytes[at] ^ bits);
      ktreplay::Decoder decoder;
      decoder.Use(bytes);
      Item item;
      std::uint64_t items = 0;
      try {
        while (decoder.Read(item, items) != ktreplay::Next::kNothing) {
        }
      } catch (const ktreplay::MalformedRecording&) {
        ++refused;
      }
    }
  }
  EXPECT_GT(refused, good.size() / 2);
}

TEST(RecordingDecoder, RefusesSetsThatStandTooDeep) {
  ktsvc::PropertyList list;
  for (int i = 0; i < 100; ++i) {
    ktsvc::PropertyList outer{{"s", TYPE_PROPSET, 0, {std::move(list)}}};
    list = std::move(outer);
  }
  Item item;
  item.arguments.resize(1);
  item.arguments[0].properties = std::move(list);
  ktreplay::Encoder encoder;
  encoder.Put(item);
  const std::string bytes = encoder.Take();
  ktreplay::Decoder decoder;
  decoder.Use(bytes);
  std::uint64_t items = 0;
  EXPECT_THROW(decoder.Read(item, items), ktreplay::MalformedRecording);
}

TEST(RecordingDecoder, RefusesACountThatTheBytesCannotHold) {
  // A call at time 0 on thread 0, of "", by "", with 2^63 arguments.
  const std::string bytes(
      "\x01\x00\x00\x00\x00\x00\x00\x00\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01", 18);
  ktreplay::Decoder decoder;
  decoder.Use(bytes);
  Item item;
  std::uint64_t items = 0;
  EXPECT_THROW(decoder.Read(item, items), ktreplay::MalformedRecording);
}

}  // namespace
}  // namespace replay_test
