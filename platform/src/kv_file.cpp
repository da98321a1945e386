// Key/value files: read without locks (writers replace the file atomically),
// written under an exclusive lock on the file's directory so that concurrent
// writers never lose each other's keys.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "last_error.hpp"
#include "platform_waits.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace {

using quilkova::internal::ReadFileNoFollow;
using quilkova::internal::RootedPath;

constexpr const char* kBlanks = " \t\r";

std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// One line of the file as key and value; false for blanks, comments and junk.
bool ParseLine(const std::string& line, std::string& key, std::string& value) {
    const std::string text = Trim(line);
    if (text.empty() || text[0] == '#') {
        return false;
    }
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    key = Trim(text.substr(0, equals));
    value = Trim(text.substr(equals + 1));
    // One pair of enclosing quotes is syntax; quotes inside belong to the value.
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        value = value.substr(1, value.size() - 2);
    }
    return !key.empty();
}

std::vector<std::string> SplitLines(const std::string& content) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        lines.push_back(content.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

// Reads the file; a missing file is empty. 0 or an errno value.
int ReadContent(const std::string& real_path, std::string& content, struct stat* info = nullptr) {
    const int error = ReadFileNoFollow(real_path, content, info);
    if (error == ENOENT) {
        content.clear();
    }
    return error;
}

// Finds the first value of key; false when absent.
bool FindValue(const std::string& content, const std::string& key, std::string& value) {
    std::string line_key;
    for (const std::string& line : SplitLines(content)) {
        if (ParseLine(line, line_key, value) && line_key == key) {
            return true;
        }
    }
    return false;
}

// Readers ask for the same few files again and again (the device's facts on
// every request): a file whose identity is the same as when it was last read
// (device, inode, size and times: every writer of ours replaces the file, so
// its inode changes) is not read again. Kept per thread, a few files at most.
struct CachedFile {
    std::string path;
    struct stat identity;
    std::string content;
};

int ReadCachedContent(const std::string& real_path, std::string& content) {
    constexpr size_t kCachedFiles = 8;
    thread_local std::vector<CachedFile> cache;
    struct stat now {};
    if (::lstat(real_path.c_str(), &now) != 0) {
        return ReadContent(real_path, content);  // missing or unreadable, as a read says
    }
    for (const CachedFile& file : cache) {
        if (file.path == real_path && quilkova::internal::SameFileVersion(file.identity, now)) {
            content = file.content;
            return 0;
        }
    }
    struct stat read {};
    const int error = ReadContent(real_path, content, &read);
    if (error == 0) {
        if (cache.size() == kCachedFiles) {
            cache.erase(cache.begin());
        }
        cache.push_back({real_path, read, content});
    }
    return error;
}

// Reads the file (a missing one is empty) and returns what `use` makes of its
// content; a read error or an allocation failure gives -1 and the last error.
template <typename Use>
int WithContent(const char* path, Use use) {
    try {
        std::string content;
        const int error = ReadCachedContent(RootedPath(path), content);
        if (error != 0 && error != ENOENT) {
            QLIBC_FAIL(QLIBC_ERR_FILE_READ);
            return -1;
        }
        return use(content);
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

bool IsValidKey(const char* key) {
    if (key == nullptr || *key == '\0' || *key == '#') {
        return false;
    }
    return std::strpbrk(key, "= \t\r\n\"") == nullptr;
}

// The line format must be two "%s" (key, value) and nothing else to convert.
bool IsValidLineFormat(const char* format) {
    if (format == nullptr) {
        return false;
    }
    int strings = 0;
    for (const char* p = std::strchr(format, '%'); p != nullptr; p = std::strchr(p + 2, '%')) {
        if (p[1] == 's') {
            ++strings;
        } else if (p[1] != '%') {
            return false;
        }
    }
    return strings == 2;
}

std::string FormatLine(const char* format, const char* key, const char* value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = std::snprintf(nullptr, 0, format, key, value);
    std::string line(static_cast<size_t>(length > 0 ? length : 0) + 1, '\0');
    std::snprintf(line.data(), line.size(), format, key, value);
#pragma GCC diagnostic pop
    line.resize(line.size() - 1);
    if (line.empty() || line.back() != '\n') {
        line.push_back('\n');
    }
    return line;
}

// Exclusive advisory lock on a directory, held for the lifetime of the
// object. Waits at most kDirectoryLockWait: a lock somebody keeps forever
// fails the write instead of hanging it.

class DirectoryLock {
public:
    explicit DirectoryLock(const std::string& directory)
        : fd_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (fd_ < 0) {
            return;
        }
        const auto deadline = std::chrono::steady_clock::now() + quilplatform::CurrentWaits().directory_lock;
        while (!(locked_ = ::flock(fd_, LOCK_EX | LOCK_NB) == 0) && (errno == EWOULDBLOCK || errno == EINTR) &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    ~DirectoryLock() {
        if (fd_ >= 0) {
            ::close(fd_);  // releases the lock
        }
    }
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;
    bool locked() const { return locked_; }

private:
    int fd_;
    bool locked_ = false;
};

std::string Replaced(const std::string& content, const std::string& key, const std::string& new_line) {
    std::string result;
    bool written = false;
    std::string line_key;
    std::string line_value;
    for (const std::string& line : SplitLines(content)) {
        if (ParseLine(line, line_key, line_value) && line_key == key) {
            if (!written) {
                result += new_line;
                written = true;
            }
            continue;  // later duplicates would shadow nothing; drop them
        }
        result += line;
        result += '\n';
    }
    if (!written) {
        result += new_line;
    }
    return result;
}

int SetKeyValue(const char* path, const char* key, const char* value, const char* format) {
    const std::string real_path = RootedPath(path);
    if (!quilkova::internal::MakeParentDirectories(real_path)) {
        QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
        return -1;
    }
    const DirectoryLock lock(real_path.substr(0, real_path.rfind('/')));
    if (!lock.locked()) {
        QLIBC_FAIL(QLIBC_ERR_FILE_LOCK);
        return -1;
    }
    std::string content;
    struct stat info {};
    const int error = ReadContent(real_path, content, &info);
    if (error != 0 && error != ENOENT) {
        QLIBC_FAIL(QLIBC_ERR_FILE_READ);
        return -1;
    }
    const bool existed = error == 0;
    const std::string updated = Replaced(content, key, FormatLine(format, key, value));
    if (quilkova::internal::ReplaceFileAtomically(real_path, updated, existed ? info.st_mode & 07777 : 0600,
                                                  existed ? info.st_uid : static_cast<uid_t>(-1),
                                                  existed ? info.st_gid : static_cast<gid_t>(-1)) != 0) {
        QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
        return -1;
    }
    return 0;
}

}  // namespace

extern "C" {

int QLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int /*flags*/) {
    if (path == nullptr || key == nullptr || buffer == nullptr || size <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    buffer[0] = '\0';
    return WithContent(path, [&](const std::string& content) {
        std::string value;
        if (!FindValue(content, key, value)) {
            return 0;
        }
        const size_t copied = std::min(value.size(), static_cast<size_t>(size) - 1);
        std::memcpy(buffer, value.data(), copied);
        buffer[copied] = '\0';
        return static_cast<int>(copied);
    });
}

int QLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* lineFormat) {
    if (path == nullptr || !IsValidKey(key) || value == nullptr || std::strpbrk(value, "\r\n") != nullptr ||
        !IsValidLineFormat(lineFormat)) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        return SetKeyValue(path, key, value, lineFormat);
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QLIBCFileGetKeys(const char* path, PQLIBCSzList list) {
    if (path == nullptr || list == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    return WithContent(path, [list](const std::string& content) {
        std::vector<std::string> keys;
        std::string key;
        std::string value;
        for (const std::string& line : SplitLines(content)) {
            if (ParseLine(line, key, value) && std::find(keys.begin(), keys.end(), key) == keys.end()) {
                keys.push_back(key);
            }
        }
        for (const std::string& each : keys) {
            if (QLIBCSzListAdd(list, each.c_str()) != 0) {
                return -1;
            }
        }
        return static_cast<int>(keys.size());
    });
}

int QLIBCFileCheckKeyValue(const char* path, const char* key, const char* value, int /*flags*/) {
    if (path == nullptr || key == nullptr || value == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    return WithContent(path, [key, value](const std::string& content) {
        std::string found;
        return FindValue(content, key, found) && found == value ? 1 : 0;
    });
}

int QLIBCFileCheckDir(const char* path) {
    if (path == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        struct stat info {};
        if (::stat(RootedPath(path).c_str(), &info) != 0) {
            if (errno == ENOENT) {
                return 0;
            }
            QLIBC_FAIL(QLIBC_ERR_SYSTEM);
            return -1;
        }
        if (!S_ISDIR(info.st_mode)) {
            QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
            return -1;
        }
        return 1;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

}  // extern "C"
