#include "reader/View.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace quillmoria {
namespace {

struct AsideName {
  Aside aside;
  std::string_view name;
};

constexpr AsideName kAsides[] = {{Aside::Add, "add"},
                                 {Aside::Subscribed, "feed"},
                                 {Aside::Refresh, "refresh"},
                                 {Aside::Help, "help"},
                                 {Aside::Feeds, "feeds"}};

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
    const int low = high >= 0 ? digitOf(text[i + 2]) : -1;
    if (low >= 0) {
      result += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      result += text[i] == '+' ? ' ' : text[i];
    }
  }
  return result;
}

}  // namespace

Fields fieldsFrom(std::string_view query) {
  Fields fields;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view field = query.substr(0, end);
    const std::size_t equals = std::min(field.find('='), field.size());
    fields.emplace(decoded(field.substr(0, equals)), decoded(field.substr(std::min(equals + 1, field.size()))));
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return fields;
}

std::string fieldOf(const Fields& fields, const std::string& name) {
  const auto found = fields.find(name);
  return found == fields.end() ? "" : found->second;
}

std::int64_t numberOf(const Fields& fields, const std::string& name) {
  const std::string text = fieldOf(fields, name);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number > 0 ? number : 0;
}

View viewOf(const Fields& fields) {
  View view;
  view.feed = numberOf(fields, "feed");
  view.category = fieldOf(fields, "category");
  view.onlyUnread = fieldOf(fields, "unread") == "1";
  view.onlyStarred = fieldOf(fields, "starred") == "1";
  view.words = fieldOf(fields, "q");
  if (const std::int64_t before = numberOf(fields, "before"); before > 0) view.before = before;
  view.item = numberOf(fields, "item");
  const auto* const aside = std::ranges::find(kAsides, fieldOf(fields, "aside"), &AsideName::name);
  if (aside != std::end(kAsides)) view.aside = aside->aside;
  view.address = fieldOf(fields, "address");
  view.notice = numberOf(fields, "notice");
  return view;
}

View viewFrom(std::string_view query) { return viewOf(fieldsFrom(query)); }

std::string fieldValue(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (isUnreserved(c)) {
      result += c;
    } else {
      (result += '%') += {kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return result;
}

std::string addressOf(const View& view) {
  std::string address = "./";
  const auto add = [&address](std::string_view name, const std::string& value, bool isGiven) {
    if (!isGiven) return;
    address += address.ends_with('/') ? '?' : '&';
    address.append(name).append("=").append(fieldValue(value));
  };
  add("feed", std::to_string(view.feed), view.feed != 0);
  add("category", view.category, !view.category.empty());
  add("unread", "1", view.onlyUnread);
  add("starred", "1", view.onlyStarred);
  add("q", view.words, !view.words.empty());
  add("before", std::to_string(view.before), view.before != INT64_MAX);
  add("item", std::to_string(view.item), view.item != 0);
  for (const AsideName& aside : kAsides) add("aside", std::string(aside.name), aside.aside == view.aside);
  add("address", view.address, !view.address.empty());
  add("notice", std::to_string(view.notice), view.notice != 0);
  return address;
}

}  // namespace quillmoria
