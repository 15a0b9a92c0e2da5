// WexVlanMapping::WexIntfEncapSm: the interface encap state machine.
//
// Reads which interface encaps are wanted (`intfEncapServiceIntf`, the optional
// `dynamicIntfEncap`) and how their service interfaces forward
// (`serviceIntfFwdInfo`), derives one WexIntfEncapHwConfig per encap, spreads a
// LAG's config to its member ports, hands each port's config to the platform
// through two virtual hooks, and folds the statuses that come back into the
// published `intfEncapHwStatus` and `serviceIntfHwStatus`.
//
// Doors
// -----
// notification  the five reactors: portToLag, fwdInfo, serviceIntf, remote
//               hwStatus, dynamic entry
// platform      platformEncapHwStatusIs, platformPortDownIs, reinitAllHwConfig,
//               handleHwConfigRetry: called by the platform layer
// start         handleInitialized: called by the derived platform when ready
//
// Platform hooks
// --------------
// platformAddHwConfig(config) is called once per change of the config of one port
// encap (plain, LAG or member kind), and again per retry with retryCnt raised. It
// programs the config and answers at once: hwStatusSuccess, hwStatusFailed, or
// hwStatusNotReady (the real answer comes later through platformEncapHwStatusIs,
// and the encap waits in retryNeeded meanwhile). A changed config on a key that is
// already programmed is a replacement.
// platformDeleteHwConfig(config) is called once when a key leaves hwConfigColl,
// with the record as it was stored (retryCnt included). It cannot fail.
// The base class's hooks end the process: a platform derives and implements both.
//
// Invariants
// ----------
// Properties that hold after every event (a handler, a platform call, a retry
// pass) has returned; the property test checks each by its number.
// (1) Every decoder's counters (failed, not ready, success, members) agree with
//     its members.
// (2) hwStatusColl has a status exactly for the keys of hwConfigColl, apart from
//     a status that platformEncapHwStatusIs wrote for an encap without config.
// (3) An encap is in retryNeeded exactly when its config is in hwConfigColl and
//     its last status in hwStatusColl is hwStatusNotReady: plain, LAG and member
//     configs alike.
// (4) Every config in hwConfigColl is wanted: the plain or LAG config of its own
//     encap (a LAG member has none of its own), or the member config of its
//     LAG's wanted config; retryCnt never exceeds the number of retry passes.
//     Every wanted config of an interface in no LAG whose port is up is in
//     hwConfigColl.
// (5) The platform holds exactly the keys of hwConfigColl: each add hook is
//     matched by the key's presence, each delete hook by its removal.
// (6) A port reported down has no config in hwConfigColl; its list keeps the
//     wanted configs for its return.
// (7) A port that is up and in a LAG (per portToLagCached, which lagToPort never
//     overrides) holds exactly the member configs of its LAG's wanted configs
//     (re-keyed to the port, the LAG as lagId, retryCnt aside) and none of its
//     own.
// (8) With a remote collection, no published status exceeds the remote one (an
//     absent remote entry reads as hwStatusFailed), except for an encap whose
//     remote entry changed while its port was in a LAG, until its next rollup.
// (9) A LAG's own encap is a member of its LAG decoder exactly when its config
//     is in hwConfigColl and at least one member port holds the member config
//     made from it there; a LAG without such a member publishes failed.
// (10) intfEncapHwStatus holds exactly the statically wanted encaps (with a
//     service interface) of interfaces in no LAG that derivation or a rollup
//     reached. An encap holds a place in a service decoder only under the
//     service interface derivation counts it under (as failed, unless it is
//     published there) and under the one it is published under (with its
//     published status).
// Together they make every outcome depend on the inputs only: a machine started
// on the present inputs publishes and programs the same, apart from configs left
// by a replaced or detached dynamic collection and a status the platform
// reported that the hardware's input does not give.
//
// Re-entry
// --------
// A hook, or a listener of an output or of hwConfigColl and hwStatusColl, may
// start another event (report a status, change an input) before the step that
// called it has returned. Each event counts itself as it begins; what
// updateHwConfig carries from its first steps to its rollup, so as not to look
// the encap up again, stands only when no event began in between: otherwise the
// rollup reads the tables as they are, and the outcome is the inner event's.
//
// Thread safety: none. Everything runs on the thread of the writer of an input.
// Teardown withdraws nothing: no hook is called and no output is cleared.
#pragma once

