#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

// What several parts of the page are built of.

/// `text` of a stranger as one line of at most `characters`.
std::string lineOf(std::string_view text, std::size_t characters);

/// A name for people, in one line: of a feed, a category or an author.
std::string nameOf(std::string_view text);

/// What the user calls a feed.
std::string nameOf(const OwnFeed& feed);

/// `title`, or what is said of an item without one.
std::string titleOf(const ArchivedItem& item, std::size_t characters);

/// The icon called so, of the page's own; what it means stands beside it.
void writeIcon(HtmlWriter& html, Markup name);

/// What only those hear who cannot see.
void writeUnseen(HtmlWriter& html, std::string_view text);

/// A link within the page.
void writeLink(HtmlWriter& html, const View& to, Markup cssClass, std::string_view text);

/// A link to an address of a stranger, in a tab of its own; the text alone if browsers are not given that address.
void writeWayOut(HtmlWriter& html, std::string_view url, Markup cssClass, std::string_view text);

/// A moment as people say it, exact when asked for; nothing for no time.
void writeTime(HtmlWriter& html, CTime time, CTime now);

/// Begins a form that posts to `action` and comes back to the page's view.
void openForm(HtmlWriter& html, const PageData& data, Markup action, std::optional<std::string> id = std::nullopt);

/// A field that the user does not see.
void writeHidden(HtmlWriter& html, Markup name, std::string_view value);

/// A form of one button: `value` as the field called `name`.
void writeButtonForm(HtmlWriter& html, const PageData& data, Markup action, Markup name, std::string_view value,
                     std::string_view text);

/// The picture of the feed at `url`, or a badge with the first letter of its name.
void writeBadge(HtmlWriter& html, const PageData& data, const std::string& url, std::string_view name);

/// Why the last pulls of a feed failed, as a sentence, with what to do; empty if they did not.
std::string whyItFails(const ArchivedFeed& feed);

/// The list alone: the view without item, aside and continuation.
View listOf(const View& view);

/// The view of the items of one feed, unread ones alone if `from` shows such.
View feedView(const View& from, std::int64_t feed);

/// And of a category.
View categoryView(const View& from, const std::string& category);

/// The pane of one subscription.
View subscriptionView(const View& from, const std::string& url);

/// `view` with that aside.
View asideView(const View& from, Aside aside);

}  // namespace quillmoria
