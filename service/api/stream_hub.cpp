#include "api/stream_hub.h"

#include <algorithm>
#include <array>
#include <deque>
#include <mutex>
#include <utility>

namespace ktsvc::api {
namespace {

constexpr std::array<std::string_view, kTopics> kTopicNames{"events", "alerts", "trace", "objects"};

// Numbers remembered of each topic, so that one who comes back is told how many he missed. Beyond
// them the count is of all that the topic ever had.
constexpr std::size_t kNumbersKept = 65536;

constexpr std::size_t IndexOf(Topic topic) noexcept {
  return static_cast<std::size_t>(topic);
}

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
  Queue(std::shared_ptr<State> state, std::size_t bound, std::function<void()> wake)
      : state_(std::move(state)), bound_(bound), wake_(std::move(wake)) {}
  ~Queue() override;
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  std::optional<Item> Take() override {
    const std::lock_guard lock(mutex_);
    if (entries_.empty()) {
      if (lost_ == 0) {
        return std::nullopt;
      }
      return Item{nullptr, std::exchange(lost_, 0)};
    }
    Entry& front = entries_.front();
    if (front.lostBefore != 0) {
      return Item{nullptr, std::exchange(front.lostBefore, 0)};
    }
    Item item{std::move(front.message), 0};
    entries_.pop_front();
    return item;
  }

  [[nodiscard]] bool Ended() const override {
    const std::lock_guard lock(mutex_);
    return closed_ && entries_.empty() && lost_ == 0;
  }

  // Appends a message, or counts it as lost; false when it is lost.
  bool Push(const std::shared_ptr<const Message>& message) noexcept {
    const std::lock_guard lock(mutex_);
    const bool wasEmpty = entries_.empty() && lost_ == 0;
    const bool kept = message != nullptr && entries_.size() < bound_ && Append(message);
    if (!kept) {
      ++lost_;
    }
    if (wasEmpty) {
      wake_();
    }
    return kept;
  }

  // Before anybody else knows the queue: what is kept, whatever the bound.
  void Fill(std::uint64_t lost, const std::vector<std::shared_ptr<const Message>>& messages) {
    const std::lock_guard lock(mutex_);
    for (const auto& message : messages) {
      entries_.push_back({message, 0});
    }
    (entries_.empty() ? lost_ : entries_.front().lostBefore) = lost;
  }

  void Close() noexcept {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(closed_, true)) {
      wake_();
    }
  }

  void Select(const Selection& selection) {
    for (const Topic topic : selection.topics) {
      wanted_[IndexOf(topic)] = true;
    }
    pattern_ = selection.eventPattern;
  }

  [[nodiscard]] bool WantsTopic(std::size_t topic) const noexcept { return wanted_[topic]; }
  [[nodiscard]] const std::string& pattern() const noexcept { return pattern_; }

 private:
  struct Entry {
    std::shared_ptr<const Message> message;
    std::uint64_t lostBefore = 0;
  };

  bool Append(const std::shared_ptr<const Message>& message) noexcept {
    try {
      entries_.push_back({message, lost_});
    } catch (const std::bad_alloc&) {
      return false;
    }
    lost_ = 0;
    return true;
  }

  const std::shared_ptr<State> state_;
  const std::size_t bound_;
  const std::function<void()> wake_;
  std::array<bool, kTopics> wanted_{};  // set before anybody else knows the queue, as the pattern
  std::string pattern_;

  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  std::uint64_t lost_ = 0;  // after the last entry
  bool closed_ = false;
};

class StreamHub::State {
 public:
  State(std::size_t ring, std::size_t queue, Matcher matcher)
      : ring_(ring), queue_(queue), matcher_(std::move(matcher)) {}

  void Publish(Topic topic, std::string json, std::string name) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) {
      return;
    }
    const std::uint64_t id = ++last_;
    std::shared_ptr<const Message> message;
    try {
      message =
          std::make_shared<const Message>(Message{id, topic, std::move(name), std::move(json)});
      Keep(topics_[IndexOf(topic)], message);
    } catch (const std::bad_alloc&) {
      ++topics_[IndexOf(topic)].published;  // and not kept; subscribers may still have it
    }
    for (Queue* const queue : queues_) {
      if (queue->WantsTopic(IndexOf(topic)) && (message == nullptr || Wants(*queue, *message)) &&
          !queue->Push(message)) {
        ++lost_;
      }
    }
  }

  // Enters the queue, with what the subscriber has missed.
  void Enter(Queue& queue, std::optional<std::uint64_t> lastEventId) {
    const std::lock_guard lock(mutex_);
    if (lastEventId) {
      const std::uint64_t since = *lastEventId > last_ ? 0 : *lastEventId;
      const bool otherLife = *lastEventId > last_;
      std::uint64_t lost = 0;
      std::vector<std::shared_ptr<const Message>> missed;
      for (std::size_t i = 0; i < kTopics; ++i) {
        if (queue.WantsTopic(i)) {
          lost += otherLife ? 0 : LostSince(topics_[i], since);
          CollectSince(topics_[i], since, queue, missed);
        }
      }
      std::sort(missed.begin(), missed.end(),
                [](const auto& left, const auto& right) { return left->id < right->id; });
      queue.Fill(lost, missed);
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
  [[nodiscard]] std::uint64_t Lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
  }
  [[nodiscard]] std::vector<std::shared_ptr<const Message>> Recent(Topic topic) const {
    const std::lock_guard lock(mutex_);
    const auto& kept = topics_[IndexOf(topic)].kept;
    return {kept.begin(), kept.end()};
  }

  [[nodiscard]] std::size_t queue() const noexcept { return queue_; }

 private:
  struct Kept {
    std::deque<std::shared_ptr<const Message>> kept;  // the last ones, the oldest first
    std::deque<std::uint64_t> numbers;                // of more of the last ones
    std::uint64_t published = 0;
  };

  void Keep(Kept& topic, const std::shared_ptr<const Message>& message) {
    topic.numbers.push_back(message->id);
    if (topic.numbers.size() > kNumbersKept) {
      topic.numbers.pop_front();
    }
    topic.kept.push_back(message);
    if (topic.kept.size() > ring_) {
      topic.kept.pop_front();
    }
    ++topic.published;
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
                    std::vector<std::shared_ptr<const Message>>& missed) const {
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

  const std::size_t ring_;
  const std::size_t queue_;
  const Matcher matcher_;

  mutable std::mutex mutex_;
  std::array<Kept, kTopics> topics_;
  std::vector<Queue*> queues_;
  std::uint64_t last_ = 0;
  std::uint64_t lost_ = 0;
  bool closed_ = false;
};

StreamHub::Queue::~Queue() {
  state_->Leave(*this);
}

StreamHub::StreamHub(std::size_t ring, std::size_t queue, Matcher matcher)
    : state_(std::make_shared<State>(ring, queue, std::move(matcher))) {}

StreamHub::~StreamHub() {
  Close();
}

void StreamHub::Publish(Topic topic, std::string json, std::string name) noexcept {
  state_->Publish(topic, std::move(json), std::move(name));
}

std::shared_ptr<StreamHub::Subscription> StreamHub::Subscribe(
    const Selection& selection, std::optional<std::uint64_t> lastEventId,
    std::function<void()> wake) {
  auto queue = std::make_shared<Queue>(state_, state_->queue(), std::move(wake));
  queue->Select(selection);
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

std::uint64_t StreamHub::Lost() const {
  return state_->Lost();
}

std::vector<std::shared_ptr<const StreamHub::Message>> StreamHub::Recent(Topic topic) const {
  return state_->Recent(topic);
}

}  // namespace ktsvc::api
