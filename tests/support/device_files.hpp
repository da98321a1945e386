#ifndef QUILKOVA_TESTS_DEVICE_FILES_HPP
#define QUILKOVA_TESTS_DEVICE_FILES_HPP

#include <string>

#include "temp_root.hpp"

namespace quilkova::test {

constexpr const char* kDeviceFile = "/etc.defaults/quilinfo.conf";

// A device file with a serial, a MAC, a model and a firmware; an empty
// argument leaves that key out.
inline void WriteDevice(const TempRoot& root, const std::string& serial = "2150ABCD1234",
                        const std::string& mac = "00:11:32:aa:bb:cc") {
    std::string content = "model=\"QN-420\"\nfirmware=\"7.2.1\"\n";
    if (!serial.empty()) {
        content += "serial=\"" + serial + "\"\n";
    }
    if (!mac.empty()) {
        content += "mac=\"" + mac + "\"\n";
    }
    root.WriteFile(kDeviceFile, content);
}

// Writes an executable shell script.
void WriteScript(const TempRoot& root, const std::string& appliance_path, const std::string& body);

}  // namespace quilkova::test

#endif
