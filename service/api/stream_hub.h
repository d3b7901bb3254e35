// StreamHub: what happens, as numbered messages, for everybody who follows it.
//
// A message is numbered when it is published, one after the other over all topics; what got lost on
// its way here has had its numbers too. Each subscriber has a queue of its own, bounded in messages
// and in bytes. One who does not take what is there loses what comes after, and is told how many at
// that very place; nobody else notices. The last messages of each topic are kept, bounded the same
// way, so that a subscriber who comes back goes on where he was. A message is in memory once,
// however many have it.
//
// Threads:   any member from any thread. Publish() waits for no subscriber, only for other short
//            calls of the hub; its time grows with the number of subscribers.
// Failure:   Publish() throws nothing: a message for which there is no memory counts as lost.
// Ownership: a subscription ends with its last owner, or with Close(). It keeps what it needs of
//            the hub alive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ktsvc::api {

enum class Topic : std::uint8_t { kEvents, kAlerts, kTrace, kObjects };
inline constexpr std::size_t kTopics = 4;

// "events", "alerts", "trace" or "objects".
std::string_view TopicName(Topic topic) noexcept;

// The topic of that name; nothing for any other text.
std::optional<Topic> TopicFromName(std::string_view name) noexcept;

class StreamHub {
 public:
  struct Message {
    std::uint64_t id = 0;
    Topic topic = Topic::kEvents;
    std::string name;  // of an event or an alert, "" otherwise
    std::string json;  // one line
  };

  // What a subscriber wants. The pattern is for events alone; "" wants them all.
  struct Selection {
    std::vector<Topic> topics;
    std::string eventPattern;
  };

  // Whether the event's name matches the pattern. Called with the hub locked: it must be quick,
  // must not throw and must not call the hub.
  using Matcher = std::function<bool(const std::string& name, const std::string& pattern)>;

  // What a subscription hands out: a message, or, when `message` is null, the news that `lost` of
  // them are missing at this place. `restarted` says that the subscriber's last message was of
  // another life of the service: what followed it there is missing as well, nobody knows how much.
  struct Item {
    std::shared_ptr<const Message> message;
    std::uint64_t lost = 0;
    bool restarted = false;
  };

  // What is kept at most. Bytes are those of the messages' texts; a message larger than a bound
  // alone is lost.
  struct Bounds {
    std::size_t ring = 1024;                                // messages of each topic
    std::size_t ringBytes = std::size_t{4} * 1024 * 1024;   // of each topic
    std::size_t queue = 1024;                               // messages for each subscriber
    std::size_t queueBytes = std::size_t{4} * 1024 * 1024;  // for each subscriber
  };

  class Subscription {
   public:
    virtual ~Subscription() = default;

    // The next item; nothing when there is none now.
    virtual std::optional<Item> Take() = 0;

    // True when nothing more will come: the hub is closed and all has been taken.
    [[nodiscard]] virtual bool Ended() const = 0;

   protected:
    Subscription() = default;
    Subscription(const Subscription&) = default;
    Subscription& operator=(const Subscription&) = default;
  };

  // Numbers begin with `firstId`, which is not 0: one that no earlier life of the service has given
  // keeps a subscriber who comes back after a restart from going on in the middle of nowhere.
  StreamHub(Bounds bounds, Matcher matcher, std::uint64_t firstId = 1);
  ~StreamHub();
  StreamHub(const StreamHub&) = delete;
  StreamHub& operator=(const StreamHub&) = delete;

  // `json` has no line end. `name` is what event patterns are matched with. After Close() nothing
  // happens.
  void Publish(Topic topic, std::string json, std::string name = {}) noexcept;

  // Counts so many messages as lost that never became any: nobody knows of which of these topics.
  // Who follows one of them is told of the gap.
  void Lose(std::initializer_list<Topic> topics, std::uint64_t count) noexcept;

  // `lastEventId` is the number of the last message that the subscriber has: what followed and is
  // kept comes first, after the count of what is not kept any more (of events, matching or not). A
  // number that this life of the service has not given is of another one: all that is kept comes,
  // after the news of a restart. Without a number only what is published from now on comes.
  //
  // `wake` is called when there is something to take after there was nothing, and at the end; on
  // any thread, with locks held: it must be quick, must not throw and must not call the hub or the
  // subscription. It is not called any more when the subscription has been destroyed. What is there
  // at once is not announced: Take() first.
  //
  // Throws std::bad_alloc.
  std::shared_ptr<Subscription> Subscribe(const Selection& selection,
                                          std::optional<std::uint64_t> lastEventId,
                                          std::function<void()> wake);

  // Ends every subscription, those that come later too.
  void Close() noexcept;

  [[nodiscard]] std::size_t Subscribers() const;

  // The number given last; the one before the first when none has been.
  [[nodiscard]] std::uint64_t LastId() const;

  // Messages published so far.
  [[nodiscard]] std::uint64_t Published() const;

  // Messages lost so far: each that a slow subscriber missed, for each of them, and each that
  // Lose() counted, once.
  [[nodiscard]] std::uint64_t Lost() const;

  // What is kept of a topic, the oldest first.
  [[nodiscard]] std::vector<std::shared_ptr<const Message>> Recent(Topic topic) const;

 private:
  class State;
  class Queue;
  const std::shared_ptr<State> state_;
};

}  // namespace ktsvc::api
