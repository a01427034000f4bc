#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <vector>

#include "modern/FetchFeed.h"
#include "modern/ModernSource.h"
#include "modern/web/WebFetch.h"
#include "modern/web/WebState.h"
#include "quillmoria/FindFeeds.h"
#include "quillmoria/Version.h"
#include "support/LoopbackServer.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

using quillmoria::webState;

/// A document of RSS 2.0 whose items are called `names` ("a,b") and have those identifiers; of one that is called
/// "a@1=x", x is the text, and 1 the end of its link. What stands before a '/' goes into the channel.
std::string feedOf(const std::string& names) {
  const std::size_t slash = names.rfind('/');
  const std::string channel = slash == std::string::npos ? "" : names.substr(0, slash);
  std::string items;
  std::istringstream list(names.substr(slash + 1));
  for (std::string name; std::getline(list, name, ',');) {
    const std::size_t equals = std::min(name.find('='), name.size());
    const std::string text = equals < name.size() ? name.substr(equals + 1) : "text";
    name.resize(equals);
    const std::size_t at = std::min(name.find('@'), name.size());
    const std::string link = at < name.size() ? "<link>/" + name.substr(at + 1) + "</link>" : "";
    name.resize(at);
    items += "<item><title>" + name + "</title><guid isPermaLink=\"false\">" + name + "</guid>" + link +
             "<description>" + text + "</description></item>";
  }
  return "<rss version=\"2.0\"><channel><title>Feed</title><link>http://example.org/</link>" + channel + items +
         "</channel></rss>\n";
}

std::string littleEndian(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
  return text;
}

/// Deflate without compression.
std::string deflated(const std::string& text) {
  const auto size = static_cast<std::uint32_t>(text.size());
  return "\x01" + littleEndian(size, 2) + littleEndian(~size, 2) + text;
}

std::string gzipped(const std::string& text) {
  std::uint32_t sum = ~0U;
  for (const char c : text) {
    sum ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320U : 0);
  }
  return std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10) + deflated(text) + littleEndian(~sum, 4) +
         littleEndian(static_cast<std::uint32_t>(text.size()), 4);
}

std::string chunked(const std::string& text) {
  std::ostringstream size;
  size << std::hex << text.size();
  return size.str() + "\r\n" + text + "\r\n0\r\n\r\n";
}

