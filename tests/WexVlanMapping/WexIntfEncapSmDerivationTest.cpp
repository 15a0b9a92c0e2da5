// Deriving one hardware config per encap from the static and dynamic wishes and
// the forwarding of service interfaces: updateHwConfig in each situation, the
// handlers that lead to it, and attaching, replacing and detaching the dynamic
// encaps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "EncapSmTestKit.h"
#include "Lintel/TraceHandle.h"

namespace TestSupport {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using WexVlanMapping::macsecProxy;
using WexVlanMapping::staticEncap;
using WexVlanMapping::WexIntfEncapSm;

constexpr std::uint32_t level7 = Fen::TraceFacility::levelBit(7);
constexpr std::uint32_t level8 = Fen::TraceFacility::levelBit(8);

WexIntfEncapSm::FenDynamicIntfEncap* dynamicReactor(WexIntfEncapSm& m) {
   return std::get<4>(m.fenReactors()).reactor();
}

class WexIntfEncapSmDerivation : public EncapSmTest {
protected:
   // Ethernet1 100 wanted for Vlan100, which forwards with fwdData 7; programmed.
   void startWithOneEncap() {
      fwdInfoIs("Vlan100", 7);
      wantIs(e1, "Vlan100");
      startRecording();
      calls().clear();
   }
   bool decoderHas(char const* svcIntf, Ulva::IntfEncap const& e) const {
      auto const decoder = machine().svcHwStatusDecoder(serviceKey(svcIntf));
      return decoder && decoder->hwStatusHas(e);
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
};

// ---- updateHwConfig, situation by situation -----------------------------------------

TEST_F(WexIntfEncapSmDerivation, EncapInNeitherInputWithNothingStoredOnlyRollsUp) {
   startRecording();
   Ulva::IntfEncap const stray = encap("Ethernet9", 900);
   published->hwStatusIs(stray, Ulva::hwStatusSuccess);  // something to roll up
   TraceCapture trace;

   sm().updateHwConfig(stray);

   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().intfEncapSvcIntfCachedHas(stray));
   EXPECT_FALSE(published->hwStatusHas(stray));
   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet9, 900:0x8100, "
                           "4095:0x8100) deleting hwStatus"));
}

TEST_F(WexIntfEncapSmDerivation, EncapInNeitherInputWithConfigStoredIsDeletedNotAdded) {
   startWithOneEncap();

   wanted->serviceIntfDel(e1);

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7))));
   EXPECT_FALSE(decoderHas("Vlan100", e1));
   EXPECT_FALSE(sm().intfEncapSvcIntfCachedHas(e1));
   EXPECT_EQ(sm().getHwConfig(e1), WexIntfEncapHwConfig());
   EXPECT_FALSE(published->hwStatusHas(e1));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmDerivation, WantedEncapWithoutFwdInfoJoinsItsServiceOnly) {
   startRecording();

   wantIs(e1, "Vlan100");

   EXPECT_THAT(calls(), IsEmpty());
   ASSERT_TRUE(decoderHas("Vlan100", e1));
   EXPECT_EQ(sm().svcHwStatusDecoder(serviceKey("Vlan100"))->hwStatus(e1), Ulva::hwStatusFailed);
   EXPECT_EQ(sm().intfEncapSvcIntfCached(e1), id("Vlan100"));
   EXPECT_EQ(sm().getHwConfig(e1), WexIntfEncapHwConfig());
   // The rollup ran: published, and failed for want of a config.
   ASSERT_TRUE(published->hwStatusHas(e1));
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusFailed);
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoArrivingLaterOnlyAdds) {
   startRecording();
   wantIs(e1, "Vlan100");

   fwdInfoIs("Vlan100", 7);

   EXPECT_THAT(calls(), ElementsAre(added(plainConfig(e1, "Vlan100", 7))));
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoChangeDeletesThenAdds) {
   startWithOneEncap();

   fwdInfoIs("Vlan100", 8);

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7)),
                                    added(plainConfig(e1, "Vlan100", 8))));
   EXPECT_EQ(sm().getHwConfig(e1), plainConfig(e1, "Vlan100", 8));
}

