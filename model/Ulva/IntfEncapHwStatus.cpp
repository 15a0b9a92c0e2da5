#include "Ulva/IntfEncapHwStatus.h"

#include "Fen/Strep.h"

namespace Ulva {

namespace {
constexpr Fen::EnumType<unsigned char>::Enumerator intfEncapHwStatusNames[] = {
    {hwStatusFailed, "hwStatusFailed"},
    {hwStatusNotReady, "hwStatusNotReady"},
    {hwStatusSuccess, "hwStatusSuccess"},
};
}  // namespace

constinit Fen::EnumType<unsigned char> const intfEncapHwStatusType("Ulva::IntfEncapHwStatus",
                                                                   intfEncapHwStatusNames);

char const* hwStatusName(IntfEncapHwStatus s) {
   return intfEncapHwStatusType.name(s);
}

std::ostream& operator<<(std::ostream& os, IntfEncapHwStatus s) {
   if (char const* name = hwStatusName(s)) return os << name;
   return os << "IntfEncapHwStatus(" << static_cast<unsigned>(s) << ")";
}

// valueToStrep(IntfEncapHwStatus const&), sequenceToValue(it, end, IntfEncapHwStatus*).
FEN_ENUM_STREP(IntfEncapHwStatus, intfEncapHwStatusType)

}  // namespace Ulva
