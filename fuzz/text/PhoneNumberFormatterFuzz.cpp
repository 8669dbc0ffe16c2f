// The phone formatter lays out whatever the user types: any bytes must come back as
// keypad characters and the patterns' own literals only, holding exactly the typed keypad
// characters, and stripping first must not change the layout.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Velmora/text/PhoneNumberFormatter.h"

#include "fuzz/text/ExactInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    static const velmora::PhoneNumberFormatter formatter;
    static const char* const kCountries[] = {"us", "gb", "jp", "de", "GB", "fr"};
    const char* country = kCountries[data[0] % 6];
    const bool known = data[0] % 6 < 5;
    const velmora::fuzzing::ExactInput input(data + 1, size - 1);

    const std::string formatted = formatter.format(input.view(), country);
    const std::string stripped = velmora::PhoneNumberFormatter::strip(input.view());
    if (velmora::PhoneNumberFormatter::strip(stripped) != stripped) {
        std::abort();
    }
    if (!known) {
        if (formatted != input.view()) {
            std::abort();
        }
        return 0;
    }
    if (formatted.find_first_not_of("0123456789#*+ ()-") != std::string::npos ||
        velmora::PhoneNumberFormatter::strip(formatted) != stripped ||
        formatter.format(stripped, country) != formatted) {
        std::abort();
    }
    return 0;
}