TEST_F(WexIntfEncapSmDerivation, ServiceTypeChangeAloneAlsoDeletesThenAdds) {
   startWithOneEncap();

   fwdInfoIs("Vlan100", 7, Ulva::serviceIntfTypeTunnel);

   ASSERT_EQ(calls().size(), 2u);
   EXPECT_EQ(calls()[0], deleted(plainConfig(e1, "Vlan100", 7)));
   EXPECT_EQ(calls()[1].kind, RecordingPlatform::hookAdd);
   EXPECT_EQ(calls()[1].config.fwdInfo().serviceType(), Ulva::serviceIntfTypeTunnel);
}

TEST_F(WexIntfEncapSmDerivation, MoveToAnotherServiceLeavesOldJoinsNewAndRecomputesBoth) {
   fwdInfoIs("Vlan200", 9);
   startWithOneEncap();
   TraceCapture trace(level7);

   wanted->serviceIntfIs(e1, id("Vlan200"));

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7)),
                                    added(plainConfig(e1, "Vlan200", 9))));
   EXPECT_FALSE(decoderHas("Vlan100", e1));
   EXPECT_TRUE(decoderHas("Vlan200", e1));
   EXPECT_EQ(sm().intfEncapSvcIntfCached(e1), id("Vlan200"));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan200")), Ulva::hwStatusSuccess);
   EXPECT_THAT(
       trace.linesAt(7),
       ElementsAre(
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed",
           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100) lagId:",
           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) hwStatus "
           "hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusSuccess"));
}

TEST_F(WexIntfEncapSmDerivation, NothingChangedCallsNoHookAndOnlyRollsUp) {
   startWithOneEncap();
   TraceCapture trace;

   sm().updateHwConfig(e1);

   EXPECT_THAT(calls(), IsEmpty());
   // A member keeps the status it has; it is not reset to failed.
   EXPECT_EQ(sm().svcHwStatusDecoder(serviceKey("Vlan100"))->hwStatus(e1), Ulva::hwStatusSuccess);
   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) hwStatus hwStatusSuccess",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                   "hwStatusSuccess"));
}

TEST_F(WexIntfEncapSmDerivation, RetriedConfigDoesNotLookLikeAChange) {
   startWithOneEncap();
   WexIntfEncapHwConfig retried = plainConfig(e1, "Vlan100", 7);
   retried.retryCntIs(3);
   sm().hwConfigColl()->configIs(retried);

   sm().updateHwConfig(e1);

   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_EQ(sm().hwConfigColl()->config(e1), retried);
}

TEST_F(WexIntfEncapSmDerivation, FwdDataZeroIsNotAdded) {
   fwdInfoIs("Vlan100", 0);
   wantIs(e1, "Vlan100");
   startRecording();

   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_EQ(sm().getHwConfig(e1), WexIntfEncapHwConfig());
   EXPECT_TRUE(decoderHas("Vlan100", e1));
}

TEST_F(WexIntfEncapSmDerivation, FwdDataDroppingToZeroDeletesTheStoredConfig) {
   startWithOneEncap();

   fwdInfoIs("Vlan100", 0);

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7))));
   EXPECT_EQ(sm().getHwConfig(e1), WexIntfEncapHwConfig());
   EXPECT_FALSE(sm().portToHwConfigListHas(id("Ethernet1")));
}

TEST_F(WexIntfEncapSmDerivation, OnlyAPortChannelEncapGetsALagId) {
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   Ulva::IntfEncap const memberPortEncap = encap("Ethernet1", 200);
   Ulva::IntfEncap const plainEncap = encap("Ethernet2", 300);
   wantIs(lagEncap, "Vlan100");
   wantIs(memberPortEncap, "Vlan100");
   wantIs(plainEncap, "Vlan100");

   startRecording();

   EXPECT_EQ(sm().getHwConfig(lagEncap).lagId(), id("Port-Channel1"));
   EXPECT_EQ(sm().getHwConfig(memberPortEncap).lagId(), Kestin::IntfId());
   EXPECT_EQ(sm().getHwConfig(memberPortEncap), plainConfig(memberPortEncap, "Vlan100", 7));
   EXPECT_EQ(sm().getHwConfig(plainEncap).lagId(), Kestin::IntfId());
}

// ---- the forwarding handler -------------------------------------------------------

