#pragma once
// SoundEx: a phonetic key for names, so that differently spelt names match ("Robert"
// and "Rupert" both give "R163"). The key is the name's first letter followed by digits
// for the consonant sounds that follow.
//
// Modes: 0 is the refined variant (spelling rules such as "PH" as "F" before coding,
// and a code length of 4 to 10); 1 the American rule, where H and W do not separate
// equal codes, length 4; any other value the plain rule, length 4. Only ASCII letters
// count, and only the first 31 bytes of the name are read.
//
// Thread safety: pure functions.
//
//   soundEx("Ashcraft", 4, 1);            // "A261"
//   char code[kSoundExBufferSize];
//   int length = SoundEx(code, "Robert", 4, 2);   // 4, code holds "R163"

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

// The longest code (mode 0) and the output room SoundEx needs for it and its terminator.
inline constexpr int kSoundExMaxLength = 10;
inline constexpr std::size_t kSoundExBufferSize = kSoundExMaxLength + 1;

// The code for name, or empty text when the name has no ASCII letter among its first
// 31 bytes. length is honoured in mode 0 only (at most 10; below 5 taken as 4).
std::string soundEx(std::string_view name, int length = 4, int mode = 2);

extern "C" {
// The C form: writes the zero-terminated code to soundex and returns its length, or
// clears soundex and returns 0 when name is null or has no letter.
// REQUIRES: soundex has room for kSoundExBufferSize bytes; name is zero-terminated.
int SoundEx(char* soundex, const char* name, int length, int mode);
}

}  // namespace velmora
