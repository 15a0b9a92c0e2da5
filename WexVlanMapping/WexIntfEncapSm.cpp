#include "WexVlanMapping/WexIntfEncapSm.h"

#include <cstddef>
#include <iostream>

#include "Fen/Assert.h"
#include "Gantry/Trace.h"
#include "WexVlanMapping/WexModules.h"

namespace WexVlanMapping {

using Kestin::EthIntfId;
using Kestin::PortChannelIntfId;

// wexIntfEncapSmModule, published when the library is loaded.
Fen::String const fenNamespacePrefix("ns-");
FEN_MODULE(wexIntfEncapSmModule, "WexIntfEncapSm", WexPortEncapHwConfigList,
           WexEncapHwStatusDecoder, WexIntfEncapSm, WexPortWantedEncapList)

namespace {

FEN_TRACE_UNIT("WexIntfEncapSm");

Kestin::IntfId const noIntf;
WexIntfEncapHwConfig const noHwConfig;

// The encap of `port` with the tags of `encap`.
Ulva::IntfEncap portEncapOf(Kestin::IntfId port, Ulva::IntfEncap const& encap) {
   return Ulva::IntfEncap(port, encap.encap());
}

}  // namespace

WexIntfEncapHwConfig portHwConfigOf(WexIntfEncapHwConfig const& config, Kestin::IntfId port,
                                    Kestin::IntfId lagId) {
   WexIntfEncapHwConfig c(portEncapOf(port, config.intfEncap()), config.fwdInfo(), lagId);
   c.egressEncapIs(config.egressEncap());
   c.sourceIs(config.source());
   return c;
}

Fen::FwkType WexPortEncapHwConfigList::fwkType() const {
   return {&wexIntfEncapSmModule, wexIntfEncapSmTypeWexPortEncapHwConfigList};
}

Fen::FwkType WexPortWantedEncapList::fwkType() const {
   return {&wexIntfEncapSmModule, wexIntfEncapSmTypeWexPortWantedEncapList};
}

// ---- frame ------------------------------------------------------------------

WexIntfEncapSm::WexIntfEncapSm(Inputs const& inputs){
    // Reactors and outputs in attribute order; no handler runs during construction.
    FEN_SM_BIND(WEX_INTF_ENCAP_SM_ATTRIBUTES)}

WexIntfEncapSm::~WexIntfEncapSm() {
   fenTeardownReactors();
   hwStatusColl_ = nullptr;
   hwConfigColl_ = nullptr;
   portToHwConfigList_.memberDelAll();
   lagHwStatusDecoder_.memberDelAll();
   svcHwStatusDecoder_.memberDelAll();
   portWantedEncap_.memberDelAll();
}

Fen::FwkType WexIntfEncapSm::fwkType() const {
   return {&wexIntfEncapSmModule, wexIntfEncapSmTypeWexIntfEncapSm};
}

Ulva::IntfEncapHwStatus WexIntfEncapSm::platformAddHwConfig(WexIntfEncapHwConfig const&) {
   FEN_ASSERT(0 && "platformAddHwConfig not implemented");
   return Ulva::hwStatusFailed;
}

void WexIntfEncapSm::platformDeleteHwConfig(WexIntfEncapHwConfig const&) {
   FEN_ASSERT(0 && "platformDeleteHwConfig not implemented");
}

Fen::Ptr<Ulva::IntfEncapHwStatusColl> WexIntfEncapSm::hwStatusCollIs(Fen::String const& name) {
   if (hwStatusColl_ && hwStatusColl_->name() == name) return hwStatusColl_;
   hwStatusColl_ = Ulva::intfEncapHwStatusCollFactory(name);
   return hwStatusColl_;
}

Fen::Ptr<Ulva::IntfEncapHwStatusColl> WexIntfEncapSm::hwStatusCollDel() {
   return std::exchange(hwStatusColl_, nullptr);
}

Fen::Ptr<WexIntfEncapHwConfigColl> WexIntfEncapSm::hwConfigCollIs() {
   if (!hwConfigColl_) hwConfigColl_ = wexIntfEncapHwConfigCollFactory();
   return hwConfigColl_;
}

Fen::Ptr<WexIntfEncapHwConfigColl> WexIntfEncapSm::hwConfigCollDel() {
   return std::exchange(hwConfigColl_, nullptr);
}

void WexIntfEncapSm::handleInitialized() {
   eventBegins();
   GANTRY_TRACE(8, "WexIntfEncapSm::handleInitialized: ");
   FEN_ASSERT(wcsd());
   FEN_ASSERT(serviceIntfFwdInfo());
   FEN_ASSERT(serviceIntfHwStatus());
   FEN_ASSERT(intfEncapServiceIntf());
   FEN_ASSERT(intfEncapHwStatus());
   hwConfigCollIs();
   hwStatusCollIs("encapHwStatus");
   hwConfigColl()->configDelAll();
   hwStatusColl()->hwStatusDelAll();
   // The retry set holds only programmed configs, and none is left. portDown
   // stays: a port reported down stays down.
   retryNeededDelAll();
   portToHwConfigListDelAll();
   lagHwStatusDecoderDelAll();
   portToLagCachedDelAll();
   lagMembersCachedDelAll();
   svcHwStatusDecoderDelAll();
   intfEncapSvcIntfCachedDelAll();
   portWantedEncapDelAll();
   intfEncapPublishedSvcIntfDelAll();
   // A restart starts from nothing published.
   intfEncapHwStatus()->hwStatusDelAll();
   serviceIntfHwStatus()->hwStatusDelAll();
   reserveForSweep();
   initialized_ = true;
   // Only the cache: no config exists yet for a port to move.
   Fen::forEachKey(wcsd()->portToLagMap(),
                   [this](Kestin::IntfId port) { lagMemberIs(port, wcsd()->portToLag(port)); });
   // Dynamic encaps first: an encap in both inputs comes up in its dynamic form.
   if (dynamicIntfEncap()) handleDynamicIntfEncap();
   Fen::forEachKeyAhead(
       intfEncapServiceIntf()->serviceIntfMap(),
       [this](Ulva::IntfEncap const& key) { prefetchUpdateHwConfig(key); },
       [this](Ulva::IntfEncap const& key) { updateHwConfig(key); });
   sweepEncapsPerIntf_.memberDelAll();
   sweepEncapsPerSvc_.memberDelAll();
   Fen::forEachKey(serviceIntfFwdInfo()->fwdInfoMap(),
                   [this](Kestin::IntfId key) { updateSvcIntfHwStatus(key); });
}

void WexIntfEncapSm::reserveForSweep() {
   // One member per wanted encap, static or dynamic (an encap in both counts
   // twice: room to spare, never short of it for a plain encap).
   std::size_t const encaps = intfEncapServiceIntf()->serviceIntfs() +
                              (dynamicIntfEncap() ? dynamicIntfEncap()->entrys() : 0);
   hwConfigColl()->configReserve(encaps);
   hwStatusColl()->hwStatusReserve(encaps);
   intfEncapHwStatus()->hwStatusReserve(encaps);
   intfEncapSvcIntfCachedReserve(encaps);
   intfEncapPublishedSvcIntfReserve(encaps);
   // The tables per interface and per service, sized as the sweep makes them.
   auto countOne = [](SweepCountMap& counts, Kestin::IntfId id) {
      counts.memberIs(id, counts.member(id) + 1);
   };
   sweepEncapsPerIntf_.memberDelAll();
   sweepEncapsPerSvc_.memberDelAll();
   auto const& wanted = intfEncapServiceIntf()->serviceIntfMap();
   for (Ulva::IntfEncapServiceIntfColl::ServiceIntfMap::IteratorConst it(wanted); it;
        it.advance()) {
      auto const& node = *it.currNodeMaybeStale();
      countOne(sweepEncapsPerIntf_, node.key.intfId());
      countOne(sweepEncapsPerSvc_, node.value);
   }
   if (WexDynamicIntfEncapColl const* dynamic = dynamicIntfEncap()) {
      Fen::forEachKey(dynamic->entryMap(),
                      [&](Ulva::IntfEncap const& e) { countOne(sweepEncapsPerIntf_, e.intfId()); });
   }
}

std::size_t WexIntfEncapSm::sweepShare(SweepCountMap const& counts, Kestin::IntfId id) {
   return counts.empty() ? 0 : counts.member(id);
}

void WexIntfEncapSm::prefetchUpdateHwConfig(Ulva::IntfEncap const& intfEncap) const {
   if (WexDynamicIntfEncapColl const* dynamic = dynamicIntfEncap())
      dynamic->entryMap().prefetch(intfEncap);
   intfEncapSvcIntfCached_.prefetch(intfEncap);
   Kestin::IntfId const serviceIntf = intfEncapServiceIntf()->serviceIntf(intfEncap);
   if (auto const* decoder = svcHwStatusDecoder_[serviceEncap(serviceIntf)])
      (*decoder)->hwStatusMap().prefetch(intfEncap);
   hwConfigColl()->configMap().prefetch(intfEncap);
   hwStatusColl()->hwStatusMap().prefetch(intfEncap);
   retryNeeded_.prefetch(intfEncap);
   intfEncapHwStatus()->hwStatusMap().prefetch(intfEncap);
   intfEncapPublishedSvcIntf_.prefetch(intfEncap);
   // The lists of the encap's interface, found through the small directories of
   // interfaces.
   if (WexPortEncapHwConfigList const* const list = hwConfigListOf(intfEncap.intfId()))
      list->hwConfigMap().prefetch(intfEncap);
   if (auto const* const wantedList = portWantedEncap_[intfEncap.intfId()];
       wantedList && *wantedList)
      (*wantedList)->encapMap().prefetch(intfEncap);
}

// ---- derivation ---------------------------------------------------------------

void WexIntfEncapSm::handleIntfEncapServiceIntf(Ulva::IntfEncap const& intfEncap) {
   eventBegins();
   bool const isDel = !intfEncapServiceIntf()->serviceIntfHas(intfEncap);
   GANTRY_TRACE(8, "WexIntfEncapSm::handleIntfEncapServiceIntf: (%s, %s:%s, %s:%s) isDel:%s",
                GANTRY_ENCAP(intfEncap), isDel);
   updateHwConfig(intfEncap);
}

void WexIntfEncapSm::handleDynamicIntfEncap(Ulva::IntfEncap const& intfEncap) {
   eventBegins();
   // Its reactor exists only while a collection is attached; a direct call
   // without one is a broken contract.
   FEN_ASSERT(dynamicIntfEncap());
   bool const isDel = !dynamicIntfEncap()->entryHas(intfEncap);
   GANTRY_TRACE(8, "WexIntfEncapSm::handleDynamicIntfEncap: (%s, %s:%s, %s:%s) isDel:%s",
                GANTRY_ENCAP(intfEncap), isDel);
   updateHwConfig(intfEncap);
}

void WexIntfEncapSm::handleDynamicIntfEncap() {
   FEN_ASSERT(dynamicIntfEncap());
   if (!initialized_) return;
   // Hold the collection: a handler may detach it during the sweep.
   Fen::Ptr<WexDynamicIntfEncapColl const> const coll(dynamicIntfEncap());
   Fen::forEachKey(coll->entryMap(),
                   [this](Ulva::IntfEncap const& key) { handleDynamicIntfEncap(key); });
}

void WexIntfEncapSm::handleServiceIntfFwdInfo(Kestin::IntfId intfId) {
   eventBegins();
   bool const isDel = !serviceIntfFwdInfo()->fwdInfoHas(intfId);
   GANTRY_TRACE(8, "WexIntfEncapSm::handleServiceIntfFwdInfo: %s isDel:%s", intfId.stringValue(),
                isDel);
   // The whole record, to the text trace only.
   if (!isDel && _defaultTraceHandle().levelEnabled(8)) {
      Fen::TraceHelper(_defaultTraceHandle(), 8, __FILE__, __LINE__, "handleServiceIntfFwdInfo")
          << "WexIntfEncapSm::handleServiceIntfFwdInfo: "
          << "   " << serviceIntfFwdInfo()->fwdInfo(intfId);
   }
   // The decoder doubles as the index from a service interface to its encaps.
   Fen::Ptr<WexEncapHwStatusDecoder> const decoder = svcHwStatusDecoder(serviceEncap(intfId));
   if (decoder) {
      Fen::forEachKey(decoder->hwStatusMap(),
                      [this](Ulva::IntfEncap const& key) { updateHwConfig(key); });
   }
   updateSvcIntfHwStatus(intfId);
}

void WexIntfEncapSm::updateHwConfig(Ulva::IntfEncap const& intfEncap) {
   // What the steps learn of the encap, handed to its rollup.
   KnownEncap known;
   known.events = eventsBegun_;
   // 1-7: the config as it should be, and the service interface it serves.
   Kestin::IntfId serviceIntf;
   bool isWanted = false;
   WexIntfEncapHwConfig const wanted =
       deriveHwConfig(intfEncap, &serviceIntf, &isWanted, &known.staticServiceIntf);
   // 8-9: leave the former service aggregate, join the new one.
   doMoveSvcMembership(intfEncap, serviceIntf);
   updateWantedEncap(intfEncap, isWanted);
   // 10-12: the config programmed as wanted.
   doReplaceHwConfig(intfEncap, wanted, &known);
   // 13-14
   updateEncapHwStatusWith(intfEncap, &known);
   if (serviceIntf != noIntf) updateSvcIntfHwStatus(serviceIntf);
}

WexIntfEncapHwConfig WexIntfEncapSm::deriveHwConfig(Ulva::IntfEncap const& intfEncap,
                                                    Kestin::IntfId* serviceIntfOut, bool* wantedOut,
                                                    Kestin::IntfId* staticServiceIntfOut) const {
   // 1-4: what is wanted, a dynamic entry winning over the static one field by field.
   Ulva::VlanTagEncap egressEncap = intfEncap.encap();
   Kestin::IntfId serviceIntf = intfEncapServiceIntf()->serviceIntf(intfEncap);
   if (staticServiceIntfOut) *staticServiceIntfOut = serviceIntf;
   WexIntfEncapSource source = staticEncap;
   bool wanted = serviceIntf != noIntf;
   if (WexDynamicIntfEncapColl const* dynamic = dynamicIntfEncap()) {
      WexDynamicIntfEncapInfo const info = dynamic->entry(intfEncap);
      if (info != WexDynamicIntfEncapInfo()) {
         egressEncap = info.egressEncap();
         source = info.source();
         serviceIntf = info.serviceIntf();
         wanted = true;
      }
   }
   if (wantedOut) *wantedOut = wanted;
   // 5-7: the forwarding of that service, and the LAG of a LAG's own encap.
   Ulva::ServiceIntfFwdInfo const fwdInfo = serviceIntfFwdInfo()->fwdInfo(serviceIntf);
   Kestin::IntfId const lagId =
       PortChannelIntfId::isPortChannelIntfId(intfEncap.intfId()) ? intfEncap.intfId() : noIntf;
   WexIntfEncapHwConfig config(intfEncap, fwdInfo, lagId);
   config.egressEncapIs(egressEncap);
   config.sourceIs(source);
   *serviceIntfOut = serviceIntf;
   return config;
}

void WexIntfEncapSm::doMoveSvcMembership(Ulva::IntfEncap const& intfEncap,
                                         Kestin::IntfId serviceIntf) {
   // 8: leave the former service aggregate.
   Kestin::IntfId const oldSvc = intfEncapSvcIntfCached(intfEncap);
   if (oldSvc != serviceIntf && oldSvc != noIntf) {
      svcHwStatusDecoderIs(serviceEncap(oldSvc))->removeMember(intfEncap);
      updateSvcIntfHwStatus(oldSvc);
   }
   // 9: join the new one; a new member starts as failed.
   if (serviceIntf != noIntf) {
      Fen::Ptr<WexEncapHwStatusDecoder> const decoder =
          svcHwStatusDecoderIs(serviceEncap(serviceIntf));
      if (decoder->hwStatusCount() == 0)
         decoder->hwStatusReserve(sweepShare(sweepEncapsPerSvc_, serviceIntf));
      decoder->addMember(intfEncap, Ulva::hwStatusFailed);
      // A service that stayed is cached already: nothing ran since the read.
      if (oldSvc != serviceIntf) intfEncapSvcIntfCachedIs(intfEncap, serviceIntf);
   } else {
      intfEncapSvcIntfCachedDel(intfEncap);
   }
}

void WexIntfEncapSm::doReplaceHwConfig(Ulva::IntfEncap const& intfEncap,
                                       WexIntfEncapHwConfig const& wanted, KnownEncap* known) {
   // 10-12: any difference is a delete and an add; fwdData 0 forwards nowhere.
   WexPortEncapHwConfigList* list = hwConfigListOf(intfEncap.intfId());
   WexIntfEncapHwConfig const old = list ? list->hwConfig(intfEncap) : noHwConfig;
   if (old == wanted) {
      known->listed = old != noHwConfig;
      return;
   }
   if (old != noHwConfig) {
      doDeleteHwConfig(old);
      // The delete may have dropped the list with its last config.
      list = nullptr;
   }
   known->listed = wanted.fwdInfo().fwdData() != 0;
   if (known->listed) known->answer = addHwConfig(wanted, list);
}

// ---- adding and deleting configs ----------------------------------------------

void WexIntfEncapSm::doAddHwConfig(WexIntfEncapHwConfig const& hwConfig) {
   (void)addHwConfig(hwConfig, nullptr);
}

std::optional<Ulva::IntfEncapHwStatus> WexIntfEncapSm::addHwConfig(
    WexIntfEncapHwConfig const& hwConfig, WexPortEncapHwConfigList* list) {
   Kestin::IntfId const intf = hwConfig.intfEncap().intfId();
   // The wanted config is recorded first, whatever happens next.
   if (list) {
      list->hwConfigIs(hwConfig);
   } else {
      Fen::Ptr<WexPortEncapHwConfigList> const made = portToHwConfigListIs(intf);
      made->hwConfigReserve(sweepShare(sweepEncapsPerIntf_, intf));
      made->hwConfigIs(hwConfig);
   }
   // A port in a LAG does not program its own configs.
   std::optional<Ulva::IntfEncapHwStatus> answer;
   if (!portToLagCachedHas(intf)) answer = addPortHwConfig(hwConfig);
   if (hwConfig.isLag()) {
      // The members the machine took note of; a copy, walked undisturbed.
      Wex::WexLagPortList const ports = lagMembersCached(hwConfig.lagId());
      Fen::forEachKey(ports.portMap(), [&](Kestin::IntfId port) {
         doAddPortHwConfig(portHwConfigOf(hwConfig, port, hwConfig.lagId()));
      });
   }
   return answer;
}

void WexIntfEncapSm::doDeleteHwConfig(WexIntfEncapHwConfig const& hwConfig) {
   Ulva::IntfEncap const intfEncap = hwConfig.intfEncap();
   Kestin::IntfId const intf = intfEncap.intfId();
   // Members before the LAG: the reverse of the add.
   // Every member config made from it: those of the members the machine knows.
   if (hwConfig.isLag()) {
      Wex::WexLagPortList const ports = lagMembersCached(hwConfig.lagId());
      Fen::forEachKey(ports.portMap(), [&](Kestin::IntfId port) {
         doDeletePortHwConfig(portEncapOf(port, intfEncap));
      });
      lagHwStatusDecoderDel(intfEncap);
   }
   if (!portToLagCachedHas(intf)) doDeletePortHwConfig(intfEncap);
   // Only called with a config that getHwConfig found, so the list exists.
   Fen::Ptr<WexPortEncapHwConfigList> const list = portToHwConfigList(intf);
   FEN_ASSERT(list);
   list->hwConfigDel(intfEncap);
   if (list->hwConfigs() == 0) portToHwConfigListDel(intf);
}

// ---- per-port configs ------------------------------------------------------------

WexIntfEncapHwConfig WexIntfEncapSm::getHwConfig(Ulva::IntfEncap const& intfEncap) const {
   WexPortEncapHwConfigList const* const list = hwConfigListOf(intfEncap.intfId());
   if (!list) return WexIntfEncapHwConfig();
   return list->hwConfig(intfEncap);
}

WexPortEncapHwConfigList* WexIntfEncapSm::hwConfigListOf(Kestin::IntfId intf) const {
   auto const* const list = portToHwConfigList_[intf];
   return list ? list->ptr() : nullptr;
}

void WexIntfEncapSm::doAddPortHwConfig(WexIntfEncapHwConfig const& portHwConfig) {
   (void)addPortHwConfig(portHwConfig);
}

std::optional<Ulva::IntfEncapHwStatus> WexIntfEncapSm::addPortHwConfig(
    WexIntfEncapHwConfig const& portHwConfig) {
   Ulva::IntfEncap const portEncap = portHwConfig.intfEncap();
   // A port that is down keeps no config: an add takes out what was there.
   if (portDown(portEncap.intfId())) {
      GANTRY_TRACE(7,
                   "WexIntfEncapSm::doAddPortHwConfig: (%s, %s:%s, %s:%s), ignored due to "
                   "platform port down",
                   GANTRY_ENCAP(portEncap));
      doDeletePortHwConfig(portEncap);
      return std::nullopt;
   }
   // Nothing is programmed twice.
   if (hwConfigColl()->config(portEncap) == portHwConfig) return std::nullopt;
   GANTRY_TRACE(7, "WexIntfEncapSm::doAddPortHwConfig: (%s, %s:%s, %s:%s) lagId:%s",
                GANTRY_ENCAP(portEncap), portHwConfig.lagId().stringValue());
   // Stored before the hook runs: the platform's view may read it.
   hwConfigColl()->configIs(portHwConfig);
   Ulva::IntfEncapHwStatus const status = platformAddHwConfig(portHwConfig);
   hwStatusColl()->hwStatusIs(portEncap, status);
   // Every programmed config the platform answers not ready waits for a retry,
   // a member's too; any other answer ends the wait.
   if (status == Ulva::hwStatusNotReady) {
      retryNeededIs(portEncap);
   } else {
      retryNeededDel(portEncap);
   }
   if (portHwConfig.isLagMember()) {
      lagHwStatusDecoderIs(portHwConfig.parentIntfEncap())->updateMember(portEncap, status);
   }
   return status;
}

void WexIntfEncapSm::doDeletePortHwConfig(Ulva::IntfEncap const& portEncap) {
   WexIntfEncapHwConfig const old = hwConfigColl()->configDel(portEncap);
   if (old != noHwConfig) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doDeletePortHwConfig: (%s, %s:%s, %s:%s)",
                   GANTRY_ENCAP(portEncap));
      // Nothing left to retry.
      retryNeededDel(portEncap);
      platformDeleteHwConfig(old);
   }
   // Also wipes a status reported for an encap that was never programmed.
   hwStatusColl()->hwStatusDel(portEncap);
}

