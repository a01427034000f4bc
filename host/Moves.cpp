#include "Moves.h"

#include "FeedTree.h"
#include "FeedWalk.h"
#include "SubscriptionFile.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// Whether the subscription has a new address now. One with a user name keeps its own: whether the new place is to be
/// told the password is the user's to say.
bool follow(const Move& move, FeedTree& tree) {
  OPMLDoc::OutlineStruct* const feed = tree.find(move.from);
  if (!feed) return false;
  const OPMLDoc::OutlineStruct* const other = tree.find(move.to);
  if (other && other != feed) {
    complain(move.name + ": has moved to " + move.to + ", where " + labelOf(*other) +
             " is subscribed to already: remove one of them");
    return false;
  }
  if (hasUserInformation(feed->xmlUrl)) {
    complain(move.name + ": has moved to " + move.to + ": subscribe to that");
    return false;
  }
  tree.move(*feed, move.to);
  complain(move.name + ": has moved to " + move.to + ", which is subscribed to instead from now on");
  return true;
}

}  // namespace

void followMoves(const std::vector<Move>& moves, const std::string& baseFolder) {
  if (moves.empty()) return;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    bool isChanged = false;
    for (const Move& move : moves) isChanged = follow(move, tree) || isChanged;
    return isChanged;
  });
}

}  // namespace quillmoria
