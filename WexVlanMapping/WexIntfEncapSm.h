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
// Thread safety: none. Everything runs on the thread of the writer of an input.
// Teardown withdraws nothing: no hook is called and no output is cleared.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
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
   using HwConfigKeyFunktor = EncapKeyFunktor<WexIntfEncapHwConfig>;
   struct FenHwConfig {
      static constexpr std::uint32_t salt = 0xEEB06D1F;
      using KeyFunktor = HwConfigKeyFunktor;
   };
   using HwConfigMap = Fen::HashMap2018<FenHwConfig, Ulva::IntfEncap, WexIntfEncapHwConfig>;

   explicit WexPortEncapHwConfigList(Kestin::IntfId port) : port_(port) {}
   Fen::FwkType fwkType() const override;

   Kestin::IntfId port() const { return port_; }
   // hwConfig(key), hwConfigHas, hwConfigIs(config), hwConfigDel(key),
   // hwConfigDelAll(), hwConfigs()
   FEN_COLLECTION_ACCESSORS(hwConfig, HwConfigMap, hwConfig_)

private:
   Kestin::IntfId const port_;
   HwConfigMap hwConfig_;
};

class WexIntfEncapSm : public Fen::StateMachine<WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm")

public:
   // ---- handlers of the reactors ---------------------------------------------
   void handlePortToLag(Kestin::IntfId port);
   void handleServiceIntfFwdInfo(Kestin::IntfId intfId);
   void handleIntfEncapServiceIntf(Ulva::IntfEncap const& intfEncap);
   void handleRemoteEncapHwStatus(Ulva::IntfEncap const& intfEncap);
   void handleDynamicIntfEncap(Ulva::IntfEncap const& intfEncap);
   // Sweep of every entry of the attached dynamic collection.
   void handleDynamicIntfEncap();

   // Forwarders the reactors call; each has the effect of its handler.
   void fen_handleWcsd_portToLag(Kestin::IntfId port) { handlePortToLag(port); }
   void fen_handleServiceIntfFwdInfo_fwdInfo(Kestin::IntfId intfId) {
      handleServiceIntfFwdInfo(intfId);
   }
   void fen_handleIntfEncapServiceIntf_serviceIntf(Ulva::IntfEncap const& intfEncap) {
      handleIntfEncapServiceIntf(intfEncap);
   }
   void fen_handleRemoteEncapHwStatus_hwStatus(Ulva::IntfEncap const& intfEncap) {
      handleRemoteEncapHwStatus(intfEncap);
   }
   void fen_handleDynamicIntfEncap_entry(Ulva::IntfEncap const& intfEncap) {
      handleDynamicIntfEncap(intfEncap);
   }

   // ---- reactors ---------------------------------------------------------------
   class FenWcsd : public Fen::Reactor<FenWcsd, WexIntfEncapSm, Wex::WexCommonSmData,
                                       Wex::WexCommonSmData::portToLagAttributeId, Kestin::IntfId,
                                       &WexIntfEncapSm::fen_handleWcsd_portToLag> {
      FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm::FenWcsd")

   public:
      using Reactor::Reactor;
   };
   class FenServiceIntfFwdInfo
       : public Fen::Reactor<FenServiceIntfFwdInfo, WexIntfEncapSm, Ulva::ServiceIntfFwdInfoColl,
                             Ulva::ServiceIntfFwdInfoColl::fwdInfoAttributeId, Kestin::IntfId,
                             &WexIntfEncapSm::fen_handleServiceIntfFwdInfo_fwdInfo> {
      FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm::FenServiceIntfFwdInfo")

   public:
      using Reactor::Reactor;
   };
   class FenIntfEncapServiceIntf
       : public Fen::Reactor<
             FenIntfEncapServiceIntf, WexIntfEncapSm, Ulva::IntfEncapServiceIntfColl,
             Ulva::IntfEncapServiceIntfColl::serviceIntfAttributeId, Ulva::IntfEncap,
             &WexIntfEncapSm::fen_handleIntfEncapServiceIntf_serviceIntf> {
      FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm::FenIntfEncapServiceIntf")

   public:
      using Reactor::Reactor;
   };
   class FenRemoteEncapHwStatus
       : public Fen::Reactor<FenRemoteEncapHwStatus, WexIntfEncapSm, Ulva::IntfEncapHwStatusColl,
                             Ulva::IntfEncapHwStatusColl::hwStatusAttributeId, Ulva::IntfEncap,
                             &WexIntfEncapSm::fen_handleRemoteEncapHwStatus_hwStatus> {
      FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm::FenRemoteEncapHwStatus")

   public:
      using Reactor::Reactor;
   };
   class FenDynamicIntfEncap
       : public Fen::Reactor<FenDynamicIntfEncap, WexIntfEncapSm, WexDynamicIntfEncapColl,
                             WexDynamicIntfEncapColl::entryAttributeId, Ulva::IntfEncap,
                             &WexIntfEncapSm::fen_handleDynamicIntfEncap_entry> {
      FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapSm::FenDynamicIntfEncap")

   public:
      using Reactor::Reactor;
      // A newly attached collection is swept at once.
      void onNotifierSwitched() {
         if (!fenMarkedForDeletion() && owner) owner->handleDynamicIntfEncap();
      }
   };

   // ---- keyed collections -----------------------------------------------------
   struct FenRetryNeeded {
      static constexpr std::uint32_t salt = 0xAA0DF8DB;
   };
   struct FenPortDown {
      static constexpr std::uint32_t salt = 0xB8605D12;
   };
   struct PortToHwConfigListKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<WexPortEncapHwConfigList> const& l) const {
         return l->port();
      }
   };
   struct FenPortToHwConfigList {
      static constexpr std::uint32_t salt = 0x1F1ED09A;
      using KeyFunktor = PortToHwConfigListKeyFunktor;
   };
   struct FenPortToLagCached {
      static constexpr std::uint32_t salt = 0x55696FFD;
   };
   struct DecoderKeyFunktor {
      Ulva::IntfEncap const& operator()(Fen::Ptr<WexEncapHwStatusDecoder> const& d) const {
         return d->intfEncap();
      }
   };
   using LagHwStatusDecoderKeyFunktor = DecoderKeyFunktor;
   using SvcHwStatusDecoderKeyFunktor = DecoderKeyFunktor;
   struct FenLagHwStatusDecoder {
      static constexpr std::uint32_t salt = 0xA11445E8;
      using KeyFunktor = LagHwStatusDecoderKeyFunktor;
   };
   struct FenIntfEncapSvcIntfCached {
      static constexpr std::uint32_t salt = 0x99F8EDBC;
   };
   struct FenSvcHwStatusDecoder {
      static constexpr std::uint32_t salt = 0x4ECC3302;
      using KeyFunktor = SvcHwStatusDecoderKeyFunktor;
   };
   using RetryNeededSet = Fen::HashMap2018<FenRetryNeeded, Ulva::IntfEncap>;
   using PortDownMap = Fen::HashMap2018<FenPortDown, Kestin::IntfId, bool>;
   using PortToHwConfigListMap =
       Fen::HashMap2018<FenPortToHwConfigList, Kestin::IntfId, Fen::Ptr<WexPortEncapHwConfigList>>;
   using PortToLagCachedMap = Fen::HashMap2018<FenPortToLagCached, Kestin::IntfId, Kestin::IntfId>;
   using LagHwStatusDecoderMap =
       Fen::HashMap2018<FenLagHwStatusDecoder, Ulva::IntfEncap, Fen::Ptr<WexEncapHwStatusDecoder>>;
   using IntfEncapSvcIntfCachedMap =
       Fen::HashMap2018<FenIntfEncapSvcIntfCached, Ulva::IntfEncap, Kestin::IntfId>;
   using SvcHwStatusDecoderMap =
       Fen::HashMap2018<FenSvcHwStatusDecoder, Ulva::IntfEncap, Fen::Ptr<WexEncapHwStatusDecoder>>;

   // Policies of the LAG and service aggregates: strict (the worst member wins).
   static constexpr bool lagPartialHwSuccess = false;
   static constexpr bool svcPartialHwSuccess = false;

   // ---- creation ----------------------------------------------------------------
   // WexIntfEncapSmIs(...), with the six arguments of the constructor: allocates,
   // constructs and turns notification on; does not sweep (the platform calls
   // handleInitialized when it is ready).
   FEN_CREATOR(WexIntfEncapSm)

   WexIntfEncapSm(Fen::Ptr<Wex::WexCommonSmData> const& wcsd,
                  Fen::Ptr<Ulva::ServiceIntfFwdInfoColl const> const& serviceIntfFwdInfo,
                  Fen::Ptr<Ulva::ServiceIntfHwStatusColl> const& serviceIntfHwStatus,
                  Fen::Ptr<Ulva::IntfEncapServiceIntfColl const> const& intfEncapServiceIntf,
                  Fen::Ptr<Ulva::IntfEncapHwStatusColl> const& intfEncapHwStatus,
                  Fen::Ptr<Ulva::IntfEncapHwStatusColl const> const& remoteEncapHwStatus);
   ~WexIntfEncapSm() override;

   Fen::FwkType fwkType() const override;

   // The initial sweep: clears the tables and runs every input through the
   // handlers that notifications call.
   virtual void handleInitialized();
   // The platform hooks (see the header comment).
   virtual Ulva::IntfEncapHwStatus platformAddHwConfig(WexIntfEncapHwConfig const& hwConfig);
   virtual void platformDeleteHwConfig(WexIntfEncapHwConfig const& hwConfig);

   // ---- inputs and outputs ------------------------------------------------------
   // An input reads as null when its reactor is absent or has no notifier.
   Wex::WexCommonSmData const* wcsd() const { return wcsd_.notifier(); }
   Ulva::ServiceIntfFwdInfoColl const* serviceIntfFwdInfo() const {
      return serviceIntfFwdInfo_.notifier();
   }
   Ulva::ServiceIntfHwStatusColl* serviceIntfHwStatus() const { return serviceIntfHwStatus_.ptr(); }
   Ulva::IntfEncapServiceIntfColl const* intfEncapServiceIntf() const {
      return intfEncapServiceIntf_.notifier();
   }
   Ulva::IntfEncapHwStatusColl* intfEncapHwStatus() const { return intfEncapHwStatus_.ptr(); }
   Ulva::IntfEncapHwStatusColl const* remoteEncapHwStatus() const {
      return remoteEncapHwStatus_.notifier();
   }
   WexDynamicIntfEncapColl const* dynamicIntfEncap() const { return dynamicIntfEncap_.notifier(); }
   // Attaches, replaces or (with null) detaches the dynamic encaps. A new
   // collection is swept at once (after the initial sweep); configs derived from
   // a former one stay until something else names their encaps.
   void dynamicIntfEncapIs(Fen::Ptr<WexDynamicIntfEncapColl const> const& coll);
   Fen::Ptr<WexDynamicIntfEncapColl const> dynamicIntfEncapDel();

   bool initialized() const { return initialized_; }
   void initializedIs(bool v) { initialized_ = v; }

   // The platform's last word per encap, and the configs handed to the platform.
   Ulva::IntfEncapHwStatusColl* hwStatusColl() const { return hwStatusColl_.ptr(); }
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusCollIs(Fen::String const& name);
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusCollDel();
   WexIntfEncapHwConfigColl* hwConfigColl() const { return hwConfigColl_.ptr(); }
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigCollIs();
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigCollDel();

   FEN_COLLECTION_ACCESSORS(retryNeeded, RetryNeededSet, retryNeeded_)
   FEN_COLLECTION_ACCESSORS(portDown, PortDownMap, portDown_)
   FEN_OWNED_COLLECTION_ACCESSORS(portToHwConfigList, PortToHwConfigListMap, portToHwConfigList_,
                                  WexPortEncapHwConfigList)
   FEN_COLLECTION_ACCESSORS(portToLagCached, PortToLagCachedMap, portToLagCached_)
   FEN_OWNED_COLLECTION_ACCESSORS(lagHwStatusDecoder, LagHwStatusDecoderMap, lagHwStatusDecoder_,
                                  WexEncapHwStatusDecoder)
   FEN_COLLECTION_ACCESSORS(intfEncapSvcIntfCached, IntfEncapSvcIntfCachedMap,
                            intfEncapSvcIntfCached_)
   FEN_OWNED_COLLECTION_ACCESSORS(svcHwStatusDecoder, SvcHwStatusDecoderMap, svcHwStatusDecoder_,
                                  WexEncapHwStatusDecoder)

   // ---- flows ---------------------------------------------------------------------
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
   void reinitAllHwConfig();
   void platformPortDownIs(Kestin::IntfId port, bool portIsDown);
   void platformEncapHwStatusIs(Ulva::IntfEncap const& intfEncap, Ulva::IntfEncapHwStatus hwStatus);
   void handleHwConfigRetry();

   // The reactor attributes, in attribute order (used by the state machine shape).
   auto fenReactors() {
      return std::tie(wcsd_, serviceIntfFwdInfo_, intfEncapServiceIntf_, remoteEncapHwStatus_,
                      dynamicIntfEncap_);
   }