// ---- status rollup -----------------------------------------------------------------

void WexIntfEncapSm::updateEncapHwStatus(Ulva::IntfEncap const& intfEncap) {
   updateEncapHwStatusWith(intfEncap, nullptr);
}

void WexIntfEncapSm::updateEncapHwStatusWith(Ulva::IntfEncap const& intfEncap,
                                             KnownEncap const* known) {
   // What updateHwConfig learnt stands only while no other event has begun.
   if (known && known->events != eventsBegun_) known = nullptr;
   Ulva::IntfEncapHwStatus const ownStatus =
       known && known->answer ? *known->answer : hwStatusColl()->hwStatus(intfEncap);
   // 2: retry bookkeeping, on the encap itself.
   updateRetryNeeded(intfEncap, ownStatus);
   // 3-6: the encap the status is published under, and its status.
   Ulva::IntfEncap rollupEncap = intfEncap;
   Ulva::IntfEncapHwStatus newStatus = rollupHwStatus(intfEncap, ownStatus, &rollupEncap);
   // The rest is about the published encap: a LAG member's is its LAG's.
   if (rollupEncap != intfEncap) known = nullptr;
   // 7-8: the limits of what can be published.
   bool const listed = known ? known->listed : getHwConfig(rollupEncap) != noHwConfig;
   newStatus = cappedHwStatus(rollupEncap, newStatus, listed);
   // 9-11: published, or withdrawn.
   Kestin::IntfId const svcIntf =
       known ? known->staticServiceIntf : intfEncapServiceIntf()->serviceIntf(rollupEncap);
   publishEncapHwStatus(rollupEncap, newStatus, svcIntf);
}

