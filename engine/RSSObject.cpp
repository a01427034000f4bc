#include "quillmoria/RSSObject.h"

#include <utility>

#include "engine/EngineState.h"
#include "feed/FetchFeed.h"
#include "modern/FetchFeed.h"
#include "quillmoria/Profile.h"

// Delegates so that what is there already is released if memory runs out on the way.
RSSObject::RSSObject(NewsFeed feed, std::string sourceNote, std::string folder)
    : RSSObject(ChannelStruct(), nullptr, 0) {
  baseFolder = std::move(folder);
  if (quillmoria::engineState->profile() == quillmoria::Profile::Modern) {
    quillmoria::fetchModernFeed(*this, std::move(feed), std::move(sourceNote));
  } else {
    quillmoria::fetchFeed(*this, std::move(feed), std::move(sourceNote));
  }
}

void quillmoria::SetProfile(Profile profile) { engineState->setProfile(profile); }
