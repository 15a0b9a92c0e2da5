#include "Fen/Hash.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <random>

#include "Fen/Exception.h"

namespace Fen {

std::uint32_t makeHashSeed32() {
   std::random_device rd;
   std::uint64_t const t =
       static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
   return rd() ^ static_cast<std::uint32_t>(t) ^ static_cast<std::uint32_t>(t >> 32);
}

std::uint32_t hashSeed32FromText(char const* text) {
   // Decimal, or hexadecimal after 0x; no sign, no blanks, no octal.
   bool const hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
   char const* const digits = hex ? text + 2 : text;
   char* end = nullptr;
   errno = 0;
   unsigned long long const v = std::strtoull(digits, &end, hex ? 16 : 10);
   bool const wellFormed = std::isxdigit(static_cast<unsigned char>(digits[0])) && *end == '\0' &&
                           errno == 0 && v <= 0xFFFFFFFFull;
   if (!wellFormed) {
      throw RangeException(String("hash seed \"") + String(text) +
                           String("\" is not a 32-bit number"));
   }
   return static_cast<std::uint32_t>(v);
}

}  // namespace Fen
