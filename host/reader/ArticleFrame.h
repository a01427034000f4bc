#pragma once

#include <string>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// The text of an item, safe HTML: the full one, else the summary, else what a classic record has.
std::string textOf(const ArchivedItem& item);

/// The picture that stands for an item, if its text has none; empty if there is none.
std::string pictureOf(const ArchivedItem& item, const std::string& text);

/// Whether an article's document asks for images from elsewhere.
bool hasRemoteImages(const ArchivedItem& item);

/// The document of an item's frame, which asks for nothing from elsewhere unless it is `withImages`.
std::string frameOf(const ArchivedItem& item, bool withImages);

/// A document for the frame that says one thing.
std::string frameNote(const std::string& text);

}  // namespace quillmoria