void WexIntfEncapSm::updateRetryNeeded(Ulva::IntfEncap const& intfEncap,
                                       Ulva::IntfEncapHwStatus ownStatus) {
   // An absent status reads as failed, so not ready means a stored report. The
   // config is looked up only for a status that may need a retry.
   WexIntfEncapHwConfig const* const programmed =
       ownStatus == Ulva::hwStatusNotReady ? hwConfigColl()->configMap()[intfEncap] : nullptr;
   if (programmed && *programmed != noHwConfig) {
      retryNeededIs(intfEncap);
   } else {
      retryNeededDel(intfEncap);
   }
}

Ulva::IntfEncapHwStatus WexIntfEncapSm::rollupHwStatus(Ulva::IntfEncap const& intfEncap,
                                                       Ulva::IntfEncapHwStatus ownStatus,
                                                       Ulva::IntfEncap* rollupEncap) {
   WexIntfEncapHwConfigColl const& configs = *hwConfigColl();
   Kestin::IntfId const lagId = portToLagCached(intfEncap.intfId());
   if (lagId != noIntf) {
      // 4: a port in a LAG folds into the LAG encap; its own encap is never published.
      Ulva::IntfEncap const lagEncap = portEncapOf(lagId, intfEncap);
      Fen::Ptr<WexEncapHwStatusDecoder> const decoder = lagHwStatusDecoderIs(lagEncap);
      if (configs.configHas(intfEncap)) {
         decoder->updateMember(intfEncap, ownStatus);
      } else {
         decoder->removeMember(intfEncap);
      }
      updateLagEncapMember(*decoder, lagEncap);
      *rollupEncap = lagEncap;
      return decoder->aggrHwStatus(lagPartialHwSuccess);
   }
   if (PortChannelIntfId::isPortChannelIntfId(intfEncap.intfId())) {
      // 5: a LAG's own encap counts only while a member carries it.
      Fen::Ptr<WexEncapHwStatusDecoder> const decoder = lagHwStatusDecoderIs(intfEncap);
      updateLagEncapMember(*decoder, intfEncap);
      return decoder->aggrHwStatus(lagPartialHwSuccess);
   }
   // 6: a plain encap publishes its own status.
   return ownStatus;
}

