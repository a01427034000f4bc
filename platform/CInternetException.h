#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

// Kinds of failures.
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;  ///< or descriptors
inline constexpr std::uint32_t ERROR_FILE_TOO_LARGE = 223;   ///< a body above INTERNET_OPTION_MAXIMUM_BODY
inline constexpr std::uint32_t ERROR_INTERNET_INCORRECT_PASSWORD = 12014;      ///< the proxy's refusal
inline constexpr std::uint32_t ERROR_INTERNET_OPERATION_CANCELLED = 12017;     ///< cut off by the engine itself
inline constexpr std::uint32_t ERROR_INTERNET_CANNOT_CONNECT = 12029;          ///< nobody there
inline constexpr std::uint32_t ERROR_INTERNET_CONNECTION_ABORTED = 12030;      ///< no answer, or not the whole of it
inline constexpr std::uint32_t ERROR_HTTP_INVALID_SERVER_RESPONSE = 12152;     ///< an answer that is none
inline constexpr std::uint32_t ERROR_INTERNET_SECURITY_CHANNEL_ERROR = 12157;  ///< certificate or handshake
inline constexpr std::uint32_t ERROR_INTERNET_DECODING_FAILED = 12175;         ///< the body is not in its coding

/// A connection, a request or a read failed.
class CInternetException : public std::exception {
 public:
  explicit CInternetException(std::string message, std::uint32_t error = ERROR_INTERNET_CONNECTION_ABORTED);

  /// Puts the error's text, cut to `size` bytes with its terminator, into `text`. False if there is none.
  bool GetErrorMessage(std::string& text, std::size_t size) const;
  const char* what() const noexcept override;

  std::uint32_t m_dwError;  ///< one of the kinds above

 private:
  std::string message_;
};
