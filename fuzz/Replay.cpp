#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Fuzzing.h"

/// Runs the fuzz target once on each file of the given folders. Fails if there is none.
int main(int argumentCount, char** arguments) {
  int files = 0;
  for (int i = 1; i < argumentCount; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file), {}};
      std::fprintf(stderr, "%s\n", entry.path().c_str());  // a crash is that file's
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++files;
    }
  }
  return files > 0 ? 0 : 1;
}