TEST_F(WexIntfEncapSmDerivation, FwdInfoOfServiceWithoutDecoderOnlyRecomputesItsStatus) {
   startWithOneEncap();
   TraceCapture trace;

   fwdInfoIs("Vlan300", 5);

   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().svcHwStatusDecoderHas(serviceKey("Vlan300")));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan300")), Ulva::hwStatusFailed);
   std::ostringstream record;
   record << fwd->fwdInfo(id("Vlan300"));
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre("WexIntfEncapSm::handleServiceIntfFwdInfo: Vlan300 isDel:false",
                           "WexIntfEncapSm::handleServiceIntfFwdInfo:    " + record.str()));
   EXPECT_THAT(trace.linesAt(7),
               ElementsAre("WexIntfEncapSm::updateSvcIntfHwStatus: Vlan300 hwStatus "
                           "hwStatusFailed"));
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoChangeReachesEveryEncapOfItsServiceOnly) {
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200);
   Ulva::IntfEncap const other = encap("Ethernet3", 300);
   fwdInfoIs("Vlan200", 9);
   wantIs(e2, "Vlan100");
   wantIs(other, "Vlan200");
   startWithOneEncap();

   fwdInfoIs("Vlan100", 8);

   EXPECT_THAT(recording->callKeys(),
               UnorderedElementsAre("delete Ethernet1 100", "add Ethernet1 100",
                                    "delete Ethernet2 200", "add Ethernet2 200"));
   EXPECT_EQ(sm().getHwConfig(e2), plainConfig(e2, "Vlan100", 8));
   EXPECT_EQ(sm().getHwConfig(other), plainConfig(other, "Vlan200", 9));
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoRemovedDeletesTheConfigsOfItsService) {
   startWithOneEncap();
   TraceCapture trace(level8);

   fwd->fwdInfoDel(id("Vlan100"));

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7))));
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));
   EXPECT_TRUE(decoderHas("Vlan100", e1));
   // No record to print for a removal.
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre("WexIntfEncapSm::handleServiceIntfFwdInfo: Vlan100 isDel:true"));
}

// ---- traces of the handlers -----------------------------------------------------

TEST_F(WexIntfEncapSmDerivation, ServiceIntfHandlerTracesTheEncapAtLevel8) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   // An outer tag with another tpid shows that each tag prints its own.
   Ulva::IntfEncap const e(
       id("Ethernet1"),
       Ulva::VlanTagEncap(Ulva::vlanTag(100, Bridging::vlanTpid88a8), Ulva::vlanTag(20)));
   {
      TraceCapture trace(level8);
      wanted->serviceIntfIs(e, id("Vlan100"));
      wanted->serviceIntfDel(e);
      EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleIntfEncapServiceIntf: "
                                                "(Ethernet1, 100:0x88a8, 20:0x8100) isDel:false",
                                                "WexIntfEncapSm::handleIntfEncapServiceIntf: "
                                                "(Ethernet1, 100:0x88a8, 20:0x8100) isDel:true"));
   }
   TraceCapture trace(Fen::TraceFacility::allLevels & ~level8);
   wanted->serviceIntfIs(e, id("Vlan100"));
   EXPECT_THAT(trace.matching("handleIntfEncapServiceIntf"), IsEmpty());
}

TEST_F(WexIntfEncapSmDerivation, DynamicHandlerTracesTheEncapAtLevel8) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   TraceCapture trace;

   dynamic->entryIs(dynamicEntry(e1, e1.encap(), staticEncap, "Vlan100"));
   dynamic->entryDel(e1);

   EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet1, "
                                             "100:0x8100, 4095:0x8100) isDel:false",
                                             "WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet1, "
                                             "100:0x8100, 4095:0x8100) isDel:true"));
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoRecordIsTracedOnlyWhenLevel8IsOn) {
   startRecording();
   {
      TraceCapture trace(Fen::TraceFacility::allLevels & ~level8);
      fwdInfoIs("Vlan100", 7);
      EXPECT_THAT(trace.matching("handleServiceIntfFwdInfo"), IsEmpty());
      EXPECT_THAT(trace.lines(), Not(IsEmpty()));  // level 7 was on and heard
   }
   TraceCapture trace(level8);
   fwdInfoIs("Vlan100", 8);
   std::ostringstream record;
   record << fwd->fwdInfo(id("Vlan100"));
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre("WexIntfEncapSm::handleServiceIntfFwdInfo: Vlan100 "
                           "isDel:false",
                           "WexIntfEncapSm::handleServiceIntfFwdInfo:    " + record.str()));
}

