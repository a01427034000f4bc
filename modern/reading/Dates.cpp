#include "modern/reading/Dates.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace quillmoria {
namespace {

constexpr std::int64_t kMinuteSeconds = 60;
constexpr std::int64_t kHourSeconds = 60 * kMinuteSeconds;
constexpr std::int64_t kDaySeconds = 24 * kHourSeconds;
constexpr std::size_t kMaxWordBytes = 16;
constexpr int kMaxUnknownWords = 3;  // a weekday in another language, a zone nobody knows
constexpr std::size_t kMaxDateNumbers = 3;

enum class Meaning { Unknown, Month, Zone, HalfOfDay, TimeMark, WeekMark, ReversedZone, Filler, Minus };

/// A word and what it says: the number of a month, a zone's minutes ahead of UTC, the hours before a half of the day.
struct Word {
  std::string_view name;
  Meaning meaning = Meaning::Unknown;
  int value = 0;
};

constexpr int zone(int hours, int minutes = 0) { return hours * 60 + minutes; }

/// Sorted by name. English months and weekdays stand below. Military letters but Z are left out: as RFC 2822 has it,
/// they tell as little as a zone that nobody knows.
constexpr Word kWords[] = {
    {"acdt", Meaning::Zone, zone(10, 30)},
    {"acst", Meaning::Zone, zone(9, 30)},
    {"adt", Meaning::Zone, zone(-3)},
    {"aedt", Meaning::Zone, zone(11)},
    {"aest", Meaning::Zone, zone(10)},
    {"akdt", Meaning::Zone, zone(-8)},
    {"akst", Meaning::Zone, zone(-9)},
    {"am", Meaning::HalfOfDay, 0},
    {"ast", Meaning::Zone, zone(-4)},
    {"at", Meaning::Zone, zone(-4)},
    {"augusztus", Meaning::Month, 8},
    {"awst", Meaning::Zone, zone(8)},
    {"brt", Meaning::Zone, zone(-3)},
    {"bst", Meaning::Zone, zone(1)},
    {"cdt", Meaning::Zone, zone(-5)},
    {"cest", Meaning::Zone, zone(2)},
    {"cet", Meaning::Zone, zone(1)},
    {"cst", Meaning::Zone, zone(-6)},
    {"ct", Meaning::Zone, zone(-6)},
    {"dez", Meaning::Month, 12},
    {"dezember", Meaning::Month, 12},
    {"edt", Meaning::Zone, zone(-4)},
    {"eest", Meaning::Zone, zone(3)},
    {"eet", Meaning::Zone, zone(2)},
    {"est", Meaning::Zone, zone(-5)},
    {"et", Meaning::Zone, zone(-5)},
    {"etc", Meaning::ReversedZone, 0},
    {"február", Meaning::Month, 2},
    {"gmt", Meaning::Zone, 0},
    {"hadt", Meaning::Zone, zone(-9)},
    {"hast", Meaning::Zone, zone(-10)},
    {"hdt", Meaning::Zone, zone(-9)},
    {"hkt", Meaning::Zone, zone(8)},
    {"hst", Meaning::Zone, zone(-10)},
    {"ist", Meaning::Zone, zone(5, 30)},
    {"január", Meaning::Month, 1},
    {"jst", Meaning::Zone, zone(9)},
    {"juli", Meaning::Month, 7},
    {"juni", Meaning::Month, 6},
    {"július", Meaning::Month, 7},
    {"június", Meaning::Month, 6},
    {"kst", Meaning::Zone, zone(9)},
    {"mai", Meaning::Month, 5},
    {"mdt", Meaning::Zone, zone(-6)},
    {"mest", Meaning::Zone, zone(2)},
    {"mesz", Meaning::Zone, zone(2)},
    {"met", Meaning::Zone, zone(1)},
    {"mez", Meaning::Zone, zone(1)},
    {"mrz", Meaning::Month, 3},
    {"msd", Meaning::Zone, zone(4)},
    {"msk", Meaning::Zone, zone(3)},
    {"mst", Meaning::Zone, zone(-7)},
    {"mt", Meaning::Zone, zone(-7)},
    {"május", Meaning::Month, 5},
    {"március", Meaning::Month, 3},
    {"märz", Meaning::Month, 3},
    {"nd", Meaning::Filler},
    {"ndt", Meaning::Zone, zone(-2, -30)},
    {"noon", Meaning::HalfOfDay, 12},
    {"nst", Meaning::Zone, zone(-3, -30)},
    {"nt", Meaning::Zone, zone(-3, -30)},
    {"nzdt", Meaning::Zone, zone(13)},
    {"nzst", Meaning::Zone, zone(12)},
    {"of", Meaning::Filler},
    {"okt", Meaning::Month, 10},
    {"oktober", Meaning::Month, 10},
    {"október", Meaning::Month, 10},
    {"pdt", Meaning::Zone, zone(-7)},
    {"pht", Meaning::Zone, zone(8)},
    {"pkt", Meaning::Zone, zone(5)},
    {"pm", Meaning::HalfOfDay, 12},
    {"pst", Meaning::Zone, zone(-8)},
    {"pt", Meaning::Zone, zone(-8)},
    {"rd", Meaning::Filler},
    {"sast", Meaning::Zone, zone(2)},
    {"sgt", Meaning::Zone, zone(8)},
    {"st", Meaning::Filler},
    {"szeptember", Meaning::Month, 9},
    {"t", Meaning::TimeMark},
    {"th", Meaning::Filler},
    {"the", Meaning::Filler},
    {"ut", Meaning::Zone, 0},
    {"utc", Meaning::Zone, 0},
    {"w", Meaning::WeekMark},
    {"west", Meaning::Zone, zone(1)},
    {"wet", Meaning::Zone, 0},
    {"wib", Meaning::Zone, zone(7)},
    {"z", Meaning::Zone, 0},
    {"április", Meaning::Month, 4},
    {"Απρ", Meaning::Month, 4},
    {"Αυγ", Meaning::Month, 8},
    {"Αύγ", Meaning::Month, 8},
    {"Δεκ", Meaning::Month, 12},
    {"Ιαν", Meaning::Month, 1},
    {"Ιολ", Meaning::Month, 7},
    {"Ιον", Meaning::Month, 6},
    {"Ιούλ", Meaning::Month, 7},
    {"Ιούν", Meaning::Month, 6},
    {"Μάι", Meaning::Month, 5},
    {"Μάρ", Meaning::Month, 3},
    {"Μαι", Meaning::Month, 5},
    {"Μαρ", Meaning::Month, 3},
    {"Μαϊ", Meaning::Month, 5},
    {"Νοέ", Meaning::Month, 11},
    {"Νοε", Meaning::Month, 11},
    {"Οκτ", Meaning::Month, 10},
    {"Σεπ", Meaning::Month, 9},
    {"Φεβ", Meaning::Month, 2},
    {"−", Meaning::Minus},
    {"年", Meaning::Filler},
    {"日", Meaning::Filler},
    {"月", Meaning::Filler},
    {"년", Meaning::Filler},
    {"오전", Meaning::HalfOfDay, 0},
    {"오후", Meaning::HalfOfDay, 12},
    {"월", Meaning::Filler},
    {"일", Meaning::Filler},
};
static_assert(std::ranges::is_sorted(kWords, {}, &Word::name));

/// Known by their first three letters or more.
constexpr std::string_view kMonths[] = {"january", "february", "march",     "april",   "may",      "june",
                                        "july",    "august",   "september", "october", "november", "december"};
constexpr std::string_view kWeekdays[] = {"monday", "tuesday",  "wednesday", "thursday",
                                          "friday", "saturday", "sunday",    "thurs"};

struct Number {
  std::string_view digits;
  char sign = '\0';  ///< what stands before it
  std::int64_t value() const {
    constexpr std::int64_t kTooMany = std::numeric_limits<std::int32_t>::max();
    std::int64_t value = 0;
    for (const char digit : digits) value = std::min(value * 10 + (digit - '0'), kTooMany);
    return value;
  }
  std::size_t size() const { return digits.size(); }
  Number part(std::size_t at, std::size_t count) const { return {digits.substr(at, count)}; }
};

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<signed char>(c) < 0;
}
constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

