#pragma once

#include "quillmoria/export.h"

namespace quillmoria {

/// By which rules the engine reads the web.
enum class Profile {
  Classic,  ///< one redirect, every feed whole each time, RSS and Atom as they were in 2004; texts as they stand
  Modern,   ///< conditional requests, all formats of today, safe HTML (NewsDetails.h), an archive (NewsArchive.h)
};

/// The host's word on the profile. It holds for the whole process, until the next call, and is looked at when a pull
/// begins and when an RSSObject is made from an address; a pull that runs goes on as it began. Starts as Classic. Any
/// thread.
QUILLMORIA_EXPORT void SetProfile(Profile profile);

}  // namespace quillmoria

// The interface's classes are global, and so is what is called beside them.
using quillmoria::Profile;
using quillmoria::SetProfile;
