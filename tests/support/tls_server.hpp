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

// A port on 127.0.0.1 that nothing listens on (found free, then released).
int UnusedLoopbackPort();

}  // namespace quilkova::test

#endif
