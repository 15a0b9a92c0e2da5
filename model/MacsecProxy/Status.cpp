#include "MacsecProxy/Status.h"

namespace MacsecProxy {

Fen::Ptr<Status> statusFactory() {
   return Status::StatusIs();
}

Fen::Ptr<MacsecProxySubIntfStatus> macsecProxySubIntfStatusFactory(Kestin::IntfId proxySubIntf,
                                                                   Kestin::IntfId patchSubIntf,
                                                                   std::uint16_t patchEncapVid,
                                                                   std::uint16_t proxyEncapVid) {
   return Fen::fenObjectIs<MacsecProxySubIntfStatus>(proxySubIntf, patchSubIntf, patchEncapVid,
                                                     proxyEncapVid);
}

}  // namespace MacsecProxy
