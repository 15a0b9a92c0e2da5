// The road of one sub-interface: whether its forwarding is published in
// serviceIntfFwdInfoOut, and whether it stands in multiEncapIntf. Each row of the
// decision, each move between the idle, active, displaced and draining states,
// with the exact lines the machine writes at level 7.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Listener.h"
#include "MuxFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char const* sub = "Ethernet1.100";

class WexIntfEncapMuxSmSelection : public MuxFixture {
protected:
   // The states seen from the outputs.
   // active: a supported record on offer, no direct status.
   void makeActive(std::uint16_t fwdData = 7) {
      offer(sub, Ulva::serviceIntfTypeTunnel, fwdData);
      ASSERT_EQ(fwdOut->fwdInfo(x), offered(fwdData));
      ASSERT_TRUE(member(sub));
   }
   // displaced: a supported record on offer and a direct status.
   void makeDisplaced() {
      makeActive();
      directIs(sub, false);
      ASSERT_FALSE(fwdOut->fwdInfoHas(x));
      ASSERT_TRUE(member(sub));
   }
   static Ulva::ServiceIntfFwdInfo offered(std::uint16_t fwdData = 7) {
      return record(sub, Ulva::serviceIntfTypeTunnel, fwdData);
   }
   void expectIdle() const {
      EXPECT_FALSE(fwdOut->fwdInfoHas(x));
      EXPECT_FALSE(member(sub));
   }

   Kestin::IntfId const x = id(sub);
};

// ---- serviceIntfIsNeeded ------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmSelection, NoRecordIsNotNeeded) {
   start();
   EXPECT_FALSE(sm->serviceIntfIsNeeded(x));
}

TEST_F(WexIntfEncapMuxSmSelection, SupportedRecordIsNeeded) {
   start();
   offer(sub, Ulva::serviceIntfTypeTunnel);
   EXPECT_TRUE(sm->serviceIntfIsNeeded(x));
   offer(sub, Ulva::serviceIntfTypeSubIntf);
   EXPECT_TRUE(sm->serviceIntfIsNeeded(x));
}

TEST_F(WexIntfEncapMuxSmSelection, UnsupportedRecordIsNotNeeded) {
   start();
   offer(sub, Ulva::serviceIntfTypePseudowire);
   EXPECT_FALSE(sm->serviceIntfIsNeeded(x));
   offer(sub, Ulva::serviceIntfTypeDefault);
   EXPECT_FALSE(sm->serviceIntfIsNeeded(x));
}

TEST_F(WexIntfEncapMuxSmSelection, RecordIsComparedWholeWithTheDefault) {
   types->encapServiceTypeIs(Ulva::serviceIntfTypeDefault);
   start();
   // Type 0 and no forwarding data, but under the sub-interface's id: not the
   // default record.
   offer(sub, Ulva::serviceIntfTypeDefault, 0);
   EXPECT_TRUE(sm->serviceIntfIsNeeded(x));
}

TEST_F(WexIntfEncapMuxSmSelection, DefaultRecordStoredUnderItsIdIsLikeNoRecord) {
   types->encapServiceTypeIs(Ulva::serviceIntfTypeDefault);
   start();
   auto trace = capture();

   fwdIn->fwdInfoIs(Ulva::ServiceIntfFwdInfo());

   EXPECT_TRUE(fwdIn->fwdInfoHas(Kestin::IntfId()));
   EXPECT_FALSE(sm->serviceIntfIsNeeded(Kestin::IntfId()));
   EXPECT_EQ(fwdOut->fwdInfos(), 0u);
   EXPECT_EQ(wcsd->multiEncapIntfs(), 0u);
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, "", false), needLine("", false),
                           roadLine("", ", remove multiEncapIntf")));
}

// ---- the decision, row by row ---------------------------------------------------------

TEST_F(WexIntfEncapMuxSmSelection, NeededWithoutDirectStatusPublishesTheRecordAndJoins) {
   start();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           roadLine(sub, ", update serviceIntfFwdInfoOut"),
                           roadLine(sub, ", add multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, NeededWithoutDirectStatusPublishesWhateverTheServiceStatus) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   start();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut"),
                                             roadLine(sub, ", add multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, NeededWithDirectStatusPublishesNothingButJoins) {
   directIs(sub, false);
   start();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   // Nothing was published, so nothing is said of its removal.
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           roadLine(sub, ", add multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, NotNeededWithServiceStatusRemovesTheRecordAndKeepsMembership) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeActive();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, true), needLine(sub, false),
                           roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, NotNeededWithoutServiceStatusRemovesRecordAndMembership) {
   start();
   makeActive();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   expectIdle();
   // The member that went leaves no line.
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, true), needLine(sub, false),
                           roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

// ---- the states, move by move --------------------------------------------------------

TEST_F(WexIntfEncapMuxSmSelection, IdleToActiveWhenASupportedRecordArrives) {
   start();
   expectIdle();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeSubIntf);

   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeSubIntf, 7));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut"),
                                             roadLine(sub, ", add multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, ActiveToDisplacedWhenDirectStatusArrives) {
   start();
   makeActive();
   auto trace = capture();

   directIs(sub, true);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   // The direct member's arrival, then its hardwareSuccess heard by the entry.
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, true),
                           roadLine(sub, ", remove serviceIntfFwdInfoOut"),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, true)));
}

