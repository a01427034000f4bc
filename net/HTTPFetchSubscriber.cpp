#include "quillmoria/HTTPFetchSubscriber.h"

HTTPFetchSubscriber::HTTPFetchSubscriber() = default;
HTTPFetchSubscriber::HTTPFetchSubscriber(const HTTPFetchSubscriber&) = default;
HTTPFetchSubscriber& HTTPFetchSubscriber::operator=(const HTTPFetchSubscriber&) = default;
HTTPFetchSubscriber::~HTTPFetchSubscriber() = default;
