// The frame of the sub-interface multiplexer: the constructor and its sweep, the
// assertions that guard the sweep, the entries that hear each member of the two
// directories, the zombie mark, and teardown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "Listener.h"
#include "MuxFixture.h"
#include "WexVlanMapping/WexModules.h"

namespace TestSupport {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char const* sub = "Ethernet1.100";

// The reactors of the two directories, by position in the machine's reactors.
WexIntfEncapMuxSm::FenSubIntfStatus* statusDirReactor(WexIntfEncapMuxSm& m) {
   return std::get<0>(m.fenReactors()).reactor();
}
WexIntfEncapMuxSm::FenSubIntfHwStatusIn* directDirReactor(WexIntfEncapMuxSm& m) {
   return std::get<1>(m.fenReactors()).reactor();
}

// The entry reactor standing for `intf`, or null.
WexIntfEncapMuxSm::FenSubIntfStatusEntry* statusEntry(WexIntfEncapMuxSm const& m,
                                                      Kestin::IntfId intf) {
   auto const* node = m.subIntfStatusEntryMap()[intf];
   return node ? node->ptr() : nullptr;
}
WexIntfEncapMuxSm::FenSubIntfHwStatusEntry* directEntry(WexIntfEncapMuxSm const& m,
                                                        Kestin::IntfId intf) {
   auto const* node = m.subIntfHwStatusEntryMap()[intf];
   return node ? node->ptr() : nullptr;
}

class WexIntfEncapMuxSmFrame : public MuxFixture {
protected:
   Kestin::IntfId const x = id(sub);
};

// ---- the constructor and the sweep --------------------------------------------------

TEST_F(WexIntfEncapMuxSmFrame, EntriesOfPresentMembersStandBeforeTheSweep) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   // When the sweep makes the output member, the inputs change under it: only an
   // entry that already stands can hear that.
   bool changed = false;
   Fen::Ptr<Listener> const onCreate =
       Listener::ListenerIs(hwOut.ptr(), [&](Fen::AttributeId, void const*) {
          if (changed) return;
          changed = true;
          status->programInHwIs(true);
          direct->hardwareSuccessIs(true);
       });
   auto trace = capture();

   start();

   EXPECT_TRUE(changed);
   EXPECT_THAT(trace.lines(),
               ElementsAre(needLine(sub, false), roadLine(sub, ", remove multiEncapIntf"),
                           statusLine(sub, ", create hardwareStatus"),
                           // the status entry hears programInHw
                           handlerLine(muxHandleSubIntfStatus, sub, false),
                           // the direct entry hears hardwareSuccess
                           handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, false),
                           roadLine(sub, ", remove multiEncapIntf"),
                           successLine(sub, true, "subIntfHwStatusIn")));
   EXPECT_EQ(sm->subIntfStatusEntry(x), status.ptr());
   EXPECT_EQ(sm->subIntfHwStatusEntry(x), direct.ptr());
   EXPECT_TRUE(out(sub)->hardwareSuccess());
}

TEST_F(WexIntfEncapMuxSmFrame, SweepVisitsTheSortedUnionOnceEachInAscendingOrder) {
   char const* const a = "Ethernet1.5";
   char const* const b = "Ethernet1.100";
   char const* const c = "Ethernet2.1";
   char const* const d = "Ethernet10.1";
   char const* const e = "Port-Channel1.7";
   ASSERT_TRUE(id(a) < id(b) && id(b) < id(c) && id(c) < id(d) && id(d) < id(e));
   // Written out of order, each in other collections.
   statusIs(e, false);
   svcStatus->hwStatusIs(id(a), Ulva::hwStatusSuccess);
   wcsd->multiEncapIntfIs(id(d));
   hwOut->hardwareStatusIs(id(b));
   fwdOut->fwdInfoIs(record(c, Ulva::serviceIntfTypeTunnel, 3));
   statusIs(a, false);
   auto trace = capture();

   start();

   // Both updates of one id before the next id.
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(needLine(a, false), statusLine(a, ", create hardwareStatus"), needLine(b, false),
                   roadLine(b, ", remove multiEncapIntf"), statusLine(b, ", delete hardwareStatus"),
                   needLine(c, false), roadLine(c, ", remove serviceIntfFwdInfoOut"),
                   roadLine(c, ", remove multiEncapIntf"), needLine(d, false), needLine(e, false),
                   roadLine(e, ", remove multiEncapIntf"),
                   statusLine(e, ", create hardwareStatus")));
   // The sweep itself says nothing: every line comes from the two updates.
   for (auto const& line : trace.lines()) {
      EXPECT_TRUE(line.rfind(muxServiceIntf, 0) == 0 || line.rfind(muxSubIntf, 0) == 0) << line;
   }
}

