#include "WexVlanMapping/WexDynamicEncapSm.h"

#include <iostream>

#include "Fen/Assert.h"
#include "Fen/Exception.h"
#include "Gantry/Trace.h"
#include "WexVlanMapping/WexModules.h"

namespace WexVlanMapping {

// wexDynamicEncapSmModule, published when the library is loaded.
FEN_MODULE(wexDynamicEncapSmModule, "WexDynamicEncapSm", WexDynamicEncapSm)

namespace {

FEN_TRACE_UNIT("WexDynamicEncapSm");

// The vid of an absent tag.
constexpr unsigned short noTag = Ulva::VlanTag::vidDefault;

}  // namespace

Ulva::VlanTagEncap buildEncap(unsigned short outerVid, unsigned short innerVid) {
   if (innerVid > Ulva::VlanTag::vidMax || outerVid > Ulva::VlanTag::vidMax) {
      Fen::throwRangeException("Ulva::VlanTag::vid < 0 or > 4097 not allowed");
   }
   return Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::vlanTag(innerVid));
}

// ---- frame ------------------------------------------------------------------

WexDynamicEncapSm::WexDynamicEncapSm(Inputs const& inputs) {
   // The reactor and the output in attribute order; no handler runs during the binding.
   FEN_SM_BIND(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)
   handleInitialized();
}

WexDynamicEncapSm::~WexDynamicEncapSm() {
   fenTeardownReactors();
   macsecProxySubIntfToPatchSubIntfDelAll();
   subIntfToDynIntfEncapDelAll();
}

Fen::FwkType WexDynamicEncapSm::fwkType() const {
   return {&wexDynamicEncapSmModule, wexDynamicEncapSmTypeWexDynamicEncapSm};
}

void WexDynamicEncapSm::handleInitialized() {
   GANTRY_TRACE(8, "WexDynamicEncapSm::handleInitialized: ");
   initialized_ = true;
   handleMacsecProxySubIntfStatus();
}

void WexDynamicEncapSm::handleMacsecProxySubIntfStatus() {
   GANTRY_TRACE(8, "WexDynamicEncapSm::handleMacsecProxySubIntfStatus: ");
   // The key read from the object in the node; the walk survives the handlers.
   Fen::forEachKey(macsecProxyStatus()->proxySubIntfStatusMap(),
                   [this](Kestin::IntfId key) { handleMacsecProxySubIntfStatus(key); });
}

void WexDynamicEncapSm::handleMacsecProxySubIntfStatus(Kestin::IntfId intfId) {
   Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus const> const status =
       macsecProxyStatus()->proxySubIntfStatus(intfId);
   GANTRY_TRACE(8, "WexDynamicEncapSm::handleMacsecProxySubIntfStatus: %s, isDel:%s",
                intfId.stringValue(), !status);
   // A changed status is withdrawn whole first.
   deleteMacsecProxyDynEncap(intfId);
   if (status) addMacsecProxyDynEncap(status);
}

// ---- add and delete ----------------------------------------------------------------