#include <cstdint>
#include <optional>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Fen/StateMachineTable.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexEncapHwStatusDecoder.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace WexVlanMapping {

// The wanted configs of one port or LAG. Made only by the state machine, one per
// interface with at least one wanted config; all keys have `intfId` == port().
class WexPortEncapHwConfigList : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("WexVlanMapping::WexPortEncapHwConfigList")

public:
   explicit WexPortEncapHwConfigList(Kestin::IntfId port) : port_(port) {}
   Fen::FwkType fwkType() const override;

   Kestin::IntfId port() const { return port_; }
   // FenHwConfig, HwConfigMap, hwConfig_ and its accessors: hwConfig(key),
   // hwConfigHas, hwConfigIs(config), hwConfigDel(key), hwConfigDelAll(), hwConfigs().
   FEN_COLLECTION(hwConfig, FenHwConfig, HwConfigMap, Ulva::IntfEncap, WexIntfEncapHwConfig,
                  0xEEB06D1F, EncapKeyFunktor<WexIntfEncapHwConfig>)
   using FenReflection =
       Fen::Reflection<void, Fen::Ctor<Fen::Arg<"port", Kestin::IntfId>>,
                       Fen::ValueRow<"port", &WexPortEncapHwConfigList::port>, FenRow_hwConfig>;

private:
   Kestin::IntfId const port_;
};

// The encaps wanted on one interface, statically or dynamically, with a config
// or without: what a LAG join withdraws and a leave brings back, without a walk
// over the encaps of other interfaces. Made only by the state machine, one per
// interface with at least one wanted encap.
class WexPortWantedEncapList : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("WexVlanMapping::WexPortWantedEncapList")

public:
   explicit WexPortWantedEncapList(Kestin::IntfId port) : port_(port) {}
   Fen::FwkType fwkType() const override;

   Kestin::IntfId port() const { return port_; }
   // FenEncap, EncapSet, encap_ and its accessors: encapHas(key), encapIs(key),
   // encapDel(key), encapDelAll(), encaps(), encapMap().
   FEN_COLLECTION(encap, FenEncap, EncapSet, Ulva::IntfEncap, void, 0x6A2C91E5)
   using FenReflection =
       Fen::Reflection<void, Fen::Ctor<Fen::Arg<"port", Kestin::IntfId>>,
                       Fen::ValueRow<"port", &WexPortWantedEncapList::port>, FenRow_encap>;

private:
   Kestin::IntfId const port_;
};

// The bound attributes of WexIntfEncapSm, in attribute order (see
// Fen/StateMachineTable.h): the five inputs heard through reactors, four given to
// the constructor and the dynamic encaps attached at run time, and the two
// outputs it publishes to. Types are named in full: the table also expands in
// the simulated platform's namespace.
// clang-format off
#define WEX_INTF_ENCAP_SM_ATTRIBUTES(input, output, shared)                                  \
   input(wcsd, Wcsd, Wex::WexCommonSmData, portToLag, Kestin::IntfId,                        \
         handlePortToLag, ::Fen::NoVariant)                                                  \
   input(serviceIntfFwdInfo, ServiceIntfFwdInfo, Ulva::ServiceIntfFwdInfoColl const,         \
         fwdInfo, Kestin::IntfId, handleServiceIntfFwdInfo, ::Fen::NoVariant)                \
   output(serviceIntfHwStatus, Ulva::ServiceIntfHwStatusColl)                                \
   input(intfEncapServiceIntf, IntfEncapServiceIntf, Ulva::IntfEncapServiceIntfColl const,   \
         serviceIntf, Ulva::IntfEncap, handleIntfEncapServiceIntf, ::Fen::NoVariant)         \
   output(intfEncapHwStatus, Ulva::IntfEncapHwStatusColl)                                    \
   input(remoteEncapHwStatus, RemoteEncapHwStatus, Ulva::IntfEncapHwStatusColl const,        \
         hwStatus, Ulva::IntfEncap, handleRemoteEncapHwStatus, ::Fen::NoVariant)             \
   shared(dynamicIntfEncap, DynamicIntfEncap, WexVlanMapping::WexDynamicIntfEncapColl const, \
          entry, Ulva::IntfEncap, handleDynamicIntfEncap,                                    \
          ::Fen::Rescan<::Fen::wholeHandler<FenSm>(&FenSm::handleDynamicIntfEncap)>)
