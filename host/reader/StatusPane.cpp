#include "reader/StatusPane.h"

#include <optional>
#include <string>

#include "Text.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxNoticeCharacters = 500;

void writeNotice(HtmlWriter& html, const PageData& data) {
  const std::optional<Notice> notice = data.notice == 0 ? std::nullopt : data.context.notices.find(data.notice);
  html.open("div", {{"id", "notice"}, {"role", "status"}});
  if (notice) {
    html.open("div", {{"class", notice->isFailure ? "toast failed" : "toast"}});
    html.element("p", {{"dir", "auto"}}, lineOf(notice->text, kMaxNoticeCharacters));
    if (!notice->ids.empty()) writeButtonForm(html, data, "undo", "notice", std::to_string(data.notice), "Undo");
    html.open("a", {{"class", "dismiss"}, {"href", addressOf(data.view)}, {"aria-label", "Dismiss"}});
    writeIcon(html, "close");
    html.add("</a></div>");
  }
  html.add("</div>");
}

void writeProgress(HtmlWriter& html, const PageData& data) {
  const RefreshState& refresh = data.context.refresh;
  html.open("div", {{"id", "progress"}, {"hidden", flag(!refresh.isRunning)}});
  html.open("progress", {{"aria-label", "Refresh"},
                         {"max", std::to_string(refresh.all == 0 ? 1 : refresh.all)},
                         {"value", std::to_string(refresh.done)}});
  html.add("</progress><p>");
  html.open("a", {{"href", addressOf(asideView(data.view, Aside::Refresh))}, {"title", "Feed by feed"}});
  html.add("<span id=\"progress-counts\">").text(std::to_string(refresh.done));
  html.add(" of ").text(counted(refresh.all, "feed")).add(", ").text(counted(refresh.newItems, "new item"));
  if (refresh.failed > 0) html.add(", ").text(std::to_string(refresh.failed)).add(" failed");
  html.add("</span> ").element("bdi", {{"id", "progress-feed"}}, nameOf(refresh.feed)).add("</a></p>");
  // A page that loads itself again would take away what is being typed or read.
  html.add("<noscript>");
  writeLink(html, data.view, "action", "Look again");
  html.add("</noscript>");
  writeButtonForm(html, data, "stop", "stop", "1", "Stop");
  html.add("</div>");
}

}  // namespace

void writeStatus(HtmlWriter& html, const PageData& data) {
  html.add("<section id=\"status\" aria-label=\"Status\">");
  writeNotice(html, data);
  writeProgress(html, data);
  html.add("</section>");
}

}  // namespace quillmoria
