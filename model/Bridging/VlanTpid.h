// Bridging::VlanTpid: the tag protocol identifier of a VLAN tag, 16 bits.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/String.h"
#include "Bridging/Module.h"

namespace Bridging {

enum VlanTpid : std::uint16_t {
   vlanTpid8100 = 0x8100,  // 802.1Q, the default
   vlanTpid88a8 = 0x88A8,  // 802.1ad
   vlanTpid9100 = 0x9100,
   vlanTpid9200 = 0x9200,
};

// Prints the number in hexadecimal, "0x8100".
std::ostream& operator<<(std::ostream& os, VlanTpid tpid);

// String form: the number in hexadecimal, "0x" and four lower-case digits, as
// "0x8100". Any 16-bit value is a tpid.
Fen::String valueToStrep(VlanTpid const& tpid);
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     VlanTpid* out);

}  // namespace Bridging
