#include "quillmoria/OPML.h"

OPMLSubscriber::OPMLSubscriber() = default;

OPMLSubscriber::OPMLSubscriber(const OPMLSubscriber&) = default;

OPMLSubscriber& OPMLSubscriber::operator=(const OPMLSubscriber&) = default;

OPMLSubscriber::~OPMLSubscriber() = default;
