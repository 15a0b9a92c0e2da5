// Fen::RangeException: the one exception of the runtime. Bad text and bad values
// raise it, with a message that names what was wrong.
#pragma once

#include <cstdint>
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

// Refuses a null argument of a mutator that makes a member of a reactor
// collection: throws RangeException naming the class and the attribute.
[[noreturn]] void throwMutatorArgNullPointerException(char const* type, std::uint32_t attributeId);

// printf-style formatting into a Fen::String.
String format(char const* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Fen
