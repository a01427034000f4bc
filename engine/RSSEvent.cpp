#include <utility>

#include "quillmoria/NewsServer.h"

RSSEvent::RSSEvent(std::int32_t eventID) : eventID_(eventID) {}
RSSEvent::RSSEvent(const RSSEvent&) = default;
RSSEvent& RSSEvent::operator=(const RSSEvent&) = default;
RSSEvent::~RSSEvent() = default;

std::int32_t RSSEvent::GetEventID() const { return eventID_; }

void RSSEvent::SetMessage(std::string message) { message_ = std::move(message); }

std::string RSSEvent::GetMessage() const { return message_; }