// clang-format on

class WexIntfEncapSm : public Fen::StateMachine<WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm")

public:
   using FenSm = WexIntfEncapSm;

   // ---- creation ----------------------------------------------------------------
   // Inputs: wcsd, serviceIntfFwdInfo, serviceIntfHwStatus, intfEncapServiceIntf,
   // intfEncapHwStatus, remoteEncapHwStatus; fenInputCount.
   FEN_SM_INPUTS(WEX_INTF_ENCAP_SM_ATTRIBUTES)

   // WexIntfEncapSmIs(inputs), or with the six pointers of Inputs in its order:
   // allocates, constructs and turns notification on; does not sweep (the
   // platform calls handleInitialized when it is ready).
   FEN_CREATOR(WexIntfEncapSm)
   // WexIntfEncapSm(Inputs const&), WexIntfEncapSm(six pointers).
   FEN_SM_CONSTRUCTORS(WexIntfEncapSm)
   ~WexIntfEncapSm() override;

   Fen::FwkType fwkType() const override;

   // ---- called by the platform ----------------------------------------------------
   // The initial sweep: clears the tables and runs every input through the
   // handlers that notifications call.
   virtual void handleInitialized();
   // The platform hooks (see the header comment).
   virtual Ulva::IntfEncapHwStatus platformAddHwConfig(WexIntfEncapHwConfig const& hwConfig);
   virtual void platformDeleteHwConfig(WexIntfEncapHwConfig const& hwConfig);
   void platformEncapHwStatusIs(Ulva::IntfEncap const& intfEncap, Ulva::IntfEncapHwStatus hwStatus);
   void platformPortDownIs(Kestin::IntfId port, bool portIsDown);
   void reinitAllHwConfig();
   void handleHwConfigRetry();

   // ---- handlers of the reactors ----------------------------------------------------
   void handlePortToLag(Kestin::IntfId port);
   void handleServiceIntfFwdInfo(Kestin::IntfId intfId);
   void handleIntfEncapServiceIntf(Ulva::IntfEncap const& intfEncap);
   void handleRemoteEncapHwStatus(Ulva::IntfEncap const& intfEncap);
   void handleDynamicIntfEncap(Ulva::IntfEncap const& intfEncap);
   // Sweep of every entry of the attached dynamic collection.
   void handleDynamicIntfEncap();

   // Forwarders the reactors call, each with the effect of its handler, and the
   // reactors themselves:
   // fen_handleWcsd_portToLag, fen_handleServiceIntfFwdInfo_fwdInfo,
   // fen_handleIntfEncapServiceIntf_serviceIntf, fen_handleRemoteEncapHwStatus_hwStatus,
   // fen_handleDynamicIntfEncap_entry; FenWcsd, FenServiceIntfFwdInfo,
   // FenIntfEncapServiceIntf, FenRemoteEncapHwStatus, FenDynamicIntfEncap (a newly
   // attached collection is swept at once).
   FEN_SM_REACTORS(WEX_INTF_ENCAP_SM_ATTRIBUTES)

   // ---- inputs and outputs ------------------------------------------------------------
   // An input reads as null when its reactor is absent or has no notifier.
   // wcsd(), serviceIntfFwdInfo(), serviceIntfHwStatus(), intfEncapServiceIntf(),
   // intfEncapHwStatus(), remoteEncapHwStatus(), dynamicIntfEncap();
   // dynamicIntfEncapIs(coll) attaches, replaces or (with null) detaches the
   // dynamic encaps: a new collection is swept at once (after the initial sweep),
   // and configs derived from a former one stay until something else names their
   // encaps; dynamicIntfEncapDel() detaches and gives the collection back.
   FEN_SM_GETTERS(WEX_INTF_ENCAP_SM_ATTRIBUTES)

   // ---- steps open for reflection and tests -----------------------------------------
   void updateHwConfig(Ulva::IntfEncap const& intfEncap);
   void updateEncapHwStatus(Ulva::IntfEncap const& intfEncap);
   void updateSvcIntfHwStatus(Kestin::IntfId svcIntf);
   void doAddPortToLag(Kestin::IntfId port);
   void doDeletePortFromLag(Kestin::IntfId port);
   void doAddPortHwConfig(WexIntfEncapHwConfig const& portHwConfig);
   void doDeletePortHwConfig(Ulva::IntfEncap const& portEncap);
   void doAddHwConfig(WexIntfEncapHwConfig const& hwConfig);
   void doDeleteHwConfig(WexIntfEncapHwConfig const& hwConfig);
   // The wanted config of an encap (from its own interface's list), or a default.
   WexIntfEncapHwConfig getHwConfig(Ulva::IntfEncap const& intfEncap) const;
   // The config that the inputs imply for `intfEncap` now, the service interface
   // it is counted under, (with `wanted`) whether an input names it with a
   // service or a dynamic record and (with `staticServiceIntf`) the service
   // interface that intfEncapServiceIntf gives it, the one it is published under
   // (the first steps of updateHwConfig; changes nothing). Equal to getHwConfig,
   // apart from fwdData 0, unless the encap's config was derived from a dynamic
   // collection since replaced or detached.
   WexIntfEncapHwConfig deriveHwConfig(Ulva::IntfEncap const& intfEncap,
                                       Kestin::IntfId* serviceIntf, bool* wanted = nullptr,
                                       Kestin::IntfId* staticServiceIntf = nullptr) const;

   // The reactor attributes, in attribute order (used by the state machine shape).
   auto fenReactors() { return FEN_SM_TIE(WEX_INTF_ENCAP_SM_ATTRIBUTES); }

