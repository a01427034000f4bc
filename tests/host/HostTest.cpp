#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ProgramRun.h"
#include "support/LoopbackServer.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace std::string_literals;

std::vector<std::string> filesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

/// How many lines of `text` hold `part`.
long linesWith(const std::string& text, const std::string& part) {
  std::istringstream lines(text);
  long found = 0;
  for (std::string line; std::getline(lines, line);) found += line.find(part) != std::string::npos;
  return found;
}

/// The program, and samples that the server gives it. In commands and samples "@FILES" stands for
/// the folder of the test's files and "@SERVER" for the server's address.
class Host : public testing::Test {
 protected:
  Host() {
    for (const char* name : {"one.atom", "two.atom", "controls.atom", "places.opml"}) {
      server_.serve(std::string("/") + name, filled(readSample(std::string("host/") + name)));
    }
  }

  std::string filled(std::string text) const {
    for (const auto& [mark, value] : {std::pair("@FILES"s, files_.name()), {"@SERVER"s, server_.url("")}}) {
      for (std::size_t at; (at = text.find(mark)) != std::string::npos;) text.replace(at, mark.size(), value);
    }
    return text;
  }

  /// Runs the program with the words of `command`.
  ProgramRun run(const std::string& command, ProgramRun::Errors errors = ProgramRun::Errors::File) const {
    std::istringstream words(filled(command));
    return ProgramRun({std::istream_iterator<std::string>(words), {}}, errors);
  }

  TemporaryBaseFolder files_;
  std::filesystem::path base_ = files_ / "data/quillmoria";
  LoopbackServer server_;
  EnvironmentVariable data_{"XDG_DATA_HOME", base_.parent_path().c_str()};
  EnvironmentVariable timeZone_{"TZ", "UTC"};
};

TEST_F(Host, ListsNewItemsOnceAndReadsThemFromTheCacheOffline) {
  const auto pull = [this](const std::string& state) {
    return run("pull --category Tech --feed A=@SERVER/two.atom " + state).output();
  };
  EXPECT_EQ(pull("--online"),
            "Tech\n  A: 2 items, 2 new\n  * 2026-01-01 10:00  One\n  * 2026-01-02 10:00  Two words\n"
            "1 of 1 feeds: 2 items, 2 new, 0 failed\n");
  const std::string seen =
      "Tech\n  A: 2 items, 0 new\n    2026-01-01 10:00  One\n    2026-01-02 10:00  Two words\n"
      "1 of 1 feeds: 2 items, 0 new, 0 failed\n";
  EXPECT_EQ(pull("--online"), seen);
  EXPECT_EQ(pull("--offline"), seen);
  EXPECT_EQ(server_.requests().size(), 2u);
}

TEST_F(Host, PrintsAllRecordsOfAFeedAsOneLineOfJson) {
  EXPECT_EQ(run("pull --online --json --category C --feed A\xFF=@SERVER/one.atom").output(),
            filled(readSample("host/one.json")));
}

TEST_F(Host, ShowsOneFeedWithTheCredentialsThatTheServerAsksFor) {
  server_.handle("/closed", [](const std::string& head) {
    // "me:secret"
    if (head.find("Authorization: Basic bWU6c2VjcmV0\r\n") != std::string::npos) {
      return LoopbackServer::response("200 OK", "", readSample("host/one.atom"));
    }
    return LoopbackServer::response("401 Unauthorized", "WWW-Authenticate: Basic realm=\"r\"\r\n", "");
  });
  files_.write("password", "secret\r\nignored\n");
  EXPECT_EQ(run("feed @SERVER/closed --user me --password-file @FILES/password").output(),
            "Ex\u00E4mple\n  http://example.org/\n\n2026-01-01 10:00  One\n  by A. Writer\n  http://example.org/1\n");
  ProgramRun unknown = run("feed @SERVER/closed");
  EXPECT_EQ(unknown.status(), 1);
  EXPECT_THAT(unknown.errors(), HasSubstr(server_.url("/closed: HTTP_STATUS_DENIED")));
}

TEST_F(Host, LetsNoControlCharacterOfAFeedReachTheTerminal) {
  ProgramRun pull =
      run("pull --online --category \x1b]0;title\a --feed A\x1b[1m=@SERVER/controls.atom "
          "--feed Missing=@SERVER/\x1b[2J");
  EXPECT_EQ(pull.status(), 1);
  EXPECT_THAT(pull.output(), HasSubstr("2JTitle\n"));
  const std::string all = pull.output() + pull.errors();
  EXPECT_TRUE(
      std::none_of(all.begin(), all.end(), [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == 0x7F; }));
  EXPECT_THAT(all, Not(testing::AnyOf(HasSubstr("\u009B"), HasSubstr("\u202E"))));
}

TEST_F(Host, TellsFeedsOfAListApartAndTakesTheirCategoriesFromItsContainers) {
  ProgramRun pull = run("pull --online --category Rest --opml @SERVER/places.opml --base @FILES/new/base");
  EXPECT_EQ(pull.status(), 0);
  EXPECT_THAT(pull.errors(), HasSubstr("Gopher: gopher://example.org/ is no http or https address; left out"));
  const std::string address = "127.0.0.1_" + std::to_string(server_.port()) + "_one.atom";
  EXPECT_THAT(filesIn(files_ / "new/base/cache"), ElementsAre(address, "A_B", "A_B (2)", "A_B (3)", "A_B (4)"));
  EXPECT_EQ(linesWith(pull.output(), ": 1 item, 1 new"), 5);
  EXPECT_THAT(pull.output(), testing::StartsWith("News\n  A:B: "));
  EXPECT_THAT(pull.output(), HasSubstr("\nNews / Local\n  A*B (2): "));
  EXPECT_THAT(pull.output(), HasSubstr("\nRest\n  A_B (3): "));
}

