// Ulva::IntfEncap: an interface with up to two VLAN tags, the key of nearly every
// collection of the system. A service encap is the encap of a service interface
// with both tags at their default.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/Hash.h"
#include "Fen/Record.h"
#include "Kestin/IntfId.h"
#include "Ulva/VlanTag.h"
#include "Ulva/Module.h"

namespace Ulva {

class IntfEncap {
public:
   IntfEncap() = default;
   explicit IntfEncap(Kestin::IntfId intfId, VlanTagEncap const& encap = VlanTagEncap())
       : intfId_(intfId), encap_(encap) {}
   // Parses the string form (see valueToStrep).
   IntfEncap(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   Kestin::IntfId intfId() const { return intfId_; }
   VlanTagEncap const& encap() const { return encap_; }

   bool operator==(IntfEncap const& o) const { return Fen::recordEqual(*this, o); }
   bool operator<(IntfEncap const& o) const {
      return intfId_ < o.intfId_ || (intfId_ == o.intfId_ && encap_ < o.encap_);
   }
   // Seeded 32-bit hash, packed: the id and the tags mixed as two words, the flags
   // only when set. The key of nearly every map: written out so that it stays
   // two mixes.
   std::uint32_t hash(std::uint32_t seed) const {
      Fen::Hash h(seed);
      h.hashMix<8>(intfId_.value());
      h.hashMix<8>(encap_.tagWord());
      if (std::uint32_t const flags = encap_.flagWord()) h.hashMix<4>(flags);
      return h.result();
   }

private:
   Kestin::IntfId intfId_;
   VlanTagEncap encap_;

public:
   // The fields, in declaration order (see Fen/Record.h).
   using FenFields =
       Fen::Fields<"Ulva::IntfEncap", Fen::Field<&IntfEncap::intfId_, "intfId", Fen::ctorOnly>,
                   Fen::Field<&IntfEncap::encap_, "encap", Fen::ctorOnly>>;
};

// "(Ethernet3/1, 100:0x8100, 4095:0x8100)"
std::ostream& operator<<(std::ostream& os, IntfEncap const& e);
// The parseable string form, beside the readable one above:
//   Value('Ulva::IntfEncap', ** {'intfId': 'Ethernet3/1', 'encap': <VlanTagEncap>})
inline Fen::String valueToStrep(IntfEncap const& e) {
   return Fen::recordToStrep(e);
}

}  // namespace Ulva
