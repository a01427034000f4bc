#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "modern/web/FeedFacts.h"
#include "modern/web/ResponseFields.h"
#include "modern/web/WebAddress.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {

inline constexpr char kAcceptFeeds[] =
    "application/atom+xml, application/rss+xml, application/rdf+xml, application/feed+json, application/json;q=0.9, "
    "application/xml;q=0.9, text/xml;q=0.9, */*;q=0.1";
inline constexpr char kAcceptPages[] =
    "application/atom+xml, application/rss+xml, application/rdf+xml, application/feed+json, application/json;q=0.9, "
    "application/xml;q=0.9, text/xml;q=0.9, text/html;q=0.8, */*;q=0.1";
inline constexpr char kAcceptPictures[] = "image/*, */*;q=0.1";

/// What is wanted of the web.
struct WebOrder {
  WebAddress address;
  std::string userName;  ///< credentials for the address's own server; those in the address where there are none
  std::string password;
  std::string movedTo;     ///< asked instead of the address, unless empty
  Validators validators;   ///< sent to the address that gave them
  std::string baseFolder;  ///< whose settings file names the proxy
  std::int64_t pull = 0;   ///< WebState::beginPull
  const char* accept = kAcceptFeeds;
  std::size_t maxBytes = SIZE_MAX;  ///< of the body; the session has its own bound
  bool isCounted = true;            ///< the body takes part in what fetches may take together (FetchBudget)
  int* requests = nullptr;          ///< how many may still be sent; null: any number
};

/// What has come of it.
struct WebAnswer {
  Outcome outcome = Outcome::NetworkError;  ///< Fetched where a document has come, whatever that is
  std::string statusMessage;
  std::int32_t httpStatus = 0;
  std::string finalUrl;    ///< of the document, or of what it is unchanged from
  std::string origin;      ///< the server that gave it
  std::string movedTo;     ///< where the document has moved for good; empty: nowhere
  std::string lastingUrl;  ///< where it is to be asked for from now on: there, or where it was asked for
  ResponseFields fields;
  std::string body;
  std::int64_t asked = 0;      ///< when the last request was sent, or would have been; in seconds since 1970
  std::int64_t notBefore = 0;  ///< until when the server must not be asked; 0 if it may be
  bool wasCutOff = false;      ///< by the engine itself
};

/// Asks for a document and follows redirects, on the calling thread, which blocks. Obeys and notes what servers say of
/// how often they want to be asked. Any thread. Throws std::bad_alloc.
WebAnswer fetchFromWeb(const WebOrder& order);

/// The validators of a document that was had from `url`: as the server wrote them, but for those that must not be sent
/// back.
Validators validatorsOf(const ResponseFields& fields, std::string url);

}  // namespace quillmoria