TEST_F(WexIntfEncapSmDerivation, FwdInfoRecordStaysOutOfTheRingBuffer) {
   startRecording();
   Lintel::TraceHandle lintel;
   Lintel::TraceHandle* const previous = Lintel::defaultLintelHandleIs(&lintel);
   {
      TraceCapture trace(level8);
      fwdInfoIs("Vlan100", 7);
      EXPECT_EQ(trace.matching("handleServiceIntfFwdInfo").size(), 2u);
   }
   Lintel::defaultLintelHandleIs(previous);

   std::vector<std::string> ring8;
   for (auto const& r : lintel.traceFile()->renderedRecords()) {
      if (r.level == 8) ring8.push_back(r.text.stdString());
   }
   EXPECT_THAT(ring8, ElementsAre(HasSubstr("handleServiceIntfFwdInfo: Vlan100 isDel:")));
}

// ---- dynamic encaps ------------------------------------------------------------------

class WexIntfEncapSmDynamic : public WexIntfEncapSmDerivation {
protected:
   // The config that the dynamic entry `info` derives, forwarding with `fwdData`.
   static WexIntfEncapHwConfig dynamicConfig(WexVlanMapping::WexDynamicIntfEncapInfo const& info,
                                             char const* svcIntf, std::uint16_t fwdData) {
      WexIntfEncapHwConfig c = withFwdInfo(
          WexIntfEncapHwConfig(info.intfEncap(), Ulva::ServiceIntfFwdInfo(), Kestin::IntfId()),
          svcIntf, fwdData);
      c.egressEncapIs(info.egressEncap());
      c.sourceIs(info.source());
      return c;
   }
   WexVlanMapping::WexDynamicIntfEncapInfo const proxy =
       dynamicEntry(e1, encap("Ethernet1", 300, 30).encap(), macsecProxy, "Vlan200");
};

TEST_F(WexIntfEncapSmDynamic, DynamicEntryWinsOverStaticEntryFieldByField) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   wantIs(e1, "Vlan100");
   dynamic->entryIs(proxy);
   buildRecording();
   sm().dynamicIntfEncapIs(dynamic);

   sm().handleInitialized();

   WexIntfEncapHwConfig const expected = dynamicConfig(proxy, "Vlan200", 9);
   EXPECT_EQ(expected.egressEncap(), encap("Ethernet1", 300, 30).encap());
   EXPECT_EQ(expected.source(), macsecProxy);
   EXPECT_THAT(calls(), ElementsAre(added(expected)));
   EXPECT_EQ(sm().getHwConfig(e1), expected);
   EXPECT_EQ(sm().intfEncapSvcIntfCached(e1), id("Vlan200"));
   EXPECT_TRUE(decoderHas("Vlan200", e1));
}

TEST_F(WexIntfEncapSmDynamic, RemovingDynamicEntryFallsBackToStaticConfig) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   wantIs(e1, "Vlan100");
   dynamic->entryIs(proxy);
   buildRecording();
   sm().dynamicIntfEncapIs(dynamic);
   sm().handleInitialized();
   calls().clear();

   dynamic->entryDel(e1);

   EXPECT_THAT(calls(), ElementsAre(deleted(dynamicConfig(proxy, "Vlan200", 9)),
                                    added(plainConfig(e1, "Vlan100", 7))));
   EXPECT_EQ(sm().intfEncapSvcIntfCached(e1), id("Vlan100"));
}

TEST_F(WexIntfEncapSmDynamic, DynamicEntryWithDefaultServiceIntfOverridesStaticOne) {
   startWithOneEncap();
   dynamic->entryIs(dynamicEntry(e1, e1.encap(), macsecProxy, nullptr));
   TraceCapture trace(level7);

   sm().dynamicIntfEncapIs(dynamic);

   EXPECT_THAT(calls(), ElementsAre(deleted(plainConfig(e1, "Vlan100", 7))));
   EXPECT_FALSE(sm().intfEncapSvcIntfCachedHas(e1));
   EXPECT_EQ(sm().getHwConfig(e1), WexIntfEncapHwConfig());
   // The encap left Vlan100 (its status recomputed) before its config went. The
   // rollup that follows reads only the static wish and counts it there again, as
   // failed.
   std::vector<std::string> const lines = trace.linesAt(7);
   ASSERT_GE(lines.size(), 2u);
   EXPECT_EQ(lines[0], "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed");
   EXPECT_EQ(lines[1],
             "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)");
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusFailed);
}

