// Bridging::VlanTpid: the tag protocol identifier of a VLAN tag, 16 bits.
#pragma once

#include <cstdint>
#include <ostream>

namespace Bridging {

enum VlanTpid : std::uint16_t {
   vlanTpid8100 = 0x8100,  // 802.1Q, the default
   vlanTpid88a8 = 0x88A8,  // 802.1ad
   vlanTpid9100 = 0x9100,
   vlanTpid9200 = 0x9200,
};

// Prints the number in hexadecimal, "0x8100".
std::ostream& operator<<(std::ostream& os, VlanTpid tpid);

}  // namespace Bridging
