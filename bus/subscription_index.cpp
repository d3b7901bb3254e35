#include "bus/subscription_index.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "bus/event_pattern.h"

namespace kt::bus {
namespace {

std::size_t CountParts(std::string_view text) noexcept {
  return 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '.'));
}

std::vector<std::size_t> StarsOf(std::string_view pattern) {
  std::vector<std::size_t> stars;
  bool more = true;
  for (std::size_t part = 0; more; ++part) {
    if (TakePart(pattern, more) == "*") stars.push_back(part);
  }
  return stars;
}

// Whether the stars of the pattern are those, without memory.
bool HasStars(std::string_view pattern, const std::vector<std::size_t>& stars) noexcept {
  auto next = stars.begin();
  bool more = true;
  for (std::size_t part = 0; more; ++part) {
    if (TakePart(pattern, more) != "*") continue;
    if (next == stars.end() || *next != part) return false;
    ++next;
  }
  return next == stars.end();
}

// A name's parts, and the name with "*" in the place of some of them, which never makes it longer.
// Names of usual length need no memory.
class Masked {
 public:
  explicit Masked(std::string_view name) : name_(name) {
    for (std::size_t at = 0; at < name.size(); ++at) {
      if (name[at] == '.') AddEnd(at);
    }
    AddEnd(name.size());
    if (name.size() <= short_.size()) return;
    long_.resize(name.size());
    to_ = long_.data();
  }

  [[nodiscard]] std::size_t parts() const noexcept { return parts_; }

  // The name with those stars, of which none is behind its parts, lent until the next call; nothing
  // when one of the parts is empty, which no "*" stands for.
  std::optional<std::string_view> With(const std::vector<std::size_t>& stars) noexcept {
    const std::size_t* const ends = many_.empty() ? few_.data() : many_.data();
    const char* from = name_.data();  // what is not copied yet
    char* to = to_;
    for (const std::size_t star : stars) {
      const std::size_t begin = star == 0 ? 0 : ends[star - 1] + 1;
      if (begin == ends[star]) return std::nullopt;
      to = std::copy(from, name_.data() + begin, to);
      *to++ = '*';
      from = name_.data() + ends[star];
    }
    to = std::copy(from, name_.data() + name_.size(), to);
    return std::string_view(to_, static_cast<std::size_t>(to - to_));
  }

 private:
  void AddEnd(std::size_t at) {
    if (parts_ < few_.size()) {
      few_[parts_] = at;
    } else {
      if (many_.empty()) many_.assign(few_.begin(), few_.end());
      many_.push_back(at);
    }
    ++parts_;
  }

  const std::string_view name_;
  std::size_t parts_ = 0;
  std::array<std::size_t, 16> few_;  // NOLINT(cppcoreguidelines-pro-type-member-init): as counted
  std::vector<std::size_t> many_;    // all of them, when there are more
  std::array<char, 256> short_;  // NOLINT(cppcoreguidelines-pro-type-member-init): written first
  std::string long_;
  char* to_ = short_.data();
};

}  // namespace

void SubscriptionIndex::AddTo(Texts& texts,
                              const std::shared_ptr<const Subscription>& subscription) {
  const auto [place, fresh] = texts.try_emplace(KeptName(HashedName(subscription->name)));
  try {
    place->second.push_back(subscription);
  } catch (...) {
    if (fresh) texts.erase(place);
    throw;
  }
}

void SubscriptionIndex::RemoveFrom(Texts& texts, const Subscription& subscription) noexcept {
  const auto found = texts.find(HashedName(subscription.name));
  if (found == texts.end()) return;
  std::erase_if(found->second,
                [&subscription](const auto& entry) { return entry.get() == &subscription; });
  if (found->second.empty()) texts.erase(found);
}

void SubscriptionIndex::Add(const std::shared_ptr<const Subscription>& subscription) {
  const std::string& name = subscription->name;
  if (!IsPattern(name)) return AddTo(exact_, subscription);
  std::vector<std::size_t> stars = StarsOf(name);
  const auto [place, fresh] = patterns_.try_emplace(CountParts(name));
  Shapes& shapes = place->second;
  const auto shape = std::find_if(shapes.begin(), shapes.end(),
                                  [&](const Shape& one) { return one.stars == stars; });
  if (shape != shapes.end()) return AddTo(shape->texts, subscription);
  try {
    Shape made{std::move(stars), {}};
    AddTo(made.texts, subscription);
    shapes.push_back(std::move(made));
  } catch (...) {
    if (fresh) patterns_.erase(place);
    throw;
  }
}

void SubscriptionIndex::Remove(const Subscription& subscription) noexcept {
  const std::string& name = subscription.name;
  if (!IsPattern(name)) return RemoveFrom(exact_, subscription);
  const auto found = patterns_.find(CountParts(name));
  if (found == patterns_.end()) return;
  Shapes& shapes = found->second;
  const auto shape = std::find_if(shapes.begin(), shapes.end(),
                                  [&](const Shape& one) { return HasStars(name, one.stars); });
  if (shape == shapes.end()) return;
  RemoveFrom(shape->texts, subscription);
  if (shape->texts.empty()) shapes.erase(shape);
  if (shapes.empty()) patterns_.erase(found);
}

void SubscriptionIndex::AppendMatching(const HashedName& name,
                                       std::vector<const Entries*>& out) const {
  if (const auto found = exact_.find(name); found != exact_.end()) out.push_back(&found->second);
  if (patterns_.empty()) return;
  Masked masked(name.text);
  const auto shapes = patterns_.find(masked.parts());
  if (shapes == patterns_.end()) return;
  for (const Shape& shape : shapes->second) {
    const auto text = masked.With(shape.stars);
    if (!text) continue;
    if (const auto found = shape.texts.find(HashedName(*text)); found != shape.texts.end()) {
      out.push_back(&found->second);
    }
  }
}

}  // namespace kt::bus
