#include "api/stream_hub.h"

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <iterator>
#include <mutex>
#include <numeric>
#include <utility>

namespace ktsvc::api {
namespace {

constexpr std::array<std::string_view, kTopics> kTopicNames{"events", "alerts", "trace", "objects"};

// Numbers remembered of each topic, so that one who comes back is told how many he missed. Beyond
// them the count is of all that the topic ever had.
constexpr std::size_t kNumbersKept = 65536;

// Losses on the way here that are remembered one by one, for those who come back; beyond them the
// oldest are forgotten.
constexpr std::size_t kLossesKept = 4096;

using Messages = std::vector<std::shared_ptr<const StreamHub::Message>>;
using Wanted = std::array<bool, kTopics>;

constexpr std::size_t IndexOf(Topic topic) noexcept {
  return static_cast<std::size_t>(topic);
}

std::size_t BytesOf(const StreamHub::Message& message) noexcept {
  return message.name.size() + message.json.size();
}

template <typename Topics>
Wanted WantedOf(const Topics& topics) noexcept {
  Wanted wanted{};
  for (const Topic topic : topics) {
    wanted[IndexOf(topic)] = true;
  }
  return wanted;
}

// What is missing at one place of a subscriber's stream.
struct Gap {
  std::uint64_t lost = 0;
  bool restarted = false;

  [[nodiscard]] bool Empty() const noexcept { return lost == 0 && !restarted; }
};

}  // namespace

std::string_view TopicName(Topic topic) noexcept {
  return kTopicNames[IndexOf(topic)];
}

std::optional<Topic> TopicFromName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < kTopics; ++i) {
    if (kTopicNames[i] == name) {
      return static_cast<Topic>(i);
    }
  }
  return std::nullopt;
}

// One subscriber's queue. Its own lock is inside the hub's.
class StreamHub::Queue final : public StreamHub::Subscription {
 public:
  Queue(std::shared_ptr<State> state, const Bounds& bounds, const Selection& selection,
        std::function<void()> wake)
      : state_(std::move(state)),
        bounds_(bounds),
        wanted_(WantedOf(selection.topics)),
        pattern_(selection.eventPattern),
        wake_(std::move(wake)) {}
  ~Queue() override;
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  std::optional<Item> Take() override {
    const std::lock_guard lock(mutex_);
    Gap& next = entries_.empty() ? gap_ : entries_.front().before;
    if (!next.Empty()) {
      const Gap gap = std::exchange(next, {});
      return Item{nullptr, gap.lost, gap.restarted};
    }
    if (entries_.empty()) {
      return std::nullopt;
    }
    Item item{std::move(entries_.front().message)};
    entries_.pop_front();
    bytes_ -= BytesOf(*item.message);
    return item;
  }

  [[nodiscard]] bool Ended() const override {
    const std::lock_guard lock(mutex_);
    return closed_ && EmptyLocked();
  }

  // Appends a message, or counts it as lost; false when it is lost.
  bool Push(const std::shared_ptr<const Message>& message) noexcept {
    const std::lock_guard lock(mutex_);
    const bool wasEmpty = EmptyLocked();
    const bool kept = message != nullptr && AppendLocked(message);
    if (!kept) {
      ++gap_.lost;
    }
    if (wasEmpty) {
      wake_();
    }
    return kept;
  }

  // Counts so many as lost that never got as far as this.
  void Miss(std::uint64_t count) noexcept {
    const std::lock_guard lock(mutex_);
    const bool wasEmpty = EmptyLocked();
    gap_.lost += count;
    if (wasEmpty) {
      wake_();
    }
  }

  // Before anybody else knows the queue: what is missing, then what is kept, the oldest first, of
  // which the newest count when it is more than the bytes allow.
  void Fill(Gap before, const Messages& messages) {
    const std::lock_guard lock(mutex_);
    auto first = messages.end();
    while (first != messages.begin() &&
           BytesOf(**std::prev(first)) <= bounds_.queueBytes - bytes_) {
      --first;
      bytes_ += BytesOf(**first);
    }
    before.lost += static_cast<std::uint64_t>(first - messages.begin());
    for (auto message = first; message != messages.end(); ++message) {
      entries_.push_back({*message, {}});
    }
    (entries_.empty() ? gap_ : entries_.front().before) = before;
  }

