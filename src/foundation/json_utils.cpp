#include "foundation/json_utils.hpp"

#include <cstring>
#include <memory>

#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova::internal {

namespace {
// Private account files and the /tmp/account_* files are for root's eyes only.
mode_t ModeFor(const std::string& path) {
    const bool is_private = path.find("/private/") != std::string::npos;
    const bool is_account_tmp = path.rfind("/tmp/account_", 0) == 0;
    return is_private || is_account_tmp ? 0600 : 0644;
}
}  // namespace

namespace {
// Built once per thread: a reader is not to be shared between threads.
Json::CharReader& Reader() {
    thread_local const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder["allowComments"] = true;
        builder["rejectDupKeys"] = false;  // the last of repeated members wins, as it always has
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return *reader;
}
}  // namespace

bool TryParseJson(const std::string& text, Json::Value& out) {
    try {
        Json::CharReader& reader = Reader();
        Json::Value parsed;
        std::string errors;
        if (!reader.parse(text.data(), text.data() + text.size(), &parsed, &errors)) {
            return false;
        }
        out.swap(parsed);
        return true;
    } catch (...) {
        // Nesting beyond the reader's stack limit throws; hostile input is just bad input.
        return false;
    }
}

std::string JsonToText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    return Json::writeString(builder, value) + "\n";
}

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

namespace {
// A file call's errno result, allocation failure included.
template <typename Call>
int ErrnoOf(const Call& call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}
}  // namespace

int WriteJsonFile(const std::string& path, const Json::Value& value, size_t largest) {
    return ErrnoOf([&] {
        const std::string text = JsonToText(value);
        return text.size() > largest ? EFBIG : ReplaceFileAtomically(RootedPath(path), text, ModeFor(path));
    });
}

int ProbeJsonFile(const std::string& path) {
    return ErrnoOf([&] { return ProbeReplaceable(RootedPath(path), static_cast<off_t>(kLargestTokenFile)); });
}

bool ReadJsonFileText(const std::string& path, std::string& text) {
    return ReadFileNoFollow(RootedPath(path), text) == 0;
}

bool IsText(const Json::Value& value) {
    return value.isString();
}

std::string TextOf(const Json::Value& value) {
    try {
        if (value.isString() || value.isNumeric() || value.isBool()) {
            return value.asString();
        }
    } catch (...) {
    }
    return "";
}

bool FlagOf(const Json::Value& value) {
    if (value.isBool()) {
        return value.asBool();
    }
    if (value.isIntegral()) {
        return value.isUInt64() ? value.asUInt64() != 0 : value.asInt64() != 0;
    }
    if (value.isString()) {
        const std::string text = value.asString();
        return text == "true" || text == "yes" || text == "1";
    }
    return false;
}

}  // namespace quilkova::internal
