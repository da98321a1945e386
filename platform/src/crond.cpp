// The scheduler of the generic platform: named job lists rendered to cron.d.
#include "quilplatform/crond.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "util/atomic_file.hpp"
#include "util/cron_schedule.hpp"
#include "util/root_prefix.hpp"

namespace {

using quilkova::internal::CronRange;
using quilkova::internal::ReadFileNoFollow;
using quilkova::internal::ReplaceFileAtomically;
using quilkova::internal::RootedPath;

std::string JobsPath(const std::string& name) {
    return RootedPath("/usr/quil/etc/crond/" + name + ".json");
}

std::string CronPath(const std::string& name) {
    return RootedPath("/etc/cron.d/quil-" + name);
}

// One field of the notation with "~" (any) and "a~b" (between) fixed to a value picked at random.
bool RenderField(const std::string& field, const CronRange& range, std::mt19937& random, std::string& out) {
    bool pick = false;
    CronRange bounds{};
    if (!quilkova::internal::ParseCronField(field, range, pick, bounds)) {
        return false;
    }
    out = pick ? std::to_string(std::uniform_int_distribution<int>(bounds.low, bounds.high)(random)) : field;
    return true;
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// A user name as the system takes it: letters, digits, ".", "_" and "-", not
// starting with "-", not only dots, at most 32 characters. Anything else
// (blanks, control characters) would let the field carry more than a name.
bool IsUserName(const Json::Value& user) {
    constexpr size_t kLongestUserName = 32;
    if (!user.isString() || user.asString().empty() || user.asString().size() > kLongestUserName ||
        user.asString()[0] == '-' || user.asString().find_first_not_of('.') == std::string::npos) {
        return false;
    }
    for (const char c : user.asString()) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                             c == '_' || c == '-';
        if (!allowed) {
            return false;
        }
    }
    return true;
}

// A cron argument, as the shell that runs the line must read it: one word,
// exactly the argument. One made only of characters the shell takes as they
// are stays bare; any other is put in single quotes (a quote inside closes,
// escapes and reopens them). '%' means a line break to cron, so it is escaped
// whatever the quoting; control characters and empty arguments are refused.
bool CronArgument(const Json::Value& arg, std::string& out) {
    if (!arg.isString() || arg.asString().empty()) {
        return false;
    }
    const std::string& text = arg.asString();
    const bool bare = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                             "_-./=:,+@%") == std::string::npos;
    out = bare ? "" : "'";
    for (const char c : text) {
        if (IsControl(c)) {
            return false;
        }
        if (c == '%') {
            out += '\\';
        }
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    out += bare ? "" : "'";
    return true;
}

bool RenderJob(const Json::Value& job, std::mt19937& random, std::string& line) {
    if (!job.isObject() || job["period"] != "crontab" || !job["crontab"].isString() ||
        !job["cmd_list"].isArray() || job["cmd_list"].empty()) {
        return false;
    }
    std::vector<std::string> fields;
    if (!quilkova::internal::IsValidSchedule(job["crontab"].asString(), &fields)) {
        return false;
    }
    line.clear();
    for (size_t i = 0; i < fields.size(); ++i) {
        std::string value;
        if (!RenderField(fields[i], quilkova::internal::kCronRanges[i], random, value)) {
            return false;
        }
        line += value + " ";
    }
    const Json::Value user = job.get("user", "root");
    if (!IsUserName(user)) {
        return false;
    }
    line += user.asString();
    for (const Json::Value& arg : job["cmd_list"]) {
        std::string text;
        if (!CronArgument(arg, text)) {
            return false;
        }
        line += " " + text;
    }
    line += "\n";
    return true;
}

std::string Styled(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    return Json::writeString(builder, value) + "\n";
}

}  // namespace

namespace QUIL {
namespace QUILCrond {

ConfigManager::ConfigManager(const std::string& name, bool flag) : name_(name), flag_(flag) {}

ConfigManager::~ConfigManager() = default;

bool ConfigManager::Save(const Json::Value& jobs) {
    if (!jobs.isArray() || name_.empty() || name_.find('/') != std::string::npos) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return false;
    }
    try {
        std::random_device device;
        std::mt19937 random(device());
        std::string cron = "# Written by the scheduler for \"" + name_ + "\"; changes here are lost.\n";
        for (const Json::Value& job : jobs) {
            std::string line;
            if (!RenderJob(job, random, line)) {
                QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
                return false;
            }
            cron += line;
        }
        if (ReplaceFileAtomically(JobsPath(name_), Styled(jobs), 0644) != 0 ||
            ReplaceFileAtomically(CronPath(name_), cron, 0644) != 0) {
            QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
            return false;
        }
        return true;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return false;
    } catch (const std::exception&) {  // a job member of the wrong type
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return false;
    }
}

bool ConfigManager::Remove() {
    try {
        bool removed = false;
        for (const std::string& path : {JobsPath(name_), CronPath(name_)}) {
            if (::unlink(path.c_str()) == 0) {
                removed = true;
            } else if (errno != ENOENT) {
                QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
                return false;
            }
        }
        if (!removed) {
            QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
        }
        return removed;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return false;
    }
}

}  // namespace QUILCrond
}  // namespace QUIL

extern "C" int QUILScheduleRemove(const char* command) {
    if (command == nullptr || *command == '\0') {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        const std::string path = RootedPath("/etc/crontab");
        std::string content;
        struct stat info {};
        const int error = ReadFileNoFollow(path, content, &info);
        if (error == ENOENT) {
            return 0;
        }
        if (error != 0) {
            QLIBC_FAIL(QLIBC_ERR_FILE_READ);
            return -1;
        }
        // "m h dom mon dow user command": the command is what follows six fields.
        std::string kept;
        int removed = 0;
        for (const std::string& line : quilkova::internal::Pieces(content, '\n')) {
            const std::vector<std::string> words = quilkova::internal::Words(line);
            std::string rest;
            for (size_t i = 6; i < words.size(); ++i) {
                rest += (i > 6 ? " " : "") + words[i];
            }
            if (!words.empty() && words[0][0] != '#' && rest == command) {
                ++removed;
                continue;
            }
            kept += line + "\n";
        }
        if (removed > 0 && ReplaceFileAtomically(path, kept, info.st_mode & 07777, info.st_uid, info.st_gid) != 0) {
            QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
            return -1;
        }
        return removed;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}
