#include "Ulva/ServiceIntfFwdInfo.h"

namespace Ulva {

std::ostream& operator<<(std::ostream& os, ServiceIntfType t) {
   return os << static_cast<unsigned>(t);
}

std::ostream& operator<<(std::ostream& os, ServiceIntfFwdInfo const& info) {
   return os << "serviceIntf " << info.serviceIntf() << " serviceType " << info.serviceType()
             << " fwdData " << info.fwdData();
}

}  // namespace Ulva
