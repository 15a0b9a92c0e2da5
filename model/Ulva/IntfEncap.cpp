#include "Ulva/IntfEncap.h"

#include "Fen/Strep.h"

namespace Ulva {

std::ostream& operator<<(std::ostream& os, IntfEncap const& e) {
   return os << "(" << e.intfId() << ", " << e.encap() << ")";
}

IntfEncap::IntfEncap(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
   Fen::recordParse(*this, it, end);
}

Fen::String valueToStrep(IntfEncap const& e) {
   return Fen::recordToStrep(e);
}

}  // namespace Ulva