TEST_F(WexIntfEncapMuxSmFrame, IdInAllSevenSourcesIsVisitedOnce) {
   wcsd->multiEncapIntfIs(x);
   offer(sub, Ulva::serviceIntfTypeTunnel, 7);
   fwdOut->fwdInfoIs(record(sub, Ulva::serviceIntfTypeTunnel, 9));
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   statusIs(sub, true);
   directIs(sub, false);
   hwOut->hardwareStatusIs(x);
   auto trace = capture();

   start();

   EXPECT_THAT(trace.linesAt(8), ElementsAre(needLine(sub, true)));
   // The direct status keeps the record from being published; the service road
   // still decides the merge.
   EXPECT_THAT(trace.linesAt(7), ElementsAre(roadLine(sub, ", remove serviceIntfFwdInfoOut"),
                                             successLine(sub, true, "serviceIntfHwStatusIn")));
   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));
}

TEST_F(WexIntfEncapMuxSmFrame, SweepOnEmptyInputsTouchesNothingAndLeavesInitializedTrue) {
   std::vector<Fen::Ptr<Listener>> const listeners = {Listener::ListenerIs(wcsd.ptr(), nullptr),
                                                      Listener::ListenerIs(hwOut.ptr(), nullptr),
                                                      Listener::ListenerIs(fwdOut.ptr(), nullptr)};
   auto trace = capture();

   start();

   EXPECT_TRUE(sm->initialized());
   EXPECT_THAT(trace.lines(), IsEmpty());
   for (auto const& l : listeners)
      EXPECT_EQ(l->calls(), 0u);
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 0u);
}

