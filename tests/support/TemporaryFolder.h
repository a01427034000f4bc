#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

/// A base folder with its three subfolders, removed with everything in it at the end of the scope.
class TemporaryBaseFolder {
 public:
  TemporaryBaseFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "quillmoria-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    path_ = name;
    for (const char* folder : {"cache", "config", "feed_imgs"}) std::filesystem::create_directory(path_ / folder);
  }
  TemporaryBaseFolder(const TemporaryBaseFolder&) = delete;
  TemporaryBaseFolder& operator=(const TemporaryBaseFolder&) = delete;
  ~TemporaryBaseFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string name() const { return path_.string(); }
  std::filesystem::path operator/(const std::string& below) const { return path_ / below; }

  /// Writes `bytes` into the file `below` the folder.
  void write(const std::string& below, const std::string& bytes) const {
    std::ofstream(path_ / below, std::ios::binary) << bytes;
  }

  /// The bytes of the file `below` the folder; empty if there is none.
  std::string read(const std::string& below) const {
    std::ostringstream bytes;
    bytes << std::ifstream(path_ / below, std::ios::binary).rdbuf();
    return bytes.str();
  }

  /// Everything below the folder: names with the contents of files.
  std::map<std::string, std::string> tree() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
      const std::string name = entry.path().lexically_relative(path_);
      found[name] = std::filesystem::is_regular_file(entry.symlink_status()) ? read(name) : "";
    }
    return found;
  }

 private:
  std::filesystem::path path_;
};

/// Sets an environment variable, or unsets it where `value` is null, until the end of the scope.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before, wasSet_ = true;
    set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { set(wasSet_ ? before_.c_str() : nullptr); }

 private:
  void set(const char* value) const { value ? setenv(name_, value, 1) : unsetenv(name_); }

  const char* name_;
  std::string before_;
  bool wasSet_ = false;
};