/// The bytes of the white space that `text` begins with, which may be one of the spaces that do not break a line.
std::size_t spaceBytes(std::string_view text) {
  const std::size_t ascii = std::min(text.find_first_not_of(" \t\r\n\f\v"), text.size());
  if (ascii > 0) return ascii;
  for (const std::string_view space : {"\u00A0", "\u202F", "\u2009", "\u3000"}) {
    if (text.starts_with(space)) return space.size();
  }
  return 0;
}

/// The place of the name in `names` that begins with `word`, from 1; 0 if `word` is too short for that or none.
int numberOf(std::string_view word, std::span<const std::string_view> names) {
  if (word.size() < 3) return 0;
  const auto found = std::ranges::find_if(names, [word](std::string_view name) { return name.starts_with(word); });
  return found == names.end() ? 0 : static_cast<int>(found - names.begin()) + 1;
}

/// What `name`, in lower case, says.
Word meaningOf(std::string_view name) {
  if (const int month = numberOf(name, kMonths)) return {name, Meaning::Month, month};
  if (numberOf(name, kWeekdays)) return {name, Meaning::Filler, 0};
  const auto found = std::ranges::lower_bound(kWords, name, {}, &Word::name);
  return found != std::end(kWords) && found->name == name ? *found : Word{name};
}

