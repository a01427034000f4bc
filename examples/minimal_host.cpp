// Pulls the feeds whose addresses are given and prints the titles of their items, as UTF-8.
//
//     minimal_host BASE-FOLDER URL...
//
// The base folder must hold the folders `cache`, `feed_imgs` and `config`.

#include <quillmoria/NewsServer.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace {

/// Wide fields are UTF-16, which paths convert.
std::string utf8(const std::u16string& wide) { return std::filesystem::path(wide).string(); }

class TitlePrinter : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> owned(feed);
    std::cout << feed->channel.feedName << ": " << feed->statusMessage << ", " << feed->newItemCount << " new\n";
    for (std::int32_t i = 0; i < feed->itemCount; ++i) std::cout << "  " << utf8(feed->items[i].titleW) << '\n';
  }
  void EventReceived(RSSEvent) override {}
};

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::cerr << "usage: minimal_host BASE-FOLDER URL...\n";
    return 2;
  }
  std::vector<RSSObject::NewsFeed> feeds;
  for (int i = 2; i < count; ++i) {
    RSSObject::NewsFeed& feed = feeds.emplace_back();
    feed.name = "feed " + std::to_string(i - 1);
    feed.url = arguments[i];
    feed.enabled = 1;
  }
  RSSObject::NewsFeedsPerCategoryStruct category;
  category.feeds = feeds.data();
  category.feedCount = static_cast<std::int32_t>(feeds.size());
  RSSObject::CategoryHolderStruct categories;
  categories.categories = &category;
  categories.categoryCount = 1;

  TitlePrinter printer;
  const std::unique_ptr<NewsServer> server(NewsServerFactory::GetFactory()->GetNewsServer(categories, arguments[1]));
  server->AttachSubscriber(&printer);  // starts a pull in the background
  NewsServer::WaitForPulls(-1);
}
