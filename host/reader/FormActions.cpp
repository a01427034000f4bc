#include "reader/FormActions.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "Archive.h"
#include "Failure.h"
#include "SubscriptionFile.h"
#include "Subscriptions.h"
#include "Text.h"
#include "WebAddress.h"
#include "reader/ViewQuery.h"

namespace quillmoria {
namespace {

using namespace std::chrono_literals;

// So long a page waits for a new feed's items; then they come when they come.
constexpr auto kPatienceForFeed = 5s;

/// What a form has come to.
struct Result {
  View view;
  Notice notice;
};

struct MarkName {
  std::string_view name;
  ItemMark mark;
  ItemMark undo;
  std::string_view done;
};

constexpr MarkName kMarks[] = {
    {"read", ItemMark::Read, ItemMark::Unread, "marked as read"},
    {"unread", ItemMark::Unread, ItemMark::Read, "marked as unread"},
    {"star", ItemMark::Starred, ItemMark::Unstarred, "given a star"},
    {"unstar", ItemMark::Unstarred, ItemMark::Starred, "no longer with a star"},
};

Failure wrongUse(const std::string& text) { return Failure(kWrongUse, text); }

/// Numbers with commas between them; what is none is passed over.
std::vector<std::int64_t> numbersOf(std::string_view text) {
  std::vector<std::int64_t> numbers;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(','), text.size());
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + end, number);
    if (error == std::errc() && stop == text.data() + end) numbers.push_back(number);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return numbers;
}

View backFrom(const Form& form) {
  View view = viewFrom(fieldOf(form.fields, "back"));
  view.notice = 0;
  return view;
}

/// All items of the view but those that came after its page was made: the first one shown, and those before it.
std::vector<std::int64_t> markShown(const Form& form, ItemMark mark, ReaderState& reader) {
  ItemQuery query = queryOf(viewOf(form.fields), [&reader] {
    Subscriptions names;
    return ownFeeds(readSubscriptions(reader.baseFolder), names);
  });
  const std::int64_t first = numberOf(form.fields, "first");
  const std::int64_t from = numberOf(form.fields, "from");
  return reader.archives.use([&](NewsArchive& archive) {
    std::vector<std::int64_t> changed = archive.MarkItems(std::span(&first, 1), mark);
    if (from == 0) return changed;
    query.before = from;
    const std::vector<std::int64_t> others = archive.MarkAll(query, mark);
    changed.insert(changed.end(), others.begin(), others.end());
    return changed;
  });
}

Result mark(const Form& form, ReaderState& reader) {
  const auto* const name = std::ranges::find(kMarks, fieldOf(form.fields, "mark"), &MarkName::name);
  if (name == std::end(kMarks)) throw wrongUse("items cannot be marked so");
  const bool areAll = fieldOf(form.fields, "all") == "1";
  const std::vector<std::int64_t> ids = numbersOf(fieldOf(form.fields, "ids"));
  const std::vector<std::int64_t> changed =
      areAll ? markShown(form, name->mark, reader)
             : reader.archives.use([&](NewsArchive& archive) { return archive.MarkItems(ids, name->mark); });
  const std::string text = counted(changed.size(), "item").append(" ").append(name->done);
  return {backFrom(form), {.text = text, .ids = changed, .undo = name->undo}};
}

Result undo(const Form& form, ReaderState& reader) {
  const std::optional<Notice> notice = reader.notices.find(numberOf(form.fields, "notice"));
  if (!notice || notice->ids.empty()) throw wrongUse("there is nothing to undo any more");
  reader.archives.use([&](NewsArchive& archive) { return archive.MarkItems(notice->ids, notice->undo); });
  return {backFrom(form), {.text = "Undone: " + notice->text}};
}

Result refresh(const Form& form, ReaderState& reader) {
  reader.refresher.refresh(PullScope::All);
  return {backFrom(form), {}};
}

Result stop(const Form& form, ReaderState& reader) {
  reader.refresher.stop();
  return {backFrom(form), {.text = "Stopping after the fetch under way"}};
}

/// The archive's number of the feed; 0 if it has not been pulled.
std::int64_t archivedFeed(const std::string& url, ReaderState& reader) {
  const std::vector<ArchivedFeed> feeds = reader.archives.use([](NewsArchive& archive) { return archive.Feeds(); });
  const auto found =
      std::ranges::find(feeds, addressKey(url), [](const ArchivedFeed& feed) { return addressKey(feed.url); });
  return found == feeds.end() ? 0 : found->id;
}

