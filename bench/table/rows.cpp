#include "bench/table/rows.h"

#include <stdexcept>

namespace kt::bench {
namespace {

using nlohmann::json;

Wish ReadWish(const json& wish, const std::string& ours) {
  Wish read;
  read.text = wish.at("text").get<std::string>();
  read.left = wish.value("of", ours);
  if (wish.contains("at_most")) {
    read.kind = Wish::Kind::kAtMost;
    read.factor = wish.at("at_most").get<double>();
    read.right = wish.at("than").get<std::string>();
  } else if (wish.contains("faster")) {
    read.kind = Wish::Kind::kFaster;
    read.factor = wish.at("faster").get<double>();
    read.right = wish.at("than").get<std::string>();
  } else if (wish.contains("growth")) {
    read.kind = Wish::Kind::kGrowth;
    read.factor = wish.at("growth").get<double>();
    read.left_from = wish.at("of_from").get<std::string>();
    read.right = wish.at("than").get<std::string>();
    read.right_from = wish.at("than_from").get<std::string>();
  } else {
    read.kind = Wish::Kind::kBelow;
    read.factor = wish.at("below").get<double>();
  }
  return read;
}

Row ReadRow(const json& row) {
  Row read;
  read.id = row.at("id").get<std::string>();
  read.title = row.at("title").get<std::string>();
  read.unit = row.value("unit", "ns");
  for (const json& contestant : row.at("contestants")) {
    // A third word says that it is one of ours, or a peer that may be missing.
    const auto kind = contestant.size() > 2 ? contestant.at(2).get<std::string>() : "";
    if (!kind.empty() && kind != "ours" && kind != "peer") {
      throw std::runtime_error("row \"" + read.id + "\": \"" + kind + "\" is no kind");
    }
    read.contestants.push_back({contestant.at(0).get<std::string>(),
                                contestant.at(1).get<std::string>(), kind == "ours",
                                kind == "peer"});
  }
  if (read.contestants.empty()) throw std::runtime_error("row \"" + read.id + "\" is empty");
  read.floor = row.value("floor", "");
  for (const json& wish : row.value("wishes", json::array())) {
    read.wishes.push_back(ReadWish(wish, read.contestants.front().benchmark));
  }
  return read;
}

}  // namespace

std::vector<Row> ReadRows(const json& document) {
  std::vector<Row> rows;
  try {
    for (const json& row : document.at("rows")) rows.push_back(ReadRow(row));
  } catch (const json::exception& error) {
    throw std::runtime_error("row " + std::to_string(rows.size() + 1) + ": " + error.what());
  }
  return rows;
}

}  // namespace kt::bench
