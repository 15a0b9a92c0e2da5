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

ServiceIntfFwdInfo::ServiceIntfFwdInfo(Fen::String::IteratorConst& it,
                                       Fen::String::IteratorConst const& end) {
   Fen::needString(it, end, "Value('Ulva::ServiceIntfFwdInfo', ** {");
   Fen::needString(it, end, "'serviceIntf': ");
   serviceIntf_ = Fen::deserializeAttr<Kestin::IntfId>(it, end, "serviceIntf");
   Fen::needString(it, end, ", 'serviceType': ");
   serviceType_ = Fen::deserializeAttr<ServiceIntfType>(it, end, "serviceType");
   Fen::needString(it, end, ", 'fwdData': ");
   fwdData_ = Fen::deserializeAttr<std::uint16_t>(it, end, "fwdData");
   Fen::needString(it, end, "})");
}

Fen::String valueToStrep(ServiceIntfFwdInfo const& info) {
   return Fen::format(
       "Value('Ulva::ServiceIntfFwdInfo', ** {'serviceIntf': %s, 'serviceType': %s, "
       "'fwdData': %u})",
       Kestin::valueToStrep(info.serviceIntf()).charPtr(),
       valueToStrep(info.serviceType()).charPtr(), unsigned{info.fwdData()});
}

}  // namespace Ulva
