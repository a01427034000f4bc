#include <cstddef>
#include <string_view>
#include <utility>

#include "net/FetchCall.h"
#include "net/HTTPFetcher.h"
#include "opml/OPMLParseState.h"
#include "opml/OPMLState.h"
#include "platform/Text.h"
#include "platform/TextFile.h"
#include "quillmoria/OPML.h"

namespace quillmoria {

constinit ModuleObject<OPMLState> opmlState;

}  // namespace quillmoria

namespace {

constexpr std::size_t kMaxFileBytes = 64 << 20;
constexpr std::size_t kMaxPieceLength = 1999;
constexpr std::string_view kLineEnd = "\r\n";

/// Takes a text apart into its lines. Compatibility: lines above 1,999 characters into pieces of that length.
class PieceReader {
 public:
  explicit PieceReader(std::string_view text) : rest_(text) {}

  /// True once a read has met the end of the text; a line feed at the end leaves an empty piece after it.
  bool atEnd() const { return atEnd_; }

  std::string_view next() {
    const std::string_view line = rest_.substr(0, rest_.substr(0, kMaxPieceLength + 1).find('\n'));
    const std::string_view piece = line.substr(0, kMaxPieceLength);
    atEnd_ = piece.size() == rest_.size();
    const bool withLineFeed = !atEnd_ && rest_[piece.size()] == '\n';
    rest_.remove_prefix(piece.size() + withLineFeed);
    return piece;
  }

 private:
  std::string_view rest_;
  bool atEnd_ = false;
};

/// The text of a list file in the form that is parsed. Compatibility: without what stands before the first line's "<",
/// and with a line end after every piece but the first.
std::string joinPieces(std::string_view file) {
  PieceReader reader(file);
  std::string_view first = reader.next();
  if (const std::size_t start = first.find('<'); start != std::string_view::npos) first.remove_prefix(start);
  std::string text(first);
  while (!reader.atEnd()) text.append(reader.next()).append(kLineEnd);
  return text;
}

}  // namespace

OPMLParser::OPMLParser(std::string folder) : baseFolder(std::move(folder)) {}

OPMLParser::~OPMLParser() { HTTPFetcher().RemoveFetchSubscriber(this); }

/// Compatibility.
void OPMLParser::EventPublished(int) { SendEventToAllSubscribers(quillmoria::kListFetchNotice); }

void OPMLParser::ParseFromFile(std::string path) {
  ParseContent(joinPieces(quillmoria::readTextFile(path, quillmoria::PathForm::Host, kMaxFileBytes).text));
}

void OPMLParser::ParseFromURL(std::string url) {
  const quillmoria::FetchCall call;
  SendEventToAllSubscribers(quillmoria::kListStarted);
  {
    const quillmoria::MutexLock lock(quillmoria::opmlState->mutex);
    quillmoria::opmlState->lastListURL = url;
  }
  HTTPFetcher fetcher;
  fetcher.PrepareFetch(baseFolder);
  fetcher.AddFetchSubscriber(this);
  std::string body;
  SendEventToAllSubscribers(quillmoria::kListFetchStarting);
  status = fetcher.FetchURL(std::move(url), nullptr, nullptr, &body);
  SendEventToAllSubscribers(quillmoria::kListFetchFinished);
  if (status == quillmoria::kStatusOk) {
    ParseContent(std::move(body));
  } else {
    status = std::string(quillmoria::trimLineBreaks(status));
  }
  SendEventToAllSubscribers(quillmoria::kListUpdated);
}

OPMLDoc* OPMLParser::GetOPMLDoc() const { return document.get(); }

void OPMLParser::AddOPMLEventSubscriber(OPMLSubscriber* subscriber) { subscribers.push_back(subscriber); }

void OPMLParser::RemoveOPMLEventSubscriber(OPMLSubscriber* subscriber) { std::erase(subscribers, subscriber); }

void OPMLParser::SendEventToAllSubscribers(std::int32_t event) {
  for (OPMLSubscriber* subscriber : subscribers) subscriber->OPMLEventPublished(event);
}

void OPMLParser::ParseContent(std::string text) {
  initialize()->parse(text);
  status = quillmoria::kStatusOk;  // Compatibility.
}

std::unique_ptr<OPMLParseState> OPMLParser::initialize() {
  document = std::make_unique<OPMLDoc>();
  return std::make_unique<OPMLParseState>(*this, *document);
}
