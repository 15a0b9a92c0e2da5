#include "Fen/Hash.h"

#include <chrono>
#include <random>

namespace Fen {

std::uint32_t makeHashSeed32() {
   std::random_device rd;
   std::uint64_t const t =
       static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
   return rd() ^ static_cast<std::uint32_t>(t) ^ static_cast<std::uint32_t>(t >> 32);
}

}  // namespace Fen
