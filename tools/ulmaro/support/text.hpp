// Text from outside on its way to a terminal.
#pragma once

#include <string>
#include <string_view>

namespace ulmaro::tool {

/// text on one line and without anything that a terminal would act on: control characters, including those above 0x7f,
/// and bytes that are not UTF-8 become \n, \r, \t or three octal digits after a backslash.
std::string printable(std::string_view text);

/// text as a string of JSON, quotes included. Bytes that are not UTF-8 become lone surrogates, U+DC00 plus the byte, as
/// Python writes file names.
std::string json_string(std::string_view text);

/// "ulmaro: message" as one line on standard error, after everything already sent to standard output.
void complain(const std::string& message);

}  // namespace ulmaro::tool
