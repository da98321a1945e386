#include "util/cron_schedule.hpp"

#include <sstream>

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
    std::istringstream items(field);
    for (std::string item; std::getline(items, item, ',');) {
        if (!IsValidItem(item, range)) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
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
