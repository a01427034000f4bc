#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

/// The bytes of each file, by path, below `folder` of the folder that QUILLMORIA_CORPUS names, or else of
/// tests/samples.
inline std::map<std::string, std::string> readCorpus(const std::string& folder = {}) {
  const char* const corpus = std::getenv("QUILLMORIA_CORPUS");
  std::map<std::string, std::string> documents;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(
           std::filesystem::path(corpus ? corpus : QUILLMORIA_SAMPLES) / folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    documents[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
  }
  return documents;
}
