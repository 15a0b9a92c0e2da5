// Status of the MACsec proxy: its proxy sub-interfaces (each paired with a patch
// sub-interface and the VLAN ids of both), and per parent port whether egress
// carries a single tag. Both collections use the legacy key form; a change of
// `proxySubIntfStatus` notifies 259, of `proxyIntf` 260, with the key.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Kestin/IntfId.h"
#include "MacsecProxy/Module.h"

namespace MacsecProxy {

// One proxy sub-interface. The default id stands for a missing sub-interface.
class MacsecProxySubIntfStatus : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("MacsecProxy::MacsecProxySubIntfStatus")

public:
   explicit MacsecProxySubIntfStatus(Kestin::IntfId proxySubIntf) : proxySubIntf_(proxySubIntf) {}
   // A complete status, as the agent that fills the directory publishes it.
   MacsecProxySubIntfStatus(Kestin::IntfId proxySubIntf, Kestin::IntfId patchSubIntf,
                            std::uint16_t patchEncapVid, std::uint16_t proxyEncapVid)
       : proxySubIntf_(proxySubIntf),
         patchSubIntf_(patchSubIntf),
         patchEncapVid_(patchEncapVid),
         proxyEncapVid_(proxyEncapVid) {}

   Kestin::IntfId proxySubIntf() const { return proxySubIntf_; }
   Kestin::IntfId patchSubIntf() const { return patchSubIntf_; }
   void patchSubIntfIs(Kestin::IntfId id) { patchSubIntf_ = id; }
   std::uint16_t patchEncapVid() const { return patchEncapVid_; }
   void patchEncapVidIs(std::uint16_t vid) { patchEncapVid_ = vid; }
   std::uint16_t proxyEncapVid() const { return proxyEncapVid_; }
   void proxyEncapVidIs(std::uint16_t vid) { proxyEncapVid_ = vid; }

   FEN_FWK_TYPE(MacsecProxySubIntfStatus)
   using FenReflection = Fen::Reflection<
       void,
       Fen::Ctor<Fen::Arg<"proxySubIntf", Kestin::IntfId>, Fen::Arg<"patchSubIntf", Kestin::IntfId>,
                 Fen::Arg<"patchEncapVid", std::uint16_t>,
                 Fen::Arg<"proxyEncapVid", std::uint16_t>>,
       Fen::ValueRow<"proxySubIntf", &MacsecProxySubIntfStatus::proxySubIntf>,
       Fen::ValueRow<"patchSubIntf", &MacsecProxySubIntfStatus::patchSubIntf,
                     &MacsecProxySubIntfStatus::patchSubIntfIs>,
       Fen::ValueRow<"patchEncapVid", &MacsecProxySubIntfStatus::patchEncapVid,
                     &MacsecProxySubIntfStatus::patchEncapVidIs>,
       Fen::ValueRow<"proxyEncapVid", &MacsecProxySubIntfStatus::proxyEncapVid,
                     &MacsecProxySubIntfStatus::proxyEncapVidIs>>;

private:
   Kestin::IntfId const proxySubIntf_;
   Kestin::IntfId patchSubIntf_;
   std::uint16_t patchEncapVid_ = 0;
   std::uint16_t proxyEncapVid_ = 0;
};

// One parent port of proxy sub-interfaces.
class MacsecProxyIntfStatus : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("MacsecProxy::MacsecProxyIntfStatus")

public:
   explicit MacsecProxyIntfStatus(Kestin::IntfId intf) : intf_(intf) {}

   Kestin::IntfId intf() const { return intf_; }
   bool singleTagEgress() const { return singleTagEgress_; }
   void singleTagEgressIs(bool v) { singleTagEgress_ = v; }

   FEN_FWK_TYPE(MacsecProxyIntfStatus)
   using FenReflection =
       Fen::Reflection<void, Fen::Ctor<Fen::Arg<"intf", Kestin::IntfId>>,
                       Fen::ValueRow<"intf", &MacsecProxyIntfStatus::intf>,
                       Fen::ValueRow<"singleTagEgress", &MacsecProxyIntfStatus::singleTagEgress,
                                     &MacsecProxyIntfStatus::singleTagEgressIs>>;

private:
   Kestin::IntfId const intf_;
   bool singleTagEgress_ = false;
};

class Status : public Fen::Notifier {
   FEN_COUNTED_CLASS("MacsecProxy::Status")

public:
   struct ProxySubIntfKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<MacsecProxySubIntfStatus> const& s) const {
         return s->proxySubIntf();
      }
   };
   struct ProxyIntfKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<MacsecProxyIntfStatus> const& s) const {
         return s->intf();
      }
   };

   FEN_CREATOR(Status)

   // proxySubIntfStatusAttributeId, FenProxySubIntfStatus, ProxySubIntfStatusMap,
   // proxySubIntfStatus_; proxyIntfAttributeId, FenProxyIntf, ProxyIntfMap,
   // proxyIntf_; with their accessors. A complete status is published in one
   // write: proxySubIntfStatusIs(status) inserts it, or puts it in place of the
   // member of the same proxy sub-interface, with one notification (use
   // macsecProxySubIntfStatusFactory). proxySubIntfStatusIs(id) creates an empty
   // entry (or returns it), whose fields are set afterwards and announced by
   // `proxySubIntfStatusChanged(id)`.
   FEN_NOTIFYING_OWNED_COLLECTION(proxySubIntfStatus, FenProxySubIntfStatus, ProxySubIntfStatusMap,
                                  259, Kestin::IntfId, MacsecProxySubIntfStatus, 0,
                                  ProxySubIntfKeyFunktor, Fen::HashHelper::KeyAndRhashLegacy)
   FEN_NOTIFYING_OWNED_COLLECTION(proxyIntf, FenProxyIntf, ProxyIntfMap, 260, Kestin::IntfId,
                                  MacsecProxyIntfStatus, 0, ProxyIntfKeyFunktor,
                                  Fen::HashHelper::KeyAndRhashLegacy)
   FEN_FWK_TYPE(Status)
   using FenReflection =
       Fen::Reflection<Fen::FirstId<259>, Fen::Ctor<>, FenRow_proxySubIntfStatus, FenRow_proxyIntf>;
   void proxySubIntfStatusIs(Fen::Ptr<MacsecProxySubIntfStatus> const& status) {
      Fen::memberIsNotifying(proxySubIntfStatus_,
                             Fen::NotifyVia{notifiees_, proxySubIntfStatusAttributeId}, status);
   }
   // Announces a change made in place to the fields of a member.
   void proxySubIntfStatusChanged(Kestin::IntfId proxySubIntf) const {
      notifiees_.visit(proxySubIntfStatusAttributeId, &proxySubIntf);
   }
   void proxyIntfChanged(Kestin::IntfId intf) const {
      notifiees_.visit(proxyIntfAttributeId, &intf);
   }
};

Fen::Ptr<Status> statusFactory();
// A complete proxy sub-interface status, for Status::proxySubIntfStatusIs(status).
Fen::Ptr<MacsecProxySubIntfStatus> macsecProxySubIntfStatusFactory(Kestin::IntfId proxySubIntf,
                                                                   Kestin::IntfId patchSubIntf,
                                                                   std::uint16_t patchEncapVid,
                                                                   std::uint16_t proxyEncapVid);

}  // namespace MacsecProxy
