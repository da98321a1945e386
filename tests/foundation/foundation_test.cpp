// Errors, exceptions and their stacks, and the small shared helpers.
#include "test_prelude.hpp"

#include <algorithm>
#include <map>

#include "foundation/boundaries.hpp"
#include "foundation/redact.hpp"
#include "util/cron_schedule.hpp"
#include "util/root_prefix.hpp"

// Exported from the test program (linked with -rdynamic), so its frame has a
// symbol name to demangle.
namespace quilkova_test {
__attribute__((noinline, visibility("default"))) std::vector<std::string> CaptureInNamedFrame(int depth) {
    quilkova::Backtrace backtrace;
    backtrace.Capture(depth);
    std::vector<std::string> lines;
    backtrace.EachLine([&lines](const std::string& line) { lines.push_back(line); });
    asm volatile("" ::: "memory");  // keeps this frame from becoming a tail call
    return lines;
}
}  // namespace quilkova_test

namespace {

// An exception thrown `depth` frames down.
__attribute__((noinline)) std::string ThrownAtDepth(int depth) {
    if (depth > 0) {
        std::string text = ThrownAtDepth(depth - 1);
        asm volatile("" ::: "memory");
        return text;
    }
    return KovaException(KOVA_ERR_SEND).what();
}

TEST(Errors, KeywordsMapByPrefixInTableOrderAndEveryCodeHasItsText) {
    const std::vector<std::pair<const char*, int>> keywords = {{"good", 0}, {"badparam", 1},
        {"badauth_expired_session", 14}, {"badsys", 6}, {"badnetwork timeout", 15}, {"account_inused", 16},
        {"serial_exceed_max_account_register", 17}, {"account_unverified", 18}, {"account_userid", 0},
        {"account_not_found", 25}, {"apikey_not_found", 26}, {"apikey_expired", 27}, {"goodbye", 0}, {"", 24},
        {"bad", 24}, {"GOOD", 24}, {"account_", 24}};
    for (const auto& [keyword, code] : keywords) {
        EXPECT_EQ(GetErrorCodeFromAccountError(keyword), code) << '"' << keyword << '"';
    }
    EXPECT_EQ(GetErrorCodeFromAccountError(nullptr), 24);
    // The pure mapping leaves the slot alone; the Map... variant stores.
    EXPECT_EQ(QUILKOVAErrSet(17), 17);
    EXPECT_EQ(GetErrorCodeFromAccountError("badauth") + QUILKOVAErrGet(), 14 + 17);
    EXPECT_EQ(MapLibKovaCenterErrorCode("apikey_expired") + QUILKOVAErrGet(), 27 + 27);

    const std::map<int, std::string> texts = {{0, "Success"}, {1, "Wrong parameters"}, {2, "Wrong JSON format"},
        {3, "Failed to get kova account"}, {4, "Failed to send the request"}, {5, "Failed to get the response"},
        {7, "Failed to get the payment config (url)"}, {14, "Failed to auth"}};
    for (int code = -2; code <= 40; ++code) {
        EXPECT_EQ(GetKovaErrorMsg(code), texts.count(code) != 0 ? texts.at(code) : "System error") << code;
    }
    testing::internal::CaptureStderr();
    for (int code : {0, 3, 6}) {
        printErrCode(code);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to get kova account\nSystem error\n");

    // What the faces' boundary makes of anything thrown below it.
    const std::vector<std::tuple<std::function<void()>, KOVA_ERRCODE, std::string>> thrown = {
        {[] { throw KovaException(KOVA_ERR_AUTH, "refused"); }, KOVA_ERR_AUTH, "refused"},
        {[] { throw std::bad_alloc(); }, KOVA_ERR_SYSTEM, ""},
        {[] { (void)Json::Value("text").asInt(); }, KOVA_ERR_BAD_JSON, ""},
        {[] { throw 7; }, KOVA_ERR_UNKNOWN, ""}};
    for (const auto& [action, code, message] : thrown) {
        const auto failed = internal::Capture([&]() -> internal::Status {
            action();
            return internal::Done{};
        });
        ASSERT_FALSE(failed.ok());
        EXPECT_EQ(std::make_pair(failed.error().code, failed.error().message), std::make_pair(code, message));
    }
}

TEST(KovaException, WhatIsTheShortMessageThenAStackCutToFifteenLinesAndCopiesNestIt) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {KovaException(KOVA_ERR_SEND).what(), "Failed to send the request [code=4]"},
        {KovaException("Something broke").what(), "Something broke [code=24]"},
        {KovaException(KOVA_ERR_TOKEN, "Failed to lock file: /tmp/x").what(), "Failed to lock file: /tmp/x [code=22]"}};
    for (const auto& [text, first_line] : cases) {
        EXPECT_EQ(text.rfind(first_line + "\n- ", 0), 0u) << text;
        EXPECT_EQ(text.substr(text.size() - 2), "\n\n") << "the stack is followed by one more end of line";
        for (size_t at = text.find('\n'); at + 2 < text.size(); at = text.find('\n', at + 1)) {
            EXPECT_EQ(text.compare(at + 1, 2, "- "), 0) << text;
        }
    }
    EXPECT_EQ(KovaException("x").GetCode(), KOVA_ERR_UNKNOWN);
    // 16 frames, less the capturing one: a deep stack gives exactly 15 lines.
    const std::string deep = ThrownAtDepth(40);
    EXPECT_EQ(std::count(deep.begin(), deep.end(), '\n'), 1 + 15 + 1);

