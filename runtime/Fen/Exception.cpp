#include "Fen/Exception.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Fen/Assert.h"

namespace Fen {

void throwRangeException(String const& message) {
   throw RangeException(message);
}

void throwMutatorArgNullPointerException(char const* type, std::uint32_t attributeId) {
   throw RangeException(
       format("%s: attribute %u takes no null pointer as a member", type, attributeId));
}

String format(char const* pattern, ...) {
   va_list args;
   va_start(args, pattern);
   va_list copy;
   va_copy(copy, args);
   int const n = std::vsnprintf(nullptr, 0, pattern, copy);
   va_end(copy);
   std::string out(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
   if (n > 0) std::vsnprintf(out.data(), out.size() + 1, pattern, args);
   va_end(args);
   return String(std::move(out));
}

void assertionFailed(char const* expressionText, char const* file, int line,
                     char const* function) noexcept {
   std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function,
                expressionText);
   std::fflush(stderr);
   std::abort();
}

}  // namespace Fen
