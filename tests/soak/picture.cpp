#include "soak/picture.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "shell_word.h"

namespace soak {
namespace {

constexpr std::size_t kMostPoints = 2000;
constexpr double kLongestInMinutes = 3 * 3600;

}  // namespace

std::string PictureScript(const std::filesystem::path& csv, const std::filesystem::path& picture,
                          std::size_t samples, double seconds) {
  const bool inHours = seconds > kLongestInMinutes;
  std::string script = R"(set terminal pngcairo size 1000,1350 font "sans,10"
set output 'PICTURE'
set datafile separator comma
set key outside right top Left reverse
set grid
set style data lines
set style line 1 linewidth 1.5 linecolor rgb '#1f5fa8'
set style line 2 linewidth 1.5 linecolor rgb '#c8581f'
set xlabel 'UNIT'
set offsets 0, 0, graph 0.1, 0
set autoscale xfix
set yrange [0:*]
set lmargin at screen 0.09
set rmargin at screen 0.79
set multiplot layout 7,1 title 'The service under load'
FILE = 'CSV'
TIME = '(column("seconds")/SECONDS)'
set ylabel 'MiB'
plot FILE every EVERY using @TIME:'resident_mib' ls 1 title 'resident', \
     FILE every EVERY using @TIME:'in_use_mib' ls 2 title 'in use'
set ylabel 'count'
plot FILE every EVERY using @TIME:'handles' ls 1 title 'open handles', \
     FILE every EVERY using @TIME:'threads' ls 2 title 'threads'
plot FILE every EVERY using @TIME:'objects' ls 1 title 'objects', \
     FILE every EVERY using @TIME:'kept' ls 2 title 'handed out'
plot FILE every EVERY using @TIME:'queue' ls 1 title 'notices waiting', \
     FILE every EVERY using @TIME:'streams' ls 2 title 'streams followed'
set ylabel 'ms'
set logscale y
set yrange [*:*]
plot FILE every EVERY using @TIME:'median_ms' ls 1 title 'median answer', \
     FILE every EVERY using @TIME:'p99_ms' ls 2 title '99 of 100'
unset logscale y
set yrange [0:*]
set ylabel 'in all'
plot FILE every EVERY using @TIME:'requests' ls 1 title 'requests', \
     FILE every EVERY using @TIME:'generated' ls 2 title 'generated calls'
plot FILE every EVERY using @TIME:'failed' ls 1 title 'calls made to fail', \
     FILE every EVERY using @TIME:(column('restarts')*10) ls 2 title 'restarts, by ten'
unset multiplot
)";
  const auto put = [&script](const std::string& word, const std::string& text) {
    for (std::size_t at = script.find(word); at != std::string::npos;
         at = script.find(word, at + text.size())) {
      script.replace(at, word.size(), text);
    }
  };
  // A quotation mark inside single ones is written twice.
  const auto quoted = [](const std::filesystem::path& path) {
    std::string text = path.string();
    for (std::size_t at = text.find('\''); at != std::string::npos; at = text.find('\'', at + 2)) {
      text.insert(at, "'");
    }
    return text;
  };
  put("EVERY", std::to_string(std::max<std::size_t>(1, samples / kMostPoints)));
  put("UNIT", inHours ? "hours" : "minutes");
  put("SECONDS", inHours ? "3600" : "60");
  put("PICTURE", quoted(picture));
  put("CSV", quoted(csv));
  return script;
}

bool DrawPicture(const std::filesystem::path& csv, const std::filesystem::path& picture,
                 std::size_t samples, double seconds) {
  std::filesystem::path script = picture;
  script.replace_extension(".gnuplot");
  std::ofstream(script) << PictureScript(csv, picture, samples, seconds);
  const std::string command = "gnuplot " + ktsvc::ShellWord(script.string()) + " 2>/dev/null";
  // NOLINTNEXTLINE(concurrency-mt-unsafe,cert-env33-c): at the end, on the one thread that is left
  return std::system(command.c_str()) == 0;
}

}  // namespace soak
