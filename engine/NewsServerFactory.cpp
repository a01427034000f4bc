#include <mutex>
#include <utility>

#include "quillmoria/NewsServer.h"

NewsServerFactory* NewsServerFactory::instance_ = nullptr;

NewsServerFactory::NewsServerFactory() = default;
NewsServerFactory::NewsServerFactory(const NewsServerFactory&) = default;
NewsServerFactory& NewsServerFactory::operator=(const NewsServerFactory&) { return *this; }
NewsServerFactory::~NewsServerFactory() = default;

NewsServerFactory* NewsServerFactory::GetFactory() {
  static constinit std::once_flag once;
  std::call_once(once, [] { instance_ = new NewsServerFactory; });
  return instance_;
}

NewsServer* NewsServerFactory::GetNewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder) {
  return new NewsServer(categories, std::move(baseFolder));
}
