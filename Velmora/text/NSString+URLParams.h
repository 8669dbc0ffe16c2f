#pragma once
// NSString+URLParams: the query-string helpers of callback URLs. One side appends
// parameters to a URL, the other reads a query back into a dictionary, and what one
// writes the other reads back exactly, for any keys and values ("&", "=", "+", "%",
// non-ASCII, invalid UTF-8 and empty texts included): keys and values are
// percent-encoded except for letters, digits and "-._~".
//
// Thread safety: every function may be called from any thread at once.
//
//   std::string url = stringByAppendingURLParams("app://x-callback-url/add?",
//                                                Dictionary{{"title", "Milk & eggs"}});
//   parseURLParams("title=Milk%20%26%20eggs");   // {title = "Milk & eggs"}

#include <string>
#include <string_view>

#include "Velmora/platform/foundation/Dictionary.h"

namespace velmora {

// The query text read as key=value pairs separated by "&", keys and values
// percent-decoded, as string Values in the order met; a later repeat of a key replaces
// its value. A pair without "=" gives an empty value; empty pairs ("&&") are skipped. "+"
// stays "+" (this is not form encoding), and a "%" without two hexadecimal digits stays
// as written.
Dictionary parseURLParams(std::string_view query);

// The URL followed by the parameters as percent-encoded key=value pairs joined by "&",
// in the dictionary's order. They start after "?" when the URL has no query, after "&"
// when it has one, and directly when it already ends in "?" or "&". Keys and values that
// are not strings are written as their description ("IACResponseType" = 0 gives
// "IACResponseType=0"). No parameters: the URL unchanged.
std::string stringByAppendingURLParams(std::string_view url, const Dictionary& params);

// A new random (version 4) UUID in the platform's text form: 36 characters, upper-case
// hexadecimal digits in groups of 8-4-4-4-12 separated by "-".
std::string stringWithUUID();

}  // namespace velmora
