#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Subscriptions.h"
#include "quillmoria/OPML.h"
#include "quillmoria/Profile.h"

namespace quillmoria {

/// The category of feeds that stand in no container, unless the user names another.
inline constexpr char kDefaultCategory[] = "News";

/// A parser that has read the subscription list at `source`, an http or https address or else a path.
/// Throws Failure if there is none to be had there.
std::unique_ptr<OPMLParser> readSubscriptionList(const std::string& source, const std::string& baseFolder);

/// As readSubscriptionList, of the text of a list, which failures call `name`.
std::unique_ptr<OPMLParser> parseSubscriptionList(std::string_view list, const std::string& name,
                                                  const std::string& baseFolder);

/// Subscribes to every feed of `list`. A feed's category is the path of the containers around it ("News / Europe", the
/// outermost eight), `category` if there is none. What webAddress refuses is complained of and left out.
void subscribe(const OPMLDoc& list, const std::string& category, Profile profile, Subscriptions& subscriptions);

/// Says that a feed of a list has no address that webAddress takes.
void complainOfAddress(const OPMLDoc::OutlineStruct& feed, Profile profile);

}  // namespace quillmoria
