#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "modern/reading/ReadFeed.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {

/// What a server calls the state of a document, to be sent back to it as it came.
struct Validators {
  std::string url;  ///< the address that gave them, and to which alone they are sent
  std::string entityTag;
  std::string lastModified;

  bool areNone() const { return entityTag.empty() && lastModified.empty(); }
};

/// The state of a file.
struct FileStamp {
  std::int64_t time = 0;  ///< of its last change, in nanoseconds
  std::uint64_t bytes = 0;

  bool operator==(const FileStamp&) const = default;
};

/// What a fetch has found out about a feed.
struct FetchReport {
  Outcome outcome = Outcome::NetworkError;
  std::uint64_t pull = 0;      ///< WebState::beginPull
  std::int64_t asked = 0;      ///< when the last request was sent, in seconds since 1970
  std::int64_t notBefore = 0;  ///< until when the server must not be asked; 0 if it may be
  std::int64_t freshFor = -1;  ///< seconds, -1 if the server did not say
  bool wentToMovedTo = false;  ///< the first request was for the remembered address
  std::string movedTo;         ///< where the feed has moved for good
  Validators validators;
  std::string bodyHash;
  std::string format;
  UpdateRules rules;
};

/// What is remembered of a feed from one pull to the next. Moments are in seconds since 1970.
struct FeedFacts {
  // What the cache file of the feed's name holds, as long as it is as it was then.
  std::string feedName;
  FileStamp stored;
  Validators validators;
  std::string bodyHash;

  std::uint64_t pull = 0;  ///< the last one that has found out something
  std::string format;
  UpdateRules rules;
  std::int64_t freshFor = -1;
  std::string movedTo;             ///< asked instead of the subscribed address
  std::int32_t movedFailures = 0;  ///< pulls in a row that have failed there
  std::int32_t failures = 0;       ///< pulls in a row that a server has answered without a feed
  std::int64_t nextDue = 0;
  bool isGone = false;

  /// What is known after a pull that has found out `report`; the part about the cache file stays.
  FeedFacts after(const FetchReport& report) const;
};

/// Values by key, those used last; what they take together is bounded.
template <class Value>
class RecentValues {
 public:
  std::optional<Value> find(const std::string& key) {
    const auto found = places_.find(key);
    if (found == places_.end()) return std::nullopt;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->value;
  }

  /// `bytes` is about what `value` takes beyond itself. One that is too large on its own is not kept.
  void keep(const std::string& key, Value value, std::size_t bytes) {
    forget(key);
    bytes += sizeof(Entry) + 2 * key.size();
    std::list<Entry> made;
    made.push_front({key, std::move(value), bytes});
    places_.emplace(key, made.begin());
    entries_.splice(entries_.begin(), made);
    bytes_ += bytes;
    while (bytes_ > kMaxBytes) forget(entries_.back().key);
  }

  void forget(const std::string& key) {
    const auto found = places_.find(key);
    if (found == places_.end()) return;
    const auto entry = found->second;
    bytes_ -= entry->bytes;
    places_.erase(found);
    entries_.erase(entry);  // last, as `key` may be the entry's own
  }

  void clear() {
    places_.clear();
    entries_.clear();
    bytes_ = 0;
  }

 private:
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
  struct Entry {
    std::string key;
    Value value;
    std::size_t bytes;
  };

  std::list<Entry> entries_;  ///< the one used last at the front
  std::map<std::string, typename std::list<Entry>::iterator> places_;
  std::size_t bytes_ = 0;
};

}  // namespace quillmoria
