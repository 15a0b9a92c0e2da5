// The multiplexer joined to the encap state machine the way an agent joins them:
// the forwarding the multiplexer puts in force is the encap machine's
// serviceIntfFwdInfo, and the service statuses that machine publishes are the
// multiplexer's serviceIntfHwStatusIn. The simulated platform plays the hardware.
// One sub-interface is followed from nothing to a merged success and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MuxFixture.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char const* sub = "Ethernet1.100";
constexpr char const* fromService = "serviceIntfHwStatusIn";
constexpr char const* fromDirect = "subIntfHwStatusIn";
constexpr char const* fromNone = "none";

class WexIntfEncapMuxSmEndToEnd : public MuxFixture {
protected:
   WexIntfEncapMuxSmEndToEnd()
       : wanted(Ulva::intfEncapServiceIntfCollFactory()),
         published(Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus")),
         hardware(Ulva::intfEncapHwStatusCollFactory("testHwStatus")) {}

   // The encap machine on its simulated platform first, then the multiplexer,
   // sharing wcsd: mux serviceIntfFwdInfoOut -> encap serviceIntfFwdInfo, encap
   // serviceIntfHwStatus -> mux serviceIntfHwStatusIn.
   void startBoth() {
      platform = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                         .serviceIntfFwdInfo = fwdOut,
                                                         .serviceIntfHwStatus = svcStatus,
                                                         .intfEncapServiceIntf = wanted,
                                                         .intfEncapHwStatus = published,
                                                         .remoteEncapHwStatus = nullptr,
                                                         .dynamicIntfEncap = nullptr,
                                                         .testHwStatusColl = hardware});
      start();
   }
   // The encap of the sub-interface, wanted with the sub-interface as its
   // service interface.
   void wantEncap() { wanted->serviceIntfIs(encap, x); }
   bool programmed() const { return platform->testHwConfigKey(encap); }
   bool success() const { return out(sub)->hardwareSuccess(); }

   Kestin::IntfId const x = id(sub);
   Ulva::IntfEncap const encap{
       id("Ethernet1"),
       Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::vlanTag(Ulva::VlanTag::vidDefault))};
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hardware;
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> platform;
};

TEST_F(WexIntfEncapMuxSmEndToEnd, SubIntfGoesFromNothingToMergedSuccessAndBack) {
   startBoth();
   EXPECT_EQ(hwOut->hardwareStatuss(), 0u);
   EXPECT_EQ(fwdOut->fwdInfos(), 0u);
   EXPECT_EQ(svcStatus->hwStatuss(), 0u);
   auto trace = capture();

   // The sub-interface exists: unsuccessful at once.
   statusIs(sub, true);
   ASSERT_TRUE(out(sub));
   EXPECT_FALSE(success());

   // Its encap is wanted, but nothing forwards for the service yet.
   wantEncap();
   EXPECT_FALSE(programmed());
   EXPECT_FALSE(svcStatus->hwStatusHas(x));
   EXPECT_FALSE(success());

   // Forwarding offered: the record goes to the encap machine, which programs the
   // encap; the hardware has no word for it yet, so the service is failed.
   offer(sub, Ulva::serviceIntfTypeTunnel);
   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeTunnel, 7));
   EXPECT_TRUE(programmed());
   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusFailed);
   EXPECT_TRUE(member(sub));
   EXPECT_FALSE(success());
   trace.clear();

   // The hardware succeeds.
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(encap), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusSuccess);
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, true, fromService)));
   trace.clear();

   // The hardware fails: a tunnel's success does not stay.
   hardware->hwStatusIs(encap, Ulva::hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusFailed);
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, false, fromService)));
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   ASSERT_TRUE(success());
   trace.clear();

   // The encap is no longer wanted: unprogrammed, the service failed.
   wanted->serviceIntfDel(encap);
   EXPECT_FALSE(programmed());
   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusFailed);
   EXPECT_FALSE(success());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, false, fromService)));
   trace.clear();

   // The forwarding is withdrawn: the service status goes, and with it the
   // membership; the sub-interface stays, unsuccessful.
   fwdIn->fwdInfoDel(x);
   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_FALSE(svcStatus->hwStatusHas(x));
   EXPECT_FALSE(member(sub));
   ASSERT_TRUE(out(sub));
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut"),
                                             roadLine(sub, ", remove multiEncapIntf")));
   trace.clear();

   // The sub-interface goes.
   intfStatus->intfStatusDel(x);
   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(statusLine(sub, ", delete hardwareStatus")));
   EXPECT_EQ(hwOut->hardwareStatuss(), 0u);
   EXPECT_EQ(fwdOut->fwdInfos(), 0u);
   EXPECT_EQ(svcStatus->hwStatuss(), 0u);
   EXPECT_EQ(wcsd->multiEncapIntfs(), 0u);
   EXPECT_EQ(published->hwStatuss(), 0u);
}