    // A copy nests the source's text instead of sharing it.
    const KovaException original(KOVA_ERR_BAD_JSON, "bad");
    const std::string original_text = original.what();
    KovaException assigned(KOVA_ERR_AUTH);
    assigned = original;
    for (const KovaException& copy : {KovaException(original), assigned}) {
        EXPECT_EQ(copy.GetCode(), KOVA_ERR_BAD_JSON);
        EXPECT_EQ(std::string(copy.what()).rfind(original_text + " [code=2]\n- ", 0), 0u) << copy.what();
    }
    EXPECT_EQ(original.what(), original_text);
}

TEST(Backtrace, LinesAreDemangledWithinTheDepthOrTheSingleEmptyLine) {
    const auto lines = quilkova_test::CaptureInNamedFrame(16);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_LE(lines.size(), 15u);
    // Under the address sanitizer its interceptor of backtrace() adds one frame first.
    const std::string& caller = lines[0].find("CaptureInNamedFrame") != std::string::npos ? lines[0] : lines[1];
    EXPECT_NE(caller.find(": quilkova_test::CaptureInNamedFrame"), std::string::npos) << caller;
    EXPECT_NE(caller.find("(int) +0x"), std::string::npos) << caller;
    // A frame without a name (this test's body, in an anonymous namespace) is kept as the system gave it.
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.rfind("- ", 0) == 0 && line.find("(+0x") != std::string::npos;
    })) << ::testing::PrintToString(lines);
    EXPECT_LE(quilkova_test::CaptureInNamedFrame(4).size(), 3u);
    for (int depth : {0, 1, -5}) {
        quilkova::Backtrace backtrace;
        backtrace.Capture(depth);
        std::ostringstream out;
        out << backtrace;
        EXPECT_EQ(out.str(), "- empty\n") << depth;
        EXPECT_THROW(backtrace.EachLine(nullptr), std::bad_function_call);
    }
    const quilkova::Backtrace backtrace;
    EXPECT_EQ(backtrace.FormatFunctionName("_ZN8quilkova9Backtrace7CaptureEi"), "quilkova::Backtrace::Capture(int)");
    EXPECT_EQ(backtrace.FormatFunctionName("_Z not mangled"), "_Z not mangled");
}

TEST(Md5String, GivesLowercaseHexAndRefusesShortBuffersUntouched) {
    char out[40];
    for (const auto& [text, hex] : {std::pair<const char*, const char*>{"", "d41d8cd98f00b204e9800998ecf8427e"},
                                    {"abc", "900150983cd24fb0d6963f7d28e17f72"}}) {
        std::memset(out, 'Z', sizeof(out));
        ASSERT_EQ(KoVAGetMd5String(text, out, 32), 0) << "32 is let through";
        EXPECT_EQ(std::string(out, 34), std::string(hex) + '\0' + 'Z') << "nothing past the terminator";
    }
    std::memset(out, 'Z', sizeof(out));
    EXPECT_EQ(KoVAGetMd5String("", out, 31) + KoVAGetMd5String(nullptr, out, sizeof(out)), -2);
    EXPECT_EQ(std::string(out, sizeof(out)), std::string(sizeof(out), 'Z'));
}

TEST(Redact, SecretValuesReadStarsAndBodiesAreCut) {
    using quilkova::internal::Redacted;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"access_token": "a.b\"c", "id_token":"i", "refresh_token" : 42, "expires_in": 3600})",
         R"({"access_token": "***", "id_token":"***", "refresh_token" : "***", "expires_in": 3600})"},
        {R"({"code":"good","auth_key":"k-1","hs_auth_key":"k-2","email":"a@b"})",
         R"({"code":"good","auth_key":"***","hs_auth_key":"***","email":"a@b"})"},
        {"hs_sn=1&hs_token=abc&kovaPW=pw&passwd=p%26w&passwd_new=n&passwd_confirmation=n&code_verifier=v&x=1",
         "hs_sn=1&hs_token=***&kovaPW=***&passwd=***&passwd_new=***&passwd_confirmation=***&code_verifier=***&x=1"},
        {R"({"not_a_password": "kept", "password": "p"})", R"({"not_a_password": "kept", "password": "***"})"},
        {R"({"field": "auth_key", "x": "kept"})", R"({"field": "auth_key", "x": "kept"})"},
        {"{\"access_token\":\t\"tabbed\" <cut", "{\"access_token\":\t\"***\" <cut"},
        {"<html>502</html>", "<html>502</html>"}};
    for (const auto& [body, redacted] : cases) {
        EXPECT_EQ(Redacted(body), redacted);
    }
    EXPECT_EQ(Redacted(std::string(5000, 'b')), std::string(1024, 'b'));
    EXPECT_EQ(quilkova::internal::RedactedValue("hs_auth_key", "k"), "***");
    EXPECT_EQ(quilkova::internal::RedactedValue("full_name", "Ann"), "Ann");
}

