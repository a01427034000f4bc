#include <cstddef>
#include <string>

#include "Text.h"
#include "reader/ArticlePane.h"
#include "reader/AsidePanes.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxOutcomeCharacters = 300;
constexpr std::size_t kMaxBytes = 64000;

void writeState(HtmlWriter& html, const RefreshState& state) {
  html.add("<p>");
  if (state.all == 0) {
    html.add(state.isRunning ? Markup("It begins.")
                             : Markup("Nothing has been refreshed since the reader was started."));
  } else if (state.isOffline) {
    html.add("This machine is offline: nothing was asked for.");
  } else {
    html.text(std::to_string(state.done)).add(" of ").text(counted(state.all, "feed")).add(", ");
    html.text(counted(state.newItems, "new item"));
    if (state.failed > 0) html.add(", ").text(std::to_string(state.failed)).add(" failed");
    html.add(state.isRunning ? Markup(" so far.") : Markup("."));
  }
  html.add("</p>");
}

void writeStep(HtmlWriter& html, const RefreshStep& step) {
  html.open("li", {{"class", step.failed ? "failed" : step.isNew ? "new" : "same"}});
  html.element("bdi", {{"class", "name"}}, nameOf(step.feed)).add(" ");
  html.element("span", {{"class", "outcome"}, {"dir", "auto"}}, lineOf(step.outcome, kMaxOutcomeCharacters)).add(" ");
  html.element("bdi", {{"class", "place"}}, nameOf(step.category)).add("</li>");
}

void writeSteps(HtmlWriter& html, const PageData& data) {
  const auto& steps = data.context.steps;
  const RefreshState& state = data.context.refresh;
  html.add("<ol class=\"log\">");
  if (state.isRunning && !state.feed.empty()) {
    html.add("<li>").element("bdi", {{"class", "name"}}, nameOf(state.feed)).add(" <span>…</span></li>");
  }
  const std::size_t start = html.size();
  std::size_t left = steps.size();
  while (left > 0 && html.size() - start < kMaxBytes) writeStep(html, steps[--left]);
  html.add("</ol>");
  if (left > 0) html.add("<p>And ").text(counted(left, "feed")).add(" before.</p>");
}

}  // namespace

void writeRefreshPane(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "aside live", "Refresh");
  html.add("<div class=\"tools\">");
  writeWayBack(html, data);
  html.add("</div><h2 id=\"article-title\" tabindex=\"-1\">Refresh</h2>");
  writeState(html, data.context.refresh);
  writeSteps(html, data);
  html.add("</section>");
}

}  // namespace quillmoria
