#include "ktcheck/value_maker.h"

#include <array>
#include <utility>

namespace ktcheck {
namespace {

constexpr std::array kScalars{
    TYPE_BOOLEAN, TYPE_INT32, TYPE_UINT32,           TYPE_INT64, TYPE_UINT64,
    TYPE_STR,     TYPE_WSTR,  TYPE_BINARY,           TYPE_GUID,  TYPE_PROPSET,
    TYPE_KTOBJID, TYPE_I18N,  TYPE_I18NFORMATSTRING, TYPE_TIME};
constexpr std::uint32_t kList = 0x80000000;
constexpr unsigned kDeepest = 2;

}  // namespace

std::uint64_t ValueMaker::OddNumber() {
  constexpr std::array<std::uint64_t, 10> kOdd{0,
                                               1,
                                               7,
                                               255,
                                               65536,
                                               0x7FFFFFFF,
                                               0x80000000,
                                               0xFFFFFFFF,
                                               0x7FFFFFFFFFFFFFFF,
                                               0xFFFFFFFFFFFFFFFF};
  return Number(4) == 0 ? dice_() : kOdd[Number(kOdd.size())];
}

std::string ValueMaker::OddText() {
  constexpr std::array kOdd{"",
                            "a",
                            "%s%n%d",
                            "\xC3\xA9\xE2\x82\xAC",
                            "../..",
                            "a\tb\nc",
                            "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}",
                            "0"};
  if (Number(6) == 0) return std::string(5000, 'x');
  return kOdd[Number(kOdd.size())];
}

ktsvc::Element ValueMaker::Value(std::uint32_t scalar, unsigned depth) {
  const std::uint64_t number = OddNumber();
  const auto set = [&] {
    ktsvc::PropertyList list;
    if (depth < kDeepest) {
      for (std::uint64_t i = Number(3); i != 0; --i) {
        const std::uint32_t type = kScalars[Number(kScalars.size())];
        list.push_back({"p" + std::to_string(i), type, 0, {Value(type, depth + 1)}});
      }
    }
    return list;
  };
  const auto guid = [&] {
    const auto low = static_cast<std::uint8_t>(number);
    return KtGuid{static_cast<std::uint32_t>(number), 0, 0, {low, 0, 0, 0, 0, 0, 0, low}};
  };
  switch (scalar) {
    case TYPE_BOOLEAN:
      return (number & 1U) != 0;
    case TYPE_INT32:
      return static_cast<std::int32_t>(number);
    case TYPE_UINT32:
      return static_cast<std::uint32_t>(number);
    case TYPE_INT64:
      return static_cast<std::int64_t>(number);
    case TYPE_STR:
      return OddText();
    case TYPE_WSTR: {
      const std::string text = OddText();
      return ktsvc::KtWString(text.size(), static_cast<KtWchar>(text.empty() ? u'a' : u'\u00E9'));
    }
    case TYPE_BINARY:
      return std::vector<std::uint8_t>(Number(40), static_cast<std::uint8_t>(number));
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return guid();
    case TYPE_PROPSET:
      return set();
    case TYPE_I18N:
      return ktsvc::Message{guid(), static_cast<std::uint32_t>(number), OddText()};
    case TYPE_I18NFORMATSTRING:
      return ktsvc::FormatMessage{{guid(), static_cast<std::uint32_t>(number), OddText()}, set()};
    default:
      return number;
  }
}

ktsvc::Property ValueMaker::Make(const std::string& name, std::uint32_t type) {
  ktsvc::Property property{name, type, 0, {}};
  if (ktsvc::IsListType(type)) {
    for (std::uint64_t i = Number(4); i != 0; --i) {
      property.elements.push_back(Value(type & ~kList, 1));
    }
  } else {
    property.elements.push_back(Value(type, 0));
  }
  return property;
}

std::vector<ktsvc::Property> ValueMaker::OneOfEach(const std::string& name) {
  std::vector<ktsvc::Property> properties;
  for (const std::uint32_t type : kScalars) {
    properties.push_back(Make(name, type));
    if (type != TYPE_BINARY) properties.push_back(Make(name, type | kList));
  }
  return properties;
}

ktsvc::Property ValueMaker::Any(const std::string& name) {
  const std::uint32_t type = kScalars[Number(kScalars.size())];
  return Make(name, type != TYPE_BINARY && Number(3) == 0 ? type | kList : type);
}

}  // namespace ktcheck