// Flags of untrusted answers read leniently; the sent values an answer must not repeat.
TEST(UntrustedAnswers, FlagsReadLenientlyAndSentSecretsAreMasked) {
    using quilkova::internal::FlagOf;
    for (const auto& [value, flag] : std::vector<std::pair<Json::Value, bool>>{
             {"true", true}, {"yes", true}, {"1", true}, {"false", false}, {"no", false}, {"TRUE", false}, {"", false},
             {true, true}, {false, false}, {2, true}, {0, false}, {Json::Value(Json::nullValue), false}}) {
        EXPECT_EQ(FlagOf(value), flag) << value;
    }
    std::vector<std::string> sent;
    for (const auto& [key, value] : {std::pair{"code", "c0de"}, {"email", "a@b"}, {"passwd", "p w"}}) {
        quilkova::internal::AddSentSecret(sent, key, value);
    }
    EXPECT_EQ(quilkova::internal::Redacted("c0de for a@b: p w, p%20w, c0de", sent), "*** for a@b: ***, ***, ***");

    // A secret sent, held or found under a secret name is masked in every
    // spelling; one too short to mask safely drops the body.
    quilkova::internal::AddSentSecret(sent, "passwd", "p\u00e4ss/w\u20acrd 1");
    quilkova::internal::AddSentSecret(sent, "passwd", "surrogate\xF3\xA0\x81\x81");
    for (const char* held : {"held-refresh-1", "qqqq", "qqqA"}) {
        quilkova::internal::NoteHeldSecret(held);
    }
    const std::vector<std::pair<std::string, std::string>> spellings = {
        {R"({"m": "p\u00e4ss\/w\u20ACrd 1!"})", R"({"m": "***!"})"},
        {"m=p%c3%a4ss%2Fw%e2%82%acrd+1&n=1", "m=***&n=1"},
        {"m=p%C3%A4ss%2fw%E2%82%ACrd+1&n=1", "m=***&n=1"},
        {"refresh_token=r-9&xid_token=x&id_token=i-9", "refresh_token=***&xid_token=x&id_token=***"},
        {R"({"access_token": {"x": "zzz-secret"}, "echo": "zzz-secret"})", R"({"access_token": "***", "echo": "***"})"},
        {R"({"refresh_token": ["r-1", {"a": 2}], "n": 1})", R"({"refresh_token": "***", "n": 1})"},
        {R"({"id_token": ["abc", "ab"], "m": "abc ab"})", R"({"id_token": "***", "m": "*** ab"})"},
        {R"({"access\u005ftoken": "hidden-1", "m": "hid\u0064en-1"})", R"({"access\u005ftoken": "***", "m": "***"})"},
        {R"({"error": "invalid_grant", "hint": "held\u002drefresh\u002d1"})", R"({"error": "invalid_grant", "hint": "***"})"},
        // Overlapping repeats are masked whole; only a backslash starts an escape.
        {R"({"m": "qqqqq", "n": "qqqqu0041", "o": "\/"})", R"({"m": "***", "n": "***u0041", "o": "\/"})"},
        {R"({"m": "surrogate\udb40\udc41!"})", R"({"m": "***!"})"},
        {R"({"n": 1, "access_token": )", R"({"n": 1, "access_token": )"},  // an answer cut short
    };
    for (const auto& [body, redacted] : spellings) {
        EXPECT_EQ(quilkova::internal::Redacted(body, sent), redacted) << body;
    }
    quilkova::internal::AddSentSecret(sent, "passwd", "a");
    EXPECT_EQ(quilkova::internal::Redacted("wrong password for alice", sent), "");
}

// What the library and the platform wait for, unless a test shortens it.
TEST(Waits, AreTheApplianceOnes) {
    const internal::Waits waits;
    EXPECT_EQ(std::make_tuple(waits.lock_seconds, waits.sender_short_seconds, waits.sender_long_seconds,
                              waits.sender_pause.count(), waits.ddns_answer.count(), waits.request_timeout.count()),
              std::make_tuple(30u, 15L, 120L, 1000L, 3000L, 30000L));
    const quilplatform::Waits platform;
    EXPECT_EQ(std::make_tuple(platform.directory_lock.count(), platform.plugin_limit.count(), platform.close_grace.count()),
              std::make_tuple(30000L, 30000L, 1000L));
}

}  // namespace
