#ifndef QUILKOVA_TESTS_TEMP_ROOT_HPP
#define QUILKOVA_TESTS_TEMP_ROOT_HPP

#include <sys/types.h>

#include <string>

namespace quilkova::test {

// A fresh directory used as QUILKOVA_ROOT for the lifetime of the object;
// removed with everything in it afterwards.
class TempRoot {
public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& root() const { return root_; }
    // The real path of an appliance path such as "/usr/quil/etc/x".
    std::string Path(const std::string& appliance_path) const { return root_ + appliance_path; }

    void WriteFile(const std::string& appliance_path, const std::string& content) const;
    std::string ReadFile(const std::string& appliance_path) const;
    bool Exists(const std::string& appliance_path) const;
    mode_t Mode(const std::string& appliance_path) const;  // permission bits; 0 when missing

private:
    std::string root_;
    std::string previous_root_;
    bool had_previous_root_ = false;
};

}  // namespace quilkova::test

#endif
