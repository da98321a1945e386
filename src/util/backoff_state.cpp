#include "util/backoff_state.hpp"

#include <json/json.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>

namespace quilkova::internal {

long long BootMillis() {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

const std::string& BootId() {
    static const std::string id = [] {
        std::string line;
        std::ifstream file("/proc/sys/kernel/random/boot_id");
        std::getline(file, line);
        return line;
    }();
    return id;
}

BackoffState ReadBackoffState(const std::string& path) {
    BackoffState state;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string content = text.str();
    Json::Value record;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (content.empty() || !reader->parse(content.data(), content.data() + content.size(), &record, nullptr) ||
        !record.isObject()) {
        return state;
    }
    const auto number = [&record](const char* key) {
        return record[key].isInt64() ? static_cast<long long>(record[key].asInt64()) : 0LL;
    };
    state.failures = static_cast<int>(std::clamp(number("failures"), 0LL, 1000LL));
    state.code = static_cast<int>(std::clamp(number("code"), 0LL, 1000LL));
    state.message = record["message"].isString() ? record["message"].asString() : "";
    state.due_at = number("due_at");
    state.due_boot_ms = number("due_boot_ms");
    const bool this_boot = record["boot_id"].isString() && record["boot_id"].asString() == BootId();
    state.failed_boot_ms = this_boot ? number("failed_boot_ms") : 0;
    const long long left = state.due_boot_ms - BootMillis();
    // Another boot's wait is over, and so is one longer than any the library records.
    if (this_boot && left > 0 &&
        left <= std::chrono::duration_cast<std::chrono::milliseconds>(kLongestBackoffWait).count()) {
        state.left = std::chrono::milliseconds(left);
    }
    return state;
}

std::string BackoffStateText(const BackoffState& state) {
    Json::Value record(Json::objectValue);
    record["failures"] = state.failures;
    record["code"] = state.code;
    record["message"] = state.message;
    record["boot_id"] = BootId();
    record["due_boot_ms"] = static_cast<Json::Int64>(state.due_boot_ms);
    record["failed_boot_ms"] = static_cast<Json::Int64>(state.failed_boot_ms);
    record["due_at"] = static_cast<Json::Int64>(state.due_at);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    return Json::writeString(builder, record) + "\n";
}

}  // namespace quilkova::internal