// An encap wanted only dynamically is counted under its service interface by
// the derivation alone (the status rollup reads only the static wish), so the
// status it joins with stays visible in the service's aggregate.
TEST_F(WexIntfEncapSmDynamic, NewServiceMemberStartsAsFailed) {
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200);
   fwdInfoIs("Vlan200", 0);  // forwarding information, but nothing to forward to
   dynamic->entryIs(dynamicEntry(e2, e2.encap(), staticEncap, "Vlan200"));
   buildRecording();
   sm().dynamicIntfEncapIs(dynamic);

   sm().handleInitialized();

   ASSERT_TRUE(decoderHas("Vlan200", e2));
   EXPECT_EQ(sm().svcHwStatusDecoder(serviceKey("Vlan200"))->hwStatus(e2), Ulva::hwStatusFailed);
   EXPECT_EQ(sm().svcHwStatusDecoder(serviceKey("Vlan200"))->failedCount(), 1u);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan200")), Ulva::hwStatusFailed);
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmDynamic, ServiceMemberKeepsItsRecordedStatus) {
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200);
   auto const entry = dynamicEntry(e2, e2.encap(), staticEncap, "Vlan200");
   fwdInfoIs("Vlan200", 9);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   sm().svcHwStatusDecoderIs(serviceKey("Vlan200"))->updateMember(e2, Ulva::hwStatusSuccess);

   dynamic->entryIs(entry);

   EXPECT_THAT(calls(), ElementsAre(added(dynamicConfig(entry, "Vlan200", 9))));
   EXPECT_EQ(sm().svcHwStatusDecoder(serviceKey("Vlan200"))->hwStatus(e2), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan200")), Ulva::hwStatusSuccess);
   EXPECT_FALSE(published->hwStatusHas(e2));
}

TEST_F(WexIntfEncapSmDynamic, SweepBeforeTheInitialSweepMakesNoConfig) {
   fwdInfoIs("Vlan200", 9);
   dynamic->entryIs(proxy);
   buildRecording();
   TraceCapture trace;

   sm().dynamicIntfEncapIs(dynamic);
   sm().handleDynamicIntfEncap();

   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_EQ(sm().hwConfigColl(), nullptr);
   EXPECT_EQ(sm().portToHwConfigLists(), 0u);
   EXPECT_THAT(trace.lines(), IsEmpty());

   sm().handleInitialized();
   EXPECT_THAT(calls(), ElementsAre(added(dynamicConfig(proxy, "Vlan200", 9))));
}

// dynamicIntfEncapIs, row by row: what the slot holds and what is given.

TEST_F(WexIntfEncapSmDynamic, AttachingTheCollectionAlreadyHeardDoesNothing) {
   fwdInfoIs("Vlan200", 9);
   dynamic->entryIs(proxy);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   WexIntfEncapSm::FenDynamicIntfEncap* const reactor = dynamicReactor(sm());
   calls().clear();
   TraceCapture trace;

   sm().dynamicIntfEncapIs(dynamic);

   EXPECT_EQ(dynamicReactor(sm()), reactor);
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmDynamic, AttachingAnotherCollectionReusesTheReactorAndSweepsTheNewOne) {
   fwdInfoIs("Vlan200", 9);
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200);
   auto const second = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const entry2 = dynamicEntry(e2, e2.encap(), staticEncap, "Vlan200");
   dynamic->entryIs(proxy);
   second->entryIs(entry2);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   WexIntfEncapSm::FenDynamicIntfEncap* const reactor = dynamicReactor(sm());
   calls().clear();
   TraceCapture trace(level8);

   sm().dynamicIntfEncapIs(second);

   EXPECT_EQ(dynamicReactor(sm()), reactor);
   EXPECT_EQ(sm().dynamicIntfEncap(), second.ptr());
   EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet2, "
                                             "200:0x8100, 4095:0x8100) isDel:false"));
   EXPECT_THAT(calls(), ElementsAre(added(dynamicConfig(entry2, "Vlan200", 9))));
   // What only the former collection wanted stays, and that collection is no longer heard.
   EXPECT_EQ(sm().getHwConfig(e1), dynamicConfig(proxy, "Vlan200", 9));
   calls().clear();
   dynamic->entryDel(e1);
   EXPECT_THAT(calls(), IsEmpty());
   second->entryDel(e2);
   EXPECT_THAT(calls(), ElementsAre(deleted(dynamicConfig(entry2, "Vlan200", 9))));
}

