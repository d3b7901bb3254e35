// Writes the seeds of the targets whose inputs are no texts, in the order in which these read their
// bytes (support/byte_source.h). To be run when a target reads another order:
//
//   cmake --build build/fuzz --target fuzz_seeds && build/fuzz/bin/fuzz_seeds fuzz/corpus
//
// The seeds of the other targets are texts, written by hand.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "support/property_types.h"

namespace {

using kt::fuzz::kListBit;
using kt::fuzz::kTypes;

// Bytes as a ByteSource reads them.
class Seed {
 public:
  Seed& Byte(unsigned value) {
    bytes_ += static_cast<char>(value & 0xFFU);
    return *this;
  }
  Seed& Bytes(std::initializer_list<unsigned> values) {
    for (const unsigned value : values) Byte(value);
    return *this;
  }
  Seed& Number(std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i < size; ++i) Byte(static_cast<unsigned>(value >> (8 * i)) & 0xFFU);
    return *this;
  }
  Seed& Text(const std::string& text) { return Byte(static_cast<unsigned>(text.size())).Raw(text); }
  Seed& Wide(const std::u16string& text) {
    Byte(static_cast<unsigned>(text.size()));
    for (const char16_t unit : text) Number(unit, 2);
    return *this;
  }
  Seed& Guid() { return Number(0x4CDF9A899452C1D7, 8).Number(0xD902D0D7E11EDFB3, 8); }
  Seed& Raw(const std::string& text) {
    bytes_ += text;
    return *this;
  }
  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

std::filesystem::path root;

void Write(const std::string& target, const std::string& name, const Seed& seed) {
  const std::filesystem::path folder = root / target;
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / name, std::ios::binary);
  file << seed.bytes();
  if (!file.flush()) {
    static_cast<void>(
        std::fprintf(stderr, "fuzz_seeds: cannot write %s\n", (folder / name).c_str()));
    std::exit(1);
  }
}

// ---- Properties: the order of support/property_types.h and property_source.cpp ------------------

// The value of each scalar type, in the order of the table there; a list has two.
Seed& Value(Seed& seed, std::uint32_t type) {
  switch (type) {
    case TYPE_BOOLEAN:
      return seed.Byte(1);
    case TYPE_INT32:
    case TYPE_UINT32:
      return seed.Number(0x80000000, 4);
    case TYPE_INT64:
    case TYPE_UINT64:
    case TYPE_TIME:
      return seed.Number(0x8000000000000000, 8);
    case TYPE_STR:
      return seed.Text("disk \xFF");
    case TYPE_WSTR:
      return seed.Wide(u"d\u00EF\u20AC\xD800");
    case TYPE_BINARY:
      return seed.Text(std::string("\0\xAB\xFF", 3));
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return seed.Guid();
    case TYPE_I18N:
      return seed.Guid().Number(7, 4).Text("Disk %1");
    case TYPE_I18NFORMATSTRING:  // with one insertion
      seed.Guid().Number(7, 4).Text("Disk %1 of %2").Byte(1);
      return seed.Byte(1).Text("p1").Byte(5).Byte(0).Text("sda");
    default:  // TYPE_PROPSET, with one number
      return seed.Byte(1).Byte(1).Text("nested").Byte(2).Byte(0).Number(5, 4);
  }
}

Seed& Property(Seed& seed, const std::string& name, unsigned index) {
  const std::uint32_t type = kTypes[index];
  seed.Text(name).Byte(index).Byte(0);
  if ((type & kListBit) == 0) return Value(seed, type);
  seed.Byte(2);
  Value(seed, type & ~kListBit);
  return Value(seed, type & ~kListBit);
}

void WriteRecords() {
  for (unsigned i = 0; i < std::size(kTypes); ++i) {
    Seed seed;
    seed.Byte(1);
    Property(seed, "Name", i);
    Write("records", "type_" + std::to_string(i), seed);
  }
  Seed many;
  many.Byte(8);
  for (unsigned i = 0; i < 8; ++i) Property(many, "p" + std::to_string(i), i * 3);
  // Then a record that says it is a list of texts, and one of a type that is none.
  many.Text("p0").Byte(1).Byte(1).Byte(19).Number(0, 4).Byte(9).Number(0, 4).Text("");
  many.Raw(std::string(64, '\1'));
  Write("records", "many_then_hostile", many);
}

