#include "agent/utc.h"

#include <charconv>
#include <chrono>
#include <cstdio>

namespace vorgate::agent {
namespace {

using namespace std::chrono;
using Time = sys_time<microseconds>;

}  // namespace

std::int64_t now_us() noexcept {
  return time_point_cast<microseconds>(system_clock::now()).time_since_epoch().count();
}

std::string utc_text(std::int64_t count) {
  const Time time{microseconds(count)};
  const auto day = floor<days>(time);
  const year_month_day date{day};
  const hh_mm_ss clock{time - day};
  char text[64];
  std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02ld:%02ld:%02ld.%06ldZ", static_cast<int>(date.year()),
      static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()),
      static_cast<long>(clock.hours().count()), static_cast<long>(clock.minutes().count()),
      static_cast<long>(clock.seconds().count()), static_cast<long>(clock.subseconds().count()));
  return text;
}

std::optional<std::int64_t> parse_utc(std::string_view text) {
  constexpr std::string_view form = "0000-00-00T00:00:00.000000Z";
  if (text.size() != form.size()) return std::nullopt;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == '0' ? !digit : text[i] != form[i]) return std::nullopt;
  }
  const auto number = [&](std::size_t at, std::size_t size) {
    int value = 0;
    std::from_chars(text.data() + at, text.data() + at + size, value);
    return value;
  };
  const year_month_day date{year(number(0, 4)), month(static_cast<unsigned int>(number(5, 2))),
                            day(static_cast<unsigned int>(number(8, 2)))};
  if (!date.ok()) return std::nullopt;
  const Time time = sys_days(date) + hours(number(11, 2)) + minutes(number(14, 2)) +
                    seconds(number(17, 2)) + microseconds(number(20, 6));
  return time.time_since_epoch().count();
}

}  // namespace vorgate::agent
