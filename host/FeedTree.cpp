#include "FeedTree.h"

#include <algorithm>
#include <memory>

#include "FeedWalk.h"
#include "OutlineWalk.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {

FeedTree::FeedTree(OPMLDoc& list) : list_(list) {
  OutlineWalk walk(list);
  while (const OPMLDoc::OutlineStruct* found = walk.next()) {
    auto* const outline = const_cast<OPMLDoc::OutlineStruct*>(found);  // of our own list
    if (outline->xmlUrl.empty()) {
      containers_.try_emplace({outline->parent, labelOf(*outline)}, outline);
    } else {
      feeds_.try_emplace(addressKey(outline->xmlUrl), outline);
    }
  }
}

OPMLDoc::OutlineStruct* FeedTree::find(const std::string& url) const {
  const auto found = feeds_.find(addressKey(url));
  return found == feeds_.end() ? nullptr : found->second;
}

OPMLDoc::OutlineStruct& FeedTree::add(const std::vector<std::string>& path, const std::string& name,
                                      const std::string& url) {
  OPMLDoc::OutlineStruct& feed = append(containerAt(path), name);
  feed.xmlUrl = url;
  feed.type = "rss";
  feed.dateCreated = CTime::GetCurrentTime();
  feeds_.try_emplace(addressKey(url), &feed);
  return feed;
}

void FeedTree::place(OPMLDoc::OutlineStruct& feed, const std::vector<std::string>& path) {
  OPMLDoc::OutlineStruct* const container = containerAt(path);
  OPMLDoc::OutlineStruct* const old = feed.parent;
  std::erase(siblingsIn(old), &feed);
  siblingsIn(container).push_back(&feed);
  feed.parent = container;
  feed.level = container ? container->level + 1 : 0;
  removeEmpty(old);
}

void FeedTree::remove(OPMLDoc::OutlineStruct& feed) {
  feeds_.erase(addressKey(feed.xmlUrl));
  feed.xmlUrl.clear();
  feed.type.clear();
  removeEmpty(&feed);
}

void FeedTree::removeEmpty(OPMLDoc::OutlineStruct* outline) {
  while (outline && outline->children.empty() && outline->xmlUrl.empty()) {
    OPMLDoc::OutlineStruct* const parent = outline->parent;
    // Another outline may be called so, too.
    const auto entry = containers_.find({parent, labelOf(*outline)});
    if (entry != containers_.end() && entry->second == outline) containers_.erase(entry);
    std::erase(siblingsIn(parent), outline);
    if (list_.lastOutline == outline) list_.lastOutline = nullptr;
    delete outline;
    outline = parent;
  }
}

void FeedTree::move(OPMLDoc::OutlineStruct& feed, const std::string& url) {
  feeds_.erase(addressKey(feed.xmlUrl));
  feed.xmlUrl = url;
  feeds_.try_emplace(addressKey(url), &feed);
}

OPMLDoc::OutlineStruct& FeedTree::append(OPMLDoc::OutlineStruct* parent, const std::string& label) {
  auto outline = std::make_unique<OPMLDoc::OutlineStruct>();
  outline->text = toUtf16(label);
  outline->parent = parent;
  outline->level = parent ? parent->level + 1 : 0;
  siblingsIn(parent).push_back(outline.get());
  return *outline.release();
}

OPMLDoc::OutlineStruct* FeedTree::containerAt(const std::vector<std::string>& path) {
  OPMLDoc::OutlineStruct* container = nullptr;
  for (const std::string& label : path) {
    if (label.empty()) continue;
    const auto [entry, isNew] = containers_.try_emplace({container, label});
    if (isNew) entry->second = &append(container, label);
    container = entry->second;
  }
  return container;
}

}  // namespace quillmoria
