#pragma once

#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "quillmoria/OPML.h"

namespace quillmoria {

/// A target that a sample had before, and the one that it has.
struct SampleMove {
  std::string_view from;
  std::string_view to;
};

std::span<const SampleMove> sampleMoves();

/// `sample` as it is served at `server` ("http://127.0.0.1:8080") from the moment `start` on: "@SERVER@" stands for the
/// server, "@TIME-90m@" for the moment ninety minutes before.
std::string filledSample(std::string_view sample, std::string_view server, std::time_t start);

/// The list of sample feeds for readers, which stands among the samples, as they are served at `server`.
std::string sampleList(std::string_view server);

/// Where a sample feed was served once.
struct SampleAddress {
  int port = 0;
  std::string target;  ///< as it is now, also if it was asked for where it was before
};

/// What `url` says if it is the address of a sample feed on a loopback port.
std::optional<SampleAddress> sampleAddress(std::string_view url);

/// The port at which `list` has sample feeds; nothing if it has none.
std::optional<int> samplesPort(const OPMLDoc& list);

}  // namespace quillmoria