/// The feed's items if they are there in time, else what is known of it.
View viewOfNew(const OwnFeed& feed, ReaderState& reader) {
  View view;
  reader.refresher.refreshFeed(feed.url);
  if (reader.refresher.waitUntilDone(kPatienceForFeed)) view.feed = archivedFeed(feed.url, reader);
  if (view.feed == 0) {
    view.aside = Aside::Subscribed;
    view.address = withoutUserInformation(feed.url);
  }
  return view;
}

/// What is offered at an address, asked for again only if that was long ago.
FeedOffer offerAt(const std::string& typed, ReaderState& reader) {
  if (std::optional<FeedOffer> known = reader.offers.find(typed)) return *std::move(known);
  return findFeedsAt(typed, reader.baseFolder);
}

Result add(const Form& form, ReaderState& reader) {
  const std::string typed = fieldOf(form.fields, "url");
  const std::string choice = fieldOf(form.fields, "choice");
  const std::string name = fieldOf(form.fields, "name");
  const std::string category = fieldOf(form.fields, "category");
  FeedOffer offer = choice.empty() ? findFeedsAt(typed, reader.baseFolder) : offerAt(typed, reader);
  if (choice.empty() && offer.feeds.size() > 1) {
    offer.name = name;
    offer.category = category;
    reader.offers.keep(shownAddress(typed), offer);
    View view = backFrom(form);
    view.aside = Aside::Add;
    view.address = shownAddress(typed);
    return {view, {.text = shownAddress(typed) + " has " + counted(offer.feeds.size(), "feed") + ": choose one"}};
  }
  const auto chosen = choice.empty() ? offer.feeds.begin() : std::ranges::find(offer.feeds, choice, &FoundFeed::url);
  if (chosen == offer.feeds.end()) throw wrongUse("that feed is not offered any more: look for it again");
  const OwnFeed feed = subscribeTo(*chosen, offer, name, category, reader.baseFolder);
  return {viewOfNew(feed, reader), {.text = "Subscribed to " + feed.label}};
}

Result edit(const Form& form, ReaderState& reader) {
  const OwnFeed feed = changeSubscription(fieldOf(form.fields, "address"), fieldOf(form.fields, "name"),
                                          fieldOf(form.fields, "category"), reader.baseFolder);
  return {backFrom(form), {.text = feed.label + " is kept in " + feed.category}};
}

Result remove(const Form& form, ReaderState& reader) {
  const OwnFeed feed = unsubscribe(fieldOf(form.fields, "address"), reader.baseFolder);
  return {{}, {.text = "Unsubscribed from " + feed.label + "; what has a star is kept"}};
}

Result import(const Form& form, ReaderState& reader) {
  const std::string url = fieldOf(form.fields, "url");
  if (form.list.empty() && !webAddress(url)) throw wrongUse("choose the file of a list, or give its address");
  const ImportCounts counts = form.list.empty() ? importList(url, reader.baseFolder, Profile::Modern)
                                                : importText(form.list, reader.baseFolder, Profile::Modern);
  reader.refresher.refresh(PullScope::Due);
  return {{}, {.text = textOf(counts)}};
}

Result samples(const Form&, ReaderState& reader) {
  const std::size_t added = subscribeToSamples(reader.samples.address(), reader.baseFolder);
  reader.refresher.refresh(PullScope::Due);
  reader.refresher.waitUntilDone(kPatienceForFeed);
  return {{}, {.text = "Subscribed to " + counted(added, "sample feed")}};
}

struct Action {
  std::string_view name;
  Result (*perform)(const Form& form, ReaderState& reader);
};

constexpr Action kActions[] = {
    {"mark", mark}, {"undo", undo},     {"refresh", refresh}, {"stop", stop},       {"add", add},
    {"edit", edit}, {"remove", remove}, {"import", import},   {"samples", samples},
};

const Action* findAction(std::string_view name) {
  const auto* const action = std::ranges::find(kActions, name, &Action::name);
  return action == std::end(kActions) ? nullptr : action;
}

View withNotice(View view, Notice notice, ReaderState& reader) {
  if (!notice.text.empty()) view.notice = reader.notices.add(std::move(notice));
  return view;
}

}  // namespace

bool isAction(std::string_view action) { return findAction(action) != nullptr; }

View perform(std::string_view action, const Form& form, ReaderState& reader) {
  std::string failure;
  try {
    Result result = findAction(action)->perform(form, reader);
    reader.events.send("changed", "{}");
    return withNotice(std::move(result.view), std::move(result.notice), reader);
  } catch (const Failure& error) {
    failure = error.what();
  } catch (const ArchiveError& error) {
    failure = failureOf(error).what();
  }
  return withNotice(backFrom(form), {.text = failure, .isFailure = true}, reader);
}

}  // namespace quillmoria