Ulva::IntfEncapHwStatus WexIntfEncapSm::cappedHwStatus(Ulva::IntfEncap const& rollupEncap,
                                                       Ulva::IntfEncapHwStatus status,
                                                       bool listed) const {
   // 7: no derivable config, no way up.
   if (!listed) status = Ulva::hwStatusFailed;
   // 8: the remote side can lower the status, never raise it.
   if (Ulva::IntfEncapHwStatusColl const* remote = remoteEncapHwStatus()) {
      Ulva::IntfEncapHwStatus const remoteStatus = remote->hwStatus(rollupEncap);
      if (status > remoteStatus) {
         status = remoteStatus;
         GANTRY_TRACE(
             7, "WexIntfEncapSm::updateEncapHwStatus: (%s, %s:%s, %s:%s) use remote hwStatus %s",
             GANTRY_ENCAP(rollupEncap), remoteStatus);
      }
   }
   return status;
}

void WexIntfEncapSm::publishEncapHwStatus(Ulva::IntfEncap const& rollupEncap,
                                          Ulva::IntfEncapHwStatus status, Kestin::IntfId svcIntf) {
   // 9-10: only statically wanted encaps with a service interface are published.
   // A static service interface that changed or went keeps no place for the encap.
   Kestin::IntfId const publishedSvc = intfEncapPublishedSvcIntf(rollupEncap);
   if (publishedSvc != svcIntf && publishedSvc != noIntf) {
      leavePublishedSvc(rollupEncap, publishedSvc);
   }
   if (svcIntf == noIntf) {
      if (intfEncapHwStatus()->hwStatusHas(rollupEncap)) {
         GANTRY_TRACE(7,
                      "WexIntfEncapSm::updateEncapHwStatus: (%s, %s:%s, %s:%s) deleting hwStatus",
                      GANTRY_ENCAP(rollupEncap));
      }
      intfEncapHwStatus()->hwStatusDel(rollupEncap);
      return;
   }
   // 11: the encap first, then its service decoder, then the service.
   intfEncapHwStatus()->hwStatusIs(rollupEncap, status);
   GANTRY_TRACE(7, "WexIntfEncapSm::updateEncapHwStatus: (%s, %s:%s, %s:%s) hwStatus %s",
                GANTRY_ENCAP(rollupEncap), status);
   if (publishedSvc != svcIntf) intfEncapPublishedSvcIntfIs(rollupEncap, svcIntf);
   svcHwStatusDecoderIs(serviceEncap(svcIntf))->updateMember(rollupEncap, status);
   updateSvcIntfHwStatus(svcIntf);
}

