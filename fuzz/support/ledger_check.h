// LedgerCheck: what stood in the framework's ledger when it was made must stand there when it is
// asked: nothing more handed out, nothing freed wrongly, no exception caught from a provider.
//
// Threads: one, while no other has anything of the framework's.
#pragma once

#include <string_view>

#include "ktbus3/ktbus3_host.h"

namespace kt::fuzz {

class LedgerCheck {
 public:
  LedgerCheck();

  // Ends the program when something is left; `when` is said in the finding.
  void RequireSettled(std::string_view when) const;

  // The same for all that the provider of that name has ever been handed.
  static void RequireNothingKept(const char* provider, std::string_view when);

 private:
  KtBusLedgerTotal before_{};
};

}  // namespace kt::fuzz
