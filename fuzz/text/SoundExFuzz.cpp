// SoundEx reads names typed by users: any bytes must give either no code or a letter
// followed by digits, of the length the mode allows, and the C form must agree with the
// C++ one while reading no further than the name's first 31 bytes or its terminator.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Velmora/text/SoundEx.h"

#include "fuzz/text/ExactInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    // The first two bytes choose the mode (0, 1, 2 or another value) and the length.
    const int mode = data[0] % 4 == 3 ? static_cast<std::int8_t>(data[0]) : data[0] % 4;
    const int length = static_cast<std::int8_t>(data[1]);
    const velmora::fuzzing::ExactInput input(data + 2, size - 2);

    const std::string code = velmora::soundEx(input.view(), length, mode);
    if (!code.empty()) {
        const std::size_t expected =
            mode == 0 && length > 4 ? static_cast<std::size_t>(std::min(length, 10)) : 4u;
        if (code.size() != expected || code[0] < 'A' || code[0] > 'Z' ||
            code.find_first_not_of("0123456", 1) != std::string::npos) {
            std::abort();
        }
    }

    char buffer[velmora::kSoundExBufferSize];
    const int written = velmora::SoundEx(buffer, input.cString(), length, mode);
    const std::string fromC = velmora::soundEx(
        std::string_view(input.cString(), strnlen(input.cString(), 31)), length, mode);
    if (written != static_cast<int>(fromC.size()) || fromC != buffer) {
        std::abort();
    }
    return 0;
}