void WexIntfEncapSm::leavePublishedSvc(Ulva::IntfEncap const& encap, Kestin::IntfId svcIntf) {
   intfEncapPublishedSvcIntfDel(encap);
   Fen::Ptr<WexEncapHwStatusDecoder> const decoder = svcHwStatusDecoder(serviceEncap(svcIntf));
   if (!decoder) return;
   bool const counted = intfEncapSvcIntfCached(encap) == svcIntf;
   auto const* const place = decoder->hwStatusMap()[encap];
   // The service's status is recomputed only when the place changed.
   if (!place || (counted && place->value == Ulva::hwStatusFailed)) return;
   if (counted) {
      decoder->updateMember(encap, Ulva::hwStatusFailed);
   } else {
      decoder->removeMember(encap);
   }
   updateSvcIntfHwStatus(svcIntf);
}

void WexIntfEncapSm::updateSvcIntfHwStatus(Kestin::IntfId svcIntf) {
   Ulva::IntfEncap const svcKey = serviceEncap(svcIntf);
   Fen::Ptr<WexEncapHwStatusDecoder> const decoder = svcHwStatusDecoder(svcKey);
   if (serviceIntfFwdInfo()->fwdInfoHas(svcIntf)) {
      Ulva::IntfEncapHwStatus const status =
          decoder ? decoder->aggrHwStatus(svcPartialHwSuccess) : Ulva::hwStatusFailed;
      serviceIntfHwStatus()->hwStatusIs(svcIntf, status);
      GANTRY_TRACE(7, "WexIntfEncapSm::updateSvcIntfHwStatus: %s hwStatus %s",
                   svcIntf.stringValue(), status);
      return;
   }
   if (serviceIntfHwStatus()->hwStatusHas(svcIntf)) {
      GANTRY_TRACE(7, "WexIntfEncapSm::updateSvcIntfHwStatus: %s deleting hwStatus",
                   svcIntf.stringValue());
   }
   serviceIntfHwStatus()->hwStatusDel(svcIntf);
   // A decoder that still has members stays until a later call finds it empty.
   if (decoder && decoder->hwStatusCount() == 0) svcHwStatusDecoderDel(svcKey);
}

