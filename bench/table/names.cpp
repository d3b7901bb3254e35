#include "bench/table/names.h"

namespace kt::bench {

std::vector<std::string> CompareNames(const std::vector<Row>& rows,
                                      const std::set<std::string>& entered, bool peers_left_out) {
  std::vector<std::string> faults;
  std::set<std::string> shown;
  for (const Row& row : rows) {
    for (const Contestant& contestant : row.contestants) {
      shown.insert(contestant.benchmark);
      if (entered.contains(contestant.benchmark) || (contestant.peer && peers_left_out)) continue;
      faults.push_back("row \"" + row.id + "\": no program has \"" + contestant.benchmark + "\"");
    }
  }
  for (const std::string& name : entered) {
    if (!shown.contains(name)) faults.push_back("no row shows \"" + name + "\"");
  }
  return faults;
}

}  // namespace kt::bench
