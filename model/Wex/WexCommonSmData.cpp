#include "Wex/WexCommonSmData.h"

namespace Wex {

bool WexLagPortList::operator==(WexLagPortList const& o) const {
   if (port_.size() != o.port_.size()) return false;
   for (PortMap::IteratorConst it(port_); it; it.advance()) {
      auto const* theirs = o.port_[it.key()];
      if (!theirs || theirs->value != it.currNodeNonStale()->value) return false;
   }
   return true;
}

Fen::Ptr<WexCommonSmData> wexCommonSmDataFactory() {
   return WexCommonSmData::WexCommonSmDataIs();
}

}  // namespace Wex
