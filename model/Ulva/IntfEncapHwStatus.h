// Ulva::IntfEncapHwStatus: the hardware status of an encap, one byte, ordered
// from worse to better. Statuses are compared as numbers; a read of an absent
// key gives hwStatusFailed.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/Strep.h"
#include "Fen/String.h"
#include "Ulva/Module.h"

namespace Ulva {

enum IntfEncapHwStatus : std::uint8_t {
   hwStatusFailed = 0,    // programming failed; also what an absent key reads as
   hwStatusNotReady = 1,  // not programmed yet
   hwStatusSuccess = 2,   // programmed
};

// The enumeration's names, told once.
extern Fen::EnumType<unsigned char> const intfEncapHwStatusType;

// The enumerator's name; "IntfEncapHwStatus(<n>)" for a byte outside it.
char const* hwStatusName(IntfEncapHwStatus s);
std::ostream& operator<<(std::ostream& os, IntfEncapHwStatus s);
// String form: the enumerator's name, "hwStatusSuccess".
Fen::String valueToStrep(IntfEncapHwStatus const& s);
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     IntfEncapHwStatus* out);

}  // namespace Ulva
