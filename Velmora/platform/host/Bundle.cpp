#include "Velmora/platform/host/Bundle.h"

#include <libintl.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/host/Application.h"

namespace velmora {

Bundle& Bundle::main() {
    static NoDestructor<Bundle> bundle;
    return *bundle;
}

std::string Bundle::bundleIdentifier() const {
    return Application::shared()->bundleIdentifier();
}

std::string Bundle::displayName() const {
    return Application::shared()->displayName();
}

std::string Bundle::localizedString(std::string_view key, std::string_view value,
                                    std::string_view table) const {
    // gettext answers its catalogue header for the empty key, so that is never asked.
    if (key.empty()) {
        return std::string(value);
    }
    const std::string domain = table.empty() ? textDomain() : std::string(table);
    const std::string message(key);
    const char* translated = ::dgettext(domain.c_str(), message.c_str());
    // gettext hands back its argument itself when there is no translation.
    if (translated == message.c_str()) {
        return value.empty() ? message : std::string(value);
    }
    return translated;
}

std::string Bundle::textDomain() const {
    std::lock_guard lock(mutex_);
    return textDomain_;
}

void Bundle::setTextDomain(std::string domain) {
    std::lock_guard lock(mutex_);
    textDomain_ = std::move(domain);
}

void Bundle::bindTextDomain(const std::string& domain, const std::filesystem::path& directory) {
    ::bindtextdomain(domain.c_str(), directory.c_str());
    ::bind_textdomain_codeset(domain.c_str(), "UTF-8");
}

}  // namespace velmora