TEST_F(WexIntfEncapMuxSmFrame, SecondSweepWalksEverythingAgain) {
   statusIs(sub, false);
   start();
   sm->initializedIs(false);
   auto trace = capture();

   sm->handleInitialized();

   EXPECT_TRUE(sm->initialized());
   EXPECT_THAT(trace.lines(),
               ElementsAre(needLine(sub, false), roadLine(sub, ", remove multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmFrame, IdOnlyInMultiEncapIntfLosesItInTheSweep) {
   wcsd->multiEncapIntfIs(x);
   auto trace = capture();

   start();

   EXPECT_FALSE(member(sub));
   // A member that goes leaves no line.
   EXPECT_THAT(trace.lines(), ElementsAre(needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmFrame, IdOnlyInServiceIntfFwdInfoOutLosesItInTheSweep) {
   fwdOut->fwdInfoIs(record(sub, Ulva::serviceIntfTypeSubIntf, 4));
   auto trace = capture();

   start();

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   EXPECT_THAT(trace.lines(),
               ElementsAre(needLine(sub, false), roadLine(sub, ", remove serviceIntfFwdInfoOut"),
                           roadLine(sub, ", remove multiEncapIntf")));
}

TEST_F(WexIntfEncapMuxSmFrame, IdOnlyInSubIntfHwStatusOutLosesItInTheSweep) {
   hwOut->hardwareStatusIs(x)->hardwareSuccessIs(true);
   auto trace = capture();

   start();

   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_THAT(trace.lines(),
               ElementsAre(needLine(sub, false), roadLine(sub, ", remove multiEncapIntf"),
                           statusLine(sub, ", delete hardwareStatus")));
}

TEST_F(WexIntfEncapMuxSmFrame, FactoryTurnsNotificationOnAfterTheSweep) {
   start();

   EXPECT_TRUE(sm->hasNotificationActive());
   EXPECT_FALSE(sm->fenMarkedForDeletion());
   EXPECT_EQ(sm->wcsd(), wcsd.ptr());
   EXPECT_EQ(sm->subIntfStatus(), intfStatus.ptr());
   EXPECT_EQ(sm->subIntfHwStatusIn(), hwIn.ptr());
   EXPECT_EQ(sm->subIntfHwStatusOut(), hwOut.ptr());
   EXPECT_EQ(sm->serviceIntfFwdInfoIn(), fwdIn.ptr());
   EXPECT_EQ(sm->serviceIntfFwdInfoOut(), fwdOut.ptr());
   EXPECT_EQ(sm->serviceIntfHwStatusIn(), svcStatus.ptr());
   EXPECT_EQ(sm->supportedServiceTypes(), types.ptr());
}

TEST_F(WexIntfEncapMuxSmFrame, FwkTypeIsTheOnlyClassOfItsModule) {
   start();
   EXPECT_EQ(sm->fwkType(), (Fen::FwkType{&WexVlanMapping::wexIntfEncapMuxSmModule, 0}));
}

TEST_F(WexIntfEncapMuxSmFrame, EntryMapsAreSaltedApart) {
   EXPECT_EQ(WexIntfEncapMuxSm::FenSubIntfStatusEntryMap::Map::salt, 0xADEDC4A9u);
   EXPECT_EQ(WexIntfEncapMuxSm::FenSubIntfHwStatusEntryMap::Map::salt, 0xD851A8E7u);
}

TEST_F(WexIntfEncapMuxSmFrame, ReactorsIgnoreEveryOtherAttribute) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto trace = capture();

   for (Fen::AttributeId other : {0u, 257u, 258u, 259u, 385u, 387u, 515u}) {
      if (other != Interface::SubIntfStatusDir::intfStatusAttributeId) {
         statusDirReactor(*sm)->onAttribute(other, &x);
      }
      if (other != Interface::Hardware::SubIntfStatusDir::hardwareStatusAttributeId) {
         directDirReactor(*sm)->onAttribute(other, &x);
         std::get<2>(sm->fenReactors()).reactor()->onAttribute(other, &x);
         std::get<3>(sm->fenReactors()).reactor()->onAttribute(other, &x);
      }
      if (other != Interface::SubIntfStatus::programInHwAttributeId) {
         statusEntry(*sm, x)->onAttribute(other, nullptr);
      }
      if (other != Interface::Hardware::SubIntfStatus::hardwareSuccessAttributeId) {
         directEntry(*sm, x)->onAttribute(other, nullptr);
      }
   }

   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, EachReactorForwardsItsOwnAttributeToItsHandler) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto trace = capture();

   statusDirReactor(*sm)->onAttribute(Interface::SubIntfStatusDir::intfStatusAttributeId, &x);
   directDirReactor(*sm)->onAttribute(
       Interface::Hardware::SubIntfStatusDir::hardwareStatusAttributeId, &x);
   std::get<2>(sm->fenReactors())
       .reactor()
       ->onAttribute(Ulva::ServiceIntfFwdInfoColl::fwdInfoAttributeId, &x);
   std::get<3>(sm->fenReactors())
       .reactor()
       ->onAttribute(Ulva::ServiceIntfHwStatusColl::hwStatusAttributeId, &x);
   statusEntry(*sm, x)->onAttribute(Interface::SubIntfStatus::programInHwAttributeId, nullptr);
   directEntry(*sm, x)->onAttribute(Interface::Hardware::SubIntfStatus::hardwareSuccessAttributeId,
                                    nullptr);

   EXPECT_THAT(trace.startingWithAt("void WexVlanMapping::WexIntfEncapMuxSm::handle", 8),
               ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false),
                           handlerLine(muxHandleFwdInfo, sub, true),
                           handlerLine(muxHandleSvcStatus, sub, true),
                           handlerLine(muxHandleSubIntfStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false)));
}

TEST_F(WexIntfEncapMuxSmFrame, NotificationSwitchReachesEveryReactorAndEntry) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto trace = capture();

   sm->hasNotificationActiveIs(false);
   status->programInHwIs(true);
   direct->hardwareSuccessIs(true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusFailed);
   intfStatus->intfStatusIs(id("Ethernet2.7"));
   hwIn->hardwareStatusIs(id("Ethernet2.7"));

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_FALSE(statusEntry(*sm, x)->hasNotificationActive());
   EXPECT_FALSE(directEntry(*sm, x)->hasNotificationActive());

   sm->hasNotificationActiveIs(true);
   status->programInHwIs(false);
   direct->hardwareSuccessIs(false);

   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false), needLine(sub, true)));
}

// ---- entries ---------------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmFrame, NewMemberRunsTheHandlerOnceBeforeItsEntryStands) {
   start();
   bool entryDuringHandler = true;
   Fen::Ptr<Listener> const onOutput =
       Listener::ListenerIs(hwOut.ptr(), [&](Fen::AttributeId, void const*) {
          entryDuringHandler = sm->subIntfStatusEntry(x) != nullptr;
       });
   auto trace = capture();

   Fen::Ptr<Interface::SubIntfStatus> const status = intfStatus->intfStatusIs(x);

   EXPECT_EQ(onOutput->calls(), 1u);
   EXPECT_FALSE(entryDuringHandler);
   // The entry made right after runs no handler.
   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
   EXPECT_EQ(sm->subIntfStatusEntry(x), status.ptr());
   EXPECT_EQ(sm->subIntfStatusEntrys(), 1u);
}

