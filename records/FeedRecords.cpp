#include "quillmoria/RSSObject.h"

// Strings are cleared, not replaced: the parser resets one item again and again and lives on the memory it kept.

void RSSObject::ImageStruct::reset() {
  for (std::string* text : {&title, &url, &link, &description}) text->clear();
  extraW.clear();
  width = 1;  // Compatibility.
  height = -1;
}

void RSSObject::ChannelStruct::reset() {
  for (std::string* text : {&title, &link, &description, &language, &updatePeriod}) text->clear();
  titleW.clear();
  descriptionW.clear();
  updateBase = CTime();
  updateFrequency = -1;
  date = CTime();
}

void RSSObject::NewsItemStruct::reset() {
  for (std::string* text : {&title, &link, &description, &timeSuffix}) text->clear();
  for (std::u16string* text : {&titleW, &descriptionW, &creatorW, &guidW}) text->clear();
  isPermaLink = false;
  date = CTime();
}

void RSSObject::NewsFeed::initialize() {
  for (std::string* text : {&category, &name, &url, &userName, &password}) text->clear();
  enabled = 0;
  userFlag = 0;
}

void RSSObject::NewsFeedsPerCategoryStruct::initialize() {
  feedCount = 0;
  category.clear();
  categoryId = -1;
}

void RSSObject::CategoryHolderStruct::initialize() { categoryCount = 0; }
