#pragma once

/// What RSSObject::statusMessage and OPMLParser::status say where it is not an error text of the network.
///
///     if (news.statusMessage == quillmoria::kStatusDenied) askForPassword();
///
/// Any other text but an empty one describes what went wrong on the network, in no fixed words.
namespace quillmoria {

/// Fetched and, if a document was wanted, parsed.
inline constexpr char kStatusOk[] = "OK";

/// What came is no complete feed: damaged, another kind of document, or nothing.
inline constexpr char kStatusUnparsed[] = "Failed to parse feed";

/// Offline, and the feed has never been stored, or its cache file is damaged.
inline constexpr char kStatusNotCached[] = "Resource not cached";

/// The server wants a user name and a password, or others (401).
inline constexpr char kStatusDenied[] = "HTTP_STATUS_DENIED";

/// A redirect that names no target.
inline constexpr char kStatusRedirectWithoutTarget[] = "Redirected location not found.";

/// A redirect to what is no http or https address.
inline constexpr char kStatusRedirectRefused[] = "Redirected location failed to load.";

/// The target of a redirect did not answer with 200.
inline constexpr char kStatusRedirectFailed[] = "Loading from the redirected location failed.";

}  // namespace quillmoria