TEST_F(Host, ShowsATreeOfAnyDepthButIndentsNoFurtherThanThirtyTwoLevels) {
  std::string list = "<outline text='feed' xmlUrl='http://example.org/&#x9B;'/>";
  for (int level = 39; level >= 0; --level) {
    list = "<outline text='level " + std::to_string(level) + "'>" + list + "</outline>";
  }
  files_.write("list.opml", "<o>" + list + "</o>");
  const std::string tree = run("opml @FILES/list.opml").output();
  EXPECT_THAT(tree, HasSubstr("\n  level 1\n    level 2\n"));
  EXPECT_THAT(tree, EndsWith("\n" + std::string(64, ' ') + "feed <http://example.org/>\n"));
  EXPECT_THAT(run("opml --json @FILES/list.opml").output(),
              EndsWith(R"({"level":40,"text":"feed","type":"rss","xmlUrl":"http://example.org/\u009b","url":"",)"
                       R"("description":"","dateCreated":null})"
                       "\n"));
}

TEST_F(Host, WarnsOfLinesSoLongThatOutlinesMayBeMissing) {
  files_.write("long.opml", "<o><outline text='" + std::string(2500, 'a') + "'/></o>");
  EXPECT_THAT(run("opml @FILES/long.opml").errors(), HasSubstr("outlines may be missing"));
}

TEST_F(Host, StopsAPullOnCtrlCAndLeavesWholeCacheFiles) {
  constexpr int kFeeds = 400;
  const std::string feed = readSample("host/one.atom");
  std::promise<void> requested;
  std::promise<void> signalled;
  server_.handle("/0", [&, feed](const std::string&) {
    requested.set_value();
    signalled.get_future().wait();
    return LoopbackServer::response("200 OK", "", feed);
  });
  std::string list;
  for (int i = 0; i < kFeeds; ++i) {
    const std::string target = "/" + std::to_string(i);
    list += "<outline text='" + target + "' xmlUrl='" + server_.url(target) + "'/>\n";
    if (i > 0) server_.serve(target, feed);
  }
  files_.write("list.opml", "<opml>" + list + "</opml>");

  ProgramRun pull = run("pull --online --json --opml @FILES/list.opml");
  ASSERT_EQ(requested.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready) << pull.errors();
  pull.signal(SIGINT);
  signalled.set_value();
  EXPECT_EQ(pull.status(), 130);
  const long pulled = linesWith(pull.output(), R"("status":"OK")");
  EXPECT_LT(pulled, kFeeds);
  EXPECT_EQ(linesWith(pull.errors(), "stopping after the fetch under way; Ctrl-C again"), 1);
  EXPECT_THAT(pull.errors(), HasSubstr("stopped after " + std::to_string(pulled) + " of 400 feeds"));
  EXPECT_EQ(filesIn(base_ / "cache").size(), static_cast<std::size_t>(pulled));
  const std::string cached = run("pull --offline --json --opml @FILES/list.opml").output();
  EXPECT_EQ(linesWith(cached, R"("status":"","itemCount":1)"), pulled);
}

TEST_F(Host, DrawsABarOnATerminalThatFitsItAndIsErasedAtTheEnd) {
  const EnvironmentVariable terminal("TERM", "xterm");
  const std::string name(60, 'B');
  EXPECT_EQ(
      run("pull --online --feed A=@SERVER/one.atom --feed " + name + "=@SERVER/one.atom", ProgramRun::Errors::Terminal)
          .errors(),
      "\r[-------------] 0/2  0 new  A\x1b[K"
      "\r[######-------] 1/2  1 new  A\x1b[K"
      "\r[######-------] 1/2  1 new  BBBBBBBBBBB\x1b[K"
      "\r[#############] 2/2  2 new  BBBBBBBBBBB\x1b[K"
      "\r\x1b[K");
}

TEST_F(Host, ShowsADemoThatChecksItselfAndLeavesNothing) {
  ProgramRun demo = run("demo --base @FILES/config");
  EXPECT_EQ(demo.status(), 0) << demo.errors();
  EXPECT_THAT(demo.output(), EndsWith("\nAll came as expected.\n"));
  EXPECT_TRUE(std::filesystem::is_empty(files_ / "config"));
}

TEST_F(Host, EndsWithItsStatusAndSaysWhy) {
  const EnvironmentVariable offline("QUILLMORIA_OFFLINE", "1");
  files_.write("empty", "");
  files_.write("page.html", "<!DOCTYPE html><html><head><title>Feeds</title></head></html>");
  files_.write("no-feeds.opml", "<opml><outline text='News'/></opml>");
  server_.serve("/page.html", "<!DOCTYPE html><html></html>");
  server_.answer("/closed", "");
  std::filesystem::create_directories(base_ / "cache/Folder_");
  for (const auto& [status, says, command] : readTable<3>("host/uses.tsv")) {
    ProgramRun use = run(command);
    EXPECT_EQ(std::to_string(use.status()), status) << command;
    EXPECT_THAT(use.status() == 0 ? use.output() : use.errors(), HasSubstr(says)) << command;
  }
  EXPECT_THAT(filesIn(base_), ElementsAre("cache", "config", "feed_imgs"));
}

}  // namespace
