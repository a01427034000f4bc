#pragma once

#include <string>
#include <string_view>

namespace httplib {
struct Request;
}

namespace quillmoria {

/// What becomes of a request.
enum class Verdict {
  Admitted,  ///< it comes from a page of this reader, or of a browser that has its key
  Entering,  ///< it brings the key in its address, and is to be given it as a cookie
  Refused,   ///< it comes from anyone else
};

/// Lets those in who know the reader's address, from its own pages alone. Other users of the machine know the port, and
/// pages of the web can make browsers send requests there; neither knows the key, a random number of each start. Nor do
/// other servers on this machine, to whom browsers send all cookies of 127.0.0.1 whatever the port: the cookie is for
/// the reader's folder alone, which has a random name as well. Immutable; any thread.
class Gate {
 public:
  explicit Gate(int port);

  /// The reader's address with its key: what opens it in a browser that does not have the key yet.
  std::string address() const;

  /// The path of the reader's folder: "/3f…a0/".
  const std::string& folder() const { return folder_; }

  /// What a form of the reader's pages sends with each change.
  const std::string& formToken() const { return formToken_; }

  /// Looks at method, path, key and where the request says to come from.
  Verdict judge(const httplib::Request& request) const;

  /// Whether a change comes from a form of the reader's pages.
  bool isFormToken(std::string_view token) const;

  /// The value of Set-Cookie that gives a browser the key.
  std::string cookie() const;

 private:
  std::string origin_;  ///< "http://127.0.0.1:8080"
  std::string folder_;
  std::string key_;
  std::string formToken_;
};

}  // namespace quillmoria
