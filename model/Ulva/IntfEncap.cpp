#include "Ulva/IntfEncap.h"

#include "Fen/Strep.h"

namespace Ulva {

std::ostream& operator<<(std::ostream& os, IntfEncap const& e) {
   return os << "(" << e.intfId() << ", " << e.encap() << ")";
}

}  // namespace Ulva
