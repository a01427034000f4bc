#include <time.h>

#include <cstring>
#include <iterator>

#include "Fuzzing.h"
#include "modern/reading/Dates.h"

namespace {

struct Form {
  const char* pattern;
  int unitSeconds;  ///< what the form says no more than
  bool takesZone;
};

constexpr Form kForms[] = {
    {"%Y-%m-%dT%H:%M:%S", 1, true}, {"%Y-%m-%d %H:%M", 60, true},       {"%Y%m%dT%H%M%S", 1, true},
    {"%Y%m%d%H%M%S", 1, true},      {"%Y-%jT%H:%M:%S", 1, true},        {"%G-W%V-%uT%H:%M:%S", 1, true},
    {"%GW%V%uT%H", 3'600, true},    {"%a, %d %b %Y %H:%M:%S", 1, true}, {"%A, %d-%b-%y %H:%M:%S", 1, true},
    {"%d %B %y %H:%M", 60, true},   {"%a %b %e %H:%M:%S %Y", 1, true},  {"%B %e, %Y %I:%M:%S %p", 1, true},
    {"%H:%M:%S %d.%m.%Y", 1, true}, {"%Y-%m-%d", 86'400, false},        {"%e. %B %Y", 86'400, false},
};

std::string printed(std::int64_t seconds, const char* pattern) {
  const time_t moment = seconds;
  tm fields{};
  gmtime_r(&moment, &fields);
  char text[80];
  return {text, strftime(text, sizeof text, pattern, &fields)};
}

/// What the C library prints of a moment by the clock of a zone is read as that moment.
void requireReadBack(std::uint32_t number, std::size_t choice, int zoneMinutes) {
  const Form& form = kForms[choice % std::size(kForms)];
  const int shift = form.takesZone ? zoneMinutes : 0;
  std::int64_t clock = number % 0x7FFF'0000u + 86'400;
  clock -= clock % form.unitSeconds;
  char zone[8] = "";
  const int size = shift < 0 ? -shift : shift;
  if (form.takesZone) {
    std::snprintf(zone, sizeof zone, choice & 64 ? "%c%02d%02d" : "%c%02d:%02d", shift < 0 ? '-' : '+', size / 60,
                  size % 60);
  }
  const std::int64_t moment = clock - shift * 60;
  const bool isThere = moment <= 0x7FFF'FFFF;
  require(quillmoria::readDate(printed(clock, form.pattern) + zone).GetTime() == (isThere ? moment : -1));
}

}  // namespace

/// Any text is a moment or none, whatever white space stands around it; a printed moment is that moment.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = textOf(data, size);
  const CTime moment = quillmoria::readDate(text);
  require(moment >= CTime() && quillmoria::readDate("\r\n" + text + "\t ") == moment);
  if (size < 6) return 0;

  std::uint32_t number;
  std::memcpy(&number, data, sizeof number);
  requireReadBack(number, data[4], (data[5] - 128) * 5);
  return 0;
}