TEST_F(WexIntfEncapMuxSmFrame, NewDirectMemberRunsTheHandlerOnceAndGetsAnEntry) {
   start();
   auto trace = capture();

   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = hwIn->hardwareStatusIs(x);

   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false),
                                             needLine(sub, false)));
   EXPECT_EQ(sm->subIntfHwStatusEntry(x), direct.ptr());
   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 1u);
}

TEST_F(WexIntfEncapMuxSmFrame, EntryHearsProgramInHwOfItsMember) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   auto trace = capture();

   status->programInHwIs(true);

   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
}

TEST_F(WexIntfEncapMuxSmFrame, EntryHearsHardwareSuccessOfItsDirectMember) {
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto trace = capture();

   direct->hardwareSuccessIs(true);

   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false),
                                             needLine(sub, false)));
}

TEST_F(WexIntfEncapMuxSmFrame, ReplacedMemberRunsTheHandlerTwice) {
   Fen::Ptr<Interface::SubIntfStatus> const first = statusIs(sub, false);
   start();
   Fen::Ptr<Interface::SubIntfStatus> const second = Fen::fenObjectIs<Interface::SubIntfStatus>(x);
   auto trace = capture();

   intfStatus->intfStatusIs(x, second);

   // Once from the directory's reactor, once from the entry's switch.
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false),
                                          handlerLine(muxHandleSubIntfStatus, sub, false)));
   EXPECT_EQ(sm->subIntfStatusEntry(x), second.ptr());
   EXPECT_EQ(sm->subIntfStatusEntrys(), 1u);
   trace.clear();
   first->programInHwIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
   second->programInHwIs(true);
   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
}

TEST_F(WexIntfEncapMuxSmFrame, ReplacedDirectMemberRunsTheHandlerTwice) {
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const first = directIs(sub, false);
   start();
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const second =
       Fen::fenObjectIs<Interface::Hardware::SubIntfStatus>(x);
   auto trace = capture();

   hwIn->hardwareStatusIs(x, second);

   EXPECT_THAT(trace.startingWithAt(muxHandleSubIntfHwStatus, 8),
               ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, false),
                           handlerLine(muxHandleSubIntfHwStatus, sub, false)));
   EXPECT_EQ(sm->subIntfHwStatusEntry(x), second.ptr());
   trace.clear();
   first->hardwareSuccessIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, RemovedMemberRunsTheHandlerWhileItsEntryStandsThenIsNotHeard) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   bool entryDuringHandler = false;
   Fen::Ptr<Listener> const onOutput =
       Listener::ListenerIs(hwOut.ptr(), [&](Fen::AttributeId, void const*) {
          entryDuringHandler = sm->subIntfStatusEntry(x) != nullptr;
       });
   auto trace = capture();

   intfStatus->intfStatusDel(x);

   EXPECT_EQ(onOutput->calls(), 1u);
   EXPECT_TRUE(entryDuringHandler);
   EXPECT_EQ(sm->subIntfStatusEntry(x), nullptr);
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, true),
                                          statusLine(sub, ", delete hardwareStatus")));
   trace.clear();
   status->programInHwIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, RemovedDirectMemberIsNotHeardAnyMore) {
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto trace = capture();

   hwIn->hardwareStatusDel(x);

   EXPECT_EQ(sm->subIntfHwStatusEntry(x), nullptr);
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleSubIntfHwStatus, sub, true), needLine(sub, false)));
   trace.clear();
   direct->hardwareSuccessIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, NullMemberTakesTheEntryAway) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   auto trace = capture();

   intfStatus->intfStatusIs(x, Fen::Ptr<Interface::SubIntfStatus>());

   // The key stays, so the handler does not see a deletion; the entry goes.
   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
   EXPECT_EQ(sm->subIntfStatusEntry(x), nullptr);
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
   trace.clear();
   status->programInHwIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, EntryIsWithTheBoundObjectChangesNothing) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto const* const entry = statusEntry(*sm, x);
   auto const* const twin = directEntry(*sm, x);
   auto trace = capture();

   sm->subIntfStatusEntryIs(status);
   sm->subIntfHwStatusEntryIs(direct);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(statusEntry(*sm, x), entry);
   EXPECT_EQ(directEntry(*sm, x), twin);
   EXPECT_EQ(sm->subIntfStatusEntrys(), 1u);
   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 1u);
}

