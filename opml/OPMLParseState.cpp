#include "opml/OPMLParseState.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "feed/FeedDates.h"
#include "opml/OPMLState.h"
#include "platform/CodePage.h"
#include "platform/Text.h"
#include "platform/Trace.h"

using quillmoria::XmlAttributes;

namespace {

using quillmoria::areEqual;
using HeadStruct = OPMLDoc::HeadStruct;
using OutlineStruct = OPMLDoc::OutlineStruct;

constexpr std::int32_t kMaxOutlines = 1'000'000;
constexpr std::size_t kMaxTextBytes = 128 << 20;

constexpr const char* kVersions[] = {"1.0", "1.1"};

void store(std::string& field, std::string_view text) { field = text; }
void store(std::u16string& field, std::string_view text) { field = quillmoria::utf8ToWide(text); }
void store(std::int32_t& field, std::string_view text) { field = quillmoria::toInt32(text); }
void store(CTime& field, std::string_view text) { field = quillmoria::readRfc822Date(text); }

template <class Record, auto kMember>
void storeIn(Record& record, std::string_view text) {
  store(record.*kMember, text);
}

/// What an element or an attribute of this name does with its text.
template <class Record>
struct Field {
  const char* name;
  void (*store)(Record& record, std::string_view text);
};

constexpr Field<HeadStruct> kHeadFields[] = {
    {"title", storeIn<HeadStruct, &HeadStruct::title>},
    {"dateCreated", storeIn<HeadStruct, &HeadStruct::dateCreated>},
    {"dateModified", storeIn<HeadStruct, &HeadStruct::dateModified>},
    {"ownerName", storeIn<HeadStruct, &HeadStruct::ownerName>},
    {"ownerEmail", storeIn<HeadStruct, &HeadStruct::ownerEmail>},
    {"expansionState", storeIn<HeadStruct, &HeadStruct::expansionState>},
    {"windowTop", storeIn<HeadStruct, &HeadStruct::windowTop>},
    {"windowLeft", storeIn<HeadStruct, &HeadStruct::windowLeft>},
    {"windowRight", storeIn<HeadStruct, &HeadStruct::windowRight>},
    {"windowBottom", storeIn<HeadStruct, &HeadStruct::windowBottom>},
};

// Compatibility.
constexpr Field<OutlineStruct> kOutlineFields[] = {
    {"text", storeIn<OutlineStruct, &OutlineStruct::text>},
    {"title", storeIn<OutlineStruct, &OutlineStruct::text>},
    {"type", storeIn<OutlineStruct, &OutlineStruct::type>},
    {"xmlUrl", storeIn<OutlineStruct, &OutlineStruct::xmlUrl>},
    {"url", storeIn<OutlineStruct, &OutlineStruct::url>},
    {"dateCreated", storeIn<OutlineStruct, &OutlineStruct::dateCreated>},
    {"description", storeIn<OutlineStruct, &OutlineStruct::description>},
};

/// The action of the field called `name`, or null.
template <class Record, std::size_t kCount>
auto storeOf(const Field<Record> (&fields)[kCount], const char* name) -> decltype(Field<Record>::store) {
  const auto* const found = std::ranges::find_if(fields, [&](const auto& field) { return areEqual(field.name, name); });
  return found == std::end(fields) ? nullptr : found->store;
}

}  // namespace

OPMLParseState::OPMLParseState(OPMLParser& parser, OPMLDoc& document)
    : parser_(parser), document_(document), xmlParser_(*this) {}

void OPMLParseState::parse(std::string_view text) { xmlParser_.parse(text); }

void OPMLParseState::startElement(const char* tag, XmlAttributes attributes) {
  storeText_ = storeOf(kHeadFields, tag);
  const std::string_view name = tag;
  if (name == "outline") {
    addOutline(attributes);
  } else if (name == "head") {
    document_.head.reset();
    ++headCount_;
  } else if (name == "opml") {
    readVersion(attributes);
  }
}

void OPMLParseState::endElement(const char* tag) {
  const std::string_view name = tag;
  if (name == "opml") {
    // Compatibility.
    quillmoria::trace("End OPML parsing");
    if (!isNested_) wrapFlatList();
  }
  if (name == "head") --headCount_;
  if (name == "outline") --outlineDepth_;
  storeText_ = nullptr;
}

/// Compatibility.
void OPMLParseState::characters(std::string_view text) {
  if (headCount_ == 1 && storeText_) storeText_(document_.head, text);
}

/// Compatibility.
void OPMLParseState::readVersion(XmlAttributes attributes) {
  if (!attributes[0]) {
    document_.version = "1.0";
  } else if (std::ranges::any_of(kVersions, [&](const char* version) { return areEqual(version, attributes[1]); })) {
    document_.version = attributes[1];
  }
}

void OPMLParseState::addOutline(XmlAttributes attributes) {
  auto outline = std::make_unique<OutlineStruct>();
  for (; *attributes; attributes += 2) {
    const auto storeText = storeOf(kOutlineFields, attributes[0]);
    if (!storeText) continue;
    const std::string_view text = attributes[1];
    textBytes_ += text.size();
    storeText(*outline, text);
  }
  if (++outlineCount_ > kMaxOutlines || textBytes_ > kMaxTextBytes) return xmlParser_.stop();
  if (!outline->xmlUrl.empty()) outline->type = "rss";
  outline->level = outlineDepth_++;
  place(std::move(outline));
  parser_.SendEventToAllSubscribers(quillmoria::kListUpdated);
}

/// Appends `outline` to the children of the nearest outline before it with a lower level. Each step up goes with an end
/// tag since that outline, so that all steps of a list together are linear.
void OPMLParseState::place(std::unique_ptr<OutlineStruct> outline) {
  OutlineStruct* parent = document_.lastOutline;
  while (parent && parent->level >= outline->level) parent = parent->parent;
  auto& siblings = parent ? parent->children : document_.outlines;
  siblings.push_back(outline.get());
  isNested_ = isNested_ || parent;
  outline->parent = parent;
  document_.lastOutline = outline.release();
}

/// Compatibility: makes all outlines the children of one, which is titled like the list or, without a title, like the
/// URL asked last.
void OPMLParseState::wrapFlatList() {
  auto wrapper = std::make_unique<OutlineStruct>();
  wrapper->text = document_.head.title;
  if (wrapper->text.empty()) {
    const quillmoria::MutexLock lock(quillmoria::opmlState->mutex);
    wrapper->text = quillmoria::utf8ToWide(quillmoria::opmlState->lastListURL);
  }
  std::vector<OutlineStruct*> top{wrapper.get()};
  wrapper->children.swap(document_.outlines);
  isNested_ = !wrapper->children.empty();
  document_.outlines.swap(top);
  wrapper.release();
}
