#include <mutex>
#include <utility>

#include "quillmoria/NewsServer.h"

NewsServerFactory* NewsServerFactory::instance_ = nullptr;

NewsServerFactory::NewsServerFactory() = default;
NewsServerFactory::NewsServerFactory(const NewsServerFactory&) = default;
NewsServerFactory& NewsServerFactory::operator=(const NewsServerFactory&) { return *this; }
NewsServerFactory::~NewsServerFactory() = default;

NewsServerFactory* NewsServerFactory::GetFactory() {
  static constinit std::mutex mutex;  // call_once would end the process where there is no memory even to throw
  const std::lock_guard lock(mutex);
  if (!instance_) instance_ = new NewsServerFactory;
  return instance_;
}

NewsServer* NewsServerFactory::GetNewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder) {
  return new NewsServer(categories, std::move(baseFolder));
}
