#include "quillmoria/CPicture.h"

#include <cstdio>
#include <string_view>
#include <utility>

#include "net/AgentName.h"
#include "net/FetchCall.h"
#include "net/HTTPFetcher.h"
#include "platform/CArchive.h"
#include "platform/CFile.h"
#include "platform/CInternetSession.h"
#include "platform/IStream.h"
#include "platform/InternetQueryOption.h"
#include "store/ImageDownloads.h"

namespace {

constexpr std::size_t kBufferBytes = 4096;

/// What is asked of whom for an image, within its address: that may be of any length.
struct ImageAddress {
  std::string_view host;
  std::string_view path;  ///< without its leading slash
  std::uint16_t port = 80;
  bool secure = false;
};

/// Compatibility.
ImageAddress split(std::string_view url) {
  constexpr std::string_view kHttp = "http://";
  constexpr std::string_view kHttps = "https://";
  ImageAddress address;
  if (url.starts_with(kHttp)) {
    url.remove_prefix(kHttp.size());
  } else if (url.starts_with(kHttps)) {
    url.remove_prefix(kHttps.size());
    address.port = 443;
    address.secure = true;
  }
  const std::size_t slash = url.find('/');
  address.host = url.substr(0, slash);
  address.path = url.substr(slash + 1);  // without a slash this is the whole, as npos + 1 is 0
  return address;
}

std::string imageFolder(const std::string& baseFolder) { return baseFolder + "\\feed_imgs"; }

/// Compatibility.
std::string cachePath(const std::string& baseFolder, std::string_view path) {
  return imageFolder(baseFolder).append("\\").append(path.substr(path.rfind('/') + 1));
}

bool isOnline() {
  const auto state = InternetQueryConnectedState();
  return state && !(*state & INTERNET_STATE_DISCONNECTED);
}

/// Begins the image file at `path`.
void openSink(CFile& file, const std::string& path) {
  if (!file.Open(path, CFile::modeReplace, kMaxImageBytes)) throw CFileException("image file cannot be made");
}

/// Compatibility: whatever the server does, there is a file at `path` afterwards, so the image is not asked for again;
/// an empty one for an image above what is decoded. None is left by a disk that takes no more, or by a process that
/// ends or cuts its transfers off meanwhile.
void download(const ImageAddress& from, const std::string& path, const std::string& baseFolder) {
  HTTPFetcher fetcher;
  fetcher.PrepareFetch(baseFolder);
  CFile sink;
  openSink(sink, path);
  try {
    fetcher.SendHTTPRequest(kAgentName, std::string(from.host).c_str(), from.port, CString(from.path), &sink, nullptr,
                            nullptr, nullptr, from.secure);
  } catch (const CFileLimitException&) {
    openSink(sink, path);
    sink.Close();
  }
  // The server is not to blame for what we have cut off ourselves, and the image may be asked for again.
  if (CInternetSession::AreTransfersCutOff()) CFile::Remove(path);
}

void openDownloaded(CFile& file, const std::string& path) {
  if (!file.Open(path, CFile::modeRead)) throw CFileException("image file cannot be opened");
}

}  // namespace

bool CPicture::LoadFromURL(std::string url, std::string baseFolder) {
  if (url.empty()) return false;
  const quillmoria::FetchCall call;
  try {
    const ImageAddress address = split(url);
    const std::string path = cachePath(baseFolder, address.path);
    const quillmoria::ImageDownloads::Claim claim(path);
    CFile file;
    if (!file.Open(path, CFile::modeRead)) {
      if (!isOnline()) return false;
      download(address, path, baseFolder);
      openDownloaded(file, path);
      quillmoria::ImageDownloads::count(imageFolder(baseFolder), file.GetLength());
    }
    file.MarkUsed();
    return LoadFromFile(file);
  } catch (...) {
    std::fputs("unhandled exception\n", stdout);  // Compatibility.
    return false;
  }
}

bool CPicture::LoadFromFile(CFile& file) {
  CArchive archive(&file, CArchive::load, kBufferBytes);
  return LoadFromArchive(archive);
}

bool CPicture::LoadFromArchive(CArchive& archive) {
  CArchiveStream stream(&archive);
  return LoadFromStream(&stream);
}

bool CPicture::LoadFromStream(IStream* stream) {
  Free();
  picture = OleLoadPicture(stream);
  return true;  // Compatibility.
}
