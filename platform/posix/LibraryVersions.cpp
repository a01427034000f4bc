#include "platform/LibraryVersions.h"

#include <curl/curl.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

namespace quillmoria {

std::string platformLibraryVersions() {
  return std::string("libcurl ") + curl_version_info(CURLVERSION_NOW)->version + ", gdk-pixbuf " + gdk_pixbuf_version;
}

}  // namespace quillmoria
