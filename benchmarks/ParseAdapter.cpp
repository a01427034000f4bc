#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "feed/FeedParseState.h"
#include "quillmoria/ParseFeed.h"
#include "quillmoria/RSSObject.h"

namespace {

double cpuSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// From text to finished object and its release. Returns how many items it has.
std::int32_t parse(const std::string& document, bool isModern) {
  if (isModern) return ParseFeed(document, "", "http://example.org/feed")->itemCount;
  RSSObject feed({}, nullptr, -1);
  FeedParseState(feed).parse(document);
  return feed.itemCount;
}

std::string contentOf(const char* path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::string content(file ? static_cast<std::size_t>(file.tellg()) : 0, '\0');
  file.seekg(0);
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

}  // namespace

/// parse_adapter NAME FILE SAMPLES SECONDS: parses the document FILE from memory, and prints the items, the peak memory
/// of the first parse in KB and, for each sample of at least SECONDS, the CPU seconds of one parse. NAME is what a
/// bench that compares parsers calls each of them: "modern" parses by the modern rules, anything else by the classic
/// ones.
int main(int argc, char** argv) {
  if (argc != 5) {
    std::fputs("usage: parse_adapter NAME FILE SAMPLES SECONDS\n", stderr);
    return 2;
  }
  const bool isModern = std::string_view(argv[1]) == "modern";
  const std::string document = contentOf(argv[2]);
  const double start = cpuSeconds();
  const std::int32_t items = parse(document, isModern);
  const double once = cpuSeconds() - start;
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  std::printf("items=%d rss_kb=%ld calls=0 t=", items, usage.ru_maxrss);

  const auto parses = static_cast<long>(std::atof(argv[4]) / (once + 1e-9)) + 1;
  for (int sample = 0; sample < std::atoi(argv[3]); ++sample) {
    const double begin = cpuSeconds();
    for (long i = 0; i < parses; ++i) parse(document, isModern);
    std::printf("%s%.9f", sample > 0 ? "," : "", (cpuSeconds() - begin) / static_cast<double>(parses));
  }
  std::printf("\n");
  return items < 0;
}
