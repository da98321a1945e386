#ifndef QUILKOVA_TESTS_OPERATIONS_FIXTURE_HPP
#define QUILKOVA_TESTS_OPERATIONS_FIXTURE_HPP

#include <memory>
#include <string>

#include "account_fixture.hpp"
#include "device_files.hpp"
#include "quilkova/user.hpp"
#include "seed.hpp"
#include "sim/simulator.hpp"

namespace quilkova::test {

// An appliance under a fresh root whose account host is a simulator holding
// owner@example.com (password "s3cret"), with recording "kova/login" and
// "kova/logout" plug-ins.
class OperationsTest : public AccountTest {
protected:
    void SetUp() override {
        AccountTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        WriteDevice(root());
        root().WriteFile("/etc/timezone", "Pacific/Auckland\n");
        Json::Value seed = OwnerSeed("s3cret");
        Json::Value& account = seed["accounts"][0];
        account["full_name"] = "Ann Owner";
        account["country"] = "NZ";
        account["timezone"] = "Pacific/Auckland";
        account["notify_language"] = "enu";
        account["activated"] = true;
        account["enews_local_promotion"] = true;
        account["critical_version_list"] = "7.1,7.2";
        sim_ = std::make_unique<sim::Simulator>(seed);
        ASSERT_GT(sim_->Start(), 0);
        User().SetAccountHost(sim_->BaseUrl());
        for (const char* event : {"login", "logout"}) {
            WriteScript(root(), std::string("/usr/quil/lib/plugins/kova/") + event + ".d/10-record",
                        std::string("echo \"") + event + " $1 [$QUIL_PLUGIN_ACCOUNT]\" >> " + root().Path("/plugin-calls"));
        }
    }

    sim::Simulator& sim() { return *sim_; }
    size_t Sent(const std::string& path) { return sim_->RequestsTo(path).size(); }
    void Answer(const std::string& path, const std::string& body) { sim_->Queue(path, {200, body, 0}); }
    std::string PluginCalls() { return root().ReadFile("/plugin-calls"); }

private:
    std::unique_ptr<sim::Simulator> sim_;
};

}  // namespace quilkova::test

#endif
