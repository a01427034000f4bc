#include "modern/web/StatusTexts.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "quillmoria/CTime.h"

namespace quillmoria {
namespace {

constexpr std::pair<std::int32_t, std::string_view> kPhrases[] = {
    {100, "Continue"},
    {101, "Switching Protocols"},
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {226, "IM Used"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {305, "Use Proxy"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {417, "Expectation Failed"},
    {418, "I'm a teapot"},
    {421, "Misdirected Request"},
    {422, "Unprocessable Content"},
    {423, "Locked"},
    {424, "Failed Dependency"},
    {425, "Too Early"},
    {426, "Upgrade Required"},
    {428, "Precondition Required"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {451, "Unavailable For Legal Reasons"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
    {506, "Variant Also Negotiates"},
    {507, "Insufficient Storage"},
    {508, "Loop Detected"},
    {511, "Network Authentication Required"},
};

constexpr std::pair<std::int32_t, Outcome> kOutcomes[] = {
    {401, Outcome::Denied},   {403, Outcome::Denied}, {407, Outcome::Denied},
    {404, Outcome::NotFound}, {410, Outcome::Gone},   {429, Outcome::RateLimited},
};

}  // namespace

std::string statusText(std::int32_t status) {
  const auto known = std::ranges::find(kPhrases, status, &std::pair<std::int32_t, std::string_view>::first);
  std::string text = "HTTP " + std::to_string(status);
  if (known != std::end(kPhrases)) text.append(" ").append(known->second);
  return text;
}

Outcome outcomeOf(std::int32_t status) {
  const auto known = std::ranges::find(kOutcomes, status, &std::pair<std::int32_t, Outcome>::first);
  if (known != std::end(kOutcomes)) return known->second;
  return status >= 500 && status <= 599 ? Outcome::ServerError : Outcome::HttpError;
}

std::string notAskedText(std::int64_t moment) {
  const CTime until(static_cast<std::int32_t>(moment));
  const bool isToday = until.Format("%F") == CTime::GetCurrentTime().Format("%F");
  return "Too many requests; not asked again before " + until.Format(isToday ? "%H:%M" : "%F %H:%M");
}

}  // namespace quillmoria
