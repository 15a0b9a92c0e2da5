// The merged hardware status of a sub-interface in subIntfHwStatusOut: the four
// handlers that bring every event in, the merge branch by branch, its outcome
// for each combination of inputs, and the road of one id on the service side.
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
constexpr char const* fromService = "serviceIntfHwStatusIn";
constexpr char const* fromDirect = "subIntfHwStatusIn";
constexpr char const* fromNone = "none";

class WexIntfEncapMuxSmStatus : public MuxFixture {
protected:
   // The lines of the merge alone.
   static std::vector<std::string> mergeLines(TraceCapture const& trace) {
      return trace.matching(muxSubIntf);
   }
   bool success() const { return out(sub)->hardwareSuccess(); }
   // Makes the output true through the direct road (no record on offer unless
   // the test offered one), and checks it.
   void succeedDirectly() {
      directIs(sub, true);
      ASSERT_TRUE(out(sub));
      ASSERT_TRUE(success());
   }

   Kestin::IntfId const x = id(sub);
};

// ---- the handlers ----------------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmStatus, EachHandlerTracesItsIdAndWhetherItsInputLacksIt) {
   start();
   auto trace = capture();

   sm->handleSubIntfStatus(x);
   sm->handleSubIntfHwStatus(x);
   sm->handleServiceIntfFwdInfo(x);
   sm->handleServiceIntfHwStatus(x);

   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, true),
                           handlerLine(muxHandleSubIntfHwStatus, sub, true), needLine(sub, false),
                           handlerLine(muxHandleFwdInfo, sub, true), needLine(sub, false),
                           handlerLine(muxHandleSvcStatus, sub, true), needLine(sub, false)));

   statusIs(sub, false);
   directIs(sub, false);
   offer(sub, Ulva::serviceIntfTypePseudowire);
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   trace.clear();

   sm->handleSubIntfStatus(x);
   sm->handleSubIntfHwStatus(x);
   sm->handleServiceIntfFwdInfo(x);
   sm->handleServiceIntfHwStatus(x);

   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, false),
                           handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, false),
                           handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmStatus, SubIntfStatusHandlerOnlyMerges) {
   start();
   auto trace = capture();

   statusIs(sub, true);

   // No line of the road: the sub-interface's own status has no say in it.
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                                          statusLine(sub, ", create hardwareStatus"),
                                          handlerLine(muxHandleSubIntfStatus, sub, false)));
}

TEST_F(WexIntfEncapMuxSmStatus, OneEventWritesForwardingThenMembershipThenStatus) {
   statusIs(sub, true);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(out(sub));
   std::vector<std::string> writes;
   auto note = [&writes](char const* what) {
      return [&writes, what](Fen::AttributeId, void const*) { writes.push_back(what); };
   };
   std::vector<Fen::Ptr<Listener>> const listeners = {
       Listener::ListenerIs(fwdOut.ptr(), note("serviceIntfFwdInfoOut")),
       Listener::ListenerIs(wcsd.ptr(), note("multiEncapIntf")),
       Listener::ListenerIs(hwOut.ptr(), note("subIntfHwStatusOut")),
       Listener::ListenerIs(out(sub).ptr(), note("hardwareSuccess"))};
   auto trace = capture();

   offer(sub, Ulva::serviceIntfTypeTunnel);

   EXPECT_THAT(writes, ElementsAre("serviceIntfFwdInfoOut", "multiEncapIntf", "hardwareSuccess"));
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", update serviceIntfFwdInfoOut"),
                                             roadLine(sub, ", add multiEncapIntf"),
                                             successLine(sub, true, fromService)));
}

// ---- the merge, branch by branch ---------------------------------------------------------

TEST_F(WexIntfEncapMuxSmStatus, MemberRemovedDeletesTheOutputWhateverOtherInputsSay) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   directIs(sub, true);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   intfStatus->intfStatusDel(x);

   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, true),
                                          statusLine(sub, ", delete hardwareStatus")));
   trace.clear();

   // The same deletion handled again: nothing to delete, nothing said.
   sm->handleSubIntfStatus(x);

   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, true)));
}

TEST_F(WexIntfEncapMuxSmStatus, NullMemberCountsAsNoMember) {
   statusIs(sub, true);
   start();
   auto trace = capture();

   intfStatus->intfStatusIs(x, Fen::Ptr<Interface::SubIntfStatus>());

   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                                          statusLine(sub, ", delete hardwareStatus")));
}

