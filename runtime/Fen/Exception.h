// Fen::RangeException: the one exception of the runtime. Bad text and bad values
// raise it, with a message that names what was wrong.
#pragma once

#include <stdexcept>

#include "Fen/String.h"

namespace Fen {

class RangeException : public std::range_error {
public:
   explicit RangeException(String const& message) : std::range_error(message.stdString()) {}
   String message() const { return String(what()); }
};

// Throws RangeException carrying `message`.
[[noreturn]] void throwRangeException(String const& message);

// printf-style formatting into a Fen::String.
String format(char const* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Fen
