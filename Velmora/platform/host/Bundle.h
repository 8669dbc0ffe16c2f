#pragma once
// Bundle: the application's localised texts. The key of a text is its English wording;
// lookups go through gettext, so a key without a translation comes back as itself (or
// as the given default value when there is one). A table is a gettext text domain; the
// default table is the bundle's own domain, "velmora" unless the host sets another.
// Which language is used is gettext's choice (LANGUAGE, LC_ALL, LC_MESSAGES and the
// process's C locale).
//
// Thread safety: every operation may be used from any thread.
//
//   Bundle::main().bindTextDomain("velmora", "/usr/share/locale");
//   std::string sunday = Bundle::main().localizedString("Sunday");
//   std::string id = Bundle::main().bundleIdentifier();

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

namespace velmora {

class Bundle {
  public:
    static constexpr std::string_view kDefaultTextDomain = "velmora";

    static Bundle& main();

    // Application::shared()'s identifier and display name.
    std::string bundleIdentifier() const;
    std::string displayName() const;

    // The text for key in table (the default domain when empty). Untranslated: value
    // when it is not empty, else key. An empty key gives value.
    std::string localizedString(std::string_view key, std::string_view value = {},
                                std::string_view table = {}) const;

    // The domain of the default table, and where a domain's catalogues are
    // (<directory>/<language>/LC_MESSAGES/<domain>.mo).
    std::string textDomain() const;
    void setTextDomain(std::string domain);
    void bindTextDomain(const std::string& domain, const std::filesystem::path& directory);

    // Use main(); public only so that the process-wide instance can be built.
    Bundle() = default;
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;

  private:
    mutable std::mutex mutex_;  // guards textDomain_
    std::string textDomain_{kDefaultTextDomain};
};

}  // namespace velmora
