// CallReader: what a gate is shown of a call, by value.
//
// Texts and lists are read as the framework would read them. A property record is read through the
// framework itself, which refuses what is not well formed.
//
// Threads: everything from any thread, inside a call-back of the gate.
// Failure: throws what the standard library throws for want of memory.
#pragma once

#include "ktbus3/ktbus3_host.h"
#include "replay/recording.h"
#include "replay/things.h"

namespace ktreplay {

class CallReader {
 public:
  // The item of a call that begins, with its arguments as far as they go in. Its time is left out.
  Item Begin(const KtBusCall& call);

  // Adds to the item of a call of the framework what came of it.
  void End(const KtBusCall& call, Item& item);

  // The item of a provider's function that ends.
  Item Leave(const KtBusCall& call);

  Things& things() noexcept { return things_; }

 private:
  Value In(const KtBusCall& call, std::size_t index);
  void Out(const KtBusCall& call, std::size_t index, Value& value);
  void Result(const KtBusCall& call, Value& value);
  void Forget(const KtBusCall& call, const Item& item);

  Things things_;
};

// The kinds' numbers are those of things of that space; kBlock for a kind without one.
Space SpaceOf(const std::string& function, std::uint32_t kind) noexcept;

}  // namespace ktreplay
