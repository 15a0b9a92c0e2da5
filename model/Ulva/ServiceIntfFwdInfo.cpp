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
constinit Fen::EnumType<unsigned char> const serviceIntfTypeType(
    "Ulva::ServiceIntfType", serviceIntfTypeNames, Fen::EnumType<unsigned char>::anyNumber);
}  // namespace

std::ostream& operator<<(std::ostream& os, ServiceIntfType t) {
   return os << static_cast<unsigned>(t);
}

std::ostream& operator<<(std::ostream& os, ServiceIntfFwdInfo const& info) {
   return os << "serviceIntf " << info.serviceIntf() << " serviceType " << info.serviceType()
             << " fwdData " << info.fwdData();
}

Fen::String valueToStrep(ServiceIntfType const& t) {
   return serviceIntfTypeType.valueToStrep(t);
}

void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     ServiceIntfType* out) {
   unsigned char value = 0;
   serviceIntfTypeType.sequenceToValue(it, end, &value);
   *out = static_cast<ServiceIntfType>(value);
}

}  // namespace Ulva