TEST_F(WexIntfEncapSmDynamic, AttachingNullDetachesAndRetiresTheReactor) {
   fwdInfoIs("Vlan200", 9);
   dynamic->entryIs(proxy);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   Fen::Ptr<WexIntfEncapSm::FenDynamicIntfEncap> const reactor(dynamicReactor(sm()));
   calls().clear();

   sm().dynamicIntfEncapIs(nullptr);

   EXPECT_EQ(dynamicReactor(sm()), nullptr);
   EXPECT_EQ(sm().dynamicIntfEncap(), nullptr);
   EXPECT_TRUE(reactor->fenMarkedForDeletion());
   EXPECT_EQ(reactor->owner, nullptr);
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_EQ(sm().getHwConfig(e1), dynamicConfig(proxy, "Vlan200", 9));
   dynamic->entryDel(e1);
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmDynamic, AttachingNullToAnEmptySlotDoesNothing) {
   startRecording();
   TraceCapture trace;

   sm().dynamicIntfEncapIs(nullptr);

   EXPECT_EQ(dynamicReactor(sm()), nullptr);
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_FALSE(sm().dynamicIntfEncapDel());
}

TEST_F(WexIntfEncapSmDynamic, AttachingToAnEmptySlotMakesAReactorAndSweeps) {
   fwdInfoIs("Vlan200", 9);
   dynamic->entryIs(proxy);
   startRecording();
   calls().clear();

   sm().dynamicIntfEncapIs(dynamic);

   WexIntfEncapSm::FenDynamicIntfEncap* const reactor = dynamicReactor(sm());
   ASSERT_NE(reactor, nullptr);
   EXPECT_EQ(reactor->owner, &sm());
   EXPECT_TRUE(reactor->hasNotificationActive());
   EXPECT_FALSE(reactor->fenMarkedForDeletion());
   EXPECT_EQ(sm().dynamicIntfEncap(), dynamic.ptr());
   EXPECT_THAT(calls(), ElementsAre(added(dynamicConfig(proxy, "Vlan200", 9))));
   // Registered: later changes are heard.
   calls().clear();
   dynamic->entryDel(e1);
   EXPECT_THAT(calls(), ElementsAre(deleted(dynamicConfig(proxy, "Vlan200", 9))));
}

TEST_F(WexIntfEncapSmDynamic, ReactorAttachedToAZombieMachineIsAZombieToo) {
   startRecording();
   sm().fenDoZombieReactors(true);

   sm().dynamicIntfEncapIs(dynamic);

   ASSERT_NE(dynamicReactor(sm()), nullptr);
   EXPECT_TRUE(dynamicReactor(sm())->fenMarkedForDeletion());
   sm().fenDoZombieReactors(false);
}

TEST_F(WexIntfEncapSmDynamic, DetachingKeepsTheConfigsItDerived) {
   fwdInfoIs("Vlan200", 9);
   dynamic->entryIs(proxy);
   startRecording();
   sm().dynamicIntfEncapIs(dynamic);
   Fen::Ptr<WexIntfEncapSm::FenDynamicIntfEncap> const reactor(dynamicReactor(sm()));
   calls().clear();
   TraceCapture trace;

   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl const> const back = sm().dynamicIntfEncapDel();

   EXPECT_EQ(back.ptr(), dynamic.ptr());
   EXPECT_EQ(sm().dynamicIntfEncap(), nullptr);
   EXPECT_TRUE(reactor->fenMarkedForDeletion());
   EXPECT_EQ(reactor->owner, nullptr);
   EXPECT_FALSE(reactor->hasNotificationActive());
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_TRUE(sm().hwConfigColl()->configHas(e1));
   EXPECT_EQ(sm().getHwConfig(e1), dynamicConfig(proxy, "Vlan200", 9));
   dynamic->entryDel(e1);
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().dynamicIntfEncapDel());
}

class WexIntfEncapSmDynamicDeathTest : public WexIntfEncapSmDynamic {};

TEST_F(WexIntfEncapSmDynamicDeathTest, SweepWithoutCollectionEndsTheProcess) {
   startRecording();
   EXPECT_DEATH(sm().handleDynamicIntfEncap(), HasSubstr("dynamicIntfEncap()"));
   sm().dynamicIntfEncapIs(dynamic);
   sm().dynamicIntfEncapDel();
   EXPECT_DEATH(sm().handleDynamicIntfEncap(), HasSubstr("dynamicIntfEncap()"));
}

}  // namespace
}  // namespace TestSupport
