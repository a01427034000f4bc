#include "ItemText.h"

#include <array>
#include <cstdio>

#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr char kTimePattern[] = "%Y-%m-%d %H:%M";
constexpr std::size_t kTimeColumns = 16;

/// "2:03", "1:02:03"
std::string durationText(std::int64_t seconds) {
  const auto twoDigits = [](std::int64_t n) { return (n < 10 ? ":0" : ":") + std::to_string(n); };
  const std::int64_t minutes = seconds / 60;
  const std::string start =
      minutes < 60 ? std::to_string(minutes) : std::to_string(minutes / 60) + twoDigits(minutes % 60);
  return start + twoDigits(seconds % 60);
}

}  // namespace

std::string timeText(const CTime& time) {
  const std::string text = time.Format(kTimePattern);
  return text.empty() ? std::string(kTimeColumns, ' ') : text;
}

std::string titleText(const RSSObject::NewsItemStruct& item) {
  const std::string title = collapsed(toUtf8(item.titleW));
  return title.empty() ? withoutUserInformation(item.link) : title;
}

std::string enclosureText(const Enclosure& enclosure) {
  std::string known = enclosure.type;
  const auto add = [&known](const std::string& text) { known += (known.empty() ? "" : ", ") + text; };
  if (enclosure.length > 0) add(sizeText(enclosure.length));
  if (enclosure.durationSeconds >= 0) add(durationText(enclosure.durationSeconds));
  const std::string url = withoutUserInformation(enclosure.url);
  return known.empty() ? url : url + " (" + known + ")";
}

std::string sizeText(std::int64_t bytes) {
  constexpr std::array kUnits{"kB", "MB", "GB"};
  if (bytes < 1000) return std::to_string(bytes) + " B";
  double size = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; size >= 999.95 && unit + 1 < kUnits.size(); ++unit) size /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", size, kUnits[unit]);
  return text;
}

}  // namespace quillmoria
