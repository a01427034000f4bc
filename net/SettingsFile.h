#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// Looks up values in a text file of sections and key=value lines.
///
///     const SettingsFile file(baseFolder + "\\config\\quillmoria.ini");
///     const std::string server = file.GetValue("Proxy", "Server", "");
///
/// Names match without regard to the case of the letters A to Z; nothing is trimmed or unquoted. The file is read once,
/// at construction, and never written. One thread at a time.
class SettingsFile {
 public:
  /// Reads the file at `path`, one of the engine's own (CFile) or a link in its place, if it is not empty. A file that
  /// is missing or above 1 MiB has no sections; of one that cannot be read to its end, what stands before the fault is
  /// kept.
  explicit SettingsFile(std::string path);
  virtual ~SettingsFile();

  /// The value of `key` in the first section of that name, or `defaultValue` if there is none.
  std::string GetValue(std::string_view section, std::string_view key, std::string_view defaultValue) const;

  /// Sets the value of `key` in the first section of that name; where either is missing, `create` appends it. False if
  /// the value was not stored.
  bool SetValue(std::string_view section, std::string_view key, std::string_view value, bool create);

  /// The index of the first section called `name`, or -1.
  std::int32_t FindSection(std::string_view name) const;

  /// The index of `key` in the section with index `section`, or -1, also if there is no such section.
  std::int32_t FindKey(std::int32_t section, std::string_view key) const;

  /// Appends an empty section, also if one has that name already; returns its index.
  std::int32_t AddSection(std::string_view name);

  /// False if the file is there, or something else in its place, and the last Parse could not read it to its end or
  /// found it above 1 MiB: it may say more than is known here. A line that ends the reading does not count.
  bool isReadable() const { return isReadable_; }

  /// Reads the file. A line that begins with anything but a printable ASCII character ends the reading with
  /// "Failing on char %d\n" on standard output. True if the file was read to its end and there is a section.
  bool Parse();

 private:
  /// The first index of each name in lower case. Ordered: a file cannot slow down the look-ups by its choice of names.
  using Index = std::map<std::string, std::int32_t, std::less<>>;

  struct Section {
    Index keys;
    std::vector<std::string> values;
  };

  bool parseLine(std::string_view line, std::string& section);

  std::string path_;
  bool isReadable_ = true;
  Index sectionNames_;
  std::vector<Section> sections_;
};
