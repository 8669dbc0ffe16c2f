#include "Velmora/platform/Locale.h"

#include <utility>

#include <unicode/locid.h>

#include "Velmora/platform/NoDestructor.h"
#include "Velmora/platform/ProcessWide.h"

namespace velmora {
namespace {

ProcessWide<Locale>& currentLocale() {
    static NoDestructor<ProcessWide<Locale>> instance(
        [] { return Locale(icu::Locale::getDefault().getName()); });
    return *instance;
}

}  // namespace

Locale::Locale(std::string_view identifier)
    : Locale(std::make_shared<const icu::Locale>(std::string(identifier).c_str())) {}

Locale::Locale(std::shared_ptr<const icu::Locale> locale)
    : locale_(std::move(locale)), identifier_(locale_->getName()) {}

Locale Locale::current() {
    return currentLocale().get();
}

void Locale::setCurrent(const Locale& locale) {
    currentLocale().set(locale);
}

}  // namespace velmora
