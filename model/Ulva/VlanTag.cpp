#include "Ulva/VlanTag.h"

#include "Fen/Exception.h"
#include "Fen/Hash.h"
#include "Fen/Strep.h"

namespace Ulva {

void VlanTag::vidIs(std::uint32_t vid) {
   if (vid > vidMax) Fen::throwRangeException("Ulva::VlanTag::vid < 0 or > 4097 not allowed");
   vid_ = static_cast<std::uint16_t>(vid);
}

VlanTag vlanTag(std::uint32_t vid, Bridging::VlanTpid tpid) {
   VlanTag t;
   t.vidIs(vid);
   t.tpidIs(tpid);
   return t;
}

std::uint32_t VlanTagEncap::hash(std::uint32_t seed) const {
   Fen::Hash h(seed);
   h.hashMix<8>(tagWord());
   if (std::uint32_t const flags = flagWord()) h.hashMix<4>(flags);
   return h.result();
}

void VlanTag::parseVid(VlanTag& tag, Fen::String::IteratorConst& it,
                       Fen::String::IteratorConst const& end) {
   std::uint64_t const vid = Fen::sequenceToDecimal(it, end);
   tag.vidIs(vid > vidMax ? std::uint32_t{vidMax} + 1 : static_cast<std::uint32_t>(vid));
}

std::ostream& operator<<(std::ostream& os, VlanTag const& tag) {
   return os << tag.vid() << ":" << tag.tpid();
}

std::ostream& operator<<(std::ostream& os, VlanTagEncap const& encap) {
   return os << encap.outerTag() << ", " << encap.innerTag();
}

}  // namespace Ulva
