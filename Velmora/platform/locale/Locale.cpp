#include "Velmora/platform/locale/Locale.h"

#include <utility>

#include <unicode/locid.h>
#include <unicode/ulocdata.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/ProcessWide.h"
#include "Velmora/platform/foundation/SystemNotifications.h"

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

Locale Locale::autoupdatingCurrent() {
    return Locale();
}

void Locale::setCurrent(const Locale& locale) {
    const Locale fixed = locale.resolved();
    const Locale previous = currentLocale().get();
    currentLocale().set(fixed);
    if (!(previous == fixed)) {
        NotificationCenter::defaultCenter().post(NSCurrentLocaleDidChangeNotification);
    }
}

Locale Locale::resolved() const {
    return isAutoupdating() ? current() : *this;
}

std::string Locale::identifier() const {
    return isAutoupdating() ? current().identifier_ : identifier_;
}

std::shared_ptr<const icu::Locale> Locale::icuLocale() const {
    return isAutoupdating() ? current().locale_ : locale_;
}

bool Locale::usesMetricSystem() const {
    UErrorCode status = U_ZERO_ERROR;
    const UMeasurementSystem system =
        ulocdata_getMeasurementSystem(icuLocale()->getName(), &status);
    return U_FAILURE(status) || system == UMS_SI;
}

}  // namespace velmora
