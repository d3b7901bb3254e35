#include "access/secret.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace ktsvc::access {
namespace {

static_assert(!std::is_copy_constructible_v<Secret> && !std::is_copy_assignable_v<Secret>);

TEST(SecretEquals, IsTrueForTheSameTextAlone) {
  const Secret secret("0123456789abcdef");
  EXPECT_TRUE(secret.Equals("0123456789abcdef"));
  for (const char* other : {"", "0", "0123456789abcde", "0123456789abcdef0", "0123456789abcdeF",
                            "1123456789abcdef", "0123456789abcdef0123456789abcdef"}) {
    EXPECT_FALSE(secret.Equals(other)) << other;
  }
}

TEST(SecretEquals, SeesADifferenceInEachBitOfEachByte) {
  const std::string text = "Yw5-_0q";
  const Secret secret(text);
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string other = text;
      other[at] = static_cast<char>(static_cast<unsigned char>(other[at]) ^ (1U << bit));
      EXPECT_FALSE(secret.Equals(other)) << at << " " << bit;
    }
  }
}

TEST(SecretEquals, TakesAnEmptySecretForTheEmptyTextAlone) {
  EXPECT_TRUE(Secret("").Equals(""));
  EXPECT_FALSE(Secret("").Equals("a"));
}

TEST(Secret, KeepsItsTextWhenItMoves) {
  Secret first("one");
  Secret second(std::move(first));
  EXPECT_TRUE(second.Equals("one"));
  Secret third("two");
  third = std::move(second);
  EXPECT_TRUE(third.Equals("one"));
  EXPECT_FALSE(third.Equals("two"));
}

TEST(Wipe, OverwritesTheTextBeforeItIsEmptied) {
  std::string text = "a text that is longer than a string keeps inside itself";
  const char* const bytes = text.data();
  const std::size_t size = text.size();
  Wipe(text);
  EXPECT_TRUE(text.empty());
  // The memory is still the string's, which keeps it to grow into.
  ASSERT_EQ(text.data(), bytes);
  ASSERT_GE(text.capacity(), size);
  for (std::size_t at = 0; at < size; ++at) {
    EXPECT_EQ(bytes[at], '\0') << at;
  }
}

}  // namespace
}  // namespace ktsvc::access