private:
   // Makes room, before the sweep, in the tables that it fills with one member
   // per wanted encap (the configs and statuses, the published statuses, the
   // service interface caches), so that none of them grows while it is filled.
   // Counts, for the tables the sweep makes one per interface (its wanted encaps,
   // its configs) and one per service (its decoder), the encaps each will hold:
   // sweepShare() sizes each such table when the sweep makes it. Changes no
   // member and notifies nothing.
   void reserveForSweep();
   // The room to make in a new table of interface or service `id` while the
   // sweep runs: the encaps counted for it (0 outside the sweep, and for an id
   // that the wanted encaps do not name: nothing is reserved then).
   using SweepCountMap = Fen::HashMap2018<Fen::MapTag<0x3B5D1E27>, Kestin::IntfId, std::uint32_t>;
   static std::size_t sweepShare(SweepCountMap const& counts, Kestin::IntfId id);
   // Starts fetching the members that updateHwConfig(intfEncap) reads and writes
   // first in the large tables (the service cache and decoder, the configs and
   // statuses, the retry set, the published status and service interface, the
   // interface's lists of configs and of wanted encaps); for the sweep, a few
   // encaps ahead. Changes nothing.
   void prefetchUpdateHwConfig(Ulva::IntfEncap const& intfEncap) const;

   // What updateHwConfig has read or written for its encap on its way, handed to
   // its rollup (updateEncapHwStatus) so that the rollup does not look the encap
   // up again in the same tables. It holds only while no other event has begun
   // since `events` was taken: a hook, or a listener of a table or an output the
   // steps write, that reports a status or changes an input starts one, and may
   // have changed any of it; the rollup then reads the tables as they are.
   struct KnownEncap {
      std::uint64_t events = 0;
      // intfEncapServiceIntf's service interface of the encap.
      Kestin::IntfId staticServiceIntf;
      // Whether the encap's own interface list holds a config for it.
      bool listed = false;
      // The platform's answer to the add of the encap's own config, when the
      // steps made one (then the config is in hwConfigColl and the answer is
      // the encap's status in hwStatusColl).
      std::optional<Ulva::IntfEncapHwStatus> answer;
   };
   // Counts each event as it begins: a handler of an input, a platform call, a
   // retry pass. A step called directly from inside a hook is no event.
   void eventBegins() { ++eventsBegun_; }

   // The named steps of updateHwConfig after deriveHwConfig, in its order: the
   // move of the encap between service aggregates; the programmed config brought
   // to the wanted one (a delete and an add), noting in `known` what the encap's
   // list and statuses hold after it.
   void doMoveSvcMembership(Ulva::IntfEncap const& intfEncap, Kestin::IntfId serviceIntf);
   void doReplaceHwConfig(Ulva::IntfEncap const& intfEncap, WexIntfEncapHwConfig const& wanted,
                          KnownEncap* known);
   // doAddHwConfig with the list of the config's interface when the caller has it
   // already (null: found or made here), giving the platform's answer to the add
   // of the config itself, if one was made.
   std::optional<Ulva::IntfEncapHwStatus> addHwConfig(WexIntfEncapHwConfig const& hwConfig,
                                                      WexPortEncapHwConfigList* list);
   // doAddPortHwConfig, giving the platform's answer when the hook was called.
   std::optional<Ulva::IntfEncapHwStatus> addPortHwConfig(WexIntfEncapHwConfig const& portHwConfig);
   // The list of wanted configs of `intf`, or null.
   WexPortEncapHwConfigList* hwConfigListOf(Kestin::IntfId intf) const;
   // updateEncapHwStatus with what updateHwConfig knows of the encap (or null).
   void updateEncapHwStatusWith(Ulva::IntfEncap const& intfEncap, KnownEncap const* known);
   // The named steps of updateEncapHwStatus, in its order: the retry set for the
   // encap's own status; the rollup into a LAG decoder, giving the encap that is
   // published and its status; the caps of a missing config (`listed`: the
   // published encap has a config in its interface's list) and of the remote
   // side; the publication (or withdrawal) under `svcIntf`, the published
   // encap's service interface in intfEncapServiceIntf, with the service's rollup.
   void updateRetryNeeded(Ulva::IntfEncap const& intfEncap, Ulva::IntfEncapHwStatus ownStatus);
   Ulva::IntfEncapHwStatus rollupHwStatus(Ulva::IntfEncap const& intfEncap,
                                          Ulva::IntfEncapHwStatus ownStatus,
                                          Ulva::IntfEncap* rollupEncap);
   Ulva::IntfEncapHwStatus cappedHwStatus(Ulva::IntfEncap const& rollupEncap,
                                          Ulva::IntfEncapHwStatus status, bool listed) const;
   void publishEncapHwStatus(Ulva::IntfEncap const& rollupEncap, Ulva::IntfEncapHwStatus status,
                             Kestin::IntfId svcIntf);

   // LAG membership as the machine acts on it: portToLagCached and its index of
   // members per LAG, changed together.
   void lagMemberIs(Kestin::IntfId port, Kestin::IntfId lag);
   void lagMemberDel(Kestin::IntfId port);
   // Whether a LAG's own encap counts in its LAG decoder: its config is in
   // hwConfigColl and at least one member port holds the member config made
   // from it.
   bool lagEncapCounts(Ulva::IntfEncap const& lagEncap) const;
   // The LAG encap's place in `decoder`, per lagEncapCounts.
   void updateLagEncapMember(WexEncapHwStatusDecoder& decoder, Ulva::IntfEncap const& lagEncap);
   // Keeps `intfEncap` in the index of wanted encaps of its interface while
   // either input names it (`wanted`, as deriveHwConfig says).
   void updateWantedEncap(Ulva::IntfEncap const& intfEncap, bool wanted);
   // The encap's place as a published encap leaves `svcIntf`: it stays there,
   // as failed, only where derivation counts it.
   void leavePublishedSvc(Ulva::IntfEncap const& encap, Kestin::IntfId svcIntf);
   // A port's own encap stops being published when the port joins a LAG: its
   // status goes, and its only place is where derivation counts it, as failed.
   void withdrawOwnEncap(Ulva::IntfEncap const& encap);

   // Members in attribute order: wcsd_, serviceIntfFwdInfo_, serviceIntfHwStatus_,
   // intfEncapServiceIntf_, intfEncapHwStatus_, remoteEncapHwStatus_,
   // dynamicIntfEncap_, then initialized_, eventsBegun_, hwStatusColl_,
   // hwConfigColl_; the keyed collections follow with the tables below.
   FEN_SM_MEMBERS(WEX_INTF_ENCAP_SM_ATTRIBUTES)
   bool initialized_ = false;
   // The events begun so far (eventBegins).
   std::uint64_t eventsBegun_ = 0;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusColl_;
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigColl_;
   // Scratch of the sweep, not state: the wanted encaps of each interface and of
   // each service interface, counted by reserveForSweep and dropped when the
   // sweep ends (see sweepShare).
   SweepCountMap sweepEncapsPerIntf_;
   SweepCountMap sweepEncapsPerSvc_;

