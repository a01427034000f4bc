#include "modern/reading/Names.h"

#include <algorithm>
#include <cstring>

#include "platform/Text.h"

namespace quillmoria {
namespace {

struct KnownNamespace {
  std::string_view address;
  Namespace space;
};

/// As comparable() leaves them.
constexpr KnownNamespace kNamespaces[] = {
    {"backend.userland.com/rss", Namespace::Rss},
    {"backend.userland.com/rss091", Namespace::Rss},
    {"backend.userland.com/rss092", Namespace::Rss},
    {"backend.userland.com/rss2", Namespace::Rss},
    {"blogs.law.harvard.edu/tech/rss", Namespace::Rss},
    {"cyber.law.harvard.edu/rss/rss.html", Namespace::Rss},
    {"my.netscape.com/publish/formats/rss-0.91.dtd", Namespace::Rss},
    {"my.userland.com/rss", Namespace::Rss},
    {"www.rssboard.org/rss-specification", Namespace::Rss},
    {"channel.netscape.com/rdf/simple/0.9", Namespace::Rss090},
    {"my.netscape.com/rdf/simple/0.9", Namespace::Rss090},
    {"purl.org/net/rss1.1", Namespace::Rss10},
    {"purl.org/rss/1.0", Namespace::Rss10},
    {"purl.org/atom/ns", Namespace::Atom03},
    {"www.w3.org/2005/atom", Namespace::Atom10},
    {"www.w3.org/1999/02/22-rdf-syntax-ns", Namespace::Rdf},
    {"purl.org/rss/1.0/modules/content", Namespace::Content},
    {"purl.org/dc/elements/1.0", Namespace::Dc},
    {"purl.org/dc/elements/1.1", Namespace::Dc},
    {"purl.org/metadata/dublin_core", Namespace::Dc},
    {"purl.org/rss/1.0/modules/dc", Namespace::Dc},
    {"dublincore.org/documents/dcmi-terms", Namespace::DcTerms},
    {"purl.org/dc/terms", Namespace::DcTerms},
    {"purl.org/rss/1.0/modules/dcterms", Namespace::DcTerms},
    {"api.search.yahoo.com/mrss", Namespace::Media},
    {"search.yahoo.com/mrss", Namespace::Media},
    {"search.yahoo.com/rss", Namespace::Media},
    {"tools.search.yahoo.com/mrss", Namespace::Media},
    {"video.search.yahoo.com/mrss", Namespace::Media},
    {"www.rssboard.org/media-rss", Namespace::Media},
    {"example.com/dtds/podcast-1.0.dtd", Namespace::Itunes},
    {"itunes.apple.com/dtds/podcast-1.0.dtd", Namespace::Itunes},
    {"itunes.com/dtds/podcast-1.0.dtd", Namespace::Itunes},
    {"www.itunes.com/dtds/podcast-1.0.dtd", Namespace::Itunes},
    {"www.itunes.com/dtds/podcast", Namespace::Itunes},
    {"www.google.com/schemas/play-podcasts/1.0", Namespace::GooglePlay},
    {"www.google.com/schemas/play-podcasts/1.0/play-podcasts.xsd", Namespace::GooglePlay},
    {"purl.org/rss/1.0/modules/syndication", Namespace::Syndication},
    {"webns.net/mvcb", Namespace::Admin},
    {"www.w3.org/1999/xhtml", Namespace::Xhtml},
    {"backend.userland.com/creativecommonsrssmodule", Namespace::Other},
    {"podcastindex.org/namespace/1.0", Namespace::Other},
    {"purl.org/rss/1.0/modules/slash", Namespace::Other},
    {"purl.org/syndication/thread/1.0", Namespace::Other},
    {"rssnamespace.org/feedburner/ext/1.0", Namespace::Other},
    {"wellformedweb.org/commentapi", Namespace::Other},
    {"www.georss.org/georss", Namespace::Other},
    {"www.w3.org/2000/svg", Namespace::Other},
    {"www.w3.org/1998/math/mathml", Namespace::Other},
};

/// What prefixes usually mean.
constexpr KnownNamespace kUsualPrefixes[] = {
    {"", Namespace::None},
    {"a10", Namespace::Atom10},
    {"admin", Namespace::Admin},
    {"atom", Namespace::Atom10},
    {"atom03", Namespace::Atom03},
    {"atom10", Namespace::Atom10},
    {"content", Namespace::Content},
    {"dc", Namespace::Dc},
    {"dcterms", Namespace::DcTerms},
    {"dcterm", Namespace::DcTerms},
    {"googleplay", Namespace::GooglePlay},
    {"itunes", Namespace::Itunes},
    {"media", Namespace::Media},
    {"rdf", Namespace::Rdf},
    {"rss", Namespace::Rss},
    {"sy", Namespace::Syndication},
    {"syn", Namespace::Syndication},
    {"xhtml", Namespace::Xhtml},
    {"creativecommons", Namespace::Other},
    {"feedburner", Namespace::Other},
    {"georss", Namespace::Other},
    {"podcast", Namespace::Other},
    {"slash", Namespace::Other},
    {"thr", Namespace::Other},
    {"wfw", Namespace::Other},
};

struct NamedElement {
  std::string_view name;
  Namespace space;
  Element element;
};

/// RSS's and Atom's own elements belong to none here: each turns up in the other's documents.
constexpr NamedElement kElements[] = {
    {"author", Namespace::None, Element::Author},
    {"category", Namespace::None, Element::Category},
    {"channel", Namespace::None, Element::Channel},
    {"comments", Namespace::None, Element::Comments},
    {"content", Namespace::None, Element::Content},
    {"copyright", Namespace::None, Element::Copyright},
    {"created", Namespace::None, Element::Created},
    {"date", Namespace::None, Element::Date},
    {"day", Namespace::None, Element::Day},
    {"description", Namespace::None, Element::Description},
    {"email", Namespace::None, Element::Email},
    {"enclosure", Namespace::None, Element::Enclosure},
    {"entry", Namespace::None, Element::Entry},
    {"feed", Namespace::None, Element::Feed},
    {"generator", Namespace::None, Element::Generator},
    {"guid", Namespace::None, Element::Guid},
    {"height", Namespace::None, Element::Height},
    {"hour", Namespace::None, Element::Hour},
    {"icon", Namespace::None, Element::Icon},
    {"id", Namespace::None, Element::Id},
    {"image", Namespace::None, Element::Image},
    {"issued", Namespace::None, Element::Issued},
    {"item", Namespace::None, Element::Item},
    {"language", Namespace::None, Element::Language},
    {"lastbuilddate", Namespace::None, Element::LastBuildDate},
    {"link", Namespace::None, Element::Link},
    {"logo", Namespace::None, Element::Logo},
    {"managingeditor", Namespace::None, Element::ManagingEditor},
    {"modified", Namespace::None, Element::Modified},
    {"name", Namespace::None, Element::Name},
    {"pubdate", Namespace::None, Element::PubDate},
    {"published", Namespace::None, Element::Published},
    {"rdf", Namespace::None, Element::Rdf},
    {"rights", Namespace::None, Element::Rights},
    {"rss", Namespace::None, Element::Rss},
    {"skipdays", Namespace::None, Element::SkipDays},
    {"skiphours", Namespace::None, Element::SkipHours},
    {"source", Namespace::None, Element::Source},
    {"subtitle", Namespace::None, Element::Subtitle},
    {"summary", Namespace::None, Element::Summary},
    {"tagline", Namespace::None, Element::Subtitle},
    {"title", Namespace::None, Element::Title},
    {"ttl", Namespace::None, Element::Ttl},
    {"updated", Namespace::None, Element::Updated},
    {"url", Namespace::None, Element::Url},
    {"webmaster", Namespace::None, Element::WebMaster},
    {"width", Namespace::None, Element::Width},
    {"description", Namespace::Rdf, Element::RdfDescription},
    {"rdf", Namespace::Rdf, Element::Rdf},
    {"value", Namespace::Rdf, Element::RdfValue},
    {"encoded", Namespace::Content, Element::ContentEncoded},
    {"author", Namespace::Dc, Element::DcCreator},
    {"created", Namespace::Dc, Element::DcTermsCreated},
    {"creator", Namespace::Dc, Element::DcCreator},
    {"date", Namespace::Dc, Element::DcDate},
    {"description", Namespace::Dc, Element::DcDescription},
    {"issued", Namespace::Dc, Element::DcTermsIssued},
    {"language", Namespace::Dc, Element::DcLanguage},
    {"modified", Namespace::Dc, Element::DcTermsModified},
    {"rights", Namespace::Dc, Element::DcRights},
    {"subject", Namespace::Dc, Element::DcSubject},
    {"title", Namespace::Dc, Element::DcTitle},
    {"available", Namespace::DcTerms, Element::DcTermsIssued},
    {"created", Namespace::DcTerms, Element::DcTermsCreated},
    {"creator", Namespace::DcTerms, Element::DcCreator},
    {"date", Namespace::DcTerms, Element::DcDate},
    {"description", Namespace::DcTerms, Element::DcDescription},
    {"issued", Namespace::DcTerms, Element::DcTermsIssued},
    {"language", Namespace::DcTerms, Element::DcLanguage},
    {"modified", Namespace::DcTerms, Element::DcTermsModified},
    {"rights", Namespace::DcTerms, Element::DcRights},
    {"subject", Namespace::DcTerms, Element::DcSubject},
    {"title", Namespace::DcTerms, Element::DcTitle},
    {"category", Namespace::Media, Element::MediaCategory},
    {"content", Namespace::Media, Element::MediaContent},
    {"description", Namespace::Media, Element::MediaDescription},
    {"group", Namespace::Media, Element::MediaGroup},
    {"keywords", Namespace::Media, Element::MediaKeywords},
    {"thumbnail", Namespace::Media, Element::MediaThumbnail},
    {"title", Namespace::Media, Element::MediaTitle},
    {"author", Namespace::Itunes, Element::ItunesAuthor},
    {"category", Namespace::Itunes, Element::ItunesCategory},
    {"duration", Namespace::Itunes, Element::ItunesDuration},
    {"image", Namespace::Itunes, Element::ItunesImage},
    {"keywords", Namespace::Itunes, Element::ItunesKeywords},
    {"link", Namespace::Itunes, Element::ItunesImage},
    {"subtitle", Namespace::Itunes, Element::ItunesSubtitle},
    {"summary", Namespace::Itunes, Element::ItunesSummary},
    {"title", Namespace::Itunes, Element::ItunesTitle},
    {"author", Namespace::GooglePlay, Element::ItunesAuthor},
    {"category", Namespace::GooglePlay, Element::ItunesCategory},
    {"description", Namespace::GooglePlay, Element::ItunesSummary},
    {"image", Namespace::GooglePlay, Element::ItunesImage},
    {"updatebase", Namespace::Syndication, Element::UpdateBase},
    {"updatefrequency", Namespace::Syndication, Element::UpdateFrequency},
    {"updateperiod", Namespace::Syndication, Element::UpdatePeriod},
    {"generatoragent", Namespace::Admin, Element::GeneratorAgent},
    {"body", Namespace::Xhtml, Element::XhtmlBody},
    {"div", Namespace::Xhtml, Element::XhtmlDiv},
};

constexpr bool isNamedBefore(const NamedElement& one, const NamedElement& other) {
  return one.space != other.space ? one.space < other.space : one.name < other.name;
}

consteval auto sortedElements() {
  auto sorted = std::to_array(kElements);
  std::ranges::sort(sorted, isNamedBefore);
  return sorted;
}

Element elementOf(std::string_view lowerName, Namespace space) {
  static constexpr auto kSorted = sortedElements();
  const NamedElement wanted{lowerName, space, Element::Unknown};
  const auto found = std::ranges::lower_bound(kSorted, wanted, isNamedBefore);
  const bool isFound = found != kSorted.end() && found->space == space && found->name == lowerName;
  return isFound ? found->element : Element::Unknown;
}

/// A document may declare more, but they mean nothing: names are looked up in all of them.
constexpr std::size_t kMaxDeclarations = 256;

constexpr bool isFormats(Namespace space) { return space >= Namespace::None && space <= Namespace::Atom10; }

/// The address of a namespace without what is often wrong in it.
std::string comparable(std::string_view address) {
  std::string lower = lowerAscii(trimLineBreaks(address));
  std::string_view rest = lower;
  for (const std::string_view scheme : {"https://", "http://"}) {
    if (rest.starts_with(scheme)) rest.remove_prefix(scheme.size());
  }
  while (!rest.empty() && (rest.back() == '/' || rest.back() == '#' || rest.back() == ' ')) rest.remove_suffix(1);
  while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
  return std::string(rest);
}

Namespace namespaceIn(const auto& table, std::string_view key) {
  for (const KnownNamespace& known : table) {
    if (known.address == key) return known.space;
  }
  return Namespace::Unknown;
}

std::string_view prefixOf(std::string_view name) {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}

}  // namespace

ElementNames::ElementNames() : scopes_(1) {}

void ElementNames::open(XmlAttributes attributes) {
  ++depth_;
  const std::size_t before = declarations_.size();
  for (; *attributes; attributes += 2) {
    if (std::strncmp(*attributes, "xmlns", 5) != 0) continue;
    const std::string_view name = *attributes;
    if (name.size() > 5 && name[5] != ':') continue;
    if (declarations_.size() == kMaxDeclarations) break;
    std::string address = comparable(attributes[1]);
    const Namespace space = address.empty() ? Namespace::None : namespaceIn(kNamespaces, address);
    declarations_.push_back(
        {std::string(name.substr(std::min<std::size_t>(6, name.size()))), std::move(address), space});
  }
  if (declarations_.size() == before) return;
  scope_ = ++lastScope_;
  scopes_.push_back({scope_, depth_, before});
}

void ElementNames::close() {
  if (scopes_.back().depth == depth_ && depth_ > 0) {
    declarations_.resize(scopes_.back().declarations);
    scopes_.pop_back();
    scope_ = scopes_.back().number;
  }
  --depth_;
}

ElementName ElementNames::resolveRoot(std::string_view name) {
  const std::string_view prefix = prefixOf(name);
  const Namespace space = spaceOf(prefix);
  rootPrefix_ = prefix;
  const Declaration* const declaration = declarationOf(prefix);
  rootAddress_ = declaration ? declaration->address : std::string();
  isRootForeign_ = !isFormats(space) && space != Namespace::Rdf;
  return {elementOf(lowerAscii(localName(name)), Namespace::None), space};
}

void ElementNames::learn(Known& known, std::string_view name) {
  known.scope = scope_;
  known.name = name;
  const std::string_view prefix = prefixOf(name);
  Namespace space = spaceOf(prefix);
  if (isRootForeign_ && prefix == rootPrefix_) {
    const Declaration* const declaration = declarationOf(prefix);
    if ((declaration ? declaration->address : std::string()) == rootAddress_) space = Namespace::None;
  }
  if (space == Namespace::Unknown && prefix.empty()) space = Namespace::None;
  known.meaning = {elementOf(lowerAscii(localName(name)), isFormats(space) ? Namespace::None : space), space};
}

const ElementNames::Declaration* ElementNames::declarationOf(std::string_view prefix) const {
  const auto found = std::find_if(declarations_.rbegin(), declarations_.rend(),
                                  [&](const Declaration& declaration) { return declaration.prefix == prefix; });
  return found == declarations_.rend() ? nullptr : &*found;
}

Namespace ElementNames::spaceOf(std::string_view prefix) const {
  if (const Declaration* const declaration = declarationOf(prefix)) return declaration->space;
  return namespaceIn(kUsualPrefixes, lowerAscii(prefix));
}

}  // namespace quillmoria
