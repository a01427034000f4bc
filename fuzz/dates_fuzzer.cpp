#include "Fuzzing.h"
#include "feed/FeedDates.h"

/// Both date readers. What stands around a date does not change it, but for the clock where the text has no year.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = textOf(data, size);
  const CTime w3c = quillmoria::readW3cDate(text);
  require(w3c >= CTime() && quillmoria::readW3cDate(" " + text + "\n") >= w3c);
  const CTime rfc822 = quillmoria::readRfc822Date(text);
  require(rfc822 >= CTime() && quillmoria::readRfc822Date("\r\n" + text + "\t") == rfc822);
  require(rfc822.Format("%Y").empty() == (rfc822 == CTime()));
  return 0;
}