TEST_F(WexIntfEncapMuxSmSelection, DisplacedToActiveWhenDirectStatusGoes) {
   start();
   makeDisplaced();
   auto trace = capture();

   hwIn->hardwareStatusDel(x);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, true), needLine(sub, true),
                           roadLine(sub, ", update serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, ActiveToDrainingWhenTheRecordGoesAndServiceStatusStays) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   start();
   makeActive();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, ActiveToDrainingWhenTheRecordTurnsUnsupported) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeActive();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypePseudowire);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, false),
                           roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, DisplacedToDrainingWhenTheRecordGoesAndServiceStatusStays) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeDisplaced();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, true), needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmSelection, ActiveToIdleWhenTheRecordGoesWithoutServiceStatus) {
   start();
   makeActive();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   expectIdle();
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, DisplacedToIdleWhenTheRecordGoesWithoutServiceStatus) {
   start();
   makeDisplaced();
   auto trace = capture();

   fwdIn->fwdInfoDel(x);

   expectIdle();
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, true), needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmSelection, DrainingToIdleWhenTheServiceStatusGoes) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeActive();
   fwdIn->fwdInfoDel(x);
   ASSERT_TRUE(member(sub));
   auto trace = capture();

   svcStatus->hwStatusDel(x);

   expectIdle();
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, true), needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmSelection, DrainingToActiveWhenTheNeedComesBack) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeActive();
   fwdIn->fwdInfoDel(x);
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel, 8);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered(8));
   EXPECT_TRUE(member(sub));
   // Still a member: only the record is written.
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, DrainingToDisplacedWhenTheNeedComesBackWithDirectStatus) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   makeDisplaced();
   fwdIn->fwdInfoDel(x);
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true)));
}

// ---- edge cases ------------------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmSelection, IdKnownToNobodySaysRemoveMultiEncapIntf) {
   start();
   std::vector<Fen::Ptr<Listener>> const listeners = {Listener::ListenerIs(wcsd.ptr(), nullptr),
                                                      Listener::ListenerIs(fwdOut.ptr(), nullptr)};
   auto trace = capture();

   sm->updateServiceIntf(id("Ethernet9.9"));

   // Nothing was removed, and the words appear all the same: they are kept so.
   EXPECT_THAT(trace.lines(), ElementsAre(needLine("Ethernet9.9", false),
                                          roadLine("Ethernet9.9", ", remove multiEncapIntf")));
   for (auto const& l : listeners)
      EXPECT_EQ(l->calls(), 0u);
}

TEST_F(WexIntfEncapMuxSmSelection, MemberRemovedFromMultiEncapIntfLeavesNoLine) {
   start();
   wcsd->multiEncapIntfIs(x);
   auto trace = capture();

   sm->updateServiceIntf(x);

   EXPECT_FALSE(member(sub));
   EXPECT_THAT(trace.lines(), ElementsAre(needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmSelection, UnsupportedRecordIsTreatedAsNoRecord) {
   start();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypePseudowire);

   expectIdle();
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, false),
                           roadLine(sub, ", remove multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, RecordPublishedUnderASupportedTypeGoesWhenItTurnsUnsupported) {
   start();
   makeActive();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypePseudowire);

   expectIdle();
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, RecordPublishedGoesAtTheNextUpdateOnceItsTypeIsUnsupported) {
   start();
   makeActive();
   types->encapServiceTypeDel(Ulva::serviceIntfTypeTunnel);
   auto trace = capture();

   sm->handleServiceIntfFwdInfo(x);

   expectIdle();
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, InputEqualToOutputIsNotWrittenButMembershipIsMadeRight) {
   offer(sub, Ulva::serviceIntfTypeTunnel);
   // What an earlier instance published, without its membership.
   fwdOut->fwdInfoIs(offered());
   Fen::Ptr<Listener> const onFwdOut = Listener::ListenerIs(fwdOut.ptr(), nullptr);
   auto trace = capture();

   start();

   EXPECT_EQ(onFwdOut->calls(), 0u);
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(needLine(sub, true), roadLine(sub, ", add multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, RepeatedUpdateWritesNothingAndNotifiesNobody) {
   start();
   makeActive();
   std::vector<Fen::Ptr<Listener>> const listeners = {Listener::ListenerIs(wcsd.ptr(), nullptr),
                                                      Listener::ListenerIs(fwdOut.ptr(), nullptr)};
   auto trace = capture();

   sm->handleServiceIntfFwdInfo(x);

   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true)));
   for (auto const& l : listeners)
      EXPECT_EQ(l->calls(), 0u);
}

TEST_F(WexIntfEncapMuxSmSelection, ChangeOfFwdDataAloneRewritesTheRecord) {
   start();
   makeActive(7);
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel, 9);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered(9));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           roadLine(sub, ", update serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, ChangeOfServiceTypeBetweenSupportedOnesRewritesTheRecord) {
   start();
   makeActive();
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeSubIntf);

   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeSubIntf, 7));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut")));
}