TEST_F(WexIntfEncapMuxSmFrame, EntryIsWithAnotherObjectOfTheKeySwitchesAndRunsTheHandler) {
   statusIs(sub, false);
   start();
   auto const* const entry = statusEntry(*sm, x);
   Fen::Ptr<Interface::SubIntfStatus> const other = Fen::fenObjectIs<Interface::SubIntfStatus>(x);
   auto trace = capture();

   sm->subIntfStatusEntryIs(other);

   EXPECT_THAT(trace.lines(), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
   EXPECT_EQ(statusEntry(*sm, x), entry);
   EXPECT_EQ(sm->subIntfStatusEntry(x), other.ptr());
}

TEST_F(WexIntfEncapMuxSmFrame, EntryDelGivesBackTheHeardObjectAndSilencesIt) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   auto trace = capture();

   Fen::Ptr<WexIntfEncapMuxSm::FenSubIntfStatusEntry> const entry(statusEntry(*sm, x));

   EXPECT_EQ(sm->subIntfStatusEntryDel(x), status);
   EXPECT_EQ(sm->subIntfStatusEntryDel(x), nullptr);
   status->programInHwIs(true);

   // The entry that went is a zombie without owner and without notification.
   EXPECT_TRUE(entry->fenMarkedForDeletion());
   EXPECT_EQ(entry->owner, nullptr);
   EXPECT_FALSE(entry->hasNotificationActive());

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
}

TEST_F(WexIntfEncapMuxSmFrame, EntryDelAllEmptiesBothMaps) {
   statusIs(sub, false);
   statusIs("Ethernet2.7", false);
   directIs(sub, false);
   start();
   auto trace = capture();

   sm->subIntfStatusEntryDelAll();
   sm->subIntfHwStatusEntryDelAll();

   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 0u);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, NullStatusEntryIsRefusedAndTheMapIsUnchanged) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   start();
   auto const* const entry = statusEntry(*sm, x);

   try {
      sm->subIntfStatusEntryIs(Fen::Ptr<Interface::SubIntfStatus const>());
      ADD_FAILURE() << "a null member was taken";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), HasSubstr("WexVlanMapping::WexIntfEncapMuxSm: attribute 139 takes no "
                                      "null pointer as a member"));
   }

   EXPECT_EQ(sm->subIntfStatusEntrys(), 1u);
   EXPECT_EQ(statusEntry(*sm, x), entry);
   EXPECT_EQ(sm->subIntfStatusEntry(x), status.ptr());
}

TEST_F(WexIntfEncapMuxSmFrame, NullDirectEntryIsRefusedAndTheMapIsUnchanged) {
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   auto const* const entry = directEntry(*sm, x);

   try {
      sm->subIntfHwStatusEntryIs(Fen::Ptr<Interface::Hardware::SubIntfStatus const>());
      ADD_FAILURE() << "a null member was taken";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), HasSubstr("WexVlanMapping::WexIntfEncapMuxSm: attribute 141 takes no "
                                      "null pointer as a member"));
   }

   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 1u);
   EXPECT_EQ(directEntry(*sm, x), entry);
   EXPECT_EQ(sm->subIntfHwStatusEntry(x), direct.ptr());
}

TEST_F(WexIntfEncapMuxSmFrame, SwitchingTheStatusDirectoryReconcilesTheEntries) {
   statusIs(sub, false);
   statusIs("Ethernet2.7", false);
   start();
   Fen::Ptr<Interface::SubIntfStatusDir> const other = Interface::subIntfStatusDirFactory();
   Fen::Ptr<Interface::SubIntfStatus> const kept = other->intfStatusIs(x);
   Fen::Ptr<Interface::SubIntfStatus> const added = other->intfStatusIs(id("Ethernet3.1"));
   auto trace = capture();

   statusDirReactor(*sm)->notifierIs(Fen::Ptr<Fen::PtrInterface const>(other));

   EXPECT_EQ(sm->subIntfStatusEntrys(), 2u);
   EXPECT_EQ(sm->subIntfStatusEntry(x), kept.ptr());
   EXPECT_EQ(sm->subIntfStatusEntry(id("Ethernet3.1")), added.ptr());
   EXPECT_EQ(sm->subIntfStatusEntry(id("Ethernet2.7")), nullptr);
   // Only the entry that switched objects ran its handler.
   EXPECT_THAT(trace.linesAt(8), ElementsAre(handlerLine(muxHandleSubIntfStatus, sub, false)));
}

