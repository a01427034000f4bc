#pragma once

#include <memory>
#include <string>

#include "Subscriptions.h"
#include "quillmoria/OPML.h"

namespace quillmoria {

/// A parser that has read the subscription list at `source`, an http or https address or else a path.
/// Throws Failure if there is none to be had there.
std::unique_ptr<OPMLParser> readSubscriptionList(const std::string& source, const std::string& baseFolder);

/// Subscribes to every feed of `list`. A feed's category is the path of the containers around it ("News / Europe", the
/// outermost eight), `category` if there is none. What is neither an http nor an https address is complained of and
/// left out.
void subscribe(const OPMLDoc& list, const std::string& category, Subscriptions& subscriptions);

}  // namespace quillmoria
