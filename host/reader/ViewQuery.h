#pragma once

#include <functional>
#include <vector>

#include "OwnFeeds.h"
#include "quillmoria/NewsArchive.h"
#include "reader/View.h"

namespace quillmoria {

/// What is subscribed to.
using SubscriptionSource = std::function<std::vector<OwnFeed>()>;

/// The items that a view lists, without texts. A category stands for those below it as well, for which alone the
/// subscriptions are looked at; that takes no time that grows with the archive.
ItemQuery queryOf(const View& view, const SubscriptionSource& subscriptions);

}  // namespace quillmoria