  void Close() noexcept {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(closed_, true)) {
      wake_();
    }
  }

  [[nodiscard]] const Wanted& wanted() const noexcept { return wanted_; }
  [[nodiscard]] const std::string& pattern() const noexcept { return pattern_; }

 private:
  struct Entry {
    std::shared_ptr<const Message> message;
    Gap before;
  };

  // The helpers expect the lock to be held.
  [[nodiscard]] bool EmptyLocked() const noexcept { return entries_.empty() && gap_.Empty(); }

  bool AppendLocked(const std::shared_ptr<const Message>& message) noexcept {
    const std::size_t bytes = BytesOf(*message);
    if (entries_.size() >= bounds_.queue || bytes > bounds_.queueBytes - bytes_) {
      return false;
    }
    try {
      entries_.push_back({message, gap_});
    } catch (const std::bad_alloc&) {
      return false;
    }
    bytes_ += bytes;
    gap_ = {};
    return true;
  }

  const std::shared_ptr<State> state_;
  const Bounds bounds_;
  const Wanted wanted_;
  const std::string pattern_;
  const std::function<void()> wake_;

  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  std::size_t bytes_ = 0;  // of all entries' messages
  Gap gap_;                // after the last entry
  bool closed_ = false;
};

class StreamHub::State {
 public:
  State(const Bounds& bounds, Matcher matcher, std::uint64_t firstId)
      : bounds_(bounds), matcher_(std::move(matcher)), beforeFirst_(firstId - 1) {}

  void Publish(Topic topic, std::string json, std::string name) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) {
      return;
    }
    const std::uint64_t id = ++last_;
    ++published_;
    std::shared_ptr<const Message> message;
    try {
      message =
          std::make_shared<const Message>(Message{id, topic, std::move(name), std::move(json)});
      Keep(topics_[IndexOf(topic)], message);
    } catch (const std::bad_alloc&) {
      ++topics_[IndexOf(topic)].published;  // and not kept; subscribers may still have it
    }
    for (Queue* const queue : queues_) {
      if (queue->wanted()[IndexOf(topic)] && (message == nullptr || Wants(*queue, *message)) &&
          !queue->Push(message)) {
        ++lost_;
      }
    }
  }

  void Lose(std::initializer_list<Topic> topics, std::uint64_t count) noexcept {
    const Wanted concerned = WantedOf(topics);
    const std::lock_guard lock(mutex_);
    if (closed_ || count == 0) {
      return;
    }
    last_ += count;
    lost_ += count;
    Remember({concerned, last_, count});
    for (Queue* const queue : queues_) {
      if (Share(queue->wanted(), concerned)) {
        queue->Miss(count);
      }
    }
  }

  // Enters the queue, with what the subscriber has missed.
  void Enter(Queue& queue, std::optional<std::uint64_t> lastEventId) {
    const std::lock_guard lock(mutex_);
    if (lastEventId) {
      const bool otherLife = *lastEventId < beforeFirst_ || *lastEventId > last_;
      const std::uint64_t since = otherLife ? beforeFirst_ : *lastEventId;
      Gap before{LostSince(queue.wanted(), since), otherLife};
      Messages missed;
      for (std::size_t i = 0; i < kTopics; ++i) {
        if (queue.wanted()[i]) {
          before.lost += LostSince(topics_[i], since);
          CollectSince(topics_[i], since, queue, missed);
        }
      }
      std::sort(missed.begin(), missed.end(),
                [](const auto& left, const auto& right) { return left->id < right->id; });
      queue.Fill(before, missed);
    }
    if (closed_) {
      queue.Close();
    }
    queues_.push_back(&queue);
  }

  void Leave(const Queue& queue) noexcept {
    const std::lock_guard lock(mutex_);
    std::erase(queues_, &queue);
  }

  void Close() noexcept {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    for (Queue* const queue : queues_) {
      queue->Close();
    }
  }

  [[nodiscard]] std::size_t Subscribers() const {
    const std::lock_guard lock(mutex_);
    return queues_.size();
  }
  [[nodiscard]] std::uint64_t LastId() const {
    const std::lock_guard lock(mutex_);
    return last_;
  }
  [[nodiscard]] std::uint64_t Published() const {
    const std::lock_guard lock(mutex_);
    return published_;
  }
  [[nodiscard]] std::uint64_t Lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
  }
  [[nodiscard]] std::vector<std::shared_ptr<const Message>> Recent(Topic topic) const {
    const std::lock_guard lock(mutex_);
    const auto& kept = topics_[IndexOf(topic)].kept;
    return {kept.begin(), kept.end()};
  }

  [[nodiscard]] const Bounds& bounds() const noexcept { return bounds_; }

 private:
  struct Kept {
    std::deque<std::shared_ptr<const Message>> kept;  // the last ones, the oldest first
    std::size_t bytes = 0;                            // of these
    std::deque<std::uint64_t> numbers;                // of more of the last ones
    std::uint64_t published = 0;
  };

  // Messages of some of these topics that never came here, and the last of their numbers.
  struct Loss {
    Wanted topics{};
    std::uint64_t last = 0;
    std::uint64_t count = 0;
  };

  static bool Share(const Wanted& left, const Wanted& right) noexcept {
    return std::inner_product(left.begin(), left.end(), right.begin(), false, std::logical_or<>(),
                              std::logical_and<>());
  }

  void Keep(Kept& topic, const std::shared_ptr<const Message>& message) {
    topic.numbers.push_back(message->id);
    if (topic.numbers.size() > kNumbersKept) {
      topic.numbers.pop_front();
    }
    ++topic.published;
    const std::size_t bytes = BytesOf(*message);
    if (bytes > bounds_.ringBytes) {
      return;  // alone more than there is room for
    }
    topic.kept.push_back(message);
    topic.bytes += bytes;
    while (topic.kept.size() > bounds_.ring || topic.bytes > bounds_.ringBytes) {
      topic.bytes -= BytesOf(*topic.kept.front());
      topic.kept.pop_front();
    }
  }

  void Remember(const Loss& loss) noexcept {
    try {
      losses_.push_back(loss);
      if (losses_.size() > kLossesKept) {
        losses_.pop_front();
      }
    } catch (const std::bad_alloc&) {
      return;  // who comes back is not told of this one; who is there is
    }
  }

  [[nodiscard]] std::uint64_t LostSince(const Wanted& wanted, std::uint64_t since) const noexcept {
    std::uint64_t lost = 0;
    for (const Loss& loss : losses_) {
      if (loss.last > since && Share(wanted, loss.topics)) {
        lost += std::min(loss.count, loss.last - since);
      }
    }
    return lost;
  }

  static std::uint64_t LostSince(const Kept& topic, std::uint64_t since) {
    const auto keptSince = static_cast<std::uint64_t>(
        std::count_if(topic.kept.begin(), topic.kept.end(),
                      [since](const auto& message) { return message->id > since; }));
    const bool beyond = topic.published > topic.numbers.size() && !topic.numbers.empty() &&
                        topic.numbers.front() > since + 1;
    const auto after = std::upper_bound(topic.numbers.begin(), topic.numbers.end(), since);
    const auto all =
        beyond ? topic.published : static_cast<std::uint64_t>(topic.numbers.end() - after);
    return all - keptSince;
  }

  void CollectSince(const Kept& topic, std::uint64_t since, const Queue& queue,
                    Messages& missed) const {
    for (const auto& message : topic.kept) {
      if (message->id > since && Wants(queue, *message)) {
        missed.push_back(message);
      }
    }
  }

  [[nodiscard]] bool Wants(const Queue& queue, const Message& message) const {
    return message.topic != Topic::kEvents || queue.pattern().empty() ||
           matcher_(message.name, queue.pattern());
  }

  const Bounds bounds_;
  const Matcher matcher_;
  const std::uint64_t beforeFirst_;

  mutable std::mutex mutex_;
  std::array<Kept, kTopics> topics_;
  std::vector<Queue*> queues_;
  std::deque<Loss> losses_;
  std::uint64_t last_ = beforeFirst_;
  std::uint64_t published_ = 0;
  std::uint64_t lost_ = 0;
  bool closed_ = false;
};

