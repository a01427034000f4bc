#pragma once

#include <string>

namespace quillmoria {

struct Credentials {
  /// A name with a line end answers nothing: Digest sends it as it is, and another header line would begin there.
  bool canAnswer() const { return !userName.empty() && userName.find_first_of("\r\n") == std::string::npos; }

  std::string userName;
  std::string password;
};

}  // namespace quillmoria
