// What the typed tests know about each kind of value: two different samples, the codes they are
// stored under, how they are named in messages, and when two of them are the same.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "fake/fake_framework.h"
#include "objmodel/property_traits.h"

template <typename Kinds>
struct AsTypes;
template <typename... Kinds>
struct AsTypes<kt::KindList<Kinds...>> {
  using type = ::testing::Types<Kinds...>;
};

// Short names for the typed tests, in place of numbers.
struct KindName {
  template <typename T>
  static std::string GetName(int);
};

inline constexpr KtGuid kGuidOne{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr KtGuid kGuidTwo{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
inline constexpr const char* kGuidOneText = "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}";
inline constexpr const char* kGuidTwoText = "{00000001-0002-0003-0405-060708090A0B}";

inline constexpr KtI18NDef kMessageOne{kGuidOne, 7, 0, "Disk %1"};
inline constexpr KtI18NDef kMessageTwo{kGuidTwo, 8, 0,
                                       "A text that is too long to stand in itself"};

template <typename T>
struct Sample;

#define KT_SAMPLE(Type, one, two, scalar_code, list_code, name) \
  template <>                                                   \
  struct Sample<Type> {                                         \
    static Type One() { return one; }                           \
    static Type Two() { return two; }                           \
    static constexpr std::uint32_t kCode = scalar_code;         \
    static constexpr std::uint32_t kListCode = list_code;       \
    static constexpr const char* kName = "TYPE_" name;          \
    static constexpr const char* kListName = "TYPE_" name "Z";  \
  }

KT_SAMPLE(cuvo_bool, 1, 0, 1, 0x80000001u, "BOOLEAN");
KT_SAMPLE(std::int32_t, -7, 12, 2, 0x80000002u, "INT32");
KT_SAMPLE(std::uint32_t, 7, 0xFFFFFFFFu, 3, 0x80000003u, "UINT32");
KT_SAMPLE(std::int64_t, -5'000'000'000, 3, 4, 0x80000004u, "INT64");
KT_SAMPLE(std::uint64_t, 5'000'000'000u, 3, 5, 0x80000005u, "UINT64");
KT_SAMPLE(KtTime, (KtTime{99}), (KtTime{100}), 0x10005u, 0x80010005u, "TIME");
KT_SAMPLE(std::string, "alpha", "", 6, 0x80000006u, "STR");
KT_SAMPLE(KtWString, KT_W("beta"), KT_W("g\u00E4mma"), 7, 0x80000007u, "WSTR");
KT_SAMPLE(KtGuid, kGuidOne, kGuidTwo, 9, 0x80000009u, "GUID");
KT_SAMPLE(KtObjId, KtObjId{kGuidOne}, KtObjId{kGuidTwo}, 11, 0x8000000Bu, "KTOBJID");
KT_SAMPLE(KtI18NDef, kMessageOne, kMessageTwo, 16, 0x80000010u, "I18N");
KT_SAMPLE(CKtI18N, CKtI18N(kMessageOne), CKtI18N(kMessageTwo), 16, 0x80000010u, "I18N");
KT_SAMPLE(CKtI18NFM, CKtI18NFM(kMessageOne), CKtI18NFM(kMessageTwo), 17, 0x80000011u,
          "I18NFORMATSTRING");
#undef KT_SAMPLE

// Sets of the test's own: the ledger leaves them out.
inline KtPropset SampleSet(std::uint32_t number) {
  const KtPropset set = fake::Framework::Get().MakePropset();
  fake::Framework::Get().PutUInt32(set, "n", number);
  return set;
}

template <>
struct Sample<KtPropset> {
  static KtPropset One() { return SampleSet(1); }
  static KtPropset Two() { return SampleSet(2); }
  static constexpr std::uint32_t kCode = 10;
  static constexpr std::uint32_t kListCode = 0x8000000Au;
  static constexpr const char* kName = "TYPE_PROPSET";
  static constexpr const char* kListName = "TYPE_PROPSETZ";
};

template <>
struct Sample<KtI18NFormatString> {
  static KtI18NFormatString One() { return {kMessageOne, SampleSet(1)}; }
  static KtI18NFormatString Two() { return {kMessageTwo, nullptr}; }
  static constexpr std::uint32_t kCode = 17;
  static constexpr std::uint32_t kListCode = 0x80000011u;
  static constexpr const char* kName = "TYPE_I18NFORMATSTRING";
  static constexpr const char* kListName = "TYPE_I18NFORMATSTRINGZ";
};

// The lines of getters that meet another type. An object id may be stored as a GUID, and the line
// of the list of GUIDs has a wording of its own.
template <typename T>
std::string WrongTypeText(const std::string& property) {
  std::string name = Sample<T>::kName;
  if (std::is_same_v<T, KtObjId>) name += " or TYPE_GUID";
  return "hostkit: ERROR: CKtPropertySet::GetProp() : Property " + property + " is not of " + name;
}
template <typename T>
std::string WrongListTypeText(const std::string& property) {
  std::string name = Sample<T>::kListName;
  if (std::is_same_v<T, KtObjId>) name += " or TYPE_GUIDZ";
  const std::string is_not = std::is_same_v<T, KtGuid> ? " is not or " : " is not of ";
  return "hostkit: ERROR: CKtPropertySet::GetProp() : Property " + property + is_not + name;
}

template <typename T>
bool Same(const T& left, const T& right) {
  if constexpr (std::is_class_v<T> && std::is_trivially_copyable_v<T>) {
    return std::memcmp(&left, &right, sizeof(T)) == 0;
  } else {
    return left == right;
  }
}
// Shallow lists: what a message points to is gone with the record.
inline bool Same(const KtI18NDef& left, const KtI18NDef& right) {
  return Same(left.catalog, right.catalog) && left.messageId == right.messageId;
}
inline bool Same(const KtI18NFormatString& left, const KtI18NFormatString& right) {
  return Same(left.message, right.message) &&
         (left.insertions == nullptr) == (right.insertions == nullptr);
}
inline bool Same(const KtPropset& left, const KtPropset& right) {
  fake::Framework& framework = fake::Framework::Get();
  return framework.PropertiesOf(left) == framework.PropertiesOf(right);
}
inline bool Same(const CKtI18N& left, const CKtI18N& right) {
  return Same(left.Definition(), right.Definition()) && left.Name() == right.Name() &&
         left.Definition().name == left.Name().c_str();
}
inline bool Same(const CKtI18NFM& left, const CKtI18NFM& right) {
  return Same(left.Definition(), right.Definition()) && left.Name() == right.Name() &&
         left.Definition().name == left.Name().c_str() &&
         Same(left.Insertions(), right.Insertions());
}

// Gives back what reading a list handed to the caller.
template <typename T>
void Dispose(std::vector<T>&) {}
inline void Dispose(std::vector<KtPropset>& sets) {
  for (const KtPropset set : sets) PsDestroyPropset(set);
}

template <typename T>
std::string KindName::GetName(int) {
  std::string name = std::string(Sample<T>::kName).substr(5);
  if (std::is_same_v<T, CKtI18N> || std::is_same_v<T, CKtI18NFM>) name += "Deep";
  return name;
}

// Messages with insertion sets are not made in braces, where they would be copied once more.
template <typename T>
std::vector<T> Samples() {
  std::vector<T> samples;
  samples.reserve(2);
  samples.push_back(Sample<T>::One());
  samples.push_back(Sample<T>::Two());
  return samples;
}

template <typename T>
bool SameLists(const std::vector<T>& left, const std::vector<T>& right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (!Same(left[i], right[i])) return false;
  }
  return true;
}