// ---- platform status and retry ---------------------------------------------------

void WexIntfEncapSm::platformEncapHwStatusIs(Ulva::IntfEncap const& intfEncap,
                                             Ulva::IntfEncapHwStatus hwStatus) {
   eventBegins();
   GANTRY_TRACE(8, "WexIntfEncapSm::platformEncapHwStatusIs: (%s, %s:%s, %s:%s) hwStatus:%s",
                GANTRY_ENCAP(intfEncap), hwStatus);
   // A status can be reported for an Ethernet port or a port channel only.
   FEN_ASSERT_TEXT(EthIntfId::isEthIntfId(intfEncap.intfId()) ||
                       PortChannelIntfId::isPortChannelIntfId(intfEncap.intfId()),
                   "EthIntfId::isEthIntfId( intfEncap.intfId() ) || "
                   "PortChannelIntfId::isPortChannelIntfId( intfEncap.intfId() )");
   hwStatusColl()->hwStatusIs(intfEncap, hwStatus);
   updateEncapHwStatus(intfEncap);
}

void WexIntfEncapSm::handleHwConfigRetry() {
   eventBegins();
   GANTRY_TRACE(8, "WexIntfEncapSm::handleHwConfigRetry: ");
   Fen::forEachKey(retryNeeded_, [this](Ulva::IntfEncap const& encap) {
      WexIntfEncapHwConfig hwConfig = hwConfigColl()->config(encap);
      if (hwStatusColl()->hwStatusHas(encap) &&
          hwStatusColl()->hwStatus(encap) == Ulva::hwStatusNotReady && hwConfig != noHwConfig) {
         hwConfig.retryCntInc(1);
         hwConfigColl()->configIs(hwConfig);
         // The answer waits for the platform's next report.
         (void)platformAddHwConfig(hwConfig);
      } else {
         retryNeededDel(encap);
      }
   });
}

// ---- port down and reinitialisation ------------------------------------------------

