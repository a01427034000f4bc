#include <curl/curl.h>

#include "platform/LibraryVersions.h"

namespace quillmoria {

std::string transportLibraryVersion() { return std::string("libcurl ") + curl_version_info(CURLVERSION_NOW)->version; }

}  // namespace quillmoria
