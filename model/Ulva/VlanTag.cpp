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

VlanTag::VlanTag(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
   Fen::needString(it, end, "Value('Ulva::VlanTag', ** {");
   Fen::needString(it, end, "'vid': ");
   try {
      // Any number above 4097, however long, gets the message of vidIs.
      std::uint64_t const vid = Fen::sequenceToDecimal(it, end);
      vidIs(vid > vidMax ? std::uint32_t{vidMax} + 1 : static_cast<std::uint32_t>(vid));
   } catch (Fen::RangeException const& e) {
      Fen::rethrowFromDeserializeAttr(e, "vid");
   }
   Fen::needString(it, end, ", 'tpid': ");
   tpid_ = Fen::deserializeAttr<Bridging::VlanTpid>(it, end, "tpid");
   Fen::needString(it, end, ", 'tagFlags': ");
   tagFlags_ = Fen::deserializeAttr<std::uint8_t>(it, end, "tagFlags");
   Fen::needString(it, end, "})");
}

VlanTagEncap::VlanTagEncap(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
   Fen::needString(it, end, "Value('Ulva::VlanTagEncap', ** {");
   Fen::needString(it, end, "'outerTag': ");
   outerTag_ = Fen::deserializeAttr<VlanTag>(it, end, "outerTag");
   Fen::needString(it, end, ", 'innerTag': ");
   innerTag_ = Fen::deserializeAttr<VlanTag>(it, end, "innerTag");
   Fen::needString(it, end, "})");
}

Fen::String valueToStrep(VlanTag const& tag) {
   return Fen::format("Value('Ulva::VlanTag', ** {'vid': %u, 'tpid': %s, 'tagFlags': %u})",
                      unsigned{tag.vid()}, Bridging::valueToStrep(tag.tpid()).charPtr(),
                      unsigned{tag.tagFlags()});
}

Fen::String valueToStrep(VlanTagEncap const& encap) {
   return Fen::format("Value('Ulva::VlanTagEncap', ** {'outerTag': %s, 'innerTag': %s})",
                      valueToStrep(encap.outerTag()).charPtr(),
                      valueToStrep(encap.innerTag()).charPtr());
}

std::ostream& operator<<(std::ostream& os, VlanTag const& tag) {
   return os << tag.vid() << ":" << tag.tpid();
}

std::ostream& operator<<(std::ostream& os, VlanTagEncap const& encap) {
   return os << encap.outerTag() << ", " << encap.innerTag();
}

}  // namespace Ulva
