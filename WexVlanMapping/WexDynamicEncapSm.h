// WexVlanMapping::WexDynamicEncapSm: the dynamic encaps of the MACsec proxy.
//
// For each proxy sub-interface that MacsecProxy::Status reports (a proxy
// sub-interface, its patch sub-interface and the VLAN ids of both), the machine
// writes two entries into `dynamicIntfEncap`, the collection the encap state
// machine hears: one for the proxy and one for the patch, both on the parent
// port, their ingress and egress VLAN ids crossed (what one sends out, the other
// takes in). It remembers which entries it wrote, to withdraw exactly those when
// the status goes or changes: a changed status is withdrawn whole, then added
// again.
//
// Entries, per proxy sub-interface (none: the absent tag, vid 4095; tpid 0x8100):
//
//   entry  intfEncap.encap   egressEncap: singleTagEgress true | false     serviceIntf
//   proxy  (proxyVid, none)  (patchVid, none) | (patchVid, patchVid)      proxy sub-intf
//   patch  (patchVid, none)  (proxyVid, none) | (proxyVid, proxyVid)      patch sub-intf
//
// Doors
// -----
// notification  the reactor on proxySubIntfStatus of MacsecProxy::Status
// start         the constructor sweeps every member
// The parent port's singleTagEgress (proxyIntf) is read when a proxy is added,
// never heard: a change takes effect at the proxy's next notification.
//
// Invariants
// ----------
// While no handler runs:
// (1) macsecProxySubIntfToPatchSubIntf has a member for a proxy sub-interface
//     exactly when addMacsecProxyDynEncap passed its two guards for it (both
//     sub-interfaces named, the parent port known), and deleteMacsecProxyDynEncap
//     has not run for it since.
// (2) For such a member p -> q, subIntfToDynIntfEncap has members for p and q,
//     and each names an entry of dynamicIntfEncap with source macsecProxy.
//     Nothing is counted, so two proxies that share something break it: an
//     encap yielded by both is one entry, written by the last add and removed by
//     the first delete; a patch sub-interface named by both has one member in
//     subIntfToDynIntfEncap, which the first delete takes.
//
// Thread safety: none. Everything runs on the thread of the writer of the status.
// Teardown withdraws nothing: the entries stay in dynamicIntfEncap.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Fen/StateMachineTable.h"
#include "MacsecProxy/Status.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace WexVlanMapping {

// The encap of two tags with these VLAN ids (4095 for an absent tag, taken as any
// other number), tpid 0x8100 and no flags. An id above 4097 throws
// Fen::RangeException.
Ulva::VlanTagEncap buildEncap(unsigned short outerVid, unsigned short innerVid);

// The bound attributes of WexDynamicEncapSm, in attribute order (see
// Fen/StateMachineTable.h): the proxy's status, heard, and the dynamic encaps it
// writes.
// clang-format off
#define WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES(input, output, shared)                                  \
   input(macsecProxyStatus, MacsecProxyStatus, MacsecProxy::Status const, proxySubIntfStatus,    \
         Kestin::IntfId, handleMacsecProxySubIntfStatus, ::Fen::NoVariant)                       \
   output(dynamicIntfEncap, WexVlanMapping::WexDynamicIntfEncapColl)
// clang-format on

class WexDynamicEncapSm : public Fen::StateMachine<WexDynamicEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexDynamicEncapSm")

public:
   using FenSm = WexDynamicEncapSm;

   // ---- creation ----------------------------------------------------------------
   // Inputs: macsecProxyStatus, dynamicIntfEncap; fenInputCount.
   FEN_SM_INPUTS(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)
   // WexDynamicEncapSmIs(inputs) or (status, dynamicIntfEncap): allocates,
   // constructs (which sweeps) and turns notification on. Neither may be null.
   FEN_CREATOR(WexDynamicEncapSm)
   // WexDynamicEncapSm(Inputs const&), WexDynamicEncapSm(two pointers).
   FEN_SM_CONSTRUCTORS(WexDynamicEncapSm)
   ~WexDynamicEncapSm() override;

   Fen::FwkType fwkType() const override;

   // ---- handlers ------------------------------------------------------------------
   // One proxy sub-interface: what was written for it is withdrawn, then, if it
   // still stands in the status, written anew.
   void handleMacsecProxySubIntfStatus(Kestin::IntfId intfId);
   // Every member of the status, in the order of a walk.
   void handleMacsecProxySubIntfStatus();

   // fen_handleMacsecProxyStatus_proxySubIntfStatus; FenMacsecProxyStatus.
   FEN_SM_REACTORS(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)

   // ---- inputs and outputs --------------------------------------------------------
   // macsecProxyStatus(), dynamicIntfEncap().
   FEN_SM_GETTERS(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)

   // ---- steps open for reflection and tests ---------------------------------------
   // The initial sweep: every member of the status, handled.
   void handleInitialized();
   bool initialized() const { return initialized_; }
   void initializedIs(bool v) { initialized_ = v; }
   // Writes the proxy's and the patch's entries, unless a sub-interface is
   // missing or the parent port is unknown (traced at level 0). Every encap is
   // built before anything changes: a VLAN id out of range throws and changes
   // nothing.
   void addMacsecProxyDynEncap(
       Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus const> const& proxyStatus);
   // Withdraws what was written for `proxySubIntfId`: the patch's entry first,
   // then the proxy's (the reverse of the add). Nothing for an id never added.
   void deleteMacsecProxyDynEncap(Kestin::IntfId proxySubIntfId);

   auto fenReactors() { return FEN_SM_TIE(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES); }

