#ifndef QUILKOVA_TESTS_TLS_SERVER_HPP
#define QUILKOVA_TESTS_TLS_SERVER_HPP

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "child_process.hpp"
#include "temp_root.hpp"

namespace quilkova::test {

inline sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A socket on 127.0.0.1 that accepts connections into its backlog and never answers.
class SilentServer {
public:
    SilentServer() : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = LoopbackAddress(0);
        socklen_t length = sizeof(address);
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 && ::listen(fd_, 16) == 0 &&
            ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
            port_ = ntohs(address.sin_port);
        }
    }
    ~SilentServer() { ::close(fd_); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    int port() const { return port_; }

protected:
    int fd_;
    int port_ = -1;
};

// A socket on 127.0.0.1 that reads each request whole, keeps its raw text,
// and writes `answer`; then hangs up, or with `stall` keeps the connection
// open and says nothing more (an answer cut in its middle, say).
class ScriptedServer : public SilentServer {
public:
    ScriptedServer(std::string answer, bool stall) : answer_(std::move(answer)), stall_(stall) {
        thread_ = std::thread([this] {
            for (int fd; (fd = ::accept(fd_, nullptr, nullptr)) >= 0;) {
                {
                    const std::lock_guard<std::mutex> lock(mutex_);
                    open_.push_back(fd);
                }
                const std::string request = ReadRequest(fd);
                {
                    const std::lock_guard<std::mutex> lock(mutex_);
                    requests_.push_back(request);
                }
                (void)!::write(fd, answer_.data(), answer_.size());
                if (!stall_) {
                    ::shutdown(fd, SHUT_RDWR);
                }
            }
        });
    }
    ~ScriptedServer() {
        ::shutdown(fd_, SHUT_RDWR);  // ends the accept
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            for (const int fd : open_) {
                ::shutdown(fd, SHUT_RDWR);  // and any read
            }
        }
        thread_.join();
        for (const int fd : open_) {
            ::close(fd);
        }
    }
    std::vector<std::string> Requests() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }

private:
    // Up to the blank line and the body its Content-Length announces.
    static std::string ReadRequest(int fd) {
        std::string text;
        char chunk[4096];
        for (;;) {
            const size_t end = text.find("\r\n\r\n");
            const size_t length_at = text.find("Content-Length: ");
            const size_t length = length_at < end ? std::stoul(text.substr(length_at + 16)) : 0;
            if (end != std::string::npos && text.size() >= end + 4 + length) {
                return text;
            }
            const ssize_t n = ::recv(fd, chunk, sizeof(chunk), 0);
            if (n <= 0) {
                return text;
            }
            text.append(chunk, static_cast<size_t>(n));
        }
    }

    std::string answer_;
    bool stall_;
    mutable std::mutex mutex_;
    std::vector<int> open_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

// A port on 127.0.0.1 that nothing listens on (found free, then released).
inline int UnusedLoopbackPort() { return SilentServer().port(); }

// `openssl s_server` on 127.0.0.1 with a freshly made self-signed
// certificate: a TLS peer no client should trust. Stopped with the object.
class TlsServer {
public:
    explicit TlsServer(const TempRoot& root) {
        const std::string key = root.Path("/tls-key.pem");
        const std::string cert = root.Path("/tls-cert.pem");
        if (std::system(("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=127.0.0.1 -days 1 -keyout " + key +
                         " -out " + cert + " >/dev/null 2>&1")
                            .c_str()) != 0) {
            return;
        }
        const int port = UnusedLoopbackPort();
        server_ = std::make_unique<ChildProcess>([port, key, cert] {
            const std::string accept = "127.0.0.1:" + std::to_string(port);
            ::execlp("openssl", "openssl", "s_server", "-quiet", "-accept", accept.c_str(), "-cert", cert.c_str(),
                     "-key", key.c_str(), "-www", static_cast<char*>(nullptr));
            return 3;
        });
        for (int i = 0; i < 200 && port_ < 0; ++i) {
            const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
            const sockaddr_in address = LoopbackAddress(port);
            if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
                port_ = port;
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(25));
            }
            ::close(fd);
        }
    }
    bool ready() const { return port_ > 0; }
    std::string BaseUrl() const { return "https://127.0.0.1:" + std::to_string(port_); }

private:
    int port_ = -1;
    std::unique_ptr<ChildProcess> server_;
};

}  // namespace quilkova::test

#endif
