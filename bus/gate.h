// The gate through which every call across ktbus3.h passes, in both directions (KtBusSetCallGate).
//
// A function of ktbus3.h passes it by its first statement, KT_GATE(itself, its parameters...). The
// type of the function says what its words are, so that there is no second copy of the interface.
// With a gate up, the function is called a second time from inside the passage, where it does not
// pass again, on the account of its caller.
//
// Threads: everything from any thread; the host's call-backs run under no lock.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "bus/attribution.h"
#include "bus/inlining.h"
#include "bus/thread_local.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {

// ---- Words -----------------------------------------------------------------------------------

// What a parameter of that type is.
template <typename T>
inline constexpr std::uint32_t kWordKind = KTBUS_WORD_NONE;
template <>
inline constexpr std::uint32_t kWordKind<std::int32_t> = KTBUS_WORD_INT32;
template <>
inline constexpr std::uint32_t kWordKind<std::uint8_t> = KTBUS_WORD_BOOLEAN;
template <>
inline constexpr std::uint32_t kWordKind<std::uint32_t> = KTBUS_WORD_UINT32;
template <>
inline constexpr std::uint32_t kWordKind<std::uint64_t> = KTBUS_WORD_UINT64;
template <>
inline constexpr std::uint32_t kWordKind<KtDatabase> = KTBUS_WORD_DATABASE;
template <>
inline constexpr std::uint32_t kWordKind<KtProvider> = KTBUS_WORD_PROVIDER;
template <>
inline constexpr std::uint32_t kWordKind<KtPropset> = KTBUS_WORD_PROPSET;
template <>
inline constexpr std::uint32_t kWordKind<KtIterator> = KTBUS_WORD_ITERATOR;
template <>
inline constexpr std::uint32_t kWordKind<void*> = KTBUS_WORD_ADDRESS;
template <>
inline constexpr std::uint32_t kWordKind<KtCriticalSection*> = KTBUS_WORD_LOCK;
template <>
inline constexpr std::uint32_t kWordKind<const char*> = KTBUS_WORD_TEXT;
template <>
inline constexpr std::uint32_t kWordKind<const KtWchar*> = KTBUS_WORD_WIDE_TEXT;
template <>
inline constexpr std::uint32_t kWordKind<const char* const*> = KTBUS_WORD_TEXTS;
template <>
inline constexpr std::uint32_t kWordKind<const KtGuid*> = KTBUS_WORD_GUID;
template <>
inline constexpr std::uint32_t kWordKind<const KtObjId*> = KTBUS_WORD_OBJECT;
template <>
inline constexpr std::uint32_t kWordKind<const cuvo_property*> = KTBUS_WORD_RECORD;
template <>
inline constexpr std::uint32_t kWordKind<cuvo_property*> = KTBUS_WORD_RETURNED_RECORD;
template <>
inline constexpr std::uint32_t kWordKind<const KtAlertDefinition*> = KTBUS_WORD_ALERT;
template <>
inline constexpr std::uint32_t kWordKind<const KtEventRecord*> = KTBUS_WORD_EVENT;
template <>
inline constexpr std::uint32_t kWordKind<std::uint32_t*> = KTBUS_WORD_OUT_UINT32;
template <>
inline constexpr std::uint32_t kWordKind<std::uint64_t*> = KTBUS_WORD_OUT_UINT64;
template <>
inline constexpr std::uint32_t kWordKind<KtPropset*> = KTBUS_WORD_OUT_PROPSET;
template <>
inline constexpr std::uint32_t kWordKind<KtIterator*> = KTBUS_WORD_OUT_ITERATOR;
template <>
inline constexpr std::uint32_t kWordKind<KtObjId*> = KTBUS_WORD_OUT_OBJECT;
template <>
inline constexpr std::uint32_t kWordKind<KtObjId**> = KTBUS_WORD_OUT_OBJECTS;
template <>
inline constexpr std::uint32_t kWordKind<cuvo_property**> = KTBUS_WORD_OUT_RECORD;
template <>
inline constexpr std::uint32_t kWordKind<char**> = KTBUS_WORD_OUT_TEXT;
template <>
inline constexpr std::uint32_t kWordKind<KtWchar**> = KTBUS_WORD_OUT_WIDE_TEXT;
template <>
inline constexpr std::uint32_t kWordKind<char*> = KTBUS_WORD_TEXT_BUFFER;
template <>
inline constexpr std::uint32_t kWordKind<KtWchar*> = KTBUS_WORD_WIDE_TEXT_BUFFER;

template <typename T>
std::uint64_t WordValue(T value) noexcept {
  if constexpr (std::is_pointer_v<T>) {
    return std::bit_cast<std::uintptr_t>(value);
  } else {
    return static_cast<std::uint64_t>(value);
  }
}

