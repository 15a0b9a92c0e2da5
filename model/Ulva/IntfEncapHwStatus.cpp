#include "Ulva/IntfEncapHwStatus.h"

namespace Ulva {

char const* hwStatusName(IntfEncapHwStatus s) {
   switch (s) {
      case hwStatusFailed:
         return "hwStatusFailed";
      case hwStatusNotReady:
         return "hwStatusNotReady";
      case hwStatusSuccess:
         return "hwStatusSuccess";
   }
   return nullptr;
}

std::ostream& operator<<(std::ostream& os, IntfEncapHwStatus s) {
   if (char const* name = hwStatusName(s)) return os << name;
   return os << "IntfEncapHwStatus(" << static_cast<unsigned>(s) << ")";
}

}  // namespace Ulva
