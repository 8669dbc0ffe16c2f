#pragma once
// Locale: a language and region ("en_US", "de_CH"), which formatters and calendars follow
// for names, digits, the first weekday and the measurement system. A value; copies share
// one ICU locale and may be used from any thread. The current locale starts as the host's
// (LANG, LC_ALL; "en_US_POSIX" for the C locale) and can be replaced at run time, by the
// host or by a test; a change posts NSCurrentLocaleDidChangeNotification.
//
//   Locale swiss("de_CH");
//   Locale::setCurrent(Locale("en_US_POSIX"));
//   std::string id = Locale::current().identifier();   // "en_US_POSIX"

#include <memory>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Locale;
U_NAMESPACE_END

namespace velmora {

class Locale {
  public:
    // Either separator is accepted ("en-US", "en_US"); identifier() answers ICU's
    // canonical form ("en_US"), so both spellings make equal locales.
    explicit Locale(std::string_view identifier);

    // Thread-safe. current() is the current locale as it is now, and stays so;
    // autoupdatingCurrent() answers as whatever locale is current when it is asked.
    [[nodiscard]] static Locale current();
    [[nodiscard]] static Locale autoupdatingCurrent();
    static void setCurrent(const Locale& locale);

    bool isAutoupdating() const { return !locale_; }
    // The fixed locale this one stands for now (itself unless auto-updating).
    [[nodiscard]] Locale resolved() const;

    [[nodiscard]] std::string identifier() const;
    // False where the locale measures in US or imperial units (en_US, en_LR, my_MM).
    [[nodiscard]] bool usesMetricSystem() const;

    // Equal when they stand for the same identifier now.
    friend bool operator==(const Locale& a, const Locale& b) {
        return a.identifier() == b.identifier();
    }

    // For the platform's other ICU wrappers.
    [[nodiscard]] std::shared_ptr<const icu::Locale> icuLocale() const;

  private:
    Locale() = default;  // auto-updating
    explicit Locale(std::shared_ptr<const icu::Locale> locale);

    std::shared_ptr<const icu::Locale> locale_;  // null: auto-updating
    std::string identifier_;
};

}  // namespace velmora