TEST_F(WexIntfEncapMuxSmStatus, NewMemberWithProgramInHwFalseIsCreatedFalseWithOnlyTheCreateLine) {
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   directIs(sub, true);
   start();
   auto trace = capture();

   intfStatus->intfStatusIs(x);

   ASSERT_TRUE(out(sub));
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(statusLine(sub, ", create hardwareStatus")));
}

TEST_F(WexIntfEncapMuxSmStatus, CreateIsSaidBeforeTheMemberIsMade) {
   start();
   auto trace = capture();
   std::size_t linesAtWrite = 0;
   Fen::Ptr<Listener> const onOut = Listener::ListenerIs(
       hwOut.ptr(), [&](Fen::AttributeId, void const*) { linesAtWrite = trace.lines().size(); });

   statusIs(sub, false);

   ASSERT_GT(linesAtWrite, 0u);
   EXPECT_EQ(trace.lines()[linesAtWrite - 1], statusLine(sub, ", create hardwareStatus"));
}

TEST_F(WexIntfEncapMuxSmStatus, DeleteIsSaidAfterTheMemberWent) {
   statusIs(sub, false);
   start();
   auto trace = capture();
   std::size_t linesAtWrite = 0;
   Fen::Ptr<Listener> const onOut = Listener::ListenerIs(
       hwOut.ptr(), [&](Fen::AttributeId, void const*) { linesAtWrite = trace.lines().size(); });

   intfStatus->intfStatusDel(x);

   ASSERT_EQ(trace.lines().size(), linesAtWrite + 1);
   EXPECT_EQ(trace.lines()[linesAtWrite], statusLine(sub, ", delete hardwareStatus"));
}

TEST_F(WexIntfEncapMuxSmStatus, NewMemberWithProgramInHwTrueIsMergedAtOnce) {
   directIs(sub, true);
   start();
   Fen::Ptr<Interface::SubIntfStatus> const status = Fen::fenObjectIs<Interface::SubIntfStatus>(x);
   status->programInHwIs(true);
   auto trace = capture();

   intfStatus->intfStatusIs(x, status);

   EXPECT_TRUE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(statusLine(sub, ", create hardwareStatus"),
                                             successLine(sub, true, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, ProgramInHwFalseFreezesAFalseOutput) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   auto trace = capture();

   directIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);

   EXPECT_FALSE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, ProgramInHwGoingFalseKeepsATrueOutput) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   status->programInHwIs(false);
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   fwdIn->fwdInfoDel(x);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, ProgramInHwGoingTrueWithSuccessfulDirectMemberTurnsTrue) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   directIs(sub, true);
   start();
   ASSERT_FALSE(success());
   auto trace = capture();

   status->programInHwIs(true);

   EXPECT_TRUE(success());
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                                          successLine(sub, true, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessLatchesWithoutRecordWhenTheDirectMemberDrops) {
   statusIs(sub, true);
   start();
   succeedDirectly();
   auto trace = capture();

   hwIn->hardwareStatus(x)->hardwareSuccessIs(false);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessLatchesWithoutRecordWhenTheDirectMemberGoes) {
   statusIs(sub, true);
   start();
   succeedDirectly();
   auto trace = capture();

   hwIn->hardwareStatusDel(x);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessLatchesForServiceTypeZero) {
   statusIs(sub, true);
   // Type 0 is not supported here: the record is not needed, yet it latches.
   offer(sub, Ulva::serviceIntfTypeDefault);
   start();
   succeedDirectly();
   auto trace = capture();

   hwIn->hardwareStatusDel(x);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessLatchesForServiceTypeTwoWhenTheServiceFails) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeSubIntf);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessIsWorkedOutAnewForServiceTypeOne) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);

   EXPECT_FALSE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, false, fromService)));
}

TEST_F(WexIntfEncapMuxSmStatus, SuccessIsWorkedOutAnewForServiceTypeThree) {
   statusIs(sub, true);
   // Type 3 is not supported: the record is not needed, and does not latch.
   offer(sub, Ulva::serviceIntfTypePseudowire);
   start();
   succeedDirectly();
   auto trace = capture();

   hwIn->hardwareStatus(x)->hardwareSuccessIs(false);

   EXPECT_FALSE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, false, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, ServiceSourceDecidesWhenNeededAndPresent) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);

   EXPECT_TRUE(success());
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true),
                           successLine(sub, true, fromService)));
}

