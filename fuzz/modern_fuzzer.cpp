#include <algorithm>
#include <iterator>
#include <string_view>

#include "Fuzzing.h"
#include "platform/CodePage.h"
#include "platform/Url.h"
#include "quillmoria/Html.h"
#include "quillmoria/ParseFeed.h"

namespace {

constexpr std::string_view kContentTypes[] = {
    "application/rss+xml",
    "text/xml; charset=utf-8",
    "text/xml; charset=iso-8859-1",
    "application/feed+json",
    "text/html",
    "text/xml; charset=shift_jis",
    "application/atom+xml; charset=utf-16",
};

void checkPlain(std::string_view text) {
  for (const char c : text) require(static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
}

void checkAddress(std::string_view address) { require(address.empty() || !quillmoria::schemeOf(address).empty()); }

void checkItem(const RSSObject::NewsItemStruct& item, const ItemDetails& details) {
  checkPlain(item.title);
  checkAddress(item.link);
  require(!item.title.empty() || PlainText(item.description).empty());
  require(quillmoria::utf8ToWide(item.title) == item.titleW);
  require(quillmoria::utf8ToWide(item.description) == item.descriptionW);
  require(item.descriptionW == (details.contentW.empty() ? details.summaryW : details.contentW));
  require(SanitizeHtml(item.description) == item.description);
  for (const auto* texts : {&details.authors, &details.categories}) {
    for (const std::string& text : *texts) {
      require(!text.empty());
      checkPlain(text);
    }
  }
  for (const quillmoria::Enclosure& enclosure : details.enclosures) {
    require(!enclosure.url.empty());
    checkAddress(enclosure.url);
    checkPlain(enclosure.title);
  }
  for (const std::string& address : {details.commentsUrl, details.imageUrl, details.sourceUrl}) checkAddress(address);
}

}  // namespace

/// A feed document through to the finished object; a digit before it names what its server says of it.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = textOf(data, size);
  std::string_view document = input;
  std::string_view contentType;
  if (!document.empty() && document[0] >= '0' && document[0] < '0' + static_cast<char>(std::size(kContentTypes))) {
    contentType = kContentTypes[document[0] - '0'];
    document.remove_prefix(1);
  }
  const auto feed = ParseFeed(document, contentType, "http://example.org/folder/feed");
  const FeedDetails& details = *feed->GetDetails();
  require((feed->itemCount >= 0) == (details.outcome == Outcome::Fetched));
  require(details.items.size() == static_cast<std::size_t>(std::max(feed->itemCount, 0)));
  for (const std::string& text : {feed->channel.title, feed->channel.description, details.rights, details.generator}) {
    checkPlain(text);
  }
  for (const std::string& address : {details.siteUrl, details.iconUrl, details.hubUrl}) checkAddress(address);
  for (std::int32_t i = 0; i < feed->itemCount; ++i) {
    checkItem(feed->items[i], details.items[static_cast<std::size_t>(i)]);
  }
  return 0;
}