TEST_F(WexIntfEncapMuxSmEndToEnd, WithdrawnForwardingKeepsTheSuccessOfARecordLess) {
   startBoth();
   statusIs(sub, true);
   wantEncap();
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   ASSERT_TRUE(success());
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   // Without a record on offer the success is held, until the sub-interface goes.
   EXPECT_FALSE(programmed());
   EXPECT_FALSE(svcStatus->hwStatusHas(x));
   EXPECT_FALSE(member(sub));
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.matching(muxSubIntf), IsEmpty());

   intfStatus->intfStatusDel(x);
   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
}

TEST_F(WexIntfEncapMuxSmEndToEnd, DirectStatusTakesTheSubIntfOffTheServiceRoadAndBack) {
   startBoth();
   statusIs(sub, true);
   wantEncap();
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   ASSERT_TRUE(success());
   auto trace = capture();

   // The direct road reports: the service interface is withdrawn from the encap
   // machine, its status goes, and the direct member (not yet successful) decides.
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = hwIn->hardwareStatusIs(x);
   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_FALSE(programmed());
   EXPECT_FALSE(svcStatus->hwStatusHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, false, fromDirect),
                                             roadLine(sub, ", remove serviceIntfFwdInfoOut")));
   trace.clear();

   direct->hardwareSuccessIs(true);
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, true, fromDirect)));
   trace.clear();

   // The direct road goes: the service interface is programmed again and its
   // success keeps the merged one.
   hwIn->hardwareStatusDel(x);
   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeTunnel, 7));
   EXPECT_TRUE(programmed());
   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusSuccess);
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut")));
   trace.clear();
}

TEST_F(WexIntfEncapMuxSmEndToEnd, ForwardingOfAnUnsupportedTypeEndsTheServiceRoadAndItsSuccess) {
   startBoth();
   statusIs(sub, true);
   wantEncap();
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   ASSERT_TRUE(success());
   auto trace = capture();

   // A type this platform does not handle: the record is withdrawn from the encap
   // machine, whose service status goes; nothing is left to hold the success.
   offer(sub, Ulva::serviceIntfTypePseudowire);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_FALSE(programmed());
   EXPECT_FALSE(svcStatus->hwStatusHas(x));
   EXPECT_FALSE(member(sub));
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.matching(muxSubIntf), ElementsAre(successLine(sub, false, fromNone)));
}

TEST_F(WexIntfEncapMuxSmEndToEnd, SubIntfServiceKeepsItsSuccessWhenTheHardwareFails) {
   startBoth();
   statusIs(sub, true);
   wantEncap();
   offer(sub, Ulva::serviceIntfTypeSubIntf);
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   ASSERT_TRUE(success());
   auto trace = capture();

   hardware->hwStatusIs(encap, Ulva::hwStatusFailed);

   EXPECT_EQ(svcStatus->hwStatus(x), Ulva::hwStatusFailed);
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.matching(muxSubIntf), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmEndToEnd, RestartedMultiplexerFindsEverythingInPlace) {
   startBoth();
   statusIs(sub, true);
   wantEncap();
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   ASSERT_TRUE(success());

   // Teardown leaves what was published; the next instance's sweep finds it right.
   sm = nullptr;
   auto trace = capture();
   start();

   EXPECT_THAT(trace.linesAt(7), IsEmpty());
   EXPECT_THAT(trace.linesAt(8), ElementsAre(needLine(sub, true)));
   EXPECT_TRUE(programmed());
   EXPECT_TRUE(member(sub));
   EXPECT_TRUE(success());
}

}  // namespace
}  // namespace TestSupport