/// The year that `number` means: one of two digits is of the fifty years around 2000, one of three counts from 1900.
std::int64_t yearOf(const Number& number) {
  if (number.size() == 2) return number.value() + (number.value() < 50 ? 2000 : 1900);
  if (number.size() == 3) return number.value() + 1900;
  return number.size() == 4 ? number.value() : -1;
}

/// The days since 1970; none if there is no such day.
std::optional<std::int64_t> daysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
  if (year < 0 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count();
}

/// Reads one date from left to right; what a word or a number means depends on what is there already.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : rest_(text) {}

  /// Seconds since 1970.
  std::optional<std::int64_t> read() {
    for (;;) {
      const bool isApart = skipSpace();
      if (rest_.empty()) return moment();
      if (!readToken(isApart)) return std::nullopt;
    }
  }

 private:
  bool skipSpace() {
    const std::size_t before = rest_.size();
    while (const std::size_t bytes = spaceBytes(rest_)) rest_.remove_prefix(bytes);
    return rest_.size() != before;
  }

  bool readToken(bool isApart) {
    const char c = rest_.front();
    if (isDigit(c)) return readNumber();
    if (isLetter(c)) return readWord(isApart);
    if (c == '(') return skipComment();
    rest_.remove_prefix(1);
    return readSign(c, isApart);
  }

  bool skipComment() {
    rest_.remove_prefix(std::min(rest_.find(')'), rest_.size() - 1) + 1);
    return true;
  }

  bool readSign(char sign, bool isApart) {
    constexpr std::string_view kSigns = ",-+/.";
    if (kSigns.find(sign) == std::string_view::npos) return false;
    sign_ = sign;
    isSignApart_ = isApart;
    return true;
  }

  Number takeNumber() {
    const auto size = static_cast<std::size_t>(std::ranges::find_if_not(rest_, isDigit) - rest_.begin());
    const Number number{rest_.substr(0, size), std::exchange(sign_, '\0')};
    rest_.remove_prefix(size);
    return number;
  }

  /// Moves past `c` if a digit follows it.
  bool skipBeforeDigit(char c) {
    if (rest_.size() < 2 || rest_[0] != c || !isDigit(rest_[1])) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool readNumber() {
    const bool isZone = isZoneNext();
    const Number number = takeNumber();
    if (isZone) return readOffset(number);
    const bool isTime = !hasTime_ && (isTimeNext_ || isDateComplete() || rest_.starts_with(':'));
    if (isTime) return readTime(number);
    return readDateNumber(number);
  }

  /// A sign before a number parts a date or begins a zone.
  bool isZoneNext() const {
    if (sign_ != '+' && sign_ != '-') return false;
    if (isDateComplete()) return hasTime_ || isDigit(rest_.front());
    return hasTime_ && (!isDatePartLast_ || isSignApart_);
  }

  bool isDateComplete() const { return days_ || count_ + (month_ > 0 ? 1 : 0) == kMaxDateNumbers; }

  bool readDateNumber(const Number& number) {
    isDatePartLast_ = true;
    if (count_ == 0 && month_ == 0 && (number.sign == '-' || number.sign == '+')) return false;
    if (count_ == 0 && month_ == 0 && number.size() >= 7) return readBasicDate(number);
    if (count_ == 1 && month_ == 0 && number.size() == 3) return readOrdinalDate(numbers_[0], number);
    if (isDateComplete()) return false;
    numbers_[count_++] = number;
    return true;
  }

  /// 20040714 or 2004196, and what follows of the time in one with it.
  bool readBasicDate(const Number& number) {
    const Number year = number.part(0, 4);
    if (number.size() == 7) return readOrdinalDate(year, number.part(4, 3));
    if (number.size() != 8 && number.size() != 12 && number.size() != 14) return false;
    days_ = daysOf(year.value(), number.part(4, 2).value(), number.part(6, 2).value());
    if (number.size() > 8 && !readTime(number.part(8, 6))) return false;
    return days_.has_value();
  }

  bool readOrdinalDate(const Number& year, const Number& day) {
    const bool isThere = year.size() == 4 && day.value() >= 1 && day.value() <= 366;
    const auto first = daysOf(isThere ? year.value() : -1, 1, 1);
    const auto next = daysOf(year.value() + 1, 1, 1);
    if (!first || !next || *first + day.value() > *next) return false;
    days_ = *first + day.value() - 1;
    return true;
  }

  /// The first week has the first Thursday, and begins on a Monday.
  bool readWeekDate() {
    Number week = takeNumber();
    Number day = week.size() == 3 ? week.part(2, 1) : Number{"1"};
    if (week.size() == 3)
      week = week.part(0, 2);
    else if (skipBeforeDigit('-'))
      day = takeNumber();
    if (count_ != 1 || numbers_[0].size() != 4 || week.size() != 2 || day.size() != 1) return false;
    if (week.value() < 1 || week.value() > 53 || day.value() < 1 || day.value() > 7) return false;
    const auto fourth = daysOf(numbers_[0].value(), 1, 4);
    const auto nextFourth = daysOf(numbers_[0].value() + 1, 1, 4);
    if (!fourth || !nextFourth) return false;
    const auto mondayOf = [](std::int64_t days) { return days - ((days + 3) % 7 + 7) % 7; };
    days_ = mondayOf(*fourth) + (week.value() - 1) * 7 + day.value() - 1;
    return *days_ - (day.value() - 1) < mondayOf(*nextFourth);
  }

  /// Hours, perhaps minutes, perhaps seconds, with colons or in one; the last of them with a fraction.
  bool readTime(const Number& number) {
    constexpr std::int64_t kUnits[] = {kHourSeconds, kMinuteSeconds, 1};
    std::int64_t fields[3] = {};
    std::size_t last = 0;
    if (number.size() == 4 || number.size() == 6) {
      for (last = 0; last * 2 < number.size(); ++last) fields[last] = number.part(last * 2, 2).value();
      --last;
    } else {
      if (number.size() > 2) return false;
      fields[0] = number.value();
      while (last < 2 && skipBeforeDigit(':')) {
        const Number field = takeNumber();
        if (field.size() > 2) return false;
        fields[++last] = field.value();
      }
    }
    const std::int64_t fraction = readFraction(kUnits[last]);
    hasTime_ = true;
    isDatePartLast_ = isTimeNext_ = false;
    hour_ = fields[0];
    secondsOfHour_ = fields[1] * kMinuteSeconds + fields[2] + fraction;
    const bool isEndOfDay = hour_ == 24 && secondsOfHour_ == 0;
    return (hour_ < 24 || isEndOfDay) && fields[1] < 60 && fields[2] <= 60;
  }

  /// The whole seconds in the fraction of a `unit` that comes next.
  std::int64_t readFraction(std::int64_t unit) {
    constexpr std::size_t kSignificant = 9;
    if (!skipBeforeDigit('.') && !skipBeforeDigit(',')) return 0;
    const Number fraction = takeNumber().part(0, kSignificant);
    std::int64_t scale = 1;
    for (std::size_t i = 0; i < fraction.size(); ++i) scale *= 10;
    return fraction.value() * unit / scale;
  }

  /// A zone's hours, perhaps minutes; a second zone says nothing.
  bool readOffset(const Number& number) {
    const bool hasMinutes = number.size() > 2;
    const std::size_t hourDigits = number.size() == 1 || number.size() == 3 ? 1 : 2;
    const std::int64_t hours = number.part(0, hourDigits).value();
    std::int64_t minutes = hasMinutes ? number.part(hourDigits, 2).value() : 0;
    if (!hasMinutes && skipBeforeDigit(':')) minutes = takeNumber().value();
    if (number.size() > 6 || hours > 23 || minutes > 59) return false;
    if (hasZone_ && !mayZoneBeShifted_) return true;
    const std::int64_t offset = (hours * 60 + minutes) * (number.sign == '-' ? -1 : 1);
    offset_ = isZoneReversed_ ? -offset : offset;
    hasZone_ = true;
    mayZoneBeShifted_ = false;
    return true;
  }

  /// The letters that come next, in lower case and without the points between and after them, as in "p.m.".
  std::string_view takeWord(char (&buffer)[kMaxWordBytes]) {
    std::size_t size = 0;
    while (!rest_.empty() && (isLetter(rest_.front()) || rest_.front() == '.') && spaceBytes(rest_) == 0) {
      if (rest_.front() != '.' && size < kMaxWordBytes) buffer[size++] = lower(rest_.front());
      rest_.remove_prefix(1);
    }
    return {buffer, size};
  }

  bool readWord(bool isApart) {
    char buffer[kMaxWordBytes];
    const Word word = meaningOf(takeWord(buffer));
    const bool isDigitNext = !rest_.empty() && isDigit(rest_.front());
    const char sign = std::exchange(sign_, '\0');
    switch (word.meaning) {
      case Meaning::Month:
        return setMonth(word.value);
      case Meaning::HalfOfDay:
        hoursBefore_ = word.value;
        return true;
      case Meaning::ReversedZone:
        isZoneReversed_ = true;
        return true;
      case Meaning::Minus:
        return readSign('-', isApart);
      case Meaning::Filler:
        sign_ = sign;
        return true;
      case Meaning::Zone:
        if (!hasTime_) return true;
        setZone(word.value);
        return true;
      case Meaning::TimeMark:
        if (isDigitNext) isTimeNext_ = true;
        return true;
      case Meaning::WeekMark:
        if (isDigitNext) return readWeekDate();
        [[fallthrough]];
      case Meaning::Unknown:
        break;
    }
    return ++unknownWords_ <= kMaxUnknownWords;
  }

  bool setMonth(int month) {
    if (month_ > 0 || count_ == kMaxDateNumbers || days_) return false;
    month_ = month;
    isDatePartLast_ = true;
    return true;
  }

  void setZone(int minutes) {
    isDatePartLast_ = false;
    if (hasZone_) return;
    offset_ = minutes;
    hasZone_ = true;
    mayZoneBeShifted_ = minutes == 0;
  }

  std::optional<std::int64_t> moment() const {
    const std::optional<std::int64_t> days = days_ ? days_ : writtenDay();
    if (!days) return std::nullopt;
    std::int64_t hour = hour_;
    if (hoursBefore_ && hour <= 12) hour = hour % 12 + *hoursBefore_;
    return *days * kDaySeconds + hour * kHourSeconds + secondsOfHour_ - offset_ * kMinuteSeconds;
  }

  std::optional<std::int64_t> writtenDay() const {
    if (isDateComplete()) return month_ > 0 ? dayWithNamedMonth() : dayOfNumbers();
    // "2004", "2004-07", "July 2004": only where nothing else stands there
    if (count_ == 0 || hasTime_ || isTimeNext_ || unknownWords_ > 0 || numbers_[0].size() != 4) return std::nullopt;
    if (month_ > 0 || count_ == 1) return daysOf(numbers_[0].value(), std::max(month_, 1), 1);
    if (numbers_[1].size() != 2) return std::nullopt;
    return daysOf(numbers_[0].value(), numbers_[1].value(), 1);
  }

  std::optional<std::int64_t> dayWithNamedMonth() const {
    const bool isYearFirst = numbers_[0].size() > 2;
    const Number& day = numbers_[isYearFirst ? 1 : 0];
    if (day.size() > 2) return std::nullopt;
    return daysOf(yearOf(numbers_[isYearFirst ? 0 : 1]), month_, day.value());
  }

  /// Year, month, day; or the year last, if it is plain which of the others is the day.
  std::optional<std::int64_t> dayOfNumbers() const {
    const auto& [first, second, third] = numbers_;
    const auto isShort = [](const Number& number) { return number.size() <= 2; };
    if (first.size() == 4 && isShort(second) && isShort(third)) {
      return daysOf(first.value(), second.value(), third.value());
    }
    if (first.size() == 2 && second.size() == 2 && third.size() == 2 && second.sign == '-') {
      return daysOf(yearOf(first), second.value(), third.value());
    }
    if (!isShort(first) || !isShort(second) || third.size() != 4) return std::nullopt;
    const bool isDayFirst = first.value() > 12 || second.sign == '.' || first.value() == second.value();
    if (isDayFirst) return daysOf(third.value(), second.value(), first.value());
    return second.value() > 12 ? daysOf(third.value(), first.value(), second.value()) : std::nullopt;
  }

  std::string_view rest_;
  char sign_ = '\0';  ///< just passed
  bool isSignApart_ = false;
  bool isDatePartLast_ = false;  ///< the last number or word belongs to the date
  bool isTimeNext_ = false;      ///< after a T
  int unknownWords_ = 0;

  std::size_t count_ = 0;
  Number numbers_[kMaxDateNumbers];
  int month_ = 0;                     ///< by name
  std::optional<std::int64_t> days_;  ///< since 1970, of a date in a form that has no month and day apart

  bool hasTime_ = false;
  std::int64_t hour_ = 0;
  std::int64_t secondsOfHour_ = 0;
  std::optional<int> hoursBefore_;  ///< the half of the day that an hour up to 12 is in

  bool hasZone_ = false;
  bool mayZoneBeShifted_ = false;  ///< a number after it belongs to it: GMT+1
  bool isZoneReversed_ = false;    ///< Etc/GMT+1 is behind UTC
  std::int64_t offset_ = 0;        ///< minutes ahead of UTC
};

}  // namespace

CTime readDate(std::string_view text) {
  const std::optional<std::int64_t> seconds = DateReader(text).read();
  if (!seconds || *seconds < 0 || *seconds > std::numeric_limits<std::int32_t>::max()) return CTime();
  return static_cast<std::int32_t>(*seconds);
}

}  // namespace quillmoria
