#include "Ulva/ServiceIntfFwdInfo.h"

#include "Fen/Strep.h"

namespace Ulva {

namespace {
constexpr Fen::EnumType<unsigned char>::Enumerator serviceIntfTypeNames[] = {
    {serviceIntfTypeDefault, "serviceIntfTypeDefault"},
    {serviceIntfTypeTunnel, "serviceIntfTypeTunnel"},
    {serviceIntfTypeSubIntf, "serviceIntfTypeSubIntf"},
    {serviceIntfTypePseudowire, "serviceIntfTypePseudowire"},
};
}  // namespace

constinit Fen::EnumType<unsigned char> const serviceIntfTypeType(
    "Ulva::ServiceIntfType", serviceIntfTypeNames, Fen::EnumType<unsigned char>::anyNumber);

std::ostream& operator<<(std::ostream& os, ServiceIntfType t) {
   return os << static_cast<unsigned>(t);
}

std::ostream& operator<<(std::ostream& os, ServiceIntfFwdInfo const& info) {
   return os << "serviceIntf " << info.serviceIntf() << " serviceType " << info.serviceType()
             << " fwdData " << info.fwdData();
}

// valueToStrep(ServiceIntfType const&), sequenceToValue(it, end, ServiceIntfType*).
FEN_ENUM_STREP(ServiceIntfType, serviceIntfTypeType)

}  // namespace Ulva