void WexIntfEncapSm::platformPortDownIs(Kestin::IntfId port, bool portIsDown) {
   eventBegins();
   if (!EthIntfId::isEthIntfId(port)) return;
   if (portDownHas(port) && portDown(port) == portIsDown) return;
   GANTRY_TRACE(8, "WexIntfEncapSm::platformPortDownIs: %s portIsDown: %s", port.stringValue(),
                portIsDown);
   // Stored before any config moves: doAddPortHwConfig consults it.
   portDownIs(port, portIsDown);
   Kestin::IntfId owner = portToLagCached(port);
   if (owner == noIntf) owner = port;
   Fen::Ptr<WexPortEncapHwConfigList> const list = portToHwConfigList(owner);
   if (!list) return;
   GANTRY_TRACE(8, "WexIntfEncapSm::platformPortDownIs: numHwConfigs: %s", list->hwConfigs());
   Fen::forEachKey(list->hwConfigMap(), [&](Ulva::IntfEncap const& key) {
      WexIntfEncapHwConfig const hwConfig = list->hwConfig(key);
      Ulva::IntfEncap const portEncap = portEncapOf(port, hwConfig.intfEncap());
      if (portIsDown) {
         doDeletePortHwConfig(portEncap);
      } else {
         // Without the delete, the old record would look programmed already.
         hwConfigColl()->configDel(portEncap);
         doAddPortHwConfig(portHwConfigOf(hwConfig, port, hwConfig.lagId()));
      }
      updateEncapHwStatus(portEncap);
   });
}

void WexIntfEncapSm::reinitAllHwConfig() {
   eventBegins();
   GANTRY_TRACE(8, "WexIntfEncapSm::reinitAllHwConfig: ");
   Fen::forEachKey(hwConfigColl()->configMap(), [this](Ulva::IntfEncap const& key) {
      WexIntfEncapHwConfig const hwConfig = hwConfigColl()->config(key);
      doDeletePortHwConfig(hwConfig.intfEncap());
      doAddPortHwConfig(hwConfig);
      updateEncapHwStatus(hwConfig.intfEncap());
   });
}

// ---- LAG membership ------------------------------------------------------------------

void WexIntfEncapSm::handlePortToLag(Kestin::IntfId port) {
   eventBegins();
   bool const isDel = !wcsd()->portToLagHas(port);
   GANTRY_TRACE(8, "WexIntfEncapSm::handlePortToLag: %s isDel:%s", port.stringValue(), isDel);
   if (isDel) {
      doDeletePortFromLag(port);
   } else {
      doAddPortToLag(port);
   }
}

void WexIntfEncapSm::doAddPortToLag(Kestin::IntfId port) {
   Kestin::IntfId const lagId = wcsd()->portToLag(port);
   FEN_ASSERT_TEXT(PortChannelIntfId::isPortChannelIntfId(lagId),
                   "PortChannelIntfId::isPortChannelIntfId( lagId )");
   // A move between LAGs is a full leave and a full join.
   Kestin::IntfId const cachedLag = portToLagCached(port);
   if (portToLagCachedHas(port) && cachedLag != lagId) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doAddPortToLag:  remove port:%s from LAG:%s",
                   port.stringValue(), cachedLag.stringValue());
      doDeletePortFromLag(port);
   }
   // Before any config moves, so that the rollups fold into the new LAG.
   lagMemberIs(port, lagId);
   if (Fen::Ptr<WexPortEncapHwConfigList> const own = portToHwConfigList(port)) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doAddPortToLag: %s, removing old eth port h/w configs",
                   port.stringValue());
      Fen::forEachKey(own->hwConfigMap(), [this](Ulva::IntfEncap const& key) {
         doDeletePortHwConfig(key);
         updateEncapHwStatus(key);
      });
   }
   // The port's own encaps are published no more while it is a member.
   if (Fen::Ptr<WexPortWantedEncapList> const wanted = portWantedEncap(port)) {
      Fen::forEachKey(wanted->encapMap(),
                      [this](Ulva::IntfEncap const& key) { withdrawOwnEncap(key); });
   }
   Fen::Ptr<WexPortEncapHwConfigList> const lagList = portToHwConfigList(lagId);
   if (!lagList) return;
   GANTRY_TRACE(7, "WexIntfEncapSm::doAddPortToLag: %s, adding new port h/w configs from lag %s",
                port.stringValue(), lagId.stringValue());
   Fen::forEachKey(lagList->hwConfigMap(), [&](Ulva::IntfEncap const& key) {
      WexIntfEncapHwConfig const hwConfig = lagList->hwConfig(key);
      Ulva::IntfEncap const portEncap = portEncapOf(port, hwConfig.intfEncap());
      doAddPortHwConfig(portHwConfigOf(hwConfig, port, lagId));
      updateEncapHwStatus(portEncap);
   });
}

void WexIntfEncapSm::doDeletePortFromLag(Kestin::IntfId port) {
   Kestin::IntfId const lagId = portToLagCached(port);
   FEN_ASSERT_TEXT(PortChannelIntfId::isPortChannelIntfId(lagId),
                   "PortChannelIntfId::isPortChannelIntfId( lagId )");
   if (Fen::Ptr<WexPortEncapHwConfigList> const lagList = portToHwConfigList(lagId)) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doDeletePortFromLag: %s, removing h/w configs from lag %s",
                   port.stringValue(), lagId.stringValue());
      Fen::forEachKey(lagList->hwConfigMap(), [&](Ulva::IntfEncap const& key) {
         Ulva::IntfEncap const portEncap = portEncapOf(port, lagList->hwConfig(key).intfEncap());
         doDeletePortHwConfig(portEncap);
         // The cache still names the LAG: the member leaves its decoder.
         updateEncapHwStatus(portEncap);
      });
   }
   lagMemberDel(port);
   Fen::Ptr<WexPortEncapHwConfigList> const own = portToHwConfigList(port);
   if (own) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doDeletePortFromLag: %s, adding old eth port h/w configs",
                   port.stringValue());
      Fen::forEachKey(own->hwConfigMap(), [&](Ulva::IntfEncap const& key) {
         WexIntfEncapHwConfig const hwConfig = own->hwConfig(key);
         doAddPortHwConfig(hwConfig);
         updateEncapHwStatus(hwConfig.intfEncap());
      });
   }
   // The port's wanted encaps without a config are published again too.
   if (Fen::Ptr<WexPortWantedEncapList> const wanted = portWantedEncap(port)) {
      Fen::forEachKey(wanted->encapMap(), [&](Ulva::IntfEncap const& key) {
         if (!own || !own->hwConfigHas(key)) updateEncapHwStatus(key);
      });
   }
}