void WriteMessages() {
  Seed plain;
  plain.Guid().Number(7, 4).Text("Disk %1 of %2, %%, %12, %").Byte(2);
  Property(plain, "p1", 5);
  Property(plain, "p2", 6);
  Write("messages", "two_insertions", plain);
  Seed numbered;
  numbered.Guid().Number(7, 4).Text("%1%2%12").Byte(0);
  numbered.Byte(0).Byte(1).Byte(0).Text("%2").Byte(0).Byte(2).Byte(1).Wide(u"x\xD800");
  Write("messages", "by_number", numbered);
  Seed odd;
  odd.Guid().Number(7, 4).Text("%-1 %0 %5 %2147483647").Byte(4);
  for (const char* const name : {"p-1", "", "p +5x", "p99999999999"}) Property(odd, name, 5);
  Write("messages", "odd_names", odd);
  Seed message;
  message.Guid().Number(7, 4).Text("%1 %2").Byte(2);
  Property(message, "p1", 11);
  Property(message, "p2", 2);
  Write("messages", "message_in_message", message);
}

void WriteTrace() {
  Write("trace", "bytes_all",
        Seed().Byte(0).Raw("%d %u %x %X %ld %lu %I64d %s %S %c %p %% %-5.3s %08x %*d %l %y"));
  Write("trace", "bytes_end", Seed().Byte(0).Raw("%"));
  Write("trace", "bytes_wide", Seed().Byte(0).Raw("%hs%ls%ws%hS%.*S%99999999999d"));
  Seed integers;
  integers.Byte(1);
  for (unsigned size = 0; size < 11; ++size) {
    integers.Byte(1).Byte(size).Byte(9).Byte(12).Byte(3).Byte(size).Byte(size);
    integers.Number(0xFFFFFFFF80000001, 8);
  }
  Write("trace", "integers", integers);
  Seed texts;
  texts.Byte(1).Byte(3).Byte(0).Byte(9).Byte(8).Byte(2).Text("narrow").Byte(1).Byte(0);
  texts.Byte(4).Byte(1).Byte(9).Byte(9).Byte(3).Wide(u"wi\U0001F4BE").Byte(1).Byte(0);
  texts.Byte(5).Byte(0).Byte(1).Byte(3).Number(0x20AC, 4).Byte(2);
  texts.Byte(0).Text("50% plain");
  Write("trace", "texts", texts);
  Seed floating;
  floating.Byte(1);
  for (unsigned type = 0; type < 6; ++type) {
    floating.Byte(7).Byte(type).Byte(9).Byte(20).Byte(3).Byte(type).Number(0x400921FB54442D18, 8);
  }
  Write("trace", "floating", floating);
}

void WriteText() {
  const std::string narrow = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x92\xBE";
  Write("text", "utf8", Seed().Byte(0).Byte(5).Raw(narrow));
  Write("text", "utf8_malformed",
        Seed().Byte(0).Byte(50).Raw("\xC0\x80\xED\xA0\x80\xF5\x80\xFF" + narrow));
  Seed wide;
  wide.Byte(1).Byte(7);
  for (const unsigned unit : {0x61U, 0xE9U, 0x20ACU, 0xD83DU, 0xDCBEU}) wide.Number(unit, 2);
  Write("text", "utf16", wide);
  Seed lone;
  lone.Byte(1).Byte(50);
  for (const unsigned unit : {0xDCBEU, 0xD83DU, 0x61U, 0xD83DU}) lone.Number(unit, 2);
  Write("text", "utf16_malformed", lone);
}

void WriteRegistry() {
  Seed tree;
  tree.Byte(0).Byte(0).Text("7.1.0.1\n").Byte(1).Text("7.1").Byte(2).Text("7.1 SP2").Byte(0xFF);
  tree.Wide(u"SOFTWARE\\Tormeld\\KtSvc").Wide(u"Version");
  Write("registry", "tree", tree);
  Seed malformed;
  malformed.Byte(0).Byte(0).Text("\xFF\n").Byte(1).Text("").Byte(2).Text("\n").Byte(0xFF);
  malformed.Wide(u"..\\..\\x").Wide(u"/");
  Write("registry", "tree_malformed", malformed);
  Write("registry", "answers",
        Seed().Byte(1).Bytes({1, 1, 1, 1, 16}).Raw(std::string("7\0.\0001\0\0\0", 8)));
  Write("registry", "answers_short", Seed().Byte(1).Bytes({1, 1, 1, 1, 7}).Raw("odd"));
  Write("registry", "answers_error", Seed().Byte(1).Bytes({1, 0, 5, 0, 0, 0, 1, 1}));
}

