// The date suites write the user's week start into the standard defaults; they must never
// touch the real ones. Before main, the process's home is pointed at a directory of its
// own, removed again at exit.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

class TemporaryHome {
  public:
    TemporaryHome() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "velmora-dates-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
            ::setenv("VELMORA_HOME", path_.c_str(), /*overwrite=*/1);
        }
    }
    ~TemporaryHome() {
        std::error_code ignored;
        if (!path_.empty()) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

  private:
    std::filesystem::path path_;
};

const TemporaryHome kHome;

}  // namespace
