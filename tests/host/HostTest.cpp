#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <sstream>
#include <string>
#include <vector>

#include "ProgramRun.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

/// An Atom document with an entry for each title. Its texts and times do not depend on when it is read.
std::string atom(const std::vector<std::string>& titles) {
  std::string entries;
  for (std::size_t i = 0; i < titles.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    entries += "<entry><title>" + titles[i] + "</title><link href='http://example.org/" + number + "'/><id>id" +
               number + "</id><created>2026-01-0" + number +
               "T10:00:00Z</created><author><name>A. Writer</name></author>" + "<content>&lt;b&gt;</content></entry>";
  }
  return "<feed><title>Ex\u00E4mple</title><link href='http://example.org/'/>" + entries + "</feed>";
}

std::string opml(const std::string& outlines) { return "<opml version='1.1'><body>" + outlines + "</body></opml>"; }

std::string outline(const std::string& text, const std::string& url) {
  return "<outline text='" + text + "' xmlUrl='" + url + "'/>";
}

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

class Host : public testing::Test {
 protected:
  /// `command` with the test's base folder.
  std::vector<std::string> inBase(std::vector<std::string> command) const {
    command.insert(command.end(), {"--base", base_.name()});
    return command;
  }

  TemporaryBaseFolder base_;
  LoopbackServer server_;
  EnvironmentVariable timeZone_{"TZ", "UTC"};
};

TEST_F(Host, ListsNewItemsOnceAndReadsThemFromTheCacheOffline) {
  server_.serve("/a.atom", atom({"One", "&#x20;  Two\t&#x20;words "}));
  const auto pull = [&](const char* state) {
    ProgramRun run(inBase({"pull", state, "--category", "Tech", "--feed", "A=" + server_.url("/a.atom")}));
    EXPECT_EQ(run.status(), 0) << run.errors();
    return run.output();
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
  server_.serve("/a.atom", atom({"N\u00E9w"}));
  const std::string url = server_.url("/a.atom");
  ProgramRun run(inBase({"pull", "--online", "--json", "--category", "C", "--feed", "A\xFF=" + url}));
  EXPECT_EQ(run.status(), 0);
  EXPECT_EQ(run.output(),
            R"({"category":"C","feed":"A\ufffd","url":")" + url +
                R"(","status":"OK","itemCount":1,"newItemCount":1,"channel":{"title":"Ex\u00e4mple",)"
                R"("link":"http://example.org/","description":"","language":"","date":null,"updateBase":null,)"
                R"("updatePeriod":"","updateFrequency":-1,"image":{"title":"","url":"","link":"","description":"",)"
                R"("width":1,"height":-1}},"picture":null,"items":[{"title":"N\u00e9w","link":"http://example.org/1",)"
                R"("description":"<b>","creator":"A. Writer","guid":"id1","isPermaLink":false,"date":1767261600,)"
                R"("timeSuffix":"AM","status":2}]})"
                "\n");
}

TEST_F(Host, ShowsOneFeedWithTheCredentialsThatTheServerAsksFor) {
  server_.handle("/a.atom", [](const std::string& head) {
    // "me:secret"
    if (head.find("Authorization: Basic bWU6c2VjcmV0\r\n") != std::string::npos) {
      return LoopbackServer::response("200 OK", "", atom({"One"}));
    }
    return LoopbackServer::response("401 Unauthorized", "WWW-Authenticate: Basic realm=\"r\"\r\n", "");
  });
  base_.write("password", "secret\r\nignored\n");
  const std::string url = server_.url("/a.atom");
  ProgramRun known(inBase({"feed", url, "--user", "me", "--password-file", (base_ / "password").string()}));
  EXPECT_EQ(
      known.output(),
      "Ex\u00E4mple\n  http://example.org/\n\n2026-01-01 10:00 AM  One\n  by A. Writer\n  http://example.org/1\n");
  EXPECT_EQ(known.status(), 0) << known.errors();
  ProgramRun unknown(inBase({"feed", url}));
  EXPECT_EQ(unknown.status(), 1);
  EXPECT_THAT(unknown.errors(), HasSubstr(url + ": HTTP_STATUS_DENIED"));
}

