// quilkova_outage: what one appliance puts on a service that is down, and how
// soon it is back once the service is. N callers (processes) each ask for the
// appliance's expired token once a second for S seconds while the identity
// host takes every connection and drops it; then the host comes back. Prints
// the attempts per minute, the time from the host's return to the first
// renewed token beside the backoff step then in force, and whether anything
// changed on disk. Run as root through scripts/outage.sh.
#include <ftw.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/json_utils.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "sim/simulator.hpp"

namespace {

using Clock = std::chrono::steady_clock;
constexpr const char* kPrivate = "/usr/quil/etc/quillion-account/private/";

std::string g_root;

void Write(const std::string& appliance_path, const std::string& content) {
    const std::string path = g_root + appliance_path;
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        ::mkdir(path.substr(0, slash).c_str(), 0700);
    }
    std::ofstream(path) << content;
}

std::string Read(const std::string& appliance_path) {
    std::ifstream in(g_root + appliance_path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A host that takes each connection and drops it at once, counting them.
class DroppingHost {
public:
    explicit DroppingHost(int port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int on = 1;
        ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || ::listen(fd_, 64) != 0) {
            std::perror("dropping host");
            std::exit(1);
        }
        thread_ = std::thread([this] {
            for (int fd; (fd = ::accept(fd_, nullptr, nullptr)) >= 0; ::close(fd)) {
                ++connections_;
            }
        });
    }
    ~DroppingHost() {
        ::shutdown(fd_, SHUT_RDWR);
        ::close(fd_);
        thread_.join();
    }
    int connections() const { return connections_; }

private:
    int fd_;
    std::atomic<int> connections_{0};
    std::thread thread_;
};

// One caller: asks once a second until `until`, then on until it gets a token;
// exits with the seconds after `back` at which it got one (255: never).
int Caller(Clock::time_point until, Clock::time_point limit, const std::string& back_file) {
    for (auto next = Clock::now(); Clock::now() < limit; next += std::chrono::seconds(1)) {
        std::this_thread::sleep_until(next);
        try {
            quilkova::AccountPkceService().GetAccessToken();
            if (Clock::now() >= until) {
                std::ifstream in(back_file);
                long long back_ms = 0;
                in >> back_ms;
                const long long now_ms =
                    std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count();
                return static_cast<int>(std::min<long long>(254, (now_ms - back_ms + 999) / 1000));
            }
        } catch (const quilkova::KovaException&) {
        }
    }
    return 255;
}

}  // namespace

int main(int argc, char** argv) {
    const int callers = argc > 1 ? std::atoi(argv[1]) : 20;
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 120;
    char pattern[] = "/tmp/quilkova-outage-XXXXXX";
    g_root = ::mkdtemp(pattern);
    ::setenv("QUILKOVA_ROOT", g_root.c_str(), 1);
    Json::Value seed;
    quilkova::internal::TryParseJson(
        R"({"accounts": [{"email": "owner@example.com", "password": "s3cret", "id": "u-1", "auth_key": "key-1"}]})",
        seed);
    quilkova::sim::Simulator sim(seed);
    const int port = sim.Start();
    const std::string url = sim.BaseUrl();
    Write("/etc.defaults/quilinfo.conf", "serial=\"2150ABCD1234\"\nmac=\"00:11:32:aa:bb:cc\"\nmodel=\"QN-420\"\n");
    Write(std::string(kPrivate) + "user.conf", "account_host=\"" + url + "\"\nidentity_host=\"" + url + "\"\n");
    Write("/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf",
          R"({"client_id": "hos-client", "scope": "openid", "token_endpoint_path": "/oauth2/token",
              "login_redirect_path": "/pkce/login"})");
    // A browser login, then its token aged past its expiry.
    const std::string verifier = "outage-verifier-0123456789-0123456789-abcdef";
    const std::string code = sim.IssueAuthorizationCode("hos-client", quilkova::sim::S256(verifier), url + "/pkce/login");
    quilkova::AccountPkceService().Login({"", code, verifier, url + "/pkce/login"});
    Json::Value token;
    quilkova::internal::LoadJsonFile(std::string(kPrivate) + "hos_token.json", token);
    token["created_at"] = static_cast<Json::Int64>(std::time(nullptr) - 7200);
    (void)quilkova::internal::SaveJsonFile(std::string(kPrivate) + "hos_token.json", token);
    const std::string record = Read(std::string(kPrivate) + "user.conf");
    const std::string tokens = Read(std::string(kPrivate) + "hos_token.json");
    sim.Stop();

    const std::string back_file = g_root + "/back";
    const auto start = Clock::now();
    const auto until = start + std::chrono::seconds(seconds);
    const auto limit = until + std::chrono::seconds(400);
    int attempts = 0;
    std::vector<pid_t> children;
    // Forked while this process has no other thread: a child never inherits a held lock.
    for (int i = 0; i < callers; ++i) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            std::this_thread::sleep_until(start + std::chrono::milliseconds(500));
            ::_exit(Caller(until, limit, back_file));
        }
        children.push_back(pid);
    }
    {
        DroppingHost host(port);
        std::this_thread::sleep_until(until);
        attempts = host.connections();
    }
    const bool unchanged = Read(std::string(kPrivate) + "user.conf") == record &&
                           Read(std::string(kPrivate) + "hos_token.json") == tokens;
    Json::Value backoff;
    quilkova::internal::LoadJsonFile(std::string(kPrivate) + "hos_backoff.json", backoff);
    const long long wait_left = backoff["due_at"].asInt64() - static_cast<long long>(std::time(nullptr));
    {
        std::ofstream(back_file) << std::chrono::duration_cast<std::chrono::milliseconds>(
                                        Clock::now().time_since_epoch()).count();
    }
    sim.Start(port);
    int first = 255;
    for (const pid_t pid : children) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        first = std::min(first, WIFEXITED(status) ? WEXITSTATUS(status) : 255);
    }
    std::printf("callers %d, outage %d s: %d network attempts, %.1f per minute\n", callers, seconds, attempts,
                attempts * 60.0 / seconds);
    std::printf("failures in a row at the return: %d; wait then left: %lld s\n", backoff["failures"].asInt(),
                std::max(0LL, wait_left));
    std::printf("first renewed token: %d s after the host came back\n", first);
    std::printf("record and token file during the outage: %s\n", unchanged ? "unchanged" : "CHANGED");
    ::nftw(g_root.c_str(), [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }, 16,
           FTW_DEPTH | FTW_PHYS);
    return unchanged && first != 255 ? 0 : 1;
}
