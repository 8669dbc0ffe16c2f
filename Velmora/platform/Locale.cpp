#include "Velmora/platform/Locale.h"

#include <mutex>
#include <optional>
#include <utility>

#include <unicode/locid.h>

#include "Velmora/platform/NoDestructor.h"

namespace velmora {
namespace {

struct CurrentLocale {
    std::mutex mutex;  // guards locale
    std::optional<Locale> locale;
};

CurrentLocale& currentLocale() {
    static NoDestructor<CurrentLocale> instance;
    return *instance;
}

}  // namespace

Locale::Locale(std::string_view identifier)
    : Locale(std::make_shared<const icu::Locale>(std::string(identifier).c_str())) {}

Locale::Locale(std::shared_ptr<const icu::Locale> locale)
    : locale_(std::move(locale)), identifier_(locale_->getName()) {}

Locale Locale::current() {
    CurrentLocale& current = currentLocale();
    std::lock_guard<std::mutex> lock(current.mutex);
    if (!current.locale) {
        current.locale = Locale(std::make_shared<const icu::Locale>(icu::Locale::getDefault()));
    }
    return *current.locale;
}

void Locale::setCurrent(const Locale& locale) {
    CurrentLocale& current = currentLocale();
    std::lock_guard<std::mutex> lock(current.mutex);
    current.locale = locale;
}

}  // namespace velmora