TEST_F(Host, LetsNoControlCharacterOfAFeedReachTheTerminal) {
  server_.serve("/a.atom", atom({"&#x9B;2J&#x7F;&#x202E;Title"}));
  ProgramRun run(inBase({"pull", "--online", "--category", "\x1b]0;title\a", "--feed",
                         "A\x1b[1m=" + server_.url("/a.atom"), "--feed", "Missing=" + server_.url("/\x1b[2J")}));
  EXPECT_EQ(run.status(), 1);
  EXPECT_THAT(run.output(), HasSubstr("2JTitle\n"));
  const std::string all = run.output() + run.errors();
  EXPECT_TRUE(
      std::none_of(all.begin(), all.end(), [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == 0x7F; }));
  EXPECT_THAT(all, Not(testing::AnyOf(HasSubstr("\u009B"), HasSubstr("\u202E"))));
}

TEST_F(Host, TellsFeedsOfAListApartAndTakesTheirCategoriesFromItsContainers) {
  const std::string url = server_.url("/a.atom");
  server_.serve("/a.atom", atom({"One"}));
  server_.serve("/list.opml",
                opml("<outline text='News'>" + outline("A:B", url) + "<outline text='Local'>" + outline("A*B", url) +
                     "</outline></outline>" + outline("A/B", url) + outline("A:B", url) + outline("", url) +
                     outline("Gopher", "gopher://example.org/")));
  ProgramRun run(inBase({"pull", "--online", "--category", "Rest", "--opml", server_.url("/list.opml")}));
  EXPECT_EQ(run.status(), 0);
  EXPECT_THAT(run.errors(), HasSubstr("Gopher: gopher://example.org/ is no http or https address; left out"));
  const std::string address = "127.0.0.1_" + std::to_string(server_.port()) + "_a.atom";
  EXPECT_THAT(filesIn(base_ / "cache"), ElementsAre(address, "A_B", "A_B (2)", "A_B (3)", "A_B (4)"));
  EXPECT_EQ(linesWith(run.output(), ": 1 item, 1 new"), 5);
  EXPECT_THAT(run.output(), testing::StartsWith("News\n  A:B: "));
  EXPECT_THAT(run.output(), HasSubstr("\nNews / Local\n  A*B (2): "));
  EXPECT_THAT(run.output(), HasSubstr("\nRest\n  A_B (3): "));
}

TEST_F(Host, ShowsATreeOfAnyDepthButIndentsNoFurtherThanThirtyTwoLevels) {
  std::string nested = outline("feed", "http://example.org/&#x9B;");
  for (int level = 39; level >= 0; --level) {
    nested = "<outline text='level " + std::to_string(level) + "'>" + nested + "</outline>";
  }
  base_.write("list.opml", opml(nested));
  ProgramRun tree(inBase({"opml", (base_ / "list.opml").string()}));
  EXPECT_EQ(tree.status(), 0);
  EXPECT_THAT(tree.output(), HasSubstr("\n  level 1\n    level 2\n"));
  EXPECT_THAT(tree.output(), EndsWith("\n" + std::string(64, ' ') + "feed <http://example.org/>\n"));
  ProgramRun json(inBase({"opml", "--json", (base_ / "list.opml").string()}));
  EXPECT_THAT(json.output(), EndsWith(R"({"level":40,"text":"feed","type":"rss","xmlUrl":"http://example.org/\u009b",)"
                                      R"("url":"","description":"","dateCreated":null})"
                                      "\n"));
}

TEST_F(Host, WarnsOfLinesSoLongThatOutlinesMayBeMissing) {
  base_.write("long.opml", opml(outline(std::string(2500, 'a'), "http://example.org/")));
  ProgramRun run(inBase({"opml", (base_ / "long.opml").string()}));
  EXPECT_EQ(run.status(), 0);
  EXPECT_THAT(run.errors(), HasSubstr("outlines may be missing"));
}