TEST_F(WexIntfEncapMuxSmStatus, DirectSourceDecidesWithoutNeed) {
   statusIs(sub, true);
   start();
   auto trace = capture();

   directIs(sub, true);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, true, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, NoSourceGivesFalse) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   directIs(sub, true);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   hwIn->hardwareStatusDel(x);

   EXPECT_FALSE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, false, fromNone)));
}

TEST_F(WexIntfEncapMuxSmStatus, SameValueIsNeitherWrittenNorSaid) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   start();
   ASSERT_FALSE(success());
   Fen::Ptr<Listener> const onMember = Listener::ListenerIs(out(sub).ptr(), nullptr);
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);

   EXPECT_FALSE(success());
   EXPECT_EQ(onMember->calls(), 0u);
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, ChangeIsSaidBeforeItIsWritten) {
   statusIs(sub, true);
   start();
   auto trace = capture();
   std::size_t linesAtWrite = 0;
   Fen::Ptr<Listener> const onMember = Listener::ListenerIs(
       out(sub).ptr(), [&](Fen::AttributeId, void const*) { linesAtWrite = trace.lines().size(); });

   directIs(sub, true);

   ASSERT_GT(linesAtWrite, 0u);
   EXPECT_EQ(trace.lines()[linesAtWrite - 1], successLine(sub, true, fromDirect));
}

// ---- the outcome, row by row ------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmStatus, OutcomeProgramInHwFalseLeavesTheOutputUnchanged) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   status->programInHwIs(false);
   ASSERT_TRUE(success());
   auto trace = capture();

   // Everything that would turn it false, under every handler.
   svcStatus->hwStatusDel(x);
   fwdIn->fwdInfoDel(x);
   directIs(sub, false);
   sm->handleSubIntfStatus(x);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, OutcomeLatchedTrueStaysTrueWhateverTheSources) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeSubIntf);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   directIs(sub, false);
   svcStatus->hwStatusDel(x);
   hwIn->hardwareStatusDel(x);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, OutcomeNeededServiceStatusIsTrueOnlyOnSuccess) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   // A successful direct member does not outvote the service road.
   directIs(sub, true);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   EXPECT_FALSE(success());
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   EXPECT_TRUE(success());
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   EXPECT_FALSE(success());

   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, false, fromService),
                                              successLine(sub, true, fromService),
                                              successLine(sub, false, fromService)));
}

TEST_F(WexIntfEncapMuxSmStatus, OutcomeDirectMemberDecidesWithoutNeededServiceStatus) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   auto trace = capture();

   directIs(sub, true);
   EXPECT_TRUE(success());
   hwIn->hardwareStatus(x)->hardwareSuccessIs(false);
   EXPECT_FALSE(success());

   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, true, fromDirect),
                                              successLine(sub, false, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, OutcomeWithoutAnySourceIsFalse) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(success());
   auto trace = capture();

   svcStatus->hwStatusDel(x);

   EXPECT_FALSE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, false, fromNone)));
}

// ---- the road of one id on the service side -----------------------------------------

TEST_F(WexIntfEncapMuxSmStatus, ServiceRoadFromRecordToSuccessAndBackForTypeOne) {
   statusIs(sub, true);
   start();
   ASSERT_FALSE(success());
   auto trace = capture();

   // 1. The record arrives: published, a member, no source yet.
   offer(sub, Ulva::serviceIntfTypeTunnel);
   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeTunnel, 7));
   EXPECT_TRUE(member(sub));
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           roadLine(sub, ", update serviceIntfFwdInfoOut"),
                           roadLine(sub, ", add multiEncapIntf")));
   trace.clear();

   // 2. Not ready: false as before, nothing written.
   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true)));
   trace.clear();

   // 3. Success.
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   EXPECT_TRUE(success());
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true),
                           successLine(sub, true, fromService)));
   trace.clear();

   // 4. A later failure turns it false again.
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   EXPECT_FALSE(success());
   EXPECT_THAT(trace.linesAt(7), ElementsAre(successLine(sub, false, fromService)));
}

TEST_F(WexIntfEncapMuxSmStatus, ServiceRoadOfTypeTwoKeepsItsSuccess) {
   statusIs(sub, true);
   start();
   offer(sub, Ulva::serviceIntfTypeSubIntf);
   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);
   EXPECT_FALSE(success());
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, true, fromService)));
}

