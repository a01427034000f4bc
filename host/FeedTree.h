#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "quillmoria/OPML.h"

namespace quillmoria {

/// A list to which feeds are added, or from which they are removed, each in its containers and none twice.
///
///     FeedTree tree(list);
///     if (!tree.find(url)) tree.add({"News", "Europe"}, "Example News", url);
class FeedTree {
 public:
  /// `list` must outlive the object, and is changed by nobody else meanwhile.
  explicit FeedTree(OPMLDoc& list);

  /// The feed at `url`, or null. Addresses are told apart as addressKey does.
  OPMLDoc::OutlineStruct* find(const std::string& url) const;

  /// Adds a feed that is not there yet, in the containers called so, which are made where they are missing.
  OPMLDoc::OutlineStruct& add(const std::vector<std::string>& path, const std::string& name, const std::string& url);

  /// Puts a feed into the containers called so as `add` does, with all that it is and holds; the containers that are
  /// empty without it go.
  void place(OPMLDoc::OutlineStruct& feed, const std::vector<std::string>& path);

  /// Removes a feed, and the containers that are empty without it.
  void remove(OPMLDoc::OutlineStruct& feed);

  /// Gives a feed another address.
  void move(OPMLDoc::OutlineStruct& feed, const std::string& url);

 private:
  using Outlines = std::vector<OPMLDoc::OutlineStruct*>;

  OPMLDoc::OutlineStruct& append(OPMLDoc::OutlineStruct* parent, const std::string& label);
  void removeEmpty(OPMLDoc::OutlineStruct* outline);
  OPMLDoc::OutlineStruct* containerAt(const std::vector<std::string>& path);
  Outlines& siblingsIn(OPMLDoc::OutlineStruct* parent) { return parent ? parent->children : list_.outlines; }

  OPMLDoc& list_;
  // By what strangers write, who could make it collide in a hash table.
  std::map<std::string, OPMLDoc::OutlineStruct*> feeds_;  ///< by addressKey
  std::map<std::pair<const OPMLDoc::OutlineStruct*, std::string>, OPMLDoc::OutlineStruct*> containers_;
};

}  // namespace quillmoria