TEST_F(Host, StopsAPullOnCtrlCAndLeavesWholeCacheFiles) {
  constexpr int kFeeds = 400;
  std::promise<void> requested;
  std::promise<void> signalled;
  server_.handle("/0", [&](const std::string&) {
    requested.set_value();
    signalled.get_future().wait();
    return LoopbackServer::response("200 OK", "", atom({"First"}));
  });
  std::string outlines;
  for (int i = 0; i < kFeeds; ++i) {
    outlines += outline("Feed " + std::to_string(i), server_.url("/" + std::to_string(i))) + "\n";
    if (i > 0) server_.serve("/" + std::to_string(i), atom({"One"}));
  }
  base_.write("list.opml", opml(outlines));
  const std::vector<std::string> pull = inBase({"pull", "--json", "--opml", (base_ / "list.opml").string()});
  const auto with = [&](const char* state) {
    std::vector<std::string> arguments = pull;
    arguments.push_back(state);
    return arguments;
  };

  ProgramRun run(with("--online"));
  ASSERT_EQ(requested.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready) << run.errors();
  run.signal(SIGINT);
  signalled.set_value();
  EXPECT_EQ(run.status(), 130);
  const long pulled = linesWith(run.output(), R"("status":"OK")");
  EXPECT_LT(pulled, kFeeds);
  EXPECT_THAT(run.errors(), HasSubstr("stopped after " + std::to_string(pulled) + " of 400 feeds"));
  EXPECT_EQ(filesIn(base_ / "cache").size(), static_cast<std::size_t>(pulled));
  EXPECT_EQ(linesWith(ProgramRun(with("--offline")).output(), R"("status":"","itemCount":1)"), pulled);
}

TEST_F(Host, DrawsABarOnATerminalThatFitsItAndIsErasedAtTheEnd) {
  server_.serve("/a.atom", atom({"One"}));
  const EnvironmentVariable terminal("TERM", "xterm");
  ProgramRun run(inBase({"pull", "--online", "--feed", "A=" + server_.url("/a.atom"), "--feed",
                         std::string(60, 'B') + "=" + server_.url("/a.atom")}),
                 ProgramRun::Errors::Terminal);
  EXPECT_EQ(run.status(), 0);
  EXPECT_EQ(run.errors(),
            "\r[-------------] 0/2  0 new  A\x1b[K"
            "\r[######-------] 1/2  1 new  A\x1b[K"
            "\r[######-------] 1/2  1 new  BBBBBBBBBBB\x1b[K"
            "\r[#############] 2/2  2 new  BBBBBBBBBBB\x1b[K"
            "\r\x1b[K");
}

TEST_F(Host, TellsProgressByLinesWhereThereIsNoTerminal) {
  server_.serve("/a.atom", atom({"One"}));
  ProgramRun run(
      inBase({"pull", "--online", "--feed", "A=" + server_.url("/a.atom"), "--feed", "B=" + server_.url("/none")}));
  EXPECT_EQ(run.status(), 1);
  EXPECT_THAT(run.errors(), testing::StartsWith("[1/2] A: 1 item, 1 new\n[2/2] B: Failed to parse feed"));
  EXPECT_THAT(run.errors(), HasSubstr("quillmoria: B: Failed to parse feed"));
}

TEST_F(Host, MakesItsFoldersInTheDataFolderOfTheUser) {
  const EnvironmentVariable data("XDG_DATA_HOME", (base_ / "new/data").c_str());
  server_.serve("/a.atom", atom({}));
  EXPECT_EQ(ProgramRun({"feed", server_.url("/a.atom")}).status(), 0);
  EXPECT_THAT(filesIn(base_ / "new/data/quillmoria"), ElementsAre("cache", "config", "feed_imgs"));
}

