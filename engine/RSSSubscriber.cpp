#include "quillmoria/NewsServer.h"

RSSSubscriber::RSSSubscriber() = default;
RSSSubscriber::RSSSubscriber(const RSSSubscriber&) = default;
RSSSubscriber& RSSSubscriber::operator=(const RSSSubscriber&) { return *this; }
RSSSubscriber::~RSSSubscriber() = default;
