#include "Ulva/IntfEncap.h"

#include "Fen/Strep.h"

namespace Ulva {

std::ostream& operator<<(std::ostream& os, IntfEncap const& e) {
   return os << "(" << e.intfId() << ", " << e.encap() << ")";
}

IntfEncap::IntfEncap(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
   Fen::needString(it, end, "Value('Ulva::IntfEncap', ** {");
   Fen::needString(it, end, "'intfId': ");
   intfId_ = Fen::deserializeAttr<Kestin::IntfId>(it, end, "intfId");
   Fen::needString(it, end, ", 'encap': ");
   encap_ = Fen::deserializeAttr<VlanTagEncap>(it, end, "encap");
   Fen::needString(it, end, "})");
}

Fen::String valueToStrep(IntfEncap const& e) {
   return Fen::format("Value('Ulva::IntfEncap', ** {'intfId': %s, 'encap': %s})",
                      Kestin::valueToStrep(e.intfId()).charPtr(),
                      valueToStrep(e.encap()).charPtr());
}

}  // namespace Ulva
