// bench_table: results of the benchmark programs in, the table out.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <stdexcept>

#include "bench/table/growth.h"
#include "bench/table/judgement.h"
#include "bench/table/reports.h"

namespace {

nlohmann::json ReadJson(const std::string& file) {
  std::ifstream stream(file);
  if (!stream) throw std::runtime_error(file + ": cannot be read");
  try {
    // What is no number, like the spread of a figure that is always 0, is written as no JSON has
    // it.
    const std::string text{std::istreambuf_iterator<char>(stream),
                           std::istreambuf_iterator<char>()};
    static const std::regex kNoNumber(": -?(NaN|Infinity)");
    return nlohmann::json::parse(std::regex_replace(text, kNoNumber, ": null"));
  } catch (const nlohmann::json::exception& error) {
    throw std::runtime_error(file + ": " + error.what());
  }
}

void WriteFile(const std::string& file, const std::string& text) {
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) throw std::runtime_error(file + ": cannot be written");
}

// A picture of which nothing was measured is none: that of a run before goes.
void WritePicture(const std::string& file, const std::string& text) {
  if (!text.empty()) {
    WriteFile(file, text);
  } else {
    std::filesystem::remove(file);
  }
}

int Run(int argc, char** argv) {
  CLI::App app{"Turns results of the benchmark programs into the table of bench/run."};
  std::vector<std::string> results;
  std::string rows = "bench/rows.json";
  std::string text;
  std::string json;
  std::string picture;
  std::string growth;
  app.add_option("RESULT", results, "results as Google Benchmark writes them (JSON)")->required();
  app.add_option("--rows", rows, "the rows and what they wish for")->capture_default_str();
  app.add_option("--text", text, "writes the table for people there; it is printed in any case");
  app.add_option("--json", json, "writes the table for programs there");
  app.add_option("--svg", picture, "writes the picture of all rows there");
  app.add_option("--growth-svg", growth, "writes the picture of what grows there");
  CLI11_PARSE(app, argc, argv);
  kt::bench::Samples samples;
  kt::bench::Context context;
  // One that cannot be read, of a program that crashed, is named; the others count.
  for (const std::string& result : results) {
    try {
      const nlohmann::json document = ReadJson(result);
      samples.Add(document);
      if (context.date.empty()) context = kt::bench::ReadContext(document);
    } catch (const std::runtime_error& error) {
      samples.AddFault(error.what());
    }
  }
  const nlohmann::json document = ReadJson(rows);
  std::vector<kt::bench::JudgedRow> judged;
  std::vector<kt::bench::Growth> growths;
  try {
    judged = kt::bench::Judge(kt::bench::ReadRows(document), samples);
    growths = kt::bench::ReadGrowths(document, samples);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(rows + ": " + error.what());
  }
  const std::string table = kt::bench::TextReport(judged, samples.faults(), context);
  std::cout << table << std::flush;
  if (!text.empty()) WriteFile(text, table);
  if (!json.empty()) WriteFile(json, kt::bench::JsonReport(judged, samples.faults(), context));
  if (!picture.empty()) WritePicture(picture, kt::bench::Picture(judged));
  if (!growth.empty()) WritePicture(growth, kt::bench::GrowthPicture(growths));
  return samples.faults().empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "bench_table: %s\n", error.what()));
    return 1;
  }
}