/// "gzip:feed:a,b" and the like: what comes before is done to what comes after.
std::string bodyOf(const std::string& words) {
  static const std::map<std::string, std::function<std::string(const std::string&)>> kKinds = {
      {"feed", feedOf},
      {"gzip", [](const std::string& rest) { return gzipped(bodyOf(rest)); }},
      {"deflate", [](const std::string& rest) { return deflated(bodyOf(rest)); }},
      {"chunked", [](const std::string& rest) { return chunked(bodyOf(rest)); }},
      {"surplus", [](const std::string& rest) { return bodyOf(rest) + "surplus"; }},
      {"sample", [](const std::string& rest) { return readSample(rest); }},
      {"zeros", [](const std::string& rest) { return std::string(std::stoul(rest), '\0'); }},
  };
  const auto kind = kKinds.find(words.substr(0, words.find(':')));
  return kind == kKinds.end() ? words : kind->second(words.substr(words.find(':') + 1));
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

/// Two servers, A and B, and what a reader says of them: a case of wire.txt, whose lines are commands and, indented,
/// what they bring about.
class Wire {
 public:
  Wire() { a_.http.closeOnTls(); }

  std::string run(const std::string& commandLine) {
    const std::string line = unescaped(commandLine);
    std::istringstream words(line);
    std::string command;
    std::string address;
    words >> command >> address;
    if (command == "A" || command == "B") return prepare(command == "A" ? a_ : b_, line);
    webState.build();  // as in a process of its own
    feed_ = RSSObject::NewsFeed();
    feed_.name = "Feed";
    feed_.url = real(address);
    words >> feed_.userName >> feed_.password;
    return kCommands.at(command)(*this);
  }

 private:
  struct Server {
    std::mutex mutex;
    std::map<std::string, std::vector<std::string>> answers;  ///< by target; the last one stays
    std::size_t told = 0;
    LoopbackServer http;  // last, as its threads use the others
  };

  static const std::map<std::string, std::function<std::string(Wire&)>> kCommands;

  /// "A /target 200 OK; Name: value = body": what the server is to answer next.
  std::string prepare(Server& server, const std::string& line) {
    std::string head = line.substr(0, std::min(line.find(" = "), line.size()));
    const std::string body = head.size() < line.size() ? bodyOf(real(line.substr(head.size() + 3))) : "";
    const std::string target = head.substr(2, head.find(' ', 2) - 2);
    head = real(head.substr(target.size() + 3));
    const bool hasLength =
        head.find("Content-Length") == std::string::npos && head.find("chunked") == std::string::npos;
    std::string answer = "HTTP/1.1 " + replaced(head, "; ", "\r\n") + "\r\n";
    if (hasLength) answer += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    answer += "\r\n" + body;
    if (head == "nothing") answer.clear();
    const std::lock_guard lock(server.mutex);
    server.answers[target].push_back(std::move(answer));
    server.http.talk(target, [&server, target](const std::string&, const LoopbackServer::Send& send) {
      const std::lock_guard answering(server.mutex);
      std::vector<std::string>& left = server.answers[target];
      const std::string next = left.front();
      if (left.size() > 1) left.erase(left.begin());
      return !next.empty() && send(next) && next.find("Connection: close") == std::string::npos;
    });
    return "";
  }

  std::string real(const std::string& text) const {
    return replaced(replaced(text, "{A}", portOf(a_)), "{B}", portOf(b_));
  }
  std::string told(const std::string& text) const {
    return replaced(replaced(text, portOf(a_), "{A}"), portOf(b_), "{B}");
  }
  static std::string portOf(const Server& server) { return "127.0.0.1:" + std::to_string(server.http.port()); }

  /// A request without what every one has to have, on a line.
  std::string shown(std::string head, const Server& server) const {
    static const std::pair<const char*, std::string> kAccepts[] = {
        {"", quillmoria::kAcceptFeeds}, {" page", quillmoria::kAcceptPages}, {" picture", quillmoria::kAcceptPictures}};
    const auto take = [&head](const std::string& line) {
      const std::size_t at = head.find("\r\n" + line + "\r\n");
      if (at != std::string::npos) head.erase(at + 2, line.size() + 2);
      return at != std::string::npos;
    };
    std::string kind = " accepts something else";
    for (const auto& [name, types] : kAccepts) {
      if (take("Accept: " + types)) kind = name;
    }
    for (const std::string& line :
         {"Host: " + portOf(server), std::string("User-Agent: Quillmoria/") + quillmoria::kVersion,
          std::string("Accept-Encoding: deflate, gzip, br, zstd")}) {
      if (!take(line)) kind += " without " + line;
    }
    head = replaced(replaced(told(head), " HTTP/1.1\r\n\r\n", ""), " HTTP/1.1\r\n", " | ");
    return replaced(replaced(head, "\r\n\r\n", ""), "\r\n", " | ") + kind + "\n";
  }

  /// The requests since the last command.
  std::string requests() {
    std::string all;
    for (const auto& [name, server] : {std::pair("A", &a_), std::pair("B", &b_)}) {
      const std::vector<std::string> heads = server->http.requests();
      for (; server->told < heads.size(); ++server->told) {
        all += "  " + std::string(name) + " " + shown(heads[server->told], *server);
      }
    }
    return all;
  }

  std::string withoutTime(const std::string& text) const {
    constexpr std::string_view kBefore = "before ";
    const std::size_t time = text.find(kBefore);
    return time == std::string::npos ? told(text) : text.substr(0, time + kBefore.size()) + "...";
  }

  std::string outcome(const RSSObject& news) const {
    const FeedDetails& details = *news.GetDetails();
    const std::int32_t now = CTime::GetCurrentTime().GetTime();
    const auto minutesTo = [now](CTime time) { return std::to_string((time.GetTime() - now + 30) / 60); };
    std::string text = "  " + std::string(quillmoria::OutcomeName(details.outcome)) + " " +
                       std::to_string(details.httpStatus) + " '" +
                       (details.outcome == Outcome::NotAFeed ? "..." : withoutTime(news.statusMessage)) + "' " +
                       std::to_string(news.itemCount) + "/" + std::to_string(news.newItemCount);
    if (!details.movedTo.empty()) text += " moved " + told(details.movedTo);
    if (details.notBefore != CTime()) text += " rest " + minutesTo(details.notBefore);
    if (details.nextDue != CTime()) text += " due " + minutesTo(details.nextDue);
    if (news.channelPicture) text += news.channelPicture->picture ? " picture" : " no picture";
    for (std::int32_t i = 0; i < news.itemCount; ++i) {
      if (details.items[static_cast<std::size_t>(i)].changed) text += " changed " + news.items[i].title;
    }
    return text + (news.WasStored() ? "\n" : " not stored\n");
  }

  std::string pull() {
    quillmoria::ModernSource source(base_.name());
    const std::unique_ptr<RSSObject> news = source.fetch(feed_);
    source.settle(*news);
    return requests() + outcome(*news);
  }

  std::string fetchAlone() {
    RSSObject news(RSSObject::ChannelStruct(), nullptr, -1);
    news.baseFolder = base_.name();
    quillmoria::fetchModernFeed(news, feed_, "");
    return requests() + outcome(news);
  }

  std::string fromStore() { return outcome(*quillmoria::ModernSource(base_.name()).fromStore(feed_)); }

  std::string isDue() { return quillmoria::ModernSource(base_.name()).isDue(feed_) ? "  due\n" : "  not due\n"; }

  std::string find() {
    const FoundFeeds found = FindFeeds(feed_.url, base_.name());
    std::string text = requests() + "  " + std::string(quillmoria::OutcomeName(found.outcome)) + " '" +
                       withoutTime(found.statusMessage) + "'\n";
    for (const FoundFeed& feed : found.feeds) text += "  " + told(feed.url) + " " + feed.title + " " + feed.type + "\n";
    return text;
  }

  std::string loseTheArchive() {
    std::filesystem::remove(base_ / "archive.sqlite");
    return "";
  }

  std::string agePictures() {
    for (const auto& file : std::filesystem::directory_iterator(base_ / "feed_imgs")) {
      std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now() - std::chrono::days(8));
    }
    return "";
  }

  TemporaryBaseFolder base_;
  Server a_;
  Server b_;
  RSSObject::NewsFeed feed_;
};

