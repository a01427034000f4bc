#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What a feed document of one format is made of; "#" in an item stands for its number.
struct DocumentFormat {
  const char* name;
  std::string_view head;
  std::string_view item;
  std::string_view tail;
};

#define QUILLMORIA_BENCHMARK_TEXT                                                                                 \
  "Some text of the usual length, with an entity &lt;b&gt;or two&lt;/b&gt; and\na line break, about nothing in "  \
  "particular, so that it takes as many callbacks as the text of a feed does in general, na\xC3\xAFve words and " \
  "\xE6\x96\xB0\xE3\x81\x97\xE3\x81\x84\xE3\x83\x8B\xE3\x83\xA5\xE3\x83\xBC\xE3\x82\xB9 included."

/// Items of some 470 bytes each, all different.
inline constexpr DocumentFormat kDocumentFormats[] = {
    {"rss2", "<?xml version=\"1.0\"?>\n<rss version=\"2.0\"><channel><title>Benchmark</title>\n",
     "<item><title>Item # of a feed &amp; its news</title>\n<link>http://example.org/news/#</link>\n"
     "<guid isPermaLink=\"false\">tag:example.org,2004:#</guid>\n<pubDate>Sun, 19 May 2002 15:21:36 GMT</pubDate>\n"
     "<description>" QUILLMORIA_BENCHMARK_TEXT "</description></item>\n",
     "</channel></rss>\n"},
    {"rss1",
     "<?xml version=\"1.0\"?>\n<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\" "
     "xmlns=\"http://purl.org/rss/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n"
     "<channel><title>Benchmark</title></channel>\n",
     "<item rdf:about=\"#\"><title>Item # of a feed &amp; its news</title>\n<link>http://example.org/news/#</link>\n"
     "<dc:date>2002-05-19T15:21:36Z</dc:date>\n<description>" QUILLMORIA_BENCHMARK_TEXT "</description></item>\n",
     "</rdf:RDF>\n"},
    {"atom", "<?xml version=\"1.0\"?>\n<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>Benchmark</title>\n",
     "<entry><title>Item # of a feed &amp; its news</title>\n<link href=\"http://example.org/news/#\"/>\n"
     "<id>tag:example.org,2004:#</id>\n<created>2002-05-19T15:21:36Z</created>\n"
     "<content>" QUILLMORIA_BENCHMARK_TEXT "</content></entry>\n",
     "</feed>\n"},
};

#undef QUILLMORIA_BENCHMARK_TEXT

inline void appendItem(std::string& document, const DocumentFormat& format, std::size_t number) {
  const std::string digits = std::to_string(number);
  for (std::string_view rest = format.item; !rest.empty();) {
    const std::size_t mark = rest.find('#');
    document += rest.substr(0, mark);
    if (mark == std::string_view::npos) break;
    document += digits;
    rest.remove_prefix(mark + 1);
  }
}

inline std::string documentOfItems(const DocumentFormat& format, std::size_t items) {
  std::string document(format.head);
  for (std::size_t i = 0; i < items; ++i) appendItem(document, format, i);
  return document.append(format.tail);
}

/// As many items as make `bytes`.
inline std::string documentOfSize(const DocumentFormat& format, std::size_t bytes) {
  std::string document(format.head);
  for (std::size_t i = 0; document.size() < bytes; ++i) appendItem(document, format, i);
  return document.append(format.tail);
}
