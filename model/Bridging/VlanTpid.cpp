#include "Bridging/VlanTpid.h"

#include <cstdio>

namespace Bridging {

std::ostream& operator<<(std::ostream& os, VlanTpid tpid) {
   char buf[8];
   std::snprintf(buf, sizeof buf, "0x%04x", static_cast<unsigned>(tpid));
   return os << buf;
}

}  // namespace Bridging
