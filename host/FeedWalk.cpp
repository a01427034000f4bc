#include "FeedWalk.h"

#include <algorithm>
#include <string_view>

#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxLabelBytes = 200;
constexpr std::string_view kSeparator = " / ";

}  // namespace

std::string labelFrom(std::string_view text) {
  return std::string(firstBytes(printable(withoutUserInformation(text)), kMaxLabelBytes));
}

std::string labelOf(const OPMLDoc::OutlineStruct& outline) { return labelFrom(toUtf8(outline.text)); }

std::string categoryOf(const std::vector<std::string>& path) {
  std::string category;
  for (const std::string& label : path) {
    if (label.empty()) continue;
    if (!category.empty()) category += kSeparator;
    category += label;
  }
  return category;
}

std::vector<std::string> pathOf(const std::string& category) {
  std::vector<std::string> path;
  const std::string text = printable(category);
  for (std::string_view rest = text; !rest.empty() && path.size() < kMaxPathLabels;) {
    const std::size_t end = std::min(rest.find(kSeparator), rest.size());
    std::string label = collapsed(firstBytes(collapsed(rest.substr(0, end)), kMaxLabelBytes));
    if (!label.empty()) path.push_back(std::move(label));
    rest.remove_prefix(std::min(end + kSeparator.size(), rest.size()));
  }
  return path;
}

const OPMLDoc::OutlineStruct* FeedWalk::next() {
  while (true) {
    // Around what comes next, if that is deeper.
    if (last_ && walk_.depth() < kMaxPathLabels && !last_->children.empty()) path_.push_back(labelOf(*last_));
    last_ = walk_.next();
    if (!last_) return nullptr;
    path_.resize(std::min(walk_.depth(), path_.size()));
    if (!last_->xmlUrl.empty()) return last_;
  }
}

}  // namespace quillmoria