TEST_F(WexIntfEncapMuxSmSelection, TraceOfTheUpdateComesBeforeTheWrite) {
   start();
   auto trace = capture();
   std::vector<std::size_t> linesAtWrite;
   Fen::Ptr<Listener> const onFwdOut = Listener::ListenerIs(
       fwdOut.ptr(),
       [&](Fen::AttributeId, void const*) { linesAtWrite.push_back(trace.lines().size()); });

   offer(sub, Ulva::serviceIntfTypeTunnel);
   fwdIn->fwdInfoDel(x);

   // The update is said before the write, the removal after it.
   ASSERT_EQ(linesAtWrite.size(), 2u);
   EXPECT_EQ(trace.lines()[linesAtWrite[0] - 1], roadLine(sub, ", update serviceIntfFwdInfoOut"));
   EXPECT_EQ(trace.lines()[linesAtWrite[1]], roadLine(sub, ", remove serviceIntfFwdInfoOut"));
}

TEST_F(WexIntfEncapMuxSmSelection, AddOfMembershipIsSaidBeforeTheWrite) {
   start();
   auto trace = capture();
   std::size_t linesAtWrite = 0;
   Fen::Ptr<Listener> const onWcsd = Listener::ListenerIs(
       wcsd.ptr(), [&](Fen::AttributeId, void const*) { linesAtWrite = trace.lines().size(); });

   offer(sub, Ulva::serviceIntfTypeTunnel);

   ASSERT_GT(linesAtWrite, 0u);
   EXPECT_EQ(trace.lines()[linesAtWrite - 1], roadLine(sub, ", add multiEncapIntf"));
}

TEST_F(WexIntfEncapMuxSmSelection, NeedEndingKeepsMembershipWhileAnyServiceStatusRemains) {
   for (Ulva::IntfEncapHwStatus status :
        {Ulva::hwStatusFailed, Ulva::hwStatusNotReady, Ulva::hwStatusSuccess}) {
      svcStatus->hwStatusIs(x, status);
      start();
      makeActive();

      fwdIn->fwdInfoDel(x);
      EXPECT_TRUE(member(sub)) << status;
      EXPECT_FALSE(fwdOut->fwdInfoHas(x)) << status;

      svcStatus->hwStatusDel(x);
      EXPECT_FALSE(member(sub)) << status;
      sm = nullptr;
   }
}

TEST_F(WexIntfEncapMuxSmSelection, DrainingIdThatIsNoMemberStaysNoMember) {
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   auto trace = capture();

   start();

   EXPECT_FALSE(member(sub));
   EXPECT_THAT(trace.lines(), ElementsAre(needLine(sub, false)));
   trace.clear();

   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);

   EXPECT_FALSE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmSelection, LeftoverRecordWithoutInputIsRemovedByTheSweep) {
   fwdOut->fwdInfoIs(offered());
   auto trace = capture();

   start();

   expectIdle();
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut"),
                                             roadLine(sub, ", remove multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmSelection, NullDirectMemberDoesNotDisplaceTheRecord) {
   start();
   makeActive();
   auto trace = capture();

   hwIn->hardwareStatusIs(x, Fen::Ptr<Interface::Hardware::SubIntfStatus>());

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, true)));
}

TEST_F(WexIntfEncapMuxSmSelection, SubIntfStatusHasNoSayInTheRoad) {
   start();
   makeActive();
   auto trace = capture();

   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, true);
   intfStatus->intfStatusDel(x);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.matching(muxServiceIntf), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmSelection, EachIdIsDecidedAlone) {
   start();
   makeActive();
   auto trace = capture();

   offer("Ethernet2.200", Ulva::serviceIntfTypeTunnel);
   fwdIn->fwdInfoDel(id("Ethernet2.200"));

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.matching(std::string(sub) + ","), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmSelection, ServiceStatusAnsweredAtOnceReentersWithoutSecondWrites) {
   start();
   // The encap machine behind serviceIntfFwdInfoOut answers while the record is
   // being written.
   Fen::Ptr<Listener> const answer =
       Listener::ListenerIs(fwdOut.ptr(), [&](Fen::AttributeId, void const* key) {
          Kestin::IntfId const intf = *static_cast<Kestin::IntfId const*>(key);
          if (fwdOut->fwdInfoHas(intf)) svcStatus->hwStatusIs(intf, Ulva::hwStatusSuccess);
       });
   Fen::Ptr<Listener> const onWcsd = Listener::ListenerIs(wcsd.ptr(), nullptr);
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_EQ(fwdOut->fwdInfo(x), offered());
   EXPECT_TRUE(member(sub));
   EXPECT_EQ(answer->calls(), 1u);
   EXPECT_EQ(onWcsd->calls(), 1u);
   // The inner update adds the membership; the outer one finds it there.
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           roadLine(sub, ", update serviceIntfFwdInfoOut"),
                           handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true),
                           roadLine(sub, ", add multiEncapIntf")));
}

}  // namespace
}  // namespace TestSupport
