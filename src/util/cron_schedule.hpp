#ifndef QUILKOVA_UTIL_CRON_SCHEDULE_HPP
#define QUILKOVA_UTIL_CRON_SCHEDULE_HPP

#include <string>
#include <vector>

// The scheduler's crontab notation, shared by the library (which refuses a
// schedule it cannot install) and the platform's scheduler (which renders it).
// Five fields: minute, hour, day of month, month, day of week. Each is "~"
// (any value, fixed once when the job is saved), "a~b" (a value from a to b,
// fixed likewise) or cron's own: "*", numbers, "a-b" ranges, "/n" steps and
// comma lists, every number within the field's range.
namespace quilkova::internal {

struct CronRange {
    int low;
    int high;
};

// minute 0-59, hour 0-23, day 1-31, month 1-12, weekday 0-7 (0 and 7 are Sunday).
constexpr CronRange kCronRanges[5] = {{0, 59}, {0, 23}, {1, 31}, {1, 12}, {0, 7}};

// The blank-separated words of a line.
std::vector<std::string> Words(const std::string& text);
// The pieces of `text` between `separator`s, empty ones included; a final
// empty piece (after a trailing separator, or of "") is left out, as
// std::getline leaves it. Unlike a stream, a lack of memory is thrown, never
// taken for the end of the text.
std::vector<std::string> Pieces(const std::string& text, char separator);

// A field of the notation; for "~" and "a~b" `pick` receives the bounds to
// choose from (both the field's range for "~"), else it is left alone.
bool ParseCronField(const std::string& field, const CronRange& range, bool& pick, CronRange& bounds);

// The five blank-separated fields, each valid for its position.
bool IsValidSchedule(const std::string& text, std::vector<std::string>* fields = nullptr);

}  // namespace quilkova::internal

#endif
