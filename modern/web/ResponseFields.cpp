#include "modern/web/ResponseFields.h"

#include <algorithm>

#include "platform/Text.h"

namespace quillmoria {

std::string_view withoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  while (!text.empty() && kBlanks.find(text.back()) != std::string_view::npos) text.remove_suffix(1);
  return text;
}

ResponseFields::ResponseFields(std::string_view head) {
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find('\n'));
    head.remove_prefix(std::min(line.size() + 1, head.size()));
    const bool isFolded = line.starts_with(' ') || line.starts_with('\t');
    const std::size_t colon = line.find(':');
    if (isFolded && !fields_.empty()) {
      fields_.back().second.append(" ").append(withoutBlanks(line));
    } else if (colon != std::string_view::npos) {
      fields_.emplace_back(lowerAscii(withoutBlanks(line.substr(0, colon))), withoutBlanks(line.substr(colon + 1)));
    }
  }
}

std::string_view ResponseFields::first(std::string_view name) const {
  const auto found = std::ranges::find(fields_, name, &std::pair<std::string, std::string>::first);
  return found == fields_.end() ? std::string_view() : found->second;
}

std::string_view ResponseFields::last(std::string_view name) const {
  std::string_view value;
  for (const auto& [its, text] : fields_) {
    if (its == name) value = text;
  }
  return value;
}

std::string ResponseFields::joined(std::string_view name) const {
  std::string all;
  for (const auto& [its, text] : fields_) {
    if (its == name) all.append(all.empty() ? "" : ", ").append(text);
  }
  return all;
}

}  // namespace quillmoria