private:
   // Starts fetching the members that updateHwConfig(intfEncap) reads and writes
   // first in the large tables (the service cache and decoder, the configs and
   // statuses, the retry set, the published status); for the sweep, a few encaps
   // ahead. Changes nothing.
   void prefetchUpdateHwConfig(Ulva::IntfEncap const& intfEncap) const;

   // Members in attribute order.
   Fen::ReactorSlot<FenWcsd> wcsd_;
   Fen::ReactorSlot<FenServiceIntfFwdInfo> serviceIntfFwdInfo_;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> serviceIntfHwStatus_;
   Fen::ReactorSlot<FenIntfEncapServiceIntf> intfEncapServiceIntf_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> intfEncapHwStatus_;
   Fen::ReactorSlot<FenRemoteEncapHwStatus> remoteEncapHwStatus_;
   Fen::ReactorSlot<FenDynamicIntfEncap> dynamicIntfEncap_;
   bool initialized_ = false;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hwStatusColl_;
   Fen::Ptr<WexIntfEncapHwConfigColl> hwConfigColl_;
   RetryNeededSet retryNeeded_;
   PortDownMap portDown_;
   PortToHwConfigListMap portToHwConfigList_;
   PortToLagCachedMap portToLagCached_;
   LagHwStatusDecoderMap lagHwStatusDecoder_;
   IntfEncapSvcIntfCachedMap intfEncapSvcIntfCached_;
   SvcHwStatusDecoderMap svcHwStatusDecoder_;
};

// The service encap of a service interface: its id with both tags at their
// default (the key of svcHwStatusDecoder).
inline Ulva::IntfEncap serviceEncap(Kestin::IntfId svcIntf) {
   return Ulva::IntfEncap(svcIntf);
}

}  // namespace WexVlanMapping
