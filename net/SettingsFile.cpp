#include "net/SettingsFile.h"

#include <cstddef>
#include <cstdio>
#include <utility>

#include "platform/Text.h"
#include "platform/TextFile.h"

namespace {

constexpr std::size_t kMaxFileBytes = 1 << 20;

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

template <class Index>
std::int32_t find(const Index& index, std::string_view name) {
  const auto found = index.find(quillmoria::lowerAscii(name));
  return found == index.end() ? -1 : found->second;
}

/// Takes the first line, without its line feed and a carriage return at its end, off `text`.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

SettingsFile::SettingsFile(std::string path) : path_(std::move(path)) {
  if (!path_.empty()) Parse();
}

SettingsFile::~SettingsFile() = default;

std::string SettingsFile::GetValue(std::string_view section, std::string_view key,
                                   std::string_view defaultValue) const {
  const std::int32_t sectionIndex = FindSection(section);
  const std::int32_t keyIndex = FindKey(sectionIndex, key);
  if (keyIndex < 0) return std::string(defaultValue);
  return sections_[static_cast<std::size_t>(sectionIndex)].values[static_cast<std::size_t>(keyIndex)];
}

bool SettingsFile::SetValue(std::string_view section, std::string_view key, std::string_view value, bool create) {
  std::int32_t sectionIndex = FindSection(section);
  if (sectionIndex < 0) {
    if (!create) return false;
    sectionIndex = AddSection(section);
  }
  auto& [keys, values] = sections_[static_cast<std::size_t>(sectionIndex)];
  const std::int32_t keyIndex = find(keys, key);
  if (keyIndex >= 0) {
    values[static_cast<std::size_t>(keyIndex)] = value;
    return true;
  }
  if (!create) return false;
  keys.emplace(quillmoria::lowerAscii(key), static_cast<std::int32_t>(values.size()));
  values.emplace_back(value);
  return true;
}

std::int32_t SettingsFile::FindSection(std::string_view name) const { return find(sectionNames_, name); }

std::int32_t SettingsFile::FindKey(std::int32_t section, std::string_view key) const {
  const auto index = static_cast<std::size_t>(section);
  return section >= 0 && index < sections_.size() ? find(sections_[index].keys, key) : -1;
}

std::int32_t SettingsFile::AddSection(std::string_view name) {
  const auto index = static_cast<std::int32_t>(sections_.size());
  sectionNames_.emplace(quillmoria::lowerAscii(name), index);
  sections_.emplace_back();
  return index;
}

bool SettingsFile::Parse() {
  using End = quillmoria::TextFile::End;
  const auto [text, end] = quillmoria::readTextFile(path_, quillmoria::PathForm::Engine, kMaxFileBytes);
  isReadable_ = end != End::NotReadable;
  std::string section;
  for (std::string_view rest = text; !rest.empty();) {
    if (!parseLine(takeLine(rest), section)) return false;
  }
  return end == End::Whole && !sections_.empty();
}

/// Takes in one line under the section named last, `section`. False if the line begins as none may.
bool SettingsFile::parseLine(std::string_view line, std::string& section) {
  if (line.empty()) return true;
  // Compatibility.
  if (!isPrintable(line.front())) {
    std::printf("Failing on char %d\n", static_cast<signed char>(line.front()));
    return false;
  }
  // Compatibility.
  const std::size_t mark = line.find_first_of(";#[=");
  if (mark == std::string_view::npos) return true;
  if (line[mark] == '=') {
    SetValue(section, line.substr(0, mark), line.substr(mark + 1), true);
  } else if (line[mark] == '[') {
    const std::size_t end = line.rfind(']');
    if (end == std::string_view::npos || end < mark) return true;
    section = line.substr(mark + 1, end - mark - 1);
    AddSection(section);
  }
  return true;
}
