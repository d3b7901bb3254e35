#include "ktcheck/finding_kinds.h"

#include <algorithm>
#include <array>

namespace ktcheck {
namespace {

constexpr std::array<FindingKind, 27> kKinds{{
    {"not-loaded", "the module cannot be loaded or does not start",
     "Load it with \"ktsvc run --once\" and mend what that says first."},
    {"export-missing", "DllInit or ProviderEntry is not exported",
     "Export both as C functions; kt_add_provider does it."},
    {"export-extra", "something else is exported",
     "Hide everything else: a version script on Linux, a .def file on Windows; kt_add_provider "
     "brings both."},
    {"entry-point", "the file does not start at DllInit",
     "Link it with DllInit as the entry point; kt_add_provider does it."},
    {"wrong-name-taken", "ProviderEntry takes a name that is not the module's",
     "Compare the whole name, letter by letter, and answer 0xC1000005 for any other."},
    {"wrong-refusal", "ProviderEntry refuses a name that is not the module's in a wrong way",
     "Answer 0xC1000005 to any other name, and leave the table alone."},
    {"function-missing", "ProviderEntry leaves one of the six functions null",
     "Fill in all six; a function that does nothing answers 0x80004001."},
    {"initialize", "Initialize fails", "The trace says why: ktsvc run --once --trace-level 1."},
    {"shutdown", "Shutdown fails",
     "A service keeps such a module in memory for good. Shut down "
     "whatever happens on the way, and answer 0."},
    {"leak", "something of the framework's is never given back",
     "Follow the stack to the call and give back what it answered, on every way out."},
    {"wrong-free", "something was released through a function that is not its own",
     "Release it with the function that ktbus3.h names beside the call that made it."},
    {"overrun", "memory of the framework was written past its end",
     "A record is to be read; make a new one for a longer value."},
    {"threw", "an exception left the module",
     "Catch everything in each of the functions that the service calls, and answer a status."},
    {"lock-kept", "a function came back with a lock held",
     "Leave the lock on every way out of the function, those of errors too: use a guard object."},
    {"lock-order", "locks are taken in two orders",
     "Write one order down and keep it; two threads that meet will wait for each other for ever."},
    {"stuck", "a call did not come back",
     "The stacks show who waits where. Wait for nothing under a lock that the other side needs."},
    {"slow", "a call took long", "Hand long work to a thread of the module's own."},
    {"thread-left", "a thread of the module still runs after Shutdown",
     "Tell every thread to end and wait for it in Shutdown: its code goes with the module."},
    {"late-call", "the module asks something of the database after its Shutdown",
     "Do it in Shutdown. Afterwards there is only memory to give back."},
    {"subscription-kept", "a subscription is still there after Shutdown",
     "Take back in Shutdown what was registered."},
    {"stays-loaded", "the module stays in memory when it is unloaded",
     "Export nothing but the two functions: unique symbols and libraries that never unload keep "
     "it."},
    {"memory-grows", "memory in use grows from life to life",
     "Free at DllInit (process detach) what statics and caches of the module hold."},
    {"memory-kept", "memory of the module's own is not freed when something fails",
     "Free it on every way out of the function, those of errors too: use a guard object."},
    {"unsteady", "the module does not come up again after a failed call",
     "A failed call may leave nothing behind: neither in the module nor in its statics."},
    {"crash", "the module crashed", "The stack shows where; what was tried is told beside it."},
    {"sanitizer", "a sanitizer of the module's or of the framework's has found something",
     "Its report says where; the options of its environment variable bring more of it."},
    {"ended", "the process of the check ended before the check did",
     "The module may not end the process: no exit, no abort, no std::terminate."},
}};

}  // namespace

std::span<const FindingKind> FindingKinds() noexcept {
  return kKinds;
}

const FindingKind& KindNamed(std::string_view name) noexcept {
  const auto* const found = std::find_if(
      kKinds.begin(), kKinds.end(), [&](const FindingKind& kind) { return kind.name == name; });
  return found == kKinds.end() ? kKinds.back() : *found;
}

}  // namespace ktcheck