public:
   // ---- tables ------------------------------------------------------------------------
   // Policies of the LAG and service aggregates: strict (the worst member wins).
   static constexpr bool lagPartialHwSuccess = false;
   static constexpr bool svcPartialHwSuccess = false;

   bool initialized() const { return initialized_; }
   void initializedIs(bool v) { initialized_ = v; }

   // The platform's last word per encap, and the configs handed to the platform.
   Ulva::IntfEncapHwStatusColl* hwStatusColl() const { return hwStatusColl_.ptr(); }
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusCollIs(Fen::String const& name);
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusCollDel();
   WexIntfEncapHwConfigColl* hwConfigColl() const { return hwConfigColl_.ptr(); }
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigCollIs();
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigCollDel();

   // The key functors of the maps of owned objects.
   struct PortToHwConfigListKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<WexPortEncapHwConfigList> const& l) const {
         return l->port();
      }
   };
   struct PortWantedEncapKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<WexPortWantedEncapList> const& l) const {
         return l->port();
      }
   };
   struct DecoderKeyFunktor {
      Ulva::IntfEncap const& operator()(Fen::Ptr<WexEncapHwStatusDecoder> const& d) const {
         return d->intfEncap();
      }
   };

   // The keyed collections, in attribute order, each with its tag, map type,
   // member and accessors: FenRetryNeeded, RetryNeededSet, retryNeeded_;
   // FenPortDown, PortDownMap, portDown_; FenPortToHwConfigList,
   // PortToHwConfigListMap, portToHwConfigList_; FenPortToLagCached,
   // PortToLagCachedMap, portToLagCached_; FenLagHwStatusDecoder,
   // LagHwStatusDecoderMap, lagHwStatusDecoder_; FenIntfEncapSvcIntfCached,
   // IntfEncapSvcIntfCachedMap, intfEncapSvcIntfCached_; FenSvcHwStatusDecoder,
   // SvcHwStatusDecoderMap, svcHwStatusDecoder_.
   FEN_COLLECTION(retryNeeded, FenRetryNeeded, RetryNeededSet, Ulva::IntfEncap, void, 0xAA0DF8DB)
   FEN_COLLECTION(portDown, FenPortDown, PortDownMap, Kestin::IntfId, bool, 0xB8605D12)
   FEN_OWNED_COLLECTION(portToHwConfigList, FenPortToHwConfigList, PortToHwConfigListMap,
                        Kestin::IntfId, WexPortEncapHwConfigList, 0x1F1ED09A,
                        PortToHwConfigListKeyFunktor)
   FEN_COLLECTION(portToLagCached, FenPortToLagCached, PortToLagCachedMap, Kestin::IntfId,
                  Kestin::IntfId, 0x55696FFD)
   FEN_OWNED_COLLECTION(lagHwStatusDecoder, FenLagHwStatusDecoder, LagHwStatusDecoderMap,
                        Ulva::IntfEncap, WexEncapHwStatusDecoder, 0xA11445E8, DecoderKeyFunktor)
   FEN_COLLECTION(intfEncapSvcIntfCached, FenIntfEncapSvcIntfCached, IntfEncapSvcIntfCachedMap,
                  Ulva::IntfEncap, Kestin::IntfId, 0x99F8EDBC)
   FEN_OWNED_COLLECTION(svcHwStatusDecoder, FenSvcHwStatusDecoder, SvcHwStatusDecoderMap,
                        Ulva::IntfEncap, WexEncapHwStatusDecoder, 0x4ECC3302, DecoderKeyFunktor)

   // Indices kept beside the tables above, so that an outcome depends on the
   // inputs only, never on the order of a map walk or on forgotten history:
   // FenLagMembersCached, LagMembersCachedMap, lagMembersCached_: the member ports
   // of each LAG as portToLagCached has them (the one membership the machine acts
   // on); FenPortWantedEncap, PortWantedEncapMap, portWantedEncap_: the encaps
   // wanted on each interface; FenIntfEncapPublishedSvcIntf,
   // IntfEncapPublishedSvcIntfMap, intfEncapPublishedSvcIntf_: the service
   // interface under which each encap of intfEncapHwStatus is counted.
   FEN_COLLECTION(lagMembersCached, FenLagMembersCached, LagMembersCachedMap, Kestin::IntfId,
                  Wex::WexLagPortList, 0x2F8D6B13)
   FEN_OWNED_COLLECTION(portWantedEncap, FenPortWantedEncap, PortWantedEncapMap, Kestin::IntfId,
                        WexPortWantedEncapList, 0x7C3E5A21, PortWantedEncapKeyFunktor)
   FEN_COLLECTION(intfEncapPublishedSvcIntf, FenIntfEncapPublishedSvcIntf,
                  IntfEncapPublishedSvcIntfMap, Ulva::IntfEncap, Kestin::IntfId, 0xD15B7E49)

   // What reflection sees, in attribute order from 130: the table's inputs and
   // outputs, the handlers, the internal state and the steps. The last three
   // collections are internal indices that the steps keep.
   using FenReflection = Fen::Reflection<
       void, Fen::NotMadeByReflection<FEN_SM_CTOR(WEX_INTF_ENCAP_SM_ATTRIBUTES)>,
       FEN_SM_ROWS(WEX_INTF_ENCAP_SM_ATTRIBUTES)  // 130 to 136
       Fen::MethodRow<"handleServiceIntfFwdInfo", &FenSm::handleServiceIntfFwdInfo, "intfId">,
       Fen::MethodRow<"handleIntfEncapServiceIntf", &FenSm::handleIntfEncapServiceIntf,
                      "intfEncap">,
       Fen::MethodRow<"handleRemoteEncapHwStatus", &FenSm::handleRemoteEncapHwStatus, "intfEncap">,
       Fen::MethodRow<"handleDynamicIntfEncap",
                      FEN_OVERLOAD(FenSm, handleDynamicIntfEncap,
                                   void (FenSm::*)(Ulva::IntfEncap const&)),
                      "intfEncap">,
       Fen::MethodRow<"handlePortToLag", &FenSm::handlePortToLag, "port">,
       Fen::ValueRow<"initialized", &FenSm::initialized, &FenSm::initializedIs>,
       Fen::MethodRow<"handleInitialized", &FenSm::handleInitialized>,
       Fen::MethodRow<"handleHwConfigRetry", &FenSm::handleHwConfigRetry>,
       Fen::InstantiatingRow<"hwStatusColl", &FenSm::hwStatusColl, &FenSm::hwStatusCollIs, "name">,
       Fen::InstantiatingRow<"hwConfigColl", &FenSm::hwConfigColl, &FenSm::hwConfigCollIs>,
       FenRow_retryNeeded, FenRow_portDown, FenRow_portToHwConfigList, FenRow_portToLagCached,
       FenRow_lagHwStatusDecoder, Fen::ConstantRow<"lagPartialHwSuccess", lagPartialHwSuccess>,
       FenRow_intfEncapSvcIntfCached, FenRow_svcHwStatusDecoder,
       Fen::ConstantRow<"svcPartialHwSuccess", svcPartialHwSuccess>,
       Fen::MethodRow<"updateHwConfig", &FenSm::updateHwConfig, "intfEncap">,
       Fen::MethodRow<"updateEncapHwStatus", &FenSm::updateEncapHwStatus, "intfEncap">,
       Fen::MethodRow<"updateSvcIntfHwStatus", &FenSm::updateSvcIntfHwStatus, "svcIntf">,
       Fen::MethodRow<"doAddPortToLag", &FenSm::doAddPortToLag, "port">,
       Fen::MethodRow<"doDeletePortFromLag", &FenSm::doDeletePortFromLag, "port">,
       Fen::MethodRow<"doAddPortHwConfig", &FenSm::doAddPortHwConfig, "portHwConfig">,
       Fen::MethodRow<"doDeletePortHwConfig", &FenSm::doDeletePortHwConfig, "portEncap">,
       Fen::MethodRow<"doAddHwConfig", &FenSm::doAddHwConfig, "hwConfig">,
       Fen::MethodRow<"doDeleteHwConfig", &FenSm::doDeleteHwConfig, "hwConfig">,
       Fen::MethodRow<"getHwConfig", &FenSm::getHwConfig, "intfEncap">,
       Fen::MethodRow<"reinitAllHwConfig", &FenSm::reinitAllHwConfig>,
       Fen::MethodRow<"platformPortDownIs", &FenSm::platformPortDownIs, "port", "portIsDown">,
       Fen::MethodRow<"platformEncapHwStatusIs", &FenSm::platformEncapHwStatusIs, "intfEncap",
                      "hwStatus">,
       Fen::MethodRow<"platformAddHwConfig", &FenSm::platformAddHwConfig, "hwConfig">,
       Fen::MethodRow<"platformDeleteHwConfig", &FenSm::platformDeleteHwConfig, "hwConfig">,
       FenRow_lagMembersCached, FenRow_portWantedEncap, FenRow_intfEncapPublishedSvcIntf>;
};

// The config that `config` puts on `port`: the port's encap with the same tags,
// the same egress encap, source and forwarding, `lagId` as its LAG and retryCnt
// 0. What a LAG's config spreads to a member (lagId the LAG), and what a port's
// own config is programmed as again (lagId its own).
WexIntfEncapHwConfig portHwConfigOf(WexIntfEncapHwConfig const& config, Kestin::IntfId port,
                                    Kestin::IntfId lagId);

// The service encap of a service interface: its id with both tags at their
// default (the key of svcHwStatusDecoder).
inline Ulva::IntfEncap serviceEncap(Kestin::IntfId svcIntf) {
   return Ulva::IntfEncap(svcIntf);
}

}  // namespace WexVlanMapping
