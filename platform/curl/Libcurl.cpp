#include "platform/curl/Libcurl.h"

#include <curl/curl.h>
#include <openssl/crypto.h>

#include <type_traits>

#include "platform/CInternetException.h"
#include "platform/ModuleReference.h"

namespace quillmoria {
namespace {

/// OpenSSL would tear itself down at the end of the process, also while another thread is setting it up. Throws
/// CInternetException once it has begun to.
void setUpOpenSsl() {
  if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) throw CInternetException("OpenSSL cannot be set up");
}

}  // namespace

constinit Libcurl libcurl;
static_assert(std::is_trivially_destructible_v<Libcurl>, "used after the end of static objects");

void Libcurl::setUp(void (*atExit)()) {
  const MutexLock lock(mutex_);
  if (isSetUp_) return;
  setUpOpenSsl();
  // Where a host had set OpenSSL up before, this comes before OpenSSL's own end, which has not begun if OpenSSL still
  // says so afterwards, and which waits until this stay is over.
  callAtExit(atExit);
  setUpOpenSsl();
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw CInternetException("libcurl cannot be set up");
  try {
    // A look-up that is left behind runs on in libcurl.
    keepMapped(reinterpret_cast<const void*>(&curl_global_init));
    // Again, to come before whatever libcurl's own libraries have asked for.
    callAtExit(atExit);
  } catch (...) {
    curl_global_cleanup();
    throw;
  }
  isSetUp_ = true;
}

Libcurl::Stay Libcurl::enter() noexcept {
  ++stays_;
  if (!isClosed_) return Stay(this);
  leave();
  return Stay(nullptr);
}

Libcurl::Stay Libcurl::enterOrThrow() {
  Stay stay = enter();
  if (!stay) throw CInternetException("The transfer was cut off", ERROR_INTERNET_OPERATION_CANCELLED);
  return stay;
}

void Libcurl::leave() noexcept {
  if (--stays_ == 0 && isClosed_) stays_.notify_all();
}

void Libcurl::leaveForGood() {
  isClosed_ = true;
  for (int stays = stays_; stays != 0; stays = stays_) stays_.wait(stays);
}

void Libcurl::tearDown() {
  const MutexLock lock(mutex_);
  if (std::exchange(isSetUp_, false)) curl_global_cleanup();
}

}  // namespace quillmoria
