#include "modern/web/Picture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "modern/web/HttpDate.h"
#include "modern/web/WebFetch.h"
#include "platform/CFile.h"
#include "platform/Digest.h"
#include "platform/IStream.h"
#include "platform/Text.h"
#include "quillmoria/CTime.h"
#include "store/ImageDownloads.h"

namespace quillmoria {
namespace {

constexpr std::int64_t kDay = 24 * 60 * 60;
constexpr std::int64_t kWeek = 7 * kDay;
constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::size_t kNameDigits = 40;
constexpr std::string_view kExtensions[] = {".gif", ".jpg", ".jpeg", ".png", ".bmp", ".ico"};

/// The extension of the address's path, if it is that of a picture.
std::string_view extensionOf(std::string_view url) {
  const std::string path = lowerAscii(url.substr(0, url.find_first_of("?#")));
  const auto fitting = std::ranges::find_if(kExtensions, [&](std::string_view one) { return path.ends_with(one); });
  return fitting == std::end(kExtensions) ? std::string_view() : *fitting;
}

class BytesStream : public IStream {
 public:
  explicit BytesStream(std::string_view bytes) : rest_(bytes) {}

  std::size_t Read(void* buffer, std::size_t count) override {
    const std::size_t taken = rest_.copy(static_cast<char*>(buffer), count);
    rest_.remove_prefix(taken);
    return taken;
  }

 private:
  std::string_view rest_;
};

/// A picture's file in the image folder.
class PictureFile {
 public:
  explicit PictureFile(const PictureOrder& order)
      : folder_(order.baseFolder + "\\feed_imgs"),
        name_(sha256(order.url).substr(0, kNameDigits).append(extensionOf(order.url))),
        path_(folder_ + "\\" + name_) {}

  const std::string& name() const { return name_; }
  const std::string& path() const { return path_; }

  /// The picture that the file holds, and when it was written, in seconds since 1970; nothing if there is none.
  std::optional<std::int64_t> load(CPicture& picture) const {
    try {
      CFile file;
      if (!file.Open(path_, CFile::modeRead)) return std::nullopt;
      const std::int64_t writtenAt = file.GetModificationTime() / kNanoseconds;
      file.MarkUsed();
      picture.LoadFromFile(file);
      return writtenAt;
    } catch (const CFileException&) {
      return std::nullopt;
    }
  }

  void write(std::string_view bytes) const {
    try {
      CFile file;
      if (!file.Open(path_, CFile::modeReplace, kMaxImageBytes)) return;
      file.Write(bytes.data(), bytes.size());
      file.Close();
      ImageDownloads::count(folder_, bytes.size());
    } catch (const CFileException&) {
      // The picture is there for now, and is asked for again.
    }
  }

  /// Makes the present moment the one at which the file was written.
  void renew() const {
    try {
      CFile file;
      if (!file.Open(path_, CFile::modeRead) || file.GetLength() > kMaxImageBytes) return;
      std::string bytes(static_cast<std::size_t>(file.GetLength()), '\0');
      bytes.resize(file.Read(bytes.data(), bytes.size()));
      write(bytes);
    } catch (const CFileException&) {
      // It is asked for again with the next pull.
    }
  }

 private:
  const std::string folder_;
  const std::string name_;
  const std::string path_;
};

/// What tells the server which picture is there: what it has said itself, or when the file was written.
Validators validatorsFor(const PictureFacts& facts, const std::string& url, std::optional<std::int64_t> writtenAt) {
  if (!writtenAt) return {};
  if (!facts.validators.areNone()) return facts.validators;
  return {url, "", httpDate(*writtenAt)};
}

/// Whether the server is to be asked at `now` for a picture whose file was written at `writtenAt`, if there is one.
bool isToBeAsked(const PictureFacts& facts, std::optional<std::int64_t> writtenAt, std::int64_t now) {
  if (facts.failedAt != 0 && now < facts.failedAt + kDay) return false;
  return !writtenAt || now >= *writtenAt + kWeek;
}

/// Asks for the picture; what comes of it is in `picture`, its file and `facts`.
void ask(const PictureOrder& order, WebAddress address, const PictureFile& file, std::optional<std::int64_t> writtenAt,
         PictureFacts& facts, CPicture& picture) {
  WebOrder web;
  web.validators = validatorsFor(facts, address.url.text(), writtenAt);
  web.address = std::move(address);
  web.baseFolder = order.baseFolder;
  web.pull = order.pull;
  web.accept = kAcceptPictures;
  web.maxBytes = kMaxImageBytes;
  web.isCounted = false;  // the feed is there already
  const WebAnswer answer = fetchFromWeb(web);
  if (answer.outcome == Outcome::NotAsked || answer.outcome == Outcome::NoMemory || answer.wasCutOff) return;
  facts.failedAt = 0;
  if (answer.outcome == Outcome::NotModified) return file.renew();
  CPicture fetched;
  BytesStream stream(answer.body);
  if (answer.outcome == Outcome::Fetched) fetched.LoadFromStream(&stream);
  if (!fetched.picture) {
    facts.failedAt = answer.asked;
    return;
  }
  picture = fetched;
  facts.validators = validatorsOf(answer.fields, answer.finalUrl);
  file.write(answer.body);
}

}  // namespace

std::unique_ptr<CPicture> loadPicture(const PictureOrder& order) {
  auto picture = std::make_unique<CPicture>();
  std::optional<WebAddress> address = WebAddress::parse(order.url);
  if (!address || address->plainUrl) return picture;
  const PictureFile file(order);
  const ImageDownloads::Claim claim(file.path());
  const std::optional<std::int64_t> writtenAt = file.load(*picture);
  PictureFacts facts = order.memory ? order.memory->picture(file.name()) : PictureFacts();
  if (order.mayAsk && isToBeAsked(facts, writtenAt, CTime::GetCurrentTime().GetTime())) {
    ask(order, std::move(*address), file, writtenAt, facts, *picture);
    if (order.memory) order.memory->keepPicture(file.name(), facts);
  }
  return picture;
}

}  // namespace quillmoria