void WriteControls() {
  // The first byte is about the registry; then a byte for each call (targets/controls.cpp, Step).
  Seed level;
  level.Byte(1).Byte(0).Byte(0).Byte(1).Byte(2).Byte(0).Number(6, 4).Byte(0);
  level.Byte(2).Byte(2).Byte(0).Byte(1).Byte(1).Byte(0).Byte(1).Byte(1).Byte(1).Byte(1).Byte(1);
  level.Byte(1).Byte(4).Byte(0).Byte(0);
  Write("controls", "trace_level", level);
  Seed send;
  send.Byte(1).Byte(5).Byte(2).Byte(0).Byte(1).Byte(2).Byte(1).Byte(1).Byte(0).Byte(0).Byte(3);
  Write("controls", "send", send);
  Seed every;
  every.Byte(0);
  for (unsigned call = 0; call < 16; ++call) {
    every.Byte(call).Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  }
  Write("controls", "every_call", every);
  Seed groups;  // a generic group, then the end of the domain initialisation
  groups.Byte(1)
      .Byte(9)
      .Byte(1)
      .Byte(3)
      .Byte(3)
      .Byte(4)
      .Byte(8)
      .Byte(1)
      .Byte(0)
      .Byte(0)
      .Byte(1)
      .Byte(3);
  Write("controls", "generic_group", groups);
}

void WriteDevices() {
  Seed seed;
  for (const char* const path : {"block/sda", "block/sda/sda1"}) {
    seed.Byte(1).Text(path).Byte(8).Byte(1).Byte(1).Byte(0).Byte(2);
    seed.Byte(6).Text("SomeDisk \xFF").Byte(0).Text("2048");
    seed.Byte(2).Byte(0).Text("ext4").Byte(1).Text("root\x07");
  }
  seed.Raw(
      "36 35 8:1 / /mnt\\040a rw,noatime master:1 - ext4 /dev/sda1 rw,errors=continue\n"
      "37 35 0:5 / /proc rw - proc proc rw\n");
  Write("devices", "two", seed);
}

void WriteImages() {
  Seed elf;
  elf.Raw(
         "\x7F"
         "ELF")
      .Bytes({2, 1, 1})
      .Raw(std::string(9, '\0'));
  elf.Number(3, 2).Number(62, 2).Number(1, 4).Number(0, 8).Number(64, 8).Number(208, 8);
  elf.Number(0, 4).Number(64, 2).Number(56, 2).Number(2, 2).Number(64, 2).Number(2, 2).Number(0, 2);
  elf.Number(1, 4).Number(5, 4).Number(0, 8).Number(0, 8).Number(0, 8).Number(336, 8).Number(336,
                                                                                             8);
  elf.Number(4096, 8);
  elf.Number(2, 4).Number(6, 4).Number(176, 8).Number(176, 8).Number(176, 8).Number(32, 8);
  elf.Number(32, 8).Number(8, 8);
  elf.Number(0x6FFFFFFB, 8).Number(0, 8).Number(0, 8).Number(0, 8).Raw(std::string(128, '\0'));
  Write("image", "elf", elf);
  Write("image", "elf_cut", Seed().Raw(elf.bytes().substr(0, 80)));
  Seed pe;
  pe.Raw("MZ").Raw(std::string(58, '\0')).Number(64, 4).Raw(std::string("PE\0\0", 4));
  pe.Number(0x8664, 2).Number(1, 2).Raw(std::string(12, '\0')).Number(240, 2).Number(0x2022, 2);
  pe.Number(0x20B, 2).Raw(std::string(238, '\0')).Raw(".text").Raw(std::string(3, '\0'));
  pe.Number(16, 4).Number(0x1000, 4).Number(16, 4).Number(368, 4).Raw(std::string(16 + 16, '\0'));
  Write("image", "pe", pe);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    static_cast<void>(
        std::fputs("Usage: fuzz_seeds FOLDER\n\nWrites the seeds of the targets whose "
                   "inputs are no texts into FOLDER/TARGET.\n",
                   stderr));
    return 2;
  }
  root = argv[1];
  WriteRecords();
  WriteMessages();
  WriteTrace();
  WriteText();
  WriteRegistry();
  WriteControls();
  WriteDevices();
  WriteImages();
  return 0;
}
