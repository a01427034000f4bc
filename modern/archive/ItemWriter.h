#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "modern/archive/Database.h"
#include "modern/archive/ItemKeys.h"
#include "quillmoria/CTime.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// An item as a document has it.
struct WrittenItem {
  const RSSObject::NewsItemStruct& item;
  const ItemDetails& details;
  const ItemKeys& keys;
};

/// Writes the items of one feed and their words. Within a transaction.
class ItemWriter {
 public:
  ItemWriter(Database& archive, std::int64_t feed) : archive_(archive), feed_(feed) {}

  /// The first of `count` numbers that no item has ever had.
  std::int64_t takeIds(std::int64_t count);

  /// A new row for an item that has its number and when it was first seen.
  void insert(const WrittenItem& item, std::int64_t place, bool isRead, CTime now);

  /// The row `moment` says from now on what `item` does.
  void update(std::int64_t moment, const WrittenItem& item, bool hasOtherText);

  void place(std::int64_t moment, std::int64_t place);

  /// The document has of those that it had only the rows `stayed` any more; `lastSeen` is when it had the others.
  void letGo(std::vector<std::int64_t> stayed, CTime lastSeen);

  /// Takes a row away, with all that belongs to it.
  static void remove(Database& archive, std::int64_t moment);

 private:
  struct Texts {
    std::string authors;
    std::string summary;
    std::string plain;
  };

  static Texts textsOf(const WrittenItem& item);
  static void removeWords(Database& archive, std::int64_t moment);
  void addWords(std::int64_t moment, const WrittenItem& item, const Texts& texts);
  void addLists(std::int64_t moment, const ItemDetails& details);
  std::int64_t freeMoment(std::int64_t second);

  Database& archive_;
  const std::int64_t feed_;
  std::map<std::int64_t, std::int64_t> nextMoments_;  ///< by second
};

}  // namespace quillmoria
