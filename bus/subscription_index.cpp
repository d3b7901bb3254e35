#include "bus/subscription_index.h"

#include <algorithm>
#include <array>
#include <memory_resource>

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

// A name's parts, and the name with "*" in the place of some of them. Names of usual length need no
// memory.
class Parts {
 public:
  explicit Parts(std::string_view name) : name_(name), ends_(&memory_), masked_(&memory_) {
    masked_.reserve(name.size());
    for (std::size_t at = 0; at <= name.size(); ++at) {
      if (at == name.size() || name[at] == '.') ends_.push_back(at);
    }
  }

  [[nodiscard]] std::size_t size() const noexcept { return ends_.size(); }

  // Lent until the next call. Empty when one of the parts is, which no "*" stands for.
  std::string_view WithStars(const std::vector<std::size_t>& stars) {
    masked_.clear();
    std::size_t from = 0;
    for (const std::size_t star : stars) {
      const std::size_t begin = star == 0 ? 0 : ends_[star - 1] + 1;
      if (begin == ends_[star]) return {};
      masked_.append(name_.substr(from, begin - from)).push_back('*');
      from = ends_[star];
    }
    return masked_.append(name_.substr(from));
  }

 private:
  std::array<std::byte, 512> buffer_;  // NOLINT(cppcoreguidelines-pro-type-member-init): not read
  std::pmr::monotonic_buffer_resource memory_{buffer_.data(), buffer_.size()};
  const std::string_view name_;
  std::pmr::vector<std::size_t> ends_;
  std::pmr::string masked_;
};

}  // namespace

void SubscriptionIndex::AddTo(Texts& texts,
                              const std::shared_ptr<const Subscription>& subscription) {
  const auto [place, fresh] = texts.try_emplace(subscription->name);
  try {
    place->second.push_back(subscription);
  } catch (...) {
    if (fresh) texts.erase(place);
    throw;
  }
}

void SubscriptionIndex::RemoveFrom(Texts& texts, const Subscription& subscription) noexcept {
  const auto found = texts.find(std::string_view(subscription.name));
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

void SubscriptionIndex::AppendMatching(std::string_view name,
                                       std::vector<const Entries*>& out) const {
  if (const auto found = exact_.find(name); found != exact_.end()) out.push_back(&found->second);
  if (patterns_.empty()) return;
  Parts parts(name);
  const auto shapes = patterns_.find(parts.size());
  if (shapes == patterns_.end()) return;
  for (const Shape& shape : shapes->second) {
    const std::string_view text = parts.WithStars(shape.stars);
    if (text.empty()) continue;
    if (const auto found = shape.texts.find(text); found != shape.texts.end()) {
      out.push_back(&found->second);
    }
  }
}

}  // namespace kt::bus