StreamHub::Queue::~Queue() {
  state_->Leave(*this);
}

StreamHub::StreamHub(Bounds bounds, Matcher matcher, std::uint64_t firstId)
    : state_(std::make_shared<State>(bounds, std::move(matcher), firstId)) {}

StreamHub::~StreamHub() {
  Close();
}

void StreamHub::Publish(Topic topic, std::string json, std::string name) noexcept {
  state_->Publish(topic, std::move(json), std::move(name));
}

void StreamHub::Lose(std::initializer_list<Topic> topics, std::uint64_t count) noexcept {
  state_->Lose(topics, count);
}

std::shared_ptr<StreamHub::Subscription> StreamHub::Subscribe(
    const Selection& selection, std::optional<std::uint64_t> lastEventId,
    std::function<void()> wake) {
  auto queue = std::make_shared<Queue>(state_, state_->bounds(), selection, std::move(wake));
  state_->Enter(*queue, lastEventId);
  return queue;
}

void StreamHub::Close() noexcept {
  state_->Close();
}

std::size_t StreamHub::Subscribers() const {
  return state_->Subscribers();
}

std::uint64_t StreamHub::LastId() const {
  return state_->LastId();
}

std::uint64_t StreamHub::Published() const {
  return state_->Published();
}

std::uint64_t StreamHub::Lost() const {
  return state_->Lost();
}

std::vector<std::shared_ptr<const StreamHub::Message>> StreamHub::Recent(Topic topic) const {
  return state_->Recent(topic);
}

}  // namespace ktsvc::api
