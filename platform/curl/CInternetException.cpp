#include "platform/CInternetException.h"

#include <utility>

CInternetException::CInternetException(std::string message, std::uint32_t error)
    : m_dwError(error), message_(std::move(message)) {}

bool CInternetException::GetErrorMessage(std::string& text, std::size_t size) const {
  if (message_.empty() || size == 0) return false;
  text.assign(message_, 0, size - 1);
  return true;
}

const char* CInternetException::what() const noexcept { return message_.c_str(); }
