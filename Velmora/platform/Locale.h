#pragma once
// Locale: a language and region ("en_US", "de_CH"), which formatters follow for names,
// digits and calendars. A value; copies share one ICU locale and may be used from any
// thread. The current locale starts as the host's (LANG, LC_ALL; "en_US_POSIX" for the C
// locale) and can be replaced at run time, by the host or by a test.
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

    // Thread-safe.
    [[nodiscard]] static Locale current();
    static void setCurrent(const Locale& locale);

    const std::string& identifier() const { return identifier_; }
    friend bool operator==(const Locale& a, const Locale& b) {
        return a.identifier_ == b.identifier_;
    }

    // For the platform's other ICU wrappers; only const ICU calls are safe on it.
    const icu::Locale& icuLocale() const { return *locale_; }

  private:
    explicit Locale(std::shared_ptr<const icu::Locale> locale);

    std::shared_ptr<const icu::Locale> locale_;
    std::string identifier_;
};

}  // namespace velmora
