#pragma once

#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The bytes of the file `name` below tests/samples.
inline std::string readSample(const std::string& name) {
  std::ifstream file(QUILLMORIA_SAMPLES "/" + name, std::ios::binary);
  if (!file) throw std::runtime_error("no sample " + name);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

/// `text` with the bytes that \n \r \t \0 \\ and \xNN stand for. Anything else after a backslash throws.
inline std::string unescaped(std::string_view text) {
  constexpr std::string_view kLetters = "nrt0\\";
  constexpr std::string_view kBytes{"\n\r\t\0\\", kLetters.size()};
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
    } else if (text.at(++i) == 'x') {
      bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      bytes += kBytes.at(kLetters.find(text[i]));
    }
  }
  return bytes;
}

/// The cases of a table test, kept as text below tests/samples.
///
///     for (const auto& [url, server, port] : readTable<3>("platform/urls.tsv")) EXPECT_EQ(…) << url;
///
/// A line is a case, its fields parted by single tabs and escaped; fields that a line does not reach are empty. Empty
/// lines and lines that begin with '#' are left out.
template <std::size_t kFields>
std::vector<std::array<std::string, kFields>> readTable(const std::string& name) {
  std::vector<std::array<std::string, kFields>> rows;
  std::istringstream lines(readSample(name));
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.front() == '#') continue;
    auto& row = rows.emplace_back();
    std::istringstream fields(line);
    std::size_t column = 0;
    for (std::string field; std::getline(fields, field, '\t');) row.at(column++) = unescaped(field);
  }
  if (rows.empty()) throw std::runtime_error("no rows in " + name);
  return rows;
}