// ---- the zombie mark -------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmFrame, MarkedDirectoryReactorCallsNoHandlerButReconcilesEntries) {
   start();
   // Only the mark: the reactor stays registered and active, so writes reach it.
   statusDirReactor(*sm)->fenMarkedForDeletionIs(true);
   directDirReactor(*sm)->fenMarkedForDeletionIs(true);
   auto trace = capture();

   Fen::Ptr<Interface::SubIntfStatus> const status = intfStatus->intfStatusIs(x);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = hwIn->hardwareStatusIs(x);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
   EXPECT_EQ(sm->subIntfStatusEntry(x), status.ptr());
   EXPECT_EQ(sm->subIntfHwStatusEntry(x), direct.ptr());

   intfStatus->intfStatusDel(x);
   hwIn->hardwareStatusDel(x);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(sm->subIntfStatusEntrys(), 0u);
   EXPECT_EQ(sm->subIntfHwStatusEntrys(), 0u);
   statusDirReactor(*sm)->fenMarkedForDeletionIs(false);
   directDirReactor(*sm)->fenMarkedForDeletionIs(false);
}

TEST_F(WexIntfEncapMuxSmFrame, EntryMadeWhileTheMachineIsMarkedComesOutMarked) {
   start();
   sm->fenDoZombieReactors(true);
   ASSERT_TRUE(statusDirReactor(*sm)->fenMarkedForDeletion());
   Fen::Ptr<Interface::SubIntfStatus> const status = intfStatus->intfStatusIs(x);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = hwIn->hardwareStatusIs(x);
   auto trace = capture();

   // The zombie reactors hear nothing; a notification handed to them by hand
   // still reconciles the entries.
   statusDirReactor(*sm)->onAttribute(Interface::SubIntfStatusDir::intfStatusAttributeId, &x);
   directDirReactor(*sm)->onAttribute(
       Interface::Hardware::SubIntfStatusDir::hardwareStatusAttributeId, &x);

   EXPECT_THAT(trace.lines(), IsEmpty());
   ASSERT_NE(statusEntry(*sm, x), nullptr);
   ASSERT_NE(directEntry(*sm, x), nullptr);
   EXPECT_TRUE(statusEntry(*sm, x)->fenMarkedForDeletion());
   EXPECT_TRUE(directEntry(*sm, x)->fenMarkedForDeletion());
   // A marked entry calls nothing.
   status->programInHwIs(true);
   direct->hardwareSuccessIs(true);
   statusEntry(*sm, x)->onAttribute(Interface::SubIntfStatus::programInHwAttributeId, nullptr);
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_FALSE(hwOut->hardwareStatusHas(x));
}

TEST_F(WexIntfEncapMuxSmFrame, EntryMadeByItsMutatorWhileTheMachineIsMarkedComesOutMarked) {
   start();
   Fen::Ptr<Interface::SubIntfStatus> const status = intfStatus->intfStatusIs(x);
   sm->subIntfStatusEntryDel(x);
   sm->fenDoZombieReactors(true);

   sm->subIntfStatusEntryIs(status);

   ASSERT_NE(statusEntry(*sm, x), nullptr);
   EXPECT_TRUE(statusEntry(*sm, x)->fenMarkedForDeletion());
}

TEST_F(WexIntfEncapMuxSmFrame, ZombieMarkReachesEveryReactorAndComesBack) {
   statusIs(sub, false);
   directIs(sub, false);
   start();

   sm->fenDoZombieReactors(true);

   EXPECT_TRUE(sm->fenMarkedForDeletion());
   EXPECT_TRUE(statusDirReactor(*sm)->fenMarkedForDeletion());
   EXPECT_TRUE(directDirReactor(*sm)->fenMarkedForDeletion());
   EXPECT_TRUE(std::get<2>(sm->fenReactors()).reactor()->fenMarkedForDeletion());
   EXPECT_TRUE(std::get<3>(sm->fenReactors()).reactor()->fenMarkedForDeletion());
   EXPECT_TRUE(statusEntry(*sm, x)->fenMarkedForDeletion());
   EXPECT_TRUE(directEntry(*sm, x)->fenMarkedForDeletion());

   sm->fenDoZombieReactors(false);

   EXPECT_FALSE(statusEntry(*sm, x)->fenMarkedForDeletion());
   EXPECT_FALSE(directEntry(*sm, x)->fenMarkedForDeletion());
   auto trace = capture();
   offer(sub, Ulva::serviceIntfTypeTunnel);
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre(handlerLine(muxHandleFwdInfo, sub, false), needLine(sub, true)));
}

