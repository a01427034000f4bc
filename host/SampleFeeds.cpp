#include "SampleFeeds.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "FeedWalk.h"
#include "Samples.h"

namespace quillmoria {
namespace {

constexpr std::string_view kServerMark = "@SERVER@";
constexpr std::string_view kTimeMark = "@TIME-";
constexpr std::string_view kTimeMarkEnd = "m@";
constexpr std::string_view kList = "/reader.opml";
constexpr std::string_view kFeedEndings[] = {".rss", ".atom", ".rdf", ".json"};

constexpr SampleMove kMoves[] = {{"/station.rss", "/example-station.rss"}, {"/lantern.atom", "/slow-lantern.atom"}};

/// A moment in the form of RFC 3339, which all kinds of feeds may have.
std::string asText(std::time_t moment) {
  std::tm parts = {};
  gmtime_r(&moment, &parts);
  char text[sizeof "2026-01-01T10:00:00Z"];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::string_view sampleAt(std::string_view target) {
  const auto found = std::ranges::find(samples(), target, &EmbeddedFile::target);
  return found == samples().end() ? std::string_view() : found->bytes;
}

std::string_view movedTarget(std::string_view target) {
  const auto move = std::ranges::find(kMoves, target, &SampleMove::from);
  return move == std::end(kMoves) ? target : move->to;
}

bool isFeed(std::string_view target) {
  return std::ranges::any_of(kFeedEndings, [target](std::string_view ending) { return target.ends_with(ending); });
}

}  // namespace

std::span<const SampleMove> sampleMoves() { return kMoves; }

std::string filledSample(std::string_view sample, std::string_view server, std::time_t start) {
  std::string text(sample);
  for (std::size_t at = 0; (at = text.find(kServerMark, at)) != std::string::npos; at += server.size()) {
    text.replace(at, kServerMark.size(), server);
  }
  for (std::size_t at = 0; (at = text.find(kTimeMark, at)) != std::string::npos; ++at) {
    std::time_t minutes = 0;
    const char* const end = std::from_chars(&text[at + kTimeMark.size()], text.data() + text.size(), minutes).ptr;
    text.replace(at, static_cast<std::size_t>(end - &text[at]) + kTimeMarkEnd.size(), asText(start - minutes * 60));
  }
  return text;
}

std::string sampleList(std::string_view server) { return filledSample(sampleAt(kList), server, 0); }

std::optional<SampleAddress> sampleAddress(std::string_view url) {
  constexpr std::string_view kLoopback = "http://127.0.0.1:";
  if (!url.starts_with(kLoopback)) return std::nullopt;
  url.remove_prefix(kLoopback.size());
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(url.data(), url.data() + url.size(), port);
  const std::string_view target = movedTarget(url.substr(static_cast<std::size_t>(end - url.data())));
  if (error != std::errc() || port == 0 || !isFeed(target) || sampleAt(target).empty()) return std::nullopt;
  return SampleAddress{port, std::string(target)};
}

std::optional<int> samplesPort(const OPMLDoc& list) {
  FeedWalk walk(list);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    if (const std::optional<SampleAddress> sample = sampleAddress(feed->xmlUrl)) return sample->port;
  }
  return std::nullopt;
}

}  // namespace quillmoria
