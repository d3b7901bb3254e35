// Whether the rows and the programs speak of the same benchmarks.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "bench/table/rows.h"

namespace kt::bench {

// A sentence for each name that only the rows or only the programs know. With `peers_left_out`
// contestants that rows.json calls a peer may be missing from the programs.
std::vector<std::string> CompareNames(const std::vector<Row>& rows,
                                      const std::set<std::string>& entered, bool peers_left_out);

}  // namespace kt::bench