TEST_F(WexIntfEncapMuxSmFrame, EntrySwitchedWhileTheMachineIsMarkedRunsNoHandler) {
   statusIs(sub, false);
   start();
   Fen::Ptr<Interface::SubIntfStatus> const other = Fen::fenObjectIs<Interface::SubIntfStatus>(x);
   sm->fenDoZombieReactors(true);
   auto trace = capture();

   sm->subIntfStatusEntryIs(other);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(sm->subIntfStatusEntry(x), other.ptr());
   EXPECT_TRUE(statusEntry(*sm, x)->fenMarkedForDeletion());
}

// ---- teardown ----------------------------------------------------------------------

TEST_F(WexIntfEncapMuxSmFrame, TeardownLeavesTheOutputsAsPublished) {
   statusIs(sub, true);
   offer(sub, Ulva::serviceIntfTypeTunnel);
   svcStatus->hwStatusIs(x, Ulva::hwStatusSuccess);
   start();
   ASSERT_TRUE(fwdOut->fwdInfoHas(x));
   ASSERT_TRUE(member(sub));
   ASSERT_TRUE(out(sub) && out(sub)->hardwareSuccess());
   std::vector<Fen::Ptr<Listener>> const listeners = {Listener::ListenerIs(wcsd.ptr(), nullptr),
                                                      Listener::ListenerIs(hwOut.ptr(), nullptr),
                                                      Listener::ListenerIs(fwdOut.ptr(), nullptr)};
   auto trace = capture();

   sm = nullptr;

   EXPECT_EQ(fwdOut->fwdInfo(x), record(sub, Ulva::serviceIntfTypeTunnel, 7));
   EXPECT_TRUE(member(sub));
   ASSERT_TRUE(out(sub));
   EXPECT_TRUE(out(sub)->hardwareSuccess());
   for (auto const& l : listeners)
      EXPECT_EQ(l->calls(), 0u);
   // Nothing hears the inputs any more.
   intfStatus->intfStatusDel(x);
   fwdIn->fwdInfoDel(x);
   svcStatus->hwStatusDel(x);
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_TRUE(hwOut->hardwareStatusHas(x));
}

