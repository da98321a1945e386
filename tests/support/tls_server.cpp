#include "tls_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace quilkova::test {

namespace {
sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool Accepts(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = Loopback(port);
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fd);
    return connected;
}
}  // namespace

SilentServer::SilentServer() : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof(address);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 && ::listen(fd_, 16) == 0 &&
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port_ = ntohs(address.sin_port);
    }
}

SilentServer::~SilentServer() { ::close(fd_); }

TlsServer::TlsServer(const TempRoot& root) {
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
        ::execlp("openssl", "openssl", "s_server", "-quiet", "-accept", accept.c_str(), "-cert", cert.c_str(), "-key",
                 key.c_str(), "-www", static_cast<char*>(nullptr));
        return 3;
    });
    for (int i = 0; i < 200; ++i) {
        if (Accepts(port)) {
            port_ = port;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
}

}  // namespace quilkova::test
