#ifndef QUILKOVA_BENCH_ENV_HPP
#define QUILKOVA_BENCH_ENV_HPP

#include <string>

#include "sim/simulator.hpp"

// The appliance the benchmarks run on: a fresh root prefix with a device, a
// bound account, a login configuration and a valid token, and the simulator.
namespace quilkova::bench {

struct Environment {
    std::string root;
    sim::Simulator* simulator = nullptr;
    bool smoke = false;  // one quick pass, as CI runs it
};

Environment& Env();
std::string Slurp(const std::string& path);
// A valid token file for the client "hos", saved `age` seconds ago.
void WriteHosToken(long long age);

}  // namespace quilkova::bench

#endif
