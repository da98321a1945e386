#include "util/cron_schedule.hpp"

#include <algorithm>

namespace quilkova::internal {

namespace {
// A number of one or two digits within the range.
bool ParseNumber(const std::string& text, const CronRange& range, int& value) {
    if (text.empty() || text.size() > 2 || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    value = std::stoi(text);
    return value >= range.low && value <= range.high;
}

// "*", "n", "a-b", each optionally followed by "/step".
bool IsValidItem(const std::string& item, const CronRange& range) {
    std::string base = item;
    const size_t slash = item.find('/');
    if (slash != std::string::npos) {
        int step = 0;
        if (!ParseNumber(item.substr(slash + 1), {1, range.high}, step)) {
            return false;
        }
        base = item.substr(0, slash);
    }
    if (base == "*") {
        return true;
    }
    const size_t dash = base.find('-');
    int low = 0;
    int high = 0;
    if (dash == std::string::npos) {
        return ParseNumber(base, range, low) && slash == std::string::npos;
    }
    return ParseNumber(base.substr(0, dash), range, low) && ParseNumber(base.substr(dash + 1), range, high) &&
           low <= high;
}
}  // namespace

bool ParseCronField(const std::string& field, const CronRange& range, bool& pick, CronRange& bounds) {
    pick = false;
    const size_t tilde = field.find('~');
    if (tilde != std::string::npos) {
        if (field == "~") {
            bounds = range;
        } else if (!ParseNumber(field.substr(0, tilde), range, bounds.low) ||
                   !ParseNumber(field.substr(tilde + 1), range, bounds.high) || bounds.low > bounds.high) {
            return false;
        }
        pick = true;
        return true;
    }
    if (field.empty() || field.front() == ',' || field.back() == ',') {
        return false;
    }
    for (const std::string& item : Pieces(field, ',')) {
        if (!IsValidItem(item, range)) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> Words(const std::string& text) {
    constexpr const char* kBlanks = " \t\n\v\f\r";
    std::vector<std::string> words;
    for (size_t start = text.find_first_not_of(kBlanks); start != std::string::npos;) {
        const size_t end = text.find_first_of(kBlanks, start);
        words.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

std::vector<std::string> Pieces(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(separator, start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

bool IsValidSchedule(const std::string& text, std::vector<std::string>* fields) {
    std::vector<std::string> words = Words(text);
    if (words.size() != std::size(kCronRanges)) {
        return false;
    }
    for (size_t i = 0; i < words.size(); ++i) {
        bool pick = false;
        CronRange bounds{};
        if (!ParseCronField(words[i], kCronRanges[i], pick, bounds)) {
            return false;
        }
    }
    if (fields != nullptr) {
        fields->swap(words);
    }
    return true;
}

}  // namespace quilkova::internal
