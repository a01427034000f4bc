#include "modern/reading/ReadFeed.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include "modern/html/Page.h"
#include "modern/reading/Document.h"
#include "modern/reading/Encoding.h"
#include "modern/reading/JsonFeedReader.h"
#include "modern/reading/Records.h"
#include "modern/reading/Values.h"
#include "modern/reading/XmlFeedReader.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"
#include "xml/ForgivingReading.h"

namespace quillmoria {
namespace {

constexpr std::uint64_t kMaxDefaultBytes = 64 << 20;  ///< of attributes: they are looked at with each element
constexpr std::size_t kStart = 1024;                  ///< bytes that tell what a document is
constexpr std::string_view kFeedStarts[] = {"<?xml", "<rss", "<feed", "<rdf:RDF"};

ReadFeed failure(Outcome outcome, std::string text, std::string_view url) {
  auto details = std::make_shared<FeedDetails>();
  details->outcome = outcome;
  details->finalUrl = url;
  ReadFeed failed{std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, -1), {}};
  failed.news->statusMessage = std::move(text);
  FeedObjectAccess::setDetails(*failed.news, std::move(details));
  return failed;
}

void readXml(std::string_view text, std::string_view url, Document& document) {
  XmlFeedReader reader(document, url);
  try {
    XmlLimits limits;
    limits.defaultBytes = kMaxDefaultBytes;
    document.wasRepaired = readForgivingly(text, reader, limits).wasRepaired;
  } catch (const NoFeed&) {
    return;
  } catch (const KeptTextExceeded&) {
    document.wasRepaired = true;
  }
  reader.finish();
}

/// Reads from the beginning, or, where something else than a feed comes first, from what looks like one.
void readFromBeginning(std::string_view text, std::string_view url, Document& document) {
  readXml(text, url, document);
  if (!document.format.empty() || text.empty()) return;
  std::size_t start = std::string_view::npos;
  for (const std::string_view beginning : kFeedStarts) start = std::min(start, text.find(beginning, 1));
  if (start == std::string_view::npos) return;
  Document later;
  readXml(text.substr(start), url, later);
  if (later.format.empty()) return;
  document = std::move(later);
  document.wasRepaired = true;
}

bool isAnythingRead(const Document& document) {
  const Channel& channel = document.channel;
  return !document.entries.empty() || !channel.title.text.empty() || !channel.description.text.empty() ||
         !channel.link.text.empty();
}

bool isBinary(std::string_view bytes) {
  return std::ranges::any_of(bytes, [](char c) {
    return static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\r' && c != '\t' && c != '\f';
  });
}

/// Why what the server gave, `bytes`, which are the characters `text`, is no feed.
ReadFeed refusal(std::string_view bytes, std::string_view text, const Document& document, std::string_view url) {
  const auto notAFeed = [&](const char* what) {
    return failure(Outcome::NotAFeed, std::string("The address gives ") + what + ", not a feed", url);
  };
  if (bytes.empty()) return failure(Outcome::NotAFeed, "The document is empty", url);
  const std::string_view start = text.substr(0, kStart);
  if (text.starts_with('{') || text.starts_with('[')) return notAFeed("a JSON document");
  if (isWebPage(text)) return notAFeed("a web page");
  if (document.root == "opml") return notAFeed("a subscription list (OPML)");
  const bool looksLikeFeed = std::ranges::any_of(
      kFeedStarts, [&](std::string_view beginning) { return start.find(beginning) != std::string_view::npos; });
  if (!document.root.empty()) return notAFeed("an XML document");
  if (looksLikeFeed) return failure(Outcome::Malformed, "The feed is damaged, and nothing of it can be read", url);
  return notAFeed(isBinary(bytes.substr(0, kStart)) ? "a binary file" : "a text");
}

ReadFeed read(std::string_view document, std::string_view contentType, std::string_view url) {
  const DecodedText decoded = decodeDocument(document, contentType);
  const std::string_view text = trimmed(decoded.text);
  Document model;
  if (text.starts_with('{')) {
    readJsonFeed(text, model);
  } else {
    readFromBeginning(text, url, model);
  }
  if (model.format.empty()) {
    return refusal(trimmed(document), text, model, url);
  }
  if (model.wasRepaired && !isAnythingRead(model)) {
    return failure(Outcome::Malformed, "The feed is damaged, and nothing of it can be read", url);
  }
  model.wasRepaired |= decoded.wasMended;
  UpdateRules rules = model.rules;
  rules.minutes = std::max(rules.minutes, updateMinutes(model.channel.updatePeriod, model.channel.updateFrequency));
  return {makeRecords(std::move(model), url), rules};
}

}  // namespace

ReadFeed readFeed(std::string_view document, std::string_view contentType, std::string_view url) {
  try {
    return read(document, contentType, url);
  } catch (const std::bad_alloc&) {
    return failure(Outcome::NoMemory, "Memory lacks for this feed", url);
  }
}

}  // namespace quillmoria