template <typename T>
T FromWordValue(std::uint64_t value) noexcept {
  if constexpr (std::is_pointer_v<T>) {
    return std::bit_cast<T>(static_cast<std::uintptr_t>(value));
  } else {
    return static_cast<T>(value);
  }
}

template <typename T>
KtBusWord Word(T value) noexcept {
  static_assert(kWordKind<T> != KTBUS_WORD_NONE, "a type that the gate does not know");
  return {kWordKind<T>, 0, WordValue(value)};
}

// What a result of that type is. A number of 32 bits is a status, except where the function is told
// otherwise.
template <auto kFunction>
inline constexpr bool kAnswersWithNumber = false;
template <>
inline constexpr bool kAnswersWithNumber<&KtSetTraceLevel> = true;

template <auto kFunction, typename R>
constexpr std::uint32_t ResultKind() noexcept {
  if constexpr (std::is_void_v<R>) {
    return KTBUS_WORD_NONE;
  } else if constexpr (std::is_same_v<R, KtStatus> && !kAnswersWithNumber<kFunction>) {
    return KTBUS_WORD_STATUS;
  } else if constexpr (std::is_same_v<R, char*>) {
    return KTBUS_WORD_TEXT;
  } else {
    return kWordKind<R>;
  }
}

// ---- The gate --------------------------------------------------------------------------------

class Gate;

// True while a gate is up.
inline std::atomic<bool> gate_is_up{false};

// Puts up a gate, or takes it away (null). 0x80070057 from inside one.
KtStatus SetGate(const KtBusCallGate* gate);

// Where this thread is, looked at by every call while a gate is up.
struct Passing {
  bool unseen = false;   // inside the framework, or a trace call-back
  bool in_gate = false;  // inside a call-back of the gate
};
extern constinit thread_local Passing passing KT_FOUND_BY_LOADS;

// True while calls of this thread do not pass.
inline bool PassesUnseen() noexcept {
  return passing.unseen || passing.in_gate;
}

// Says for its life that calls of this thread pass unseen.
class Unseen {
 public:
  Unseen() noexcept;
  ~Unseen();
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;

 private:
  const bool previous_;
};

inline bool GateWatches() noexcept {
  return gate_is_up.load(std::memory_order_relaxed) && !PassesUnseen();
}

// One call on its way through the gate. Its maker has found GateWatches().
class GatedCall {
 public:
  GatedCall(const char* function, bool inward, const Account& account, const KtBusWord* arguments,
            std::size_t count, std::uint32_t result_kind) noexcept;
  ~GatedCall() = default;
  GatedCall(const GatedCall&) = delete;
  GatedCall& operator=(const GatedCall&) = delete;

  // Asks; true when the gate has answered, and nothing is to be done but Leave().
  bool Answered() noexcept;
  void SetResult(std::uint64_t result, std::uint32_t outcome = KTBUS_CALL_MADE) noexcept;
  // Tells what came of it.
  void Leave() noexcept;
  [[nodiscard]] std::uint64_t result() const noexcept { return call_.result; }

 private:
  std::shared_ptr<Gate> gate_;
  KtBusCall call_{};
};

// ---- The passage of a function of ktbus3.h ---------------------------------------------------

template <auto kFunction, typename R, typename... P>
KT_SELDOM R PassGate(const char* name, const void* return_address, P... arguments) noexcept {
  static_assert(std::is_same_v<decltype(kFunction), R (*)(P...)>,
                "KT_GATE takes all parameters of the function, as they are declared");
  Account& asker = Asker(return_address);
  const std::array words{Word(arguments)...};
  GatedCall call(name, false, asker, words.data(), words.size(), ResultKind<kFunction, R>());
  if (!call.Answered()) {
    const Unseen inside;
    const RunningAs caller(asker);
    if constexpr (std::is_void_v<R>) {
      kFunction(arguments...);
    } else {
      call.SetResult(WordValue(kFunction(arguments...)));
    }
  }
  call.Leave();
  if constexpr (!std::is_void_v<R>) {
    return FromWordValue<R>(call.result());
  }
}

template <typename F>
struct ResultOf;
template <typename R, typename... P>
struct ResultOf<R (*)(P...)> {
  using Type = R;
};

}  // namespace kt::bus

// The first statement of a function of ktbus3.h. The return address is that of the function in
// which this stands.
#define KT_GATE(function, ...)                                                             \
  if (::kt::bus::GateWatches()) {                                                          \
    return ::kt::bus::PassGate<&function, ::kt::bus::ResultOf<decltype(&function)>::Type>( \
        #function, KT_RETURN_ADDRESS(), __VA_ARGS__);                                      \
  }                                                                                        \
  static_cast<void>(0)
