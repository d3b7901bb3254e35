// Which subscriptions the index finds: those that match, and no others, whatever comes and goes.
#include "bus/subscription_index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "bus/event_pattern.h"

namespace kt::bus {
namespace {

using Entry = std::shared_ptr<const Subscription>;

Entry Make(std::string name) {
  auto made = std::make_shared<Subscription>();
  made->name = std::move(name);
  return made;
}

std::vector<const Subscription*> Found(const SubscriptionIndex& index, const std::string& name) {
  std::vector<const SubscriptionIndex::Entries*> lists;
  index.AppendMatching(HashedName(name), lists);
  std::vector<const Subscription*> found;
  for (const auto* const list : lists) {
    for (const Entry& entry : *list) found.push_back(entry.get());
  }
  std::sort(found.begin(), found.end());
  return found;
}

// One by one, as the index does not.
std::vector<const Subscription*> Matching(const std::vector<Entry>& all, const std::string& name) {
  std::vector<const Subscription*> matching;
  for (const Entry& entry : all) {
    if (MatchesPattern(name.c_str(), entry->name.c_str())) matching.push_back(entry.get());
  }
  std::sort(matching.begin(), matching.end());
  return matching;
}

// Up to four parts of few words, so that many match.
std::string RandomName(std::mt19937& random) {
  constexpr std::array kWords{"a", "b", "*", "", "a*", "*a", "ab"};
  std::string name = kWords[random() % kWords.size()];
  for (auto more = random() % 4; more != 0; --more) {
    name += '.';
    name += kWords[random() % kWords.size()];
  }
  return name;
}

TEST(SubscriptionIndex, FindsWhatMatchesAndNothingElseWhileSubscriptionsComeAndGo) {
  std::mt19937 random(17);
  SubscriptionIndex index;
  std::vector<Entry> all;
  std::size_t matches = 0;
  for (int step = 0; step < 3000; ++step) {
    if (all.empty() || random() % 5 < 3) {
      all.push_back(Make(RandomName(random)));
      index.Add(all.back());
    } else {
      const auto place = all.begin() + static_cast<std::ptrdiff_t>(random() % all.size());
      index.Remove(**place);
      all.erase(place);
    }
    const std::string name = RandomName(random);
    const auto expected = Matching(all, name);
    ASSERT_EQ(Found(index, name), expected) << name << " at step " << step;
    matches += expected.size();
  }
  EXPECT_GT(matches, 1000U);
}

// Part by part, as it is said in words.
std::vector<std::string> PartsOf(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char character : text) {
    if (character == '.') {
      parts.emplace_back();
    } else {
      parts.back() += character;
    }
  }
  return parts;
}

bool MatchesInWords(const std::string& name, const std::string& pattern) {
  const auto parts = PartsOf(name);
  const auto wanted = PartsOf(pattern);
  return std::equal(parts.begin(), parts.end(), wanted.begin(), wanted.end(),
                    [](const std::string& part, const std::string& want) {
                      return want == "*" ? !part.empty() : part == want;
                    });
}

TEST(EventPattern, MatchesAsItIsSaidInWords) {
  std::mt19937 random(4);
  int matches = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string name = RandomName(random);
    const std::string pattern = RandomName(random);
    const bool expected = MatchesInWords(name, pattern);
    ASSERT_EQ(MatchesPattern(name.c_str(), pattern.c_str()), expected)
        << name << " against " << pattern;
    if (expected) ++matches;
  }
  EXPECT_GT(matches, 300);
}

TEST(SubscriptionIndex, FindsNothingOnceAllAreGone) {
  SubscriptionIndex index;
  std::vector<Entry> all;
  for (const char* const name : {"a.b", "a.b", "a.*", "*.b", "*.*", "*", "a"}) {
    all.push_back(Make(name));
    index.Add(all.back());
  }
  EXPECT_EQ(Found(index, "a.b").size(), 5U);
  for (const Entry& entry : all) index.Remove(*entry);
  EXPECT_THAT(Found(index, "a.b"), testing::IsEmpty());
  EXPECT_THAT(Found(index, "a"), testing::IsEmpty());
}

TEST(SubscriptionIndex, LetsOneOfTwoToTheSameTextGoAlone) {
  SubscriptionIndex index;
  const Entry first = Make("a.*");
  const Entry second = Make("a.*");
  index.Add(first);
  index.Add(second);
  index.Remove(*first);
  EXPECT_THAT(Found(index, "a.b"), testing::ElementsAre(second.get()));
}

TEST(SubscriptionIndex, IgnoresTheRemovalOfOneThatIsNotThere) {
  SubscriptionIndex index;
  const Entry there = Make("a.*");
  index.Add(there);
  index.Remove(*Make("a.*"));
  index.Remove(*Make("*.a"));
  index.Remove(*Make("*"));
  index.Remove(*Make("a"));
  EXPECT_THAT(Found(index, "a.b"), testing::ElementsAre(there.get()));
}

TEST(SubscriptionIndex, TakesNamesOfAnyLengthAndAnyNumberOfParts) {
  SubscriptionIndex index;
  const std::string part(1000, 'x');
  std::string parts = "a";
  for (int i = 0; i < 300; ++i) parts += ".a";
  std::string stars = "*";
  for (int i = 0; i < 300; ++i) stars += ".*";
  const Entry pattern = Make("*." + part + ".c");
  const Entry many = Make(stars);
  index.Add(pattern);
  index.Add(many);
  EXPECT_THAT(Found(index, part + "." + part + ".c"), testing::ElementsAre(pattern.get()));
  EXPECT_THAT(Found(index, part + ".y.c"), testing::IsEmpty());
  EXPECT_THAT(Found(index, parts), testing::ElementsAre(many.get()));
  EXPECT_THAT(Found(index, parts + ".a"), testing::IsEmpty());
}

}  // namespace
}  // namespace kt::bus
