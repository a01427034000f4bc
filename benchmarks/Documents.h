#pragma once

#include <string>

/// An RSS 2.0 document of `items` items of some 470 bytes each, all different.
inline std::string rssDocument(int items) {
  std::string text = "<?xml version=\"1.0\"?>\n<rss version=\"2.0\"><channel><title>Benchmark</title>\n";
  for (int i = 0; i < items; ++i) {
    const std::string number = std::to_string(i);
    text +=
        "<item><title>Item " + number + " of a feed &amp; its news</title>\n<link>http://example.org/news/" + number +
        "</link>\n<guid isPermaLink=\"false\">tag:example.org,2004:" + number +
        "</guid>\n<pubDate>Sun, 19 May 2002 15:21:36 GMT</pubDate>\n<description>Some text of the usual length, with "
        "an entity &lt;b&gt;or two&lt;/b&gt; and\na line break, about nothing in particular, so that it takes as many "
        "callbacks as the text of a feed does in general, and then a little more of it.</description></item>\n";
  }
  return text + "</channel></rss>\n";
}
