#include "Wex/WexCommonSmData.h"

#include <algorithm>
#include <vector>

#include "Fen/Strep.h"

namespace Wex {

bool WexLagPortList::operator==(WexLagPortList const& o) const {
   if (port_.size() != o.port_.size()) return false;
   for (PortMap::IteratorConst it(port_); it; it.advance()) {
      auto const* theirs = o.port_[it.key()];
      if (!theirs || theirs->value != it.currNodeNonStale()->value) return false;
   }
   return true;
}

Fen::String valueToStrep(WexLagPortList const& list) {
   std::vector<Kestin::IntfId> ports;
   for (WexLagPortList::PortMap::IteratorConst it(list.portMap()); it; it.advance())
      ports.push_back(it.key());
   std::sort(ports.begin(), ports.end());
   Fen::String out("[");
   for (std::size_t i = 0; i < ports.size(); ++i) {
      if (i) out += Fen::String(", ");
      out += valueToStrep(ports[i]);
   }
   return out + Fen::String("]");
}

void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     WexLagPortList* out) {
   WexLagPortList list;
   Fen::needString(it, end, "[");
   if (it != end && *it == ']') {
      ++it;
   } else {
      for (;;) {
         Kestin::IntfId port;
         Kestin::sequenceToValue(it, end, &port);
         list.portIs(port, WexLagPort());
         if (it != end && *it == ']') {
            ++it;
            break;
         }
         Fen::needString(it, end, ", ");
      }
   }
   *out = list;
}

Fen::Ptr<WexCommonSmData> wexCommonSmDataFactory() {
   return WexCommonSmData::WexCommonSmDataIs();
}

}  // namespace Wex
