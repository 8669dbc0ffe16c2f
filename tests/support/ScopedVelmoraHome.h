#pragma once
// Points $VELMORA_HOME at a new scratch directory for the scope's lifetime, then restores
// the previous value and removes the directory. Also forgets the standard user defaults,
// so they are read again from the scratch directory, and writes pending suites first.

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "Velmora/platform/host/UserDefaults.h"

namespace velmora::testing {

class ScopedVelmoraHome {
  public:
    ScopedVelmoraHome() {
        if (const char* previous = std::getenv("VELMORA_HOME")) {
            previous_ = previous;
        }
        std::string pattern =
            (std::filesystem::temp_directory_path() / "velmora-home-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            ADD_FAILURE() << "mkdtemp failed";
        }
        path_ = pattern;
        ::setenv("VELMORA_HOME", path_.c_str(), 1);
        UserDefaults::resetStandardUserDefaults();
    }
    ~ScopedVelmoraHome() {
        UserDefaults::resetStandardUserDefaults();
        UserDefaults::synchronizeAll();  // before a pending write recreates the directory
        if (previous_) {
            ::setenv("VELMORA_HOME", previous_->c_str(), 1);
        } else {
            ::unsetenv("VELMORA_HOME");
        }
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScopedVelmoraHome(const ScopedVelmoraHome&) = delete;
    ScopedVelmoraHome& operator=(const ScopedVelmoraHome&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::optional<std::string> previous_;
    std::filesystem::path path_;
};

}  // namespace velmora::testing