TEST_F(Host, ShowsADemoThatChecksItselfAndLeavesNothing) {
  const std::string folder = (base_ / "cache").string();
  ProgramRun run({"demo", "--base", folder});
  EXPECT_EQ(run.status(), 0) << run.errors();
  EXPECT_THAT(run.output(), EndsWith("\nAll came as expected.\n"));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

struct Use {
  const char* name;
  std::vector<std::string> arguments;  ///< "@BASE" stands for the folder, "@SERVER" for the server
  int status;
  const char* says;
};

class HostUse : public Host, public testing::WithParamInterface<Use> {};

TEST_P(HostUse, EndsWithItsStatusAndSaysWhy) {
  base_.write("empty", "");
  base_.write("page.html", "<!DOCTYPE html><html><head><title>Feeds</title></head></html>");
  base_.write("no-feeds.opml", opml("<outline text='News'/>"));
  server_.serve("/page.html", "<!DOCTYPE html><html></html>");
  server_.answer("/closed", "");
  std::vector<std::string> arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    for (const auto& [mark, text] : {std::pair{"@BASE", base_.name()}, std::pair{"@SERVER", server_.url("")}}) {
      if (const std::size_t at = argument.find(mark); at != std::string::npos)
        argument.replace(at, std::strlen(mark), text);
    }
  }
  const EnvironmentVariable data("XDG_DATA_HOME", base_.name().c_str());
  ProgramRun run(arguments);
  EXPECT_EQ(run.status(), GetParam().status);
  EXPECT_THAT(run.status() == 0 ? run.output() : run.errors(), HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Uses, HostUse,
    testing::Values(
        Use{"Version", {"--version"}, 0, "quillmoria 1."},
        Use{"VersionOfACommand", {"pull", "--version"}, 0, "libcurl"}, Use{"Help", {"--help"}, 0, "Exit status"},
        Use{"HelpOfACommand", {"pull", "--help"}, 0, "NAME=URL"}, Use{"NoCommand", {}, 2, "subcommand"},
        Use{"UnknownOption", {"pull", "--fed", "x"}, 2, "--fed"},
        Use{"BothStates", {"pull", "--online", "--offline"}, 2, "--offline"},
        Use{"NothingToPull", {"pull"}, 2, "--feed or --opml"},
        Use{"FeedWithoutName", {"pull", "--feed", "http://example.org/"}, 2, "NAME=URL"},
        Use{"FeedOfAnotherScheme", {"feed", "ftp://example.org/"}, 2, "no http or https"},
        Use{"FeedWithoutHost", {"pull", "--feed", "A=http:///a"}, 2, "no http or https"},
        Use{"NoPasswordFile", {"feed", "http://x/", "--user", "u", "--password-file", "@BASE/none"}, 2, "first line"},
        Use{"NoList", {"pull", "--opml", "@BASE/none.opml"}, 2, "there is no list"},
        Use{"ListIsAFolder", {"opml", "@BASE"}, 2, "not a file"},
        Use{"ListOfAnotherScheme", {"opml", "file:///x"}, 2, "give a path"},
        Use{"EmptyList", {"opml", "@BASE/empty"}, 2, "no subscription list"},
        Use{"ListIsAPage", {"pull", "--opml", "@BASE/page.html"}, 2, "web page"},
        Use{"FetchedListIsAPage", {"opml", "@SERVER/page.html"}, 2, "web page"},
        Use{"ListWithoutFeeds", {"pull", "--opml", "@BASE/no-feeds.opml"}, 2, "names no feed"},
        Use{"ListNotFetched", {"opml", "@SERVER/closed"}, 1, "cannot be fetched"},
        Use{"NoFolder", {"pull", "--base", "@BASE/empty/below"}, 2, "--base DIR"},
        Use{"FeedNotFetched", {"pull", "--online", "--feed", "A=@SERVER/closed"}, 1, "quillmoria: A: "},
        Use{"FeedNotCached", {"pull", "--offline", "--feed", "A=http://x/"}, 1, "A: Resource not cached"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Host, SaysThatTheNewsComeFromTheCacheWhereThereIsNoNetwork) {
  const EnvironmentVariable offline("QUILLMORIA_OFFLINE", "1");
  ProgramRun run(inBase({"pull", "--feed", "A=http://example.org/"}));
  EXPECT_EQ(run.status(), 1);
  EXPECT_THAT(run.errors(), HasSubstr("from the cache (--online fetches all the same)"));
}

}  // namespace
