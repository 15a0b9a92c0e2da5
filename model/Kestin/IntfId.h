// Kestin::IntfId: the name of an interface, one 64-bit word passed by value.
//
// Accepted names (numbers in decimal, no leading zeros, each at least 1):
//   Ethernet<n>, Ethernet<n>/<m>, Ethernet<n>/<m>/<k>   Ethernet ports
//   Port-Channel<n>                                      LAGs
//   <Ethernet port or LAG>.<s>                           sub-interfaces
//   Vlan<n>                                              VLAN interfaces
// with n up to 65535 (Vlan: 4094), m and k up to 4095, s up to 1048575.
// `IntfId()` is the default id: no interface. Anything else raises
// Fen::RangeException quoting the text.
//
// The word holds, from the top: kind (4 bits), n (16), m (12), k (12), s (20).
// Comparing words therefore orders ids by kind and then numerically, so
// Ethernet2 comes before Ethernet10 and a port before its sub-interfaces; the
// default id comes first of all.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/String.h"
#include "Kestin/Module.h"

namespace Kestin {

class IntfId {
public:
   enum Kind : std::uint8_t { kindNone = 0, kindEthernet = 1, kindPortChannel = 2, kindVlan = 3 };
   static constexpr std::uint64_t defaultWord = 0xFFFFFFFFull;

   // The default id (what handleInitialized gives for the empty name).
   IntfId() : lo_(static_cast<std::uint32_t>(defaultWord)), hi_(0) {}
   explicit IntfId(Fen::String const& name) { handleInitialized(name); }
   explicit IntfId(char const* name) { handleInitialized(Fen::String(name)); }
   static IntfId fromWord(std::uint64_t word) {
      IntfId id;
      id.wordIs(word);
      return id;
   }

   // Initialises from a name; the empty string gives the default id.
   void handleInitialized(Fen::String const& name);

   std::uint64_t value() const { return (std::uint64_t{hi_} << 32) | lo_; }
   Kind kind() const { return static_cast<Kind>(hi_ >> 28); }
   bool operator==(IntfId o) const { return lo_ == o.lo_ && hi_ == o.hi_; }
   bool operator<(IntfId o) const { return value() < o.value(); }
   // 32-bit hash of the id, no seed.
   std::uint32_t hash() const;
   // The interface's name; the empty string for the default id.
   Fen::String stringValue() const;

private:
   void wordIs(std::uint64_t w) {
      lo_ = static_cast<std::uint32_t>(w);
      hi_ = static_cast<std::uint32_t>(w >> 32);
   }
   // Two halves rather than one uint64_t, so that records holding an id pack to
   // 4-byte alignment (an Ulva::IntfEncap is 20 bytes).
   std::uint32_t lo_;
   std::uint32_t hi_;
};

std::ostream& operator<<(std::ostream& os, IntfId id);
// String form: the name in single quotes, 'Ethernet3/1'; '' for the default id.
Fen::String valueToStrep(IntfId const& id);
// Parses the string form; a bad name raises Fen::RangeException quoting it.
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     IntfId* out);
// The word that seeded hashing mixes.
inline std::uint64_t fenKeyWord(IntfId id) {
   return id.value();
}

struct EthIntfId {
   // True for an Ethernet port (not its sub-interfaces).
   static bool isEthIntfId(IntfId id);
};
struct PortChannelIntfId {
   // True for a LAG (not its sub-interfaces).
   static bool isPortChannelIntfId(IntfId id);
};
struct SubIntfId {
   static bool isSubIntfId(IntfId id);
   // The parent port or LAG of a sub-interface; the default id for anything else.
   static IntfId parentIntfId(IntfId id);
   // The sub-interface number, 0 for an interface that is none.
   static std::uint32_t subIntfNumber(IntfId id);
};

}  // namespace Kestin