// ---- edge cases ----------------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmStatus, StatusesForAnIdNotInSubIntfStatusMakeNoOutput) {
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   directIs(sub, true);
   sm->updateSubIntfHwStatus(x);

   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_EQ(hwOut->hardwareStatuss(), 0u);
   EXPECT_THAT(mergeLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmStatus, NeededWithoutServiceStatusLetsTheDirectMemberDecide) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   ASSERT_TRUE(sm->serviceIntfIsNeeded(x));
   auto trace = capture();

   directIs(sub, true);

   EXPECT_TRUE(success());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine(sub, true, fromDirect)));
}

TEST_F(WexIntfEncapMuxSmStatus, NeededServiceStatusNotReadyOutvotesASuccessfulDirectMember) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   succeedDirectly();
   auto trace = capture();

   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);

   EXPECT_FALSE(success());
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true),
                           successLine(sub, false, fromService)));
}

TEST_F(WexIntfEncapMuxSmStatus, UnsupportedRecordIgnoresTheServiceStatus) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypePseudowire);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   // The service status is a success, but it is not heard.
   EXPECT_FALSE(success());
   auto trace = capture();

   directIs(sub, true);
   EXPECT_TRUE(success());
   hwIn->hardwareStatusDel(x);
   EXPECT_FALSE(success());

   EXPECT_THAT(mergeLines(trace),
               ElementsAre(successLine(sub, true, fromDirect), successLine(sub, false, fromNone)));
}

TEST_F(WexIntfEncapMuxSmStatus, NullDirectMemberIsPresentToTheHandlerAndAbsentToTheMerge) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypePseudowire);
   start();
   succeedDirectly();
   auto trace = capture();

   hwIn->hardwareStatusIs(x, Fen::Ptr<Interface::Hardware::SubIntfStatus>());

   EXPECT_FALSE(success());
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, false),
                   roadLine(sub, ", remove multiEncapIntf"), successLine(sub, false, fromNone)));
}

TEST_F(WexIntfEncapMuxSmStatus, RepeatedEventsChangeNothingButTheHandlersStillSpeak) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   directIs(sub, false);
   start();
   std::vector<Fen::Ptr<Listener>> const listeners = {
       Listener::ListenerIs(wcsd.ptr(), nullptr), Listener::ListenerIs(fwdOut.ptr(), nullptr),
       Listener::ListenerIs(hwOut.ptr(), nullptr), Listener::ListenerIs(out(sub).ptr(), nullptr)};
   auto trace = capture();

   sm->handleSubIntfStatus(x);
   sm->handleSubIntfHwStatus(x);
   sm->handleServiceIntfFwdInfo(x);
   sm->handleServiceIntfHwStatus(x);

   EXPECT_THAT(trace.linesAt(7), IsEmpty());
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, true),
                           handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true),
                           handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, true)));
   for (auto const& l : listeners)
      EXPECT_EQ(l->calls(), 0u);
}

TEST_F(WexIntfEncapMuxSmStatus, OutputListenerThatRemovesTheInputLeavesNoOutput) {
   Fen::Ptr<Interface::SubIntfStatus> const status = Fen::fenObjectIs<Interface::SubIntfStatus>(x);
   status->programInHwIs(true);
   directIs(sub, true);
   start();
   Fen::Ptr<Listener> const remover =
       Listener::ListenerIs(hwOut.ptr(), [&](Fen::AttributeId, void const*) {
          if (hwOut->hardwareStatusHas(x)) intfStatus->intfStatusDel(x);
       });

   intfStatus->intfStatusIs(x, status);

   EXPECT_FALSE(intfStatus->intfStatusHas(x));
   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
}

TEST_F(WexIntfEncapMuxSmStatus, EachIdIsMergedAlone) {
   statusIs(sub, true);
   statusIs("Ethernet2.200", true);
   start();
   auto trace = capture();

   directIs("Ethernet2.200", true);

   EXPECT_FALSE(success());
   EXPECT_TRUE(out("Ethernet2.200")->hardwareSuccess());
   EXPECT_THAT(mergeLines(trace), ElementsAre(successLine("Ethernet2.200", true, fromDirect)));
}

}  // namespace
}  // namespace TestSupport
