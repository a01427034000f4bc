#include "quillmoria/OPML.h"

OPMLOutline::OPMLOutline(OPMLOutline* parentOutline) : parent(parentOutline) {}

OPMLOutline::OPMLOutline(const OPMLOutline&) = default;

OPMLOutline& OPMLOutline::operator=(const OPMLOutline&) = default;

OPMLOutline::~OPMLOutline() = default;

OPMLOutline* OPMLOutline::GetParent() const { return parent; }