TEST_F(WexIntfEncapMuxSmFrame, ReactorsThatOutliveTheMachineCallNothing) {
   Fen::Ptr<Interface::SubIntfStatus> const status = statusIs(sub, false);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const direct = directIs(sub, false);
   start();
   Fen::Ptr<WexIntfEncapMuxSm::FenSubIntfStatus> const dirReactor(statusDirReactor(*sm));
   Fen::Ptr<WexIntfEncapMuxSm::FenSubIntfStatusEntry> const entry(statusEntry(*sm, x));
   Fen::Ptr<WexIntfEncapMuxSm::FenSubIntfHwStatusEntry> const twin(directEntry(*sm, x));
   auto trace = capture();

   sm = nullptr;

   EXPECT_EQ(dirReactor->owner, nullptr);
   EXPECT_EQ(entry->owner, nullptr);
   EXPECT_EQ(twin->owner, nullptr);
   EXPECT_TRUE(dirReactor->fenMarkedForDeletion());
   EXPECT_TRUE(entry->fenMarkedForDeletion());
   EXPECT_TRUE(twin->fenMarkedForDeletion());
   dirReactor->onAttribute(Interface::SubIntfStatusDir::intfStatusAttributeId, &x);
   entry->onAttribute(Interface::SubIntfStatus::programInHwAttributeId, nullptr);
   status->programInHwIs(true);
   direct->hardwareSuccessIs(true);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(WexIntfEncapMuxSmFrame, SupportedTypesChangeAloneMovesNothingUntilAnEventForTheId) {
   offer(sub, Ulva::serviceIntfTypeTunnel);
   start();
   ASSERT_TRUE(fwdOut->fwdInfoHas(x));
   auto trace = capture();

   types->encapServiceTypeDel(Ulva::serviceIntfTypeTunnel);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_TRUE(fwdOut->fwdInfoHas(x));
   EXPECT_TRUE(member(sub));

   svcStatus->hwStatusIs(x, Ulva::hwStatusNotReady);

   EXPECT_FALSE(fwdOut->fwdInfoHas(x));
   // The service road still has a status: the id drains.
   EXPECT_TRUE(member(sub));
   EXPECT_THAT(trace.lines(),
               ElementsAre(handlerLine(muxHandleSvcStatus, sub, false), needLine(sub, false),
                           roadLine(sub, ", remove serviceIntfFwdInfoOut")));
}

// ---- the assertions of the sweep -------------------------------------------------

class WexIntfEncapMuxSmFrameDeathTest : public MuxFixture {
protected:
   // Builds the machine with the inputs at `positions` (in attribute order) null.
   void startWithout(std::vector<int> const& positions) {
      WexIntfEncapMuxSm::Inputs in = inputs();
      for (int p : positions) {
         switch (p) {
            case 0:
               in.wcsd = nullptr;
               break;
            case 1:
               in.subIntfStatus = nullptr;
               break;
            case 2:
               in.subIntfHwStatusIn = nullptr;
               break;
            case 3:
               in.subIntfHwStatusOut = nullptr;
               break;
            case 4:
               in.serviceIntfFwdInfoIn = nullptr;
               break;
            case 5:
               in.serviceIntfFwdInfoOut = nullptr;
               break;
            case 6:
               in.serviceIntfHwStatusIn = nullptr;
               break;
            case 7:
               in.supportedServiceTypes = nullptr;
               break;
         }
      }
      sm = WexVlanMapping::wexIntfEncapMuxSmFactory(in);
   }
   // Something for the sweep to write, watched: a dying sweep shows "changed ..."
   // if it wrote before it asserted.
   void fillAndWatch() {
      statusIs(sub, true);
      wcsd->multiEncapIntfIs(id(sub));
      fwdOut->fwdInfoIs(record(sub, Ulva::serviceIntfTypeTunnel, 3));
      watches_.push_back(watch(wcsd.ptr(), "multiEncapIntf"));
      watches_.push_back(watch(fwdOut.ptr(), "serviceIntfFwdInfoOut"));
      watches_.push_back(watch(hwOut.ptr(), "subIntfHwStatusOut"));
   }
   static std::string failed(char const* expression) {
      return std::string("Assertion `") + expression + "' failed";
   }
   std::vector<Fen::Ptr<Listener>> watches_;
};

char const* const assertionTexts[] = {"wcsd()",
                                      "subIntfStatus()",
                                      "subIntfHwStatusIn()",
                                      "subIntfHwStatusOut()",
                                      "serviceIntfFwdInfoIn()",
                                      "serviceIntfFwdInfoOut()",
                                      "serviceIntfHwStatusIn()",
                                      "supportedServiceTypes()"};

TEST_F(WexIntfEncapMuxSmFrameDeathTest, NullWcsdEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({0}), AllOf(HasSubstr(failed("wcsd()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, NullSubIntfStatusEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({1}),
                AllOf(HasSubstr(failed("subIntfStatus()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, NullSubIntfHwStatusInEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({2}),
                AllOf(HasSubstr(failed("subIntfHwStatusIn()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, NullSubIntfHwStatusOutEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({3}),
                AllOf(HasSubstr(failed("subIntfHwStatusOut()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, NullServiceIntfFwdInfoInEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({4}),
                AllOf(HasSubstr(failed("serviceIntfFwdInfoIn()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest,
       NullServiceIntfFwdInfoOutEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({5}),
                AllOf(HasSubstr(failed("serviceIntfFwdInfoOut()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest,
       NullServiceIntfHwStatusInEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({6}),
                AllOf(HasSubstr(failed("serviceIntfHwStatusIn()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest,
       NullSupportedServiceTypesEndsTheConstructionBeforeAnyWrite) {
   fillAndWatch();
   EXPECT_DEATH(startWithout({7}),
                AllOf(HasSubstr(failed("supportedServiceTypes()")), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, AssertionsAreCheckedInAttributeOrder) {
   // With every input from position k on null, assertion k fires, and no later one.
   for (int k = 0; k < 8; ++k) {
      std::vector<int> nulls;
      for (int p = k; p < 8; ++p)
         nulls.push_back(p);
      EXPECT_DEATH(startWithout(nulls), HasSubstr(failed(assertionTexts[k]))) << k;
   }
}

TEST_F(WexIntfEncapMuxSmFrameDeathTest, InputReactorWithoutNotifierCountsAsMissing) {
   start();
   statusDirReactor(*sm)->notifierIs(Fen::Ptr<Fen::PtrInterface const>());
   ASSERT_EQ(sm->subIntfStatus(), nullptr);
   EXPECT_DEATH(sm->handleInitialized(), HasSubstr(failed("subIntfStatus()")));
}

}  // namespace
}  // namespace TestSupport