void WexIntfEncapSm::withdrawOwnEncap(Ulva::IntfEncap const& encap) {
   if (intfEncapHwStatus()->hwStatusHas(encap)) {
      GANTRY_TRACE(7, "WexIntfEncapSm::doAddPortToLag: (%s, %s:%s, %s:%s) deleting hwStatus",
                   GANTRY_ENCAP(encap));
   }
   intfEncapHwStatus()->hwStatusDel(encap);
   Kestin::IntfId const publishedSvc = intfEncapPublishedSvcIntf(encap);
   if (publishedSvc != noIntf) leavePublishedSvc(encap, publishedSvc);
   Kestin::IntfId const countedSvc = intfEncapSvcIntfCached(encap);
   if (countedSvc == noIntf) return;
   Fen::Ptr<WexEncapHwStatusDecoder> const decoder = svcHwStatusDecoderIs(serviceEncap(countedSvc));
   auto const* const place = decoder->hwStatusMap()[encap];
   if (place && place->value == Ulva::hwStatusFailed) return;
   decoder->updateMember(encap, Ulva::hwStatusFailed);
   updateSvcIntfHwStatus(countedSvc);
}

// ---- the indices of membership and of wanted encaps ---------------------------------

void WexIntfEncapSm::lagMemberIs(Kestin::IntfId port, Kestin::IntfId lag) {
   Kestin::IntfId const former = portToLagCached(port);
   if (portToLagCachedHas(port) && former == lag) return;
   if (portToLagCachedHas(port)) lagMemberDel(port);
   portToLagCachedIs(port, lag);
   Wex::WexLagPortList members = lagMembersCached(lag);
   members.portIs(port, Wex::WexLagPort());
   lagMembersCachedIs(lag, members);
}

void WexIntfEncapSm::lagMemberDel(Kestin::IntfId port) {
   if (!portToLagCachedHas(port)) return;
   Kestin::IntfId const lag = portToLagCached(port);
   portToLagCachedDel(port);
   Wex::WexLagPortList members = lagMembersCached(lag);
   members.portDel(port);
   if (members.ports() == 0) {
      lagMembersCachedDel(lag);
   } else {
      lagMembersCachedIs(lag, members);
   }
}

bool WexIntfEncapSm::lagEncapCounts(Ulva::IntfEncap const& lagEncap) const {
   WexIntfEncapHwConfigColl const& configs = *hwConfigColl();
   if (!configs.configHas(lagEncap)) return false;
   Wex::WexLagPortList const members = lagMembersCached(lagEncap.intfId());
   for (auto it = members.portMap().begin(); it; it.advance()) {
      WexIntfEncapHwConfig const* const member =
          configs.configMap()[portEncapOf(it.key(), lagEncap)];
      if (member && member->lagId() == lagEncap.intfId()) return true;
   }
   return false;
}

void WexIntfEncapSm::updateLagEncapMember(WexEncapHwStatusDecoder& decoder,
                                          Ulva::IntfEncap const& lagEncap) {
   if (lagEncapCounts(lagEncap)) {
      decoder.updateMember(lagEncap, hwStatusColl()->hwStatus(lagEncap));
   } else {
      decoder.removeMember(lagEncap);
   }
}

void WexIntfEncapSm::updateWantedEncap(Ulva::IntfEncap const& intfEncap, bool wanted) {
   Kestin::IntfId const intf = intfEncap.intfId();
   if (wanted) {
      Fen::Ptr<WexPortWantedEncapList> const list = portWantedEncapIs(intf);
      if (list->encaps() == 0) list->encapReserve(sweepShare(sweepEncapsPerIntf_, intf));
      list->encapIs(intfEncap);
      return;
   }
   Fen::Ptr<WexPortWantedEncapList> const list = portWantedEncap(intf);
   if (!list) return;
   list->encapDel(intfEncap);
   if (list->encaps() == 0) portWantedEncapDel(intf);
}

// ---- remote status -----------------------------------------------------------------

void WexIntfEncapSm::handleRemoteEncapHwStatus(Ulva::IntfEncap const& intfEncap) {
   eventBegins();
   // As above: the remote status may be absent, and then nothing calls this.
   FEN_ASSERT(remoteEncapHwStatus());
   bool const isDel = !remoteEncapHwStatus()->hwStatusHas(intfEncap);
   GANTRY_TRACE(8, "WexIntfEncapSm::handleRemoteEncapHwStatus: (%s, %s:%s, %s:%s) isDel:%s",
                GANTRY_ENCAP(intfEncap), isDel);
   if (portToLagCached(intfEncap.intfId()) == noIntf) {
      updateEncapHwStatus(intfEncap);
      return;
   }
   GANTRY_TRACE(7,
                "WexIntfEncapSm::handleRemoteEncapHwStatus: (%s, %s:%s, %s:%s) uses lag member "
                "port, skipping",
                GANTRY_ENCAP(intfEncap));
}

}  // namespace WexVlanMapping