const std::map<std::string, std::function<std::string(Wire&)>> Wire::kCommands = {
    {"pull", &Wire::pull},
    {"fetch", &Wire::fetchAlone},
    {"offline", &Wire::fromStore},
    {"due", &Wire::isDue},
    {"find", &Wire::find},
    {"lose-archive", &Wire::loseTheArchive},
    {"age-pictures", &Wire::agePictures},
};

struct WireCase {
  std::string name;
  std::string commands;
  std::string transcript;
};

std::vector<WireCase> wireCases() {
  std::vector<WireCase> cases;
  std::istringstream lines(readSample("modern/wire.txt"));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("== ")) cases.push_back({line.substr(3), "", ""});
    if (line.empty() || line.starts_with("#") || line.starts_with("== ")) continue;
    cases.back().transcript += line + "\n";
    if (!line.starts_with("  ")) cases.back().commands += line + "\n";
  }
  return cases;
}

TEST(Wire, SaysAndHearsWhatTheRulesSay) {
  for (const WireCase& one : wireCases()) {
    Wire wire;
    std::string transcript;
    std::istringstream commands(one.commands);
    for (std::string line; std::getline(commands, line);) transcript += line + "\n" + wire.run(line);
    EXPECT_EQ(transcript, one.transcript) << one.name;
  }
}

}  // namespace
