#pragma once

#include "quillmoria/export.h"

/// Observer of fetches. OPMLParser is one; a host has no need of its own.
class QUILLMORIA_EXPORT HTTPFetchSubscriber {
 public:
  HTTPFetchSubscriber();
  HTTPFetchSubscriber(const HTTPFetchSubscriber&);             ///< There is nothing to copy.
  HTTPFetchSubscriber& operator=(const HTTPFetchSubscriber&);  ///< There is nothing to copy.
  virtual ~HTTPFetchSubscriber();

  /// A fetch has reached `stage`, a number whose meaning is the sender's.
  virtual void EventPublished(int stage) = 0;
};
