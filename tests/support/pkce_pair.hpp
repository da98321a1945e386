#ifndef QUILKOVA_TESTS_PKCE_PAIR_HPP
#define QUILKOVA_TESTS_PKCE_PAIR_HPP

#include <openssl/rand.h>

#include <string>

#include "sim/simulator.hpp"

namespace quilkova::test {


// A PKCE verifier and its S256 challenge, as a browser login would make them.
struct PkcePair {
    std::string verifier;
    std::string challenge;

    PkcePair() {
        unsigned char random[32];
        RAND_bytes(random, sizeof(random));
        verifier = sim::Base64Url(random, sizeof(random));
        challenge = sim::S256(verifier);
    }
};

}  // namespace quilkova::test

#endif
