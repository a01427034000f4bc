#include "platform/curl/TransferDeadlines.h"

#include <algorithm>

#include "platform/CInternetException.h"

namespace quillmoria {

using std::chrono::milliseconds;

TransferDeadlines::TransferDeadlines(const SessionOptions& options) : options_(options) {}

void TransferDeadlines::connected() {
  isConnected_ = true;
  lastActivity_ = Clock::now();
}

void TransferDeadlines::readerWaits() {
  const auto now = Clock::now();
  if (periodStart_) *periodStart_ += now - lastActivity_;
  lastActivity_ = now;
}

void TransferDeadlines::active() {
  lastActivity_ = Clock::now();
  if (isConnected_) received(0);
}

void TransferDeadlines::received(std::size_t count) {
  if (!periodStart_) periodStart_ = Clock::now();
  periodBytes_ += count;
}

void TransferDeadlines::check() {
  const auto now = Clock::now();
  if (now >= transferEnd()) throw CInternetException("The transfer took too long");
  if (now >= idleEnd()) throw CInternetException("The server has stopped sending");
  if (now < periodEnd()) return;
  if (periodBytes_ < options_.slowBytes) throw CInternetException("The server sends too slowly");
  periodStart_ = now;
  periodBytes_ = 0;
}

TransferDeadlines::Clock::time_point TransferDeadlines::next() const {
  return std::min({transferEnd(), idleEnd(), periodEnd()});
}

TransferDeadlines::Clock::time_point TransferDeadlines::transferEnd() const {
  return start_ + milliseconds(options_.transferTimeout);
}

TransferDeadlines::Clock::time_point TransferDeadlines::idleEnd() const {
  return isConnected_ ? lastActivity_ + milliseconds(options_.idleTimeout) : Clock::time_point::max();
}

TransferDeadlines::Clock::time_point TransferDeadlines::periodEnd() const {
  return periodStart_ ? *periodStart_ + milliseconds(options_.slowPeriod) : Clock::time_point::max();
}

}  // namespace quillmoria