private:
   // macsecProxyStatus_, dynamicIntfEncap_; then initialized_.
   FEN_SM_MEMBERS(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)
   bool initialized_ = false;

public:
   // ---- tables ----------------------------------------------------------------------
   // FenSubIntfToDynIntfEncap, SubIntfToDynIntfEncapMap, subIntfToDynIntfEncap_: for
   // a proxy or patch sub-interface, the key of its entry in dynamicIntfEncap;
   // FenMacsecProxySubIntfToPatchSubIntf, MacsecProxySubIntfToPatchSubIntfMap,
   // macsecProxySubIntfToPatchSubIntf_: for a proxy sub-interface, its patch.
   FEN_COLLECTION(subIntfToDynIntfEncap, FenSubIntfToDynIntfEncap, SubIntfToDynIntfEncapMap,
                  Kestin::IntfId, Ulva::IntfEncap, 0x8D1939A4)
   FEN_COLLECTION(macsecProxySubIntfToPatchSubIntf, FenMacsecProxySubIntfToPatchSubIntf,
                  MacsecProxySubIntfToPatchSubIntfMap, Kestin::IntfId, Kestin::IntfId, 0xFBDB501C)

   // What reflection sees, in attribute order from 130. The whole-status handler
   // without argument is not reflected.
   using FenReflection = Fen::Reflection<
       void, FEN_SM_CTOR(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES),
       FEN_SM_ROWS(WEX_DYNAMIC_ENCAP_SM_ATTRIBUTES)  // 130, 131
       Fen::MethodRow<"handleMacsecProxySubIntfStatus",
                      FEN_OVERLOAD(FenSm, handleMacsecProxySubIntfStatus,
                                   void (FenSm::*)(Kestin::IntfId)),
                      "intfId">,
       Fen::MethodRow<"handleInitialized", &FenSm::handleInitialized>,
       Fen::ValueRow<"initialized", &FenSm::initialized, &FenSm::initializedIs>,
       FenRow_subIntfToDynIntfEncap, FenRow_macsecProxySubIntfToPatchSubIntf,
       Fen::MethodRow<"addMacsecProxyDynEncap", &FenSm::addMacsecProxyDynEncap, "proxyStatus">,
       Fen::MethodRow<"deleteMacsecProxyDynEncap", &FenSm::deleteMacsecProxyDynEncap,
                      "proxySubIntfId">>;
};

// How an agent starts the machine: wexDynamicEncapSmFactory(status, dynamicIntfEncap)
// or by name, wexDynamicEncapSmFactory({.macsecProxyStatus = ..., .dynamicIntfEncap = ...}).
inline Fen::Ptr<WexDynamicEncapSm> wexDynamicEncapSmFactory(
    WexDynamicEncapSm::Inputs const& inputs) {
   return WexDynamicEncapSm::WexDynamicEncapSmIs(inputs);
}
inline Fen::Ptr<WexDynamicEncapSm> wexDynamicEncapSmFactory(
    Fen::Ptr<MacsecProxy::Status const> const& macsecProxyStatus,
    Fen::Ptr<WexDynamicIntfEncapColl> const& dynamicIntfEncap) {
   return WexDynamicEncapSm::WexDynamicEncapSmIs(
       WexDynamicEncapSm::Inputs{macsecProxyStatus, dynamicIntfEncap});
}

}  // namespace WexVlanMapping
