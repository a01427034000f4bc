#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "xml/XmlParser.h"

namespace quillmoria {

/// Namespaces that feeds use.
enum class Namespace : std::uint8_t {
  Unknown,
  None,
  Rss,
  Rss090,
  Rss10,
  Atom03,
  Atom10,
  Rdf,
  Content,
  Dc,
  DcTerms,
  Media,
  Itunes,
  GooglePlay,
  Syndication,
  Admin,
  Xhtml,
  Other,  ///< known, with nothing in it that a feed is read for
};

/// Elements that a feed is read for. Those of RSS and Atom without a namespace in their name.
enum class Element : std::uint8_t {
  Unknown,
  Author,
  Category,
  Channel,
  Comments,
  Content,
  ContentEncoded,
  Copyright,
  Created,
  Date,
  Day,
  DcCreator,
  DcDate,
  DcDescription,
  DcLanguage,
  DcRights,
  DcSubject,
  DcTermsCreated,
  DcTermsIssued,
  DcTermsModified,
  DcTitle,
  Description,
  Email,
  Enclosure,
  Entry,
  Feed,
  Generator,
  GeneratorAgent,
  Guid,
  Height,
  Hour,
  Icon,
  Id,
  Image,
  Issued,
  Item,
  ItunesAuthor,
  ItunesCategory,
  ItunesDuration,
  ItunesImage,
  ItunesKeywords,
  ItunesSubtitle,
  ItunesSummary,
  ItunesTitle,
  Language,
  LastBuildDate,
  Link,
  Logo,
  ManagingEditor,
  MediaCategory,
  MediaContent,
  MediaDescription,
  MediaGroup,
  MediaKeywords,
  MediaThumbnail,
  MediaTitle,
  Modified,
  Name,
  PubDate,
  Published,
  Rdf,
  RdfDescription,
  RdfValue,
  Rights,
  Rss,
  SkipDays,
  SkipHours,
  Source,
  Subtitle,
  Summary,
  Title,
  Ttl,
  UpdateBase,
  UpdateFrequency,
  UpdatePeriod,
  Updated,
  Url,
  WebMaster,
  Width,
  XhtmlBody,
  XhtmlDiv,
  Count
};

/// What an element's name means.
struct ElementName {
  Element element = Element::Unknown;
  Namespace space = Namespace::None;
};

/// The part of `name` behind its prefix.
constexpr std::string_view localName(std::string_view name) { return name.substr(name.find(':') + 1); }

/// Tells elements by their namespaces. Addresses of namespaces are compared without what is often wrong in them: letter
/// case, scheme, a slash or "#" at the end. A prefix that is not declared means what it usually means. The namespace of
/// the root element counts as that of its format, whichever it is, and so does an unknown one of names without prefix.
/// Names of elements are compared without letter case.
class ElementNames {
 public:
  ElementNames();

  /// Goes into an element, which may declare namespaces.
  void open(XmlAttributes attributes);

  /// Goes out of the element that was gone into last.
  void close();

  /// The meaning of the name of the root element, whose own namespace is the format's from now on.
  ElementName resolveRoot(std::string_view name);

  /// The meaning of the name of an element that was gone into.
  ElementName resolve(std::string_view name) {
    Known& known = known_[slotOf(name)];
    if (known.scope != scope_ || known.name != name) learn(known, name);
    return known.meaning;
  }

 private:
  /// Declarations are those up to `declarations`. A scope has a number of its own, so what was learnt in it holds
  /// whenever it is the current one again.
  struct Scope {
    std::uint64_t number = 1;
    std::size_t depth = 0;  ///< of the element that declared it
    std::size_t declarations = 0;
  };
  struct Declaration {
    std::string prefix;
    std::string address;
    Namespace space;
  };
  struct Known {
    std::uint64_t scope = 0;
    std::string name;
    ElementName meaning;
  };

  static constexpr std::size_t kSlots = 128;
  static std::size_t slotOf(std::string_view name) {
    std::size_t hash = 5381;
    for (const char c : name) hash = hash * 33 + static_cast<unsigned char>(c);
    return (hash ^ hash >> 7) % kSlots;
  }

  void learn(Known& known, std::string_view name);
  const Declaration* declarationOf(std::string_view prefix) const;
  Namespace spaceOf(std::string_view prefix) const;

  std::array<Known, kSlots> known_;
  std::vector<Declaration> declarations_;
  std::vector<Scope> scopes_;
  std::uint64_t scope_ = 1;
  std::uint64_t lastScope_ = 1;
  std::size_t depth_ = 0;
  std::string rootPrefix_;   ///< of a root element whose namespace is not known
  std::string rootAddress_;  ///< that namespace, as compared; empty if its prefix is not declared
  bool isRootForeign_ = false;
};

}  // namespace quillmoria