void WexDynamicEncapSm::addMacsecProxyDynEncap(
    Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus const> const& proxyStatus) {
   // The handler passes only members of the status; a direct call without one
   // is a broken contract.
   FEN_ASSERT(proxyStatus);
   Kestin::IntfId const proxySubIntf = proxyStatus->proxySubIntf();
   Kestin::IntfId const patchSubIntf = proxyStatus->patchSubIntf();
   if (proxySubIntf == Kestin::IntfId() || patchSubIntf == Kestin::IntfId()) {
      GANTRY_TRACE(0,
                   "WexDynamicEncapSm::addMacsecProxyDynEncap: %s missing proxy/patch subintf, "
                   "skipping",
                   proxySubIntf.stringValue());
      return;
   }
   Kestin::IntfId const parent = Kestin::SubIntfId::parentIntfId(proxySubIntf);
   auto const parentStatus = macsecProxyStatus()->proxyIntf(parent);
   if (!parentStatus) {
      GANTRY_TRACE(0,
                   "WexDynamicEncapSm::addMacsecProxyDynEncap: %s missing proxy parent port, "
                   "skipping",
                   parent.stringValue());
      return;
   }
   unsigned short const patchVid = proxyStatus->patchEncapVid();
   unsigned short const proxyVid = proxyStatus->proxyEncapVid();
   // Every encap built before anything changes: a range error leaves all as it is.
   Ulva::VlanTagEncap proxyIngress, proxyEgress, patchIngress, patchEgress;
   if (parentStatus->singleTagEgress()) {
      patchIngress = proxyEgress = buildEncap(patchVid, noTag);
      proxyIngress = patchEgress = buildEncap(proxyVid, noTag);
   } else {
      patchIngress = buildEncap(patchVid, noTag);
      patchEgress = buildEncap(proxyVid, proxyVid);
      proxyIngress = buildEncap(proxyVid, noTag);
      proxyEgress = buildEncap(patchVid, patchVid);
   }
   macsecProxySubIntfToPatchSubIntfIs(proxySubIntf, patchSubIntf);
   // The entry of a sub-interface, on the parent port.
   auto entryOf = [&](Kestin::IntfId subIntf, Ulva::VlanTagEncap const& ingress,
                      Ulva::VlanTagEncap const& egress) {
      WexDynamicIntfEncapInfo entry(Ulva::IntfEncap(parent, ingress));
      entry.egressEncapIs(egress);
      entry.sourceIs(macsecProxy);
      entry.serviceIntfIs(subIntf);
      return entry;
   };
   WexDynamicIntfEncapInfo const proxyEntry = entryOf(proxySubIntf, proxyIngress, proxyEgress);
   GANTRY_TRACE(
       7, "WexDynamicEncapSm::addMacsecProxyDynEncap: %s, add proxy encap " GANTRY_ENCAP_FORMAT,
       proxySubIntf.stringValue(), GANTRY_ENCAP(proxyEntry.intfEncap()));
   dynamicIntfEncap()->entryIs(proxyEntry);
   subIntfToDynIntfEncapIs(proxySubIntf, proxyEntry.intfEncap());
   WexDynamicIntfEncapInfo const patchEntry = entryOf(patchSubIntf, patchIngress, patchEgress);
   GANTRY_TRACE(
       7, "WexDynamicEncapSm::addMacsecProxyDynEncap: %s, add patch encap " GANTRY_ENCAP_FORMAT,
       patchSubIntf.stringValue(), GANTRY_ENCAP(patchEntry.intfEncap()));
   dynamicIntfEncap()->entryIs(patchEntry);
   subIntfToDynIntfEncapIs(patchSubIntf, patchEntry.intfEncap());
}

void WexDynamicEncapSm::deleteMacsecProxyDynEncap(Kestin::IntfId proxySubIntfId) {
   Kestin::IntfId const patch = macsecProxySubIntfToPatchSubIntfDel(proxySubIntfId);
   if (patch == Kestin::IntfId()) return;
   // The patch first: the reverse of the add. A half already gone is skipped.
   Ulva::IntfEncap const patchEncap = subIntfToDynIntfEncapDel(patch);
   if (patchEncap != Ulva::IntfEncap()) {
      GANTRY_TRACE(7,
                   "WexDynamicEncapSm::deleteMacsecProxyDynEncap: %s remove patch "
                   "encap " GANTRY_ENCAP_FORMAT,
                   patch.stringValue(), GANTRY_ENCAP(patchEncap));
      dynamicIntfEncap()->entryDel(patchEncap);
   }
   Ulva::IntfEncap const proxyEncap = subIntfToDynIntfEncapDel(proxySubIntfId);
   if (proxyEncap != Ulva::IntfEncap()) {
      GANTRY_TRACE(7,
                   "WexDynamicEncapSm::deleteMacsecProxyDynEncap: %s remove proxy "
                   "encap " GANTRY_ENCAP_FORMAT,
                   proxySubIntfId.stringValue(), GANTRY_ENCAP(proxyEncap));
      dynamicIntfEncap()->entryDel(proxyEncap);
   }
}

}  // namespace WexVlanMapping
