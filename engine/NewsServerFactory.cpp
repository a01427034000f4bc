#include <utility>

#include "platform/Mutex.h"
#include "quillmoria/NewsServer.h"

NewsServerFactory* NewsServerFactory::instance_ = nullptr;

NewsServerFactory::NewsServerFactory() = default;
NewsServerFactory::NewsServerFactory(const NewsServerFactory&) = default;
NewsServerFactory& NewsServerFactory::operator=(const NewsServerFactory&) { return *this; }
NewsServerFactory::~NewsServerFactory() = default;

NewsServerFactory* NewsServerFactory::GetFactory() {
  static constinit quillmoria::Mutex mutex;  // call_once would end the process where there is no memory even to throw
  const quillmoria::MutexLock lock(mutex);
  if (!instance_) instance_ = new NewsServerFactory;
  return instance_;
}

NewsServer* NewsServerFactory::GetNewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder) {
  return new NewsServer(categories, std::move(baseFolder));
}
