// ktcheck itself, started as a process of its own, and the modules that it tries here.
//
// Threads: one thread.
#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "service/program.h"

namespace ktcheck_test {

// Runs ktcheck with these words.
ktsvc_test::Result RunKtcheck(std::vector<std::string> words);

// The path of a module that is broken on purpose.
std::string BrokenModule(const std::string& name);

// The verdict on a module as the program writes it with --json, with these checks alone. Its exit
// status fits.
nlohmann::json VerdictOn(const std::string& module, const std::vector<std::string>& checks,
                         const std::vector<std::string>& words = {});

// The kinds of all findings in it.
std::set<std::string> KindsIn(const nlohmann::json& verdict);

// The first finding of that kind; null when there is none.
nlohmann::json FirstOf(const nlohmann::json& verdict, const std::string& kind);

}  // namespace ktcheck_test
