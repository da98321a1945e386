#ifndef QUILKOVA_TESTS_TLS_SERVER_HPP
#define QUILKOVA_TESTS_TLS_SERVER_HPP

#include <memory>
#include <string>

#include "child_process.hpp"
#include "temp_root.hpp"

namespace quilkova::test {

// `openssl s_server` on 127.0.0.1 with a freshly made self-signed
// certificate: a TLS peer no client should trust. Stopped with the object.
class TlsServer {
public:
    explicit TlsServer(const TempRoot& root);
    bool ready() const { return port_ > 0; }
    std::string BaseUrl() const { return "https://127.0.0.1:" + std::to_string(port_); }

private:
    int port_ = -1;
    std::unique_ptr<ChildProcess> server_;
};

// A socket on 127.0.0.1 that accepts connections into its backlog and never answers.
class SilentServer {
public:
    SilentServer();
    ~SilentServer();
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    int port() const { return port_; }

private:
    int fd_;
    int port_ = -1;
};

// A port on 127.0.0.1 that nothing listens on (found free, then released).
inline int UnusedLoopbackPort() { return SilentServer().port(); }

}  // namespace quilkova::test

#endif
