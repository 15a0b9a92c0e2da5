// The dynamic encap state machine of the MACsec proxy: its frame (creation with
// its sweep, the handlers, teardown), the two crossed entries it writes per proxy
// sub-interface, their withdrawal, and buildEncap. Each step is checked with its
// trace lines at their levels and with the order in which a listener of
// dynamicIntfEncap hears the entries come and go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "Listener.h"
#include "MacsecProxy/Status.h"
#include "TraceCapture.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using WexVlanMapping::buildEncap;
using WexVlanMapping::macsecProxy;
using WexVlanMapping::WexDynamicEncapSm;
using WexVlanMapping::WexDynamicIntfEncapInfo;

// The vid of an absent tag.
constexpr std::uint16_t none = Ulva::VlanTag::vidDefault;
constexpr char const* rangeText = "Ulva::VlanTag::vid < 0 or > 4097 not allowed";

// One notification of dynamicIntfEncap: its key, and whether the collection held
// the entry when the listener heard it (an insertion or a removal).
struct Heard {
   Ulva::IntfEncap key;
   bool present;
   bool operator==(Heard const&) const = default;
};
void PrintTo(Heard const& h, std::ostream* os) {
   *os << (h.present ? "inserted " : "removed ") << h.key;
}
Heard inserted(Ulva::IntfEncap const& key) {
   return {key, true};
}
Heard removed(Ulva::IntfEncap const& key) {
   return {key, false};
}

// One trace line of the machine: its level and its text.
struct Traced {
   int level;
   std::string text;
   bool operator==(Traced const&) const = default;
};
void PrintTo(Traced const& t, std::ostream* os) {
   *os << t.level << " \"" << t.text << "\"";
}

// The texts of the machine's lines.
constexpr char const* initializedLine = "WexDynamicEncapSm::handleInitialized: ";
constexpr char const* sweepLine = "WexDynamicEncapSm::handleMacsecProxySubIntfStatus: ";

Traced handlerLine(char const* proxy, bool isDel) {
   return {8, std::string("WexDynamicEncapSm::handleMacsecProxySubIntfStatus: ") + proxy +
                  ", isDel:" + (isDel ? "true" : "false")};
}
// "(Ethernet1, 100:0x8100, 4095:0x8100)" for an encap with one tag.
std::string encapText(char const* port, std::uint16_t outer, std::uint16_t inner = none) {
   return std::string("(") + port + ", " + std::to_string(outer) + ":0x8100, " +
          std::to_string(inner) + ":0x8100)";
}
Traced addProxyLine(char const* proxy, char const* port, std::uint16_t vid) {
   return {7, std::string("WexDynamicEncapSm::addMacsecProxyDynEncap: ") + proxy +
                  ", add proxy encap " + encapText(port, vid)};
}
Traced addPatchLine(char const* patch, char const* port, std::uint16_t vid) {
   return {7, std::string("WexDynamicEncapSm::addMacsecProxyDynEncap: ") + patch +
                  ", add patch encap " + encapText(port, vid)};
}
Traced removePatchLine(char const* patch, char const* port, std::uint16_t vid) {
   return {7, std::string("WexDynamicEncapSm::deleteMacsecProxyDynEncap: ") + patch +
                  " remove patch encap " + encapText(port, vid)};
}
Traced removeProxyLine(char const* proxy, char const* port, std::uint16_t vid) {
   return {7, std::string("WexDynamicEncapSm::deleteMacsecProxyDynEncap: ") + proxy +
                  " remove proxy encap " + encapText(port, vid)};
}
Traced missingSubIntfLine(char const* proxy) {
   return {0, std::string("WexDynamicEncapSm::addMacsecProxyDynEncap: ") + proxy +
                  " missing proxy/patch subintf, skipping"};
}
Traced missingParentLine(char const* port) {
   return {0, std::string("WexDynamicEncapSm::addMacsecProxyDynEncap: ") + port +
                  " missing proxy parent port, skipping"};
}

// A MACsec proxy status, a dynamic encap collection, the machine between them and
// a listener of the collection. The usual proxy is Ethernet1.10 with VLAN id 100,
// its patch Ethernet1.20 with 200, both on Ethernet1.
class DynamicEncapSmTest : public testing::Test {
protected:
   static Kestin::IntfId id(char const* name) { return Kestin::IntfId(name); }
   // An encap on `port` with the tags `outer` and `inner`, tpid 0x8100.
   static Ulva::IntfEncap onPort(char const* port, std::uint16_t outer,
                                 std::uint16_t inner = none) {
      return Ulva::IntfEncap(id(port), tags(outer, inner));
   }
   static Ulva::VlanTagEncap tags(std::uint16_t outer, std::uint16_t inner = none) {
      return Ulva::VlanTagEncap(Ulva::vlanTag(outer), Ulva::vlanTag(inner));
   }
   static WexDynamicIntfEncapInfo entryOf(Ulva::IntfEncap const& intfEncap,
                                          Ulva::VlanTagEncap const& egress, char const* svc) {
      WexDynamicIntfEncapInfo info(intfEncap);
      info.egressEncapIs(egress);
      info.sourceIs(macsecProxy);
      info.serviceIntfIs(id(svc));
      return info;
   }

   void start() { sm = WexVlanMapping::wexDynamicEncapSmFactory(status, dynamic); }
   // Records every notification of dynamicIntfEncap from now on.
   void listen() {
      ear = Listener::ListenerIs(dynamic.ptr(), [this](Fen::AttributeId, void const* keyPtr) {
         Ulva::IntfEncap const key = *static_cast<Ulva::IntfEncap const*>(keyPtr);
         heard.push_back({key, dynamic->entryHas(key)});
      });
   }
   void parentIs(char const* port, bool singleTagEgress) {
      status->proxyIntfIs(id(port))->singleTagEgressIs(singleTagEgress);
   }
   // A complete status in one write; `patch` null for an unset patch.
   void publish(char const* proxy, char const* patch, std::uint16_t patchVid,
                std::uint16_t proxyVid) {
      status->proxySubIntfStatusIs(MacsecProxy::macsecProxySubIntfStatusFactory(
          id(proxy), patch ? id(patch) : Kestin::IntfId(), patchVid, proxyVid));
   }
   void publishUsual() { publish("Ethernet1.10", "Ethernet1.20", 200, 100); }

   static std::vector<Traced> traced(TraceCapture const& trace) {
      std::vector<Traced> out;
      for (auto const& r : trace.records())
         out.push_back({r.level, r.text});
      return out;
   }
   static TraceCapture capture() { return TraceCapture({"WexDynamicEncapSm"}); }

   Ulva::IntfEncap const proxyKey = onPort("Ethernet1", 100);
   Ulva::IntfEncap const patchKey = onPort("Ethernet1", 200);

   Fen::Ptr<MacsecProxy::Status> status = MacsecProxy::statusFactory();
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<WexDynamicEncapSm> sm;
   std::vector<Heard> heard;
   Fen::Ptr<Listener> ear;
};

class WexDynamicEncapSmFrame : public DynamicEncapSmTest {};
class WexDynamicEncapSmAdd : public DynamicEncapSmTest {};
class WexDynamicEncapSmDelete : public DynamicEncapSmTest {};

// ---- frame -------------------------------------------------------------------

TEST_F(WexDynamicEncapSmFrame, EmptyStatusAtCreationGivesNoEntriesAndTracesTheSweepOnly) {
   parentIs("Ethernet1", true);
   auto trace = capture();

   start();

   EXPECT_THAT(traced(trace), ElementsAre(Traced{8, initializedLine}, Traced{8, sweepLine}));
   EXPECT_TRUE(sm->initialized());
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);
   EXPECT_EQ(sm->macsecProxyStatus(), status.ptr());
   EXPECT_EQ(sm->dynamicIntfEncap(), dynamic.ptr());
}

TEST_F(WexDynamicEncapSmFrame, StatusPresentBeforeCreationIsHandledByTheConstructor) {
   parentIs("Ethernet1", true);
   publishUsual();
   listen();
   auto trace = capture();

   start();

   EXPECT_THAT(traced(trace), ElementsAre(Traced{8, initializedLine}, Traced{8, sweepLine},
                                          handlerLine("Ethernet1.10", false),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(200), "Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(patchKey), entryOf(patchKey, tags(100), "Ethernet1.20"));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.20"));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), proxyKey);
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.20")), patchKey);
}

TEST_F(WexDynamicEncapSmFrame, SweepHandlesEveryMemberOfTheStatus) {
   parentIs("Ethernet1", true);
   parentIs("Ethernet2", false);
   publishUsual();
   publish("Ethernet2.10", "Ethernet2.20", 20, 10);
   auto trace = capture();

   start();

   std::vector<std::string> const handled =
       trace.startingWithAt("WexDynamicEncapSm::handleMacsecProxySubIntfStatus: Ethernet", 8);
   EXPECT_THAT(handled, UnorderedElementsAre(handlerLine("Ethernet1.10", false).text,
                                             handlerLine("Ethernet2.10", false).text));
   EXPECT_EQ(dynamic->entrys(), 4u);
   EXPECT_EQ(dynamic->entry(onPort("Ethernet2", 10)),
             entryOf(onPort("Ethernet2", 10), tags(20, 20), "Ethernet2.10"));
   EXPECT_EQ(dynamic->entry(onPort("Ethernet2", 20)),
             entryOf(onPort("Ethernet2", 20), tags(10, 10), "Ethernet2.20"));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 2u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 4u);
}

TEST_F(WexDynamicEncapSmFrame, StatusAddedAfterCreationIsHeard) {
   parentIs("Ethernet1", true);
   start();
   listen();
   auto trace = capture();

   publishUsual();

   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
}

TEST_F(WexDynamicEncapSmFrame, RemovedMemberIsDeletedAlone) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   status->proxySubIntfStatusDel(id("Ethernet1.10"));

   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", true),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);
}

TEST_F(WexDynamicEncapSmFrame, ChangedMemberWithEqualEncapsIsRemovedAndInsertedAgain) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   // Another object with the same values, in one write.
   publishUsual();

   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey), inserted(proxyKey),
                                  inserted(patchKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(200), "Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(patchKey), entryOf(patchKey, tags(100), "Ethernet1.20"));
}

TEST_F(WexDynamicEncapSmFrame, ChangeAnnouncedInPlaceIsRemovedAndInsertedAgain) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   status->proxySubIntfStatus(id("Ethernet1.10"))->proxyEncapVidIs(150);
   status->proxySubIntfStatusChanged(id("Ethernet1.10"));

   Ulva::IntfEncap const newProxyKey = onPort("Ethernet1", 150);
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey), inserted(newProxyKey),
                                  inserted(patchKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 150),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(dynamic->entry(newProxyKey), entryOf(newProxyKey, tags(200), "Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(patchKey), entryOf(patchKey, tags(150), "Ethernet1.20"));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), newProxyKey);
}

TEST_F(WexDynamicEncapSmFrame, TeardownLeavesTheEntries) {
   parentIs("Ethernet1", false);
   start();
   publishUsual();
   WexDynamicIntfEncapInfo const proxyEntry = dynamic->entry(proxyKey);
   WexDynamicIntfEncapInfo const patchEntry = dynamic->entry(patchKey);
   listen();
   auto trace = capture();

   sm = nullptr;

   EXPECT_THAT(heard, IsEmpty());
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(dynamic->entry(proxyKey), proxyEntry);
   EXPECT_EQ(dynamic->entry(patchKey), patchEntry);

   // Nobody hears the status any more.
   status->proxySubIntfStatusDel(id("Ethernet1.10"));
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 2u);
}

TEST_F(WexDynamicEncapSmFrame, HandlersRunWhateverInitializedSays) {
   parentIs("Ethernet1", true);
   start();
   sm->initializedIs(false);

   publishUsual();

   EXPECT_FALSE(sm->initialized());
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.20"));
}

TEST_F(WexDynamicEncapSmFrame, SweepOfARunningMachineWithdrawsAndWritesEachMemberAgain) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   sm->handleInitialized();

   EXPECT_TRUE(sm->initialized());
   EXPECT_THAT(traced(trace), ElementsAre(Traced{8, initializedLine}, Traced{8, sweepLine},
                                          handlerLine("Ethernet1.10", false),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey), inserted(proxyKey),
                                  inserted(patchKey)));
}

TEST_F(WexDynamicEncapSmFrame, ReactorForwarderRunsTheHandlerOfOneMember) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   sm->fen_handleMacsecProxyStatus_proxySubIntfStatus(id("Ethernet1.10"));

   EXPECT_EQ(traced(trace).front(), handlerLine("Ethernet1.10", false));
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey), inserted(proxyKey),
                                  inserted(patchKey)));
}

TEST_F(WexDynamicEncapSmFrame, NotificationOfAnAbsentMemberNeverAddedDoesNothing) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   status->proxySubIntfStatusChanged(id("Ethernet1.30"));

   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.30", true)));
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 2u);
}

// ---- range errors --------------------------------------------------------------------

// The text of the exception a write of the status raised; empty when none did.
template <class Write>
std::string rangeErrorOf(Write&& write) {
   try {
      write();
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return {};
}

TEST_F(WexDynamicEncapSmAdd, PatchVidOutOfRangeReachesTheWriterAfterTheDelete) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   EXPECT_EQ(rangeErrorOf([&] { publish("Ethernet1.10", "Ethernet1.20", 4098, 100); }), rangeText);

   // The delete stands, the add changed nothing.
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   // The status holds what was written.
   EXPECT_EQ(status->proxySubIntfStatus(id("Ethernet1.10"))->patchEncapVid(), 4098);

   // The machine goes on: the next good status is written.
   publishUsual();
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 1u);
}

TEST_F(WexDynamicEncapSmAdd, ProxyVidOutOfRangeReachesTheWriterAfterTheDelete) {
   parentIs("Ethernet1", false);
   start();
   publishUsual();
   publish("Ethernet1.30", "Ethernet1.40", 400, 300);
   listen();

   EXPECT_EQ(rangeErrorOf([&] { publish("Ethernet1.10", "Ethernet1.20", 200, 4098); }), rangeText);

   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   // Only the failed proxy's entries went.
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_TRUE(dynamic->entryHas(onPort("Ethernet1", 300)));
   EXPECT_TRUE(dynamic->entryHas(onPort("Ethernet1", 400)));
   EXPECT_FALSE(sm->macsecProxySubIntfToPatchSubIntfHas(id("Ethernet1.10")));
   EXPECT_FALSE(sm->subIntfToDynIntfEncapHas(id("Ethernet1.10")));
   EXPECT_FALSE(sm->subIntfToDynIntfEncapHas(id("Ethernet1.20")));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 1u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 2u);
}

TEST_F(WexDynamicEncapSmAdd, VidOutOfRangeInAFirstStatusWritesNothing) {
   parentIs("Ethernet1", true);
   start();
   listen();
   auto trace = capture();

   EXPECT_EQ(rangeErrorOf([&] { publish("Ethernet1.10", "Ethernet1.20", 200, 4098); }), rangeText);

   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false)));
}

TEST_F(WexDynamicEncapSmAdd, HighestLegalVidsAreWritten) {
   parentIs("Ethernet1", false);
   start();

   publish("Ethernet1.10", "Ethernet1.20", 4097, 4096);

   Ulva::IntfEncap const proxy = onPort("Ethernet1", 4096);
   Ulva::IntfEncap const patch = onPort("Ethernet1", 4097);
   EXPECT_EQ(dynamic->entry(proxy), entryOf(proxy, tags(4097, 4097), "Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(patch), entryOf(patch, tags(4096, 4096), "Ethernet1.20"));
}

// ---- the entries -------------------------------------------------------------------

TEST_F(WexDynamicEncapSmAdd, SingleTagEgressCrossesSingleTaggedEncaps) {
   parentIs("Ethernet1", true);
   start();

   publishUsual();

   ASSERT_EQ(dynamic->entrys(), 2u);
   WexDynamicIntfEncapInfo const proxy = dynamic->entry(proxyKey);
   WexDynamicIntfEncapInfo const patch = dynamic->entry(patchKey);
   // proxyIngress (proxyVid, none), proxyEgress (patchVid, none).
   EXPECT_EQ(proxy.intfEncap().intfId(), id("Ethernet1"));
   EXPECT_EQ(proxy.intfEncap().encap(), tags(100, none));
   EXPECT_EQ(proxy.egressEncap(), tags(200, none));
   EXPECT_EQ(proxy.source(), macsecProxy);
   EXPECT_EQ(proxy.serviceIntf(), id("Ethernet1.10"));
   // patchIngress (patchVid, none), patchEgress (proxyVid, none).
   EXPECT_EQ(patch.intfEncap().intfId(), id("Ethernet1"));
   EXPECT_EQ(patch.intfEncap().encap(), tags(200, none));
   EXPECT_EQ(patch.egressEncap(), tags(100, none));
   EXPECT_EQ(patch.source(), macsecProxy);
   EXPECT_EQ(patch.serviceIntf(), id("Ethernet1.20"));
   // What the one sends out, the other takes in.
   EXPECT_EQ(proxy.egressEncap(), patch.intfEncap().encap());
   EXPECT_EQ(patch.egressEncap(), proxy.intfEncap().encap());
}

TEST_F(WexDynamicEncapSmAdd, DoubleTagEgressCarriesTheVidTwice) {
   parentIs("Ethernet1", false);
   start();

   publishUsual();

   ASSERT_EQ(dynamic->entrys(), 2u);
   WexDynamicIntfEncapInfo const proxy = dynamic->entry(proxyKey);
   WexDynamicIntfEncapInfo const patch = dynamic->entry(patchKey);
   // proxyIngress (proxyVid, none), proxyEgress (patchVid, patchVid).
   EXPECT_EQ(proxy.intfEncap().intfId(), id("Ethernet1"));
   EXPECT_EQ(proxy.intfEncap().encap(), tags(100, none));
   EXPECT_EQ(proxy.egressEncap(), tags(200, 200));
   EXPECT_EQ(proxy.source(), macsecProxy);
   EXPECT_EQ(proxy.serviceIntf(), id("Ethernet1.10"));
   // patchIngress (patchVid, none), patchEgress (proxyVid, proxyVid).
   EXPECT_EQ(patch.intfEncap().intfId(), id("Ethernet1"));
   EXPECT_EQ(patch.intfEncap().encap(), tags(200, none));
   EXPECT_EQ(patch.egressEncap(), tags(100, 100));
   EXPECT_EQ(patch.source(), macsecProxy);
   EXPECT_EQ(patch.serviceIntf(), id("Ethernet1.20"));
   // The crossing differs from the single-tagged one in the inner tag only.
   EXPECT_EQ(proxy.egressEncap().outerTag(), patch.intfEncap().encap().outerTag());
   EXPECT_NE(proxy.egressEncap().innerTag(), patch.intfEncap().encap().innerTag());
   EXPECT_EQ(patch.egressEncap().outerTag(), proxy.intfEncap().encap().outerTag());
   EXPECT_NE(patch.egressEncap().innerTag(), proxy.intfEncap().encap().innerTag());
}

TEST_F(WexDynamicEncapSmAdd, EveryTagHasTpid8100AndNoFlags) {
   parentIs("Ethernet1", false);
   start();

   publishUsual();

   for (Ulva::IntfEncap const& key : {proxyKey, patchKey}) {
      WexDynamicIntfEncapInfo const e = dynamic->entry(key);
      for (Ulva::VlanTag const& t :
           {e.intfEncap().encap().outerTag(), e.intfEncap().encap().innerTag(),
            e.egressEncap().outerTag(), e.egressEncap().innerTag()}) {
         EXPECT_EQ(t.tpid(), Bridging::vlanTpid8100);
         EXPECT_EQ(t.tagFlags(), 0u);
      }
   }
}

TEST_F(WexDynamicEncapSmAdd, AddWritesTheProxyThenThePatchEachTraced) {
   parentIs("Ethernet1", false);
   start();
   listen();
   auto trace = capture();

   publishUsual();

   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 200)));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.20"));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), proxyKey);
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.20")), patchKey);
}

TEST_F(WexDynamicEncapSmAdd, EntriesStandOnTheParentAndServeTheSubInterfaces) {
   parentIs("Port-Channel10", true);
   start();
   auto trace = capture();

   publish("Port-Channel10.7", "Port-Channel10.8", 8, 7);

   Ulva::IntfEncap const proxy = onPort("Port-Channel10", 7);
   Ulva::IntfEncap const patch = onPort("Port-Channel10", 8);
   ASSERT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(dynamic->entry(proxy).intfEncap().intfId(), id("Port-Channel10"));
   EXPECT_EQ(dynamic->entry(proxy).serviceIntf(), id("Port-Channel10.7"));
   EXPECT_EQ(dynamic->entry(patch).intfEncap().intfId(), id("Port-Channel10"));
   EXPECT_EQ(dynamic->entry(patch).serviceIntf(), id("Port-Channel10.8"));
   EXPECT_FALSE(dynamic->entryHas(Ulva::IntfEncap(id("Port-Channel10.7"), tags(7))));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Port-Channel10.7", false),
                                          addProxyLine("Port-Channel10.7", "Port-Channel10", 7),
                                          addPatchLine("Port-Channel10.8", "Port-Channel10", 8)));
}

TEST_F(WexDynamicEncapSmAdd, UnsetPatchAddsNothingUntilAStatusWithItComes) {
   parentIs("Ethernet1", true);
   start();
   listen();
   auto trace = capture();

   publish("Ethernet1.10", nullptr, 200, 100);

   EXPECT_THAT(traced(trace),
               ElementsAre(handlerLine("Ethernet1.10", false), missingSubIntfLine("Ethernet1.10")));
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);

   publishUsual();

   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(200), "Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(patchKey), entryOf(patchKey, tags(100), "Ethernet1.20"));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.20"));
}

TEST_F(WexDynamicEncapSmAdd, PatchSetInPlaceOnAnEmptyMemberAddsBothEntries) {
   parentIs("Ethernet1", true);
   start();
   listen();
   auto trace = capture();

   // An empty member first: its creation is announced with the patch unset.
   auto const member = status->proxySubIntfStatusIs(id("Ethernet1.10"));
   EXPECT_THAT(traced(trace),
               ElementsAre(handlerLine("Ethernet1.10", false), missingSubIntfLine("Ethernet1.10")));
   EXPECT_THAT(heard, IsEmpty());

   member->patchSubIntfIs(id("Ethernet1.20"));
   member->patchEncapVidIs(200);
   member->proxyEncapVidIs(100);
   status->proxySubIntfStatusChanged(id("Ethernet1.10"));

   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
   EXPECT_EQ(dynamic->entrys(), 2u);
}

TEST_F(WexDynamicEncapSmAdd, MissingParentPortSkipsUntilTheProxysNextNotification) {
   start();
   listen();
   auto trace = capture();

   publishUsual();

   EXPECT_THAT(traced(trace),
               ElementsAre(handlerLine("Ethernet1.10", false), missingParentLine("Ethernet1")));
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);

   // The parent port is read, never heard: nothing retries by itself.
   parentIs("Ethernet1", true);
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(trace.records().size(), 2u);

   status->proxySubIntfStatusChanged(id("Ethernet1.10"));
   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(patchKey)));
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(200), "Ethernet1.10"));
}

TEST_F(WexDynamicEncapSmAdd, SingleTagEgressIsReadWhenTheProxyIsAdded) {
   parentIs("Ethernet1", false);
   start();
   publishUsual();
   listen();

   status->proxyIntf(id("Ethernet1"))->singleTagEgressIs(true);
   status->proxyIntfChanged(id("Ethernet1"));

   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entry(proxyKey).egressEncap(), tags(200, 200));

   status->proxySubIntfStatusChanged(id("Ethernet1.10"));
   EXPECT_EQ(dynamic->entry(proxyKey).egressEncap(), tags(200));
   EXPECT_EQ(dynamic->entry(patchKey).egressEncap(), tags(100));
}

TEST_F(WexDynamicEncapSmAdd, EqualVidsMakeOneEntryThatThePatchOverwrites) {
   parentIs("Ethernet1", true);
   start();
   listen();
   auto trace = capture();

   publish("Ethernet1.10", "Ethernet1.20", 100, 100);

   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(proxyKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.20", "Ethernet1", 100)));
   ASSERT_EQ(dynamic->entrys(), 1u);
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(100), "Ethernet1.20"));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), proxyKey);
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.20")), proxyKey);
}

TEST_F(WexDynamicEncapSmAdd, TwoProxiesYieldingTheSameEncapShareOneEntry) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();

   // Ethernet1.30 takes VLAN id 100 in as well.
   publish("Ethernet1.30", "Ethernet1.40", 300, 100);

   EXPECT_THAT(heard, ElementsAre(inserted(proxyKey), inserted(onPort("Ethernet1", 300))));
   EXPECT_EQ(dynamic->entrys(), 3u);
   // The last writer's entry stands; nothing counts the two.
   EXPECT_EQ(dynamic->entry(proxyKey), entryOf(proxyKey, tags(300), "Ethernet1.30"));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), proxyKey);
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.30")), proxyKey);
}

// ---- delete ----------------------------------------------------------------------

TEST_F(WexDynamicEncapSmDelete, DeleteOfAnIdNeverAddedDoesNothingAndTracesNothing) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   sm->deleteMacsecProxyDynEncap(id("Ethernet1.30"));
   // A patch is no key of its own.
   sm->deleteMacsecProxyDynEncap(id("Ethernet1.20"));

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(heard, IsEmpty());
   EXPECT_EQ(dynamic->entrys(), 2u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 1u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 2u);
}

TEST_F(WexDynamicEncapSmDelete, DeleteRemovesThePatchThenTheProxyFromMemoryAlone) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   // The status still stands: the delete does not read it.
   sm->deleteMacsecProxyDynEncap(id("Ethernet1.10"));

   EXPECT_THAT(traced(trace), ElementsAre(removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);

   // A second delete finds nothing.
   trace.clear();
   sm->deleteMacsecProxyDynEncap(id("Ethernet1.10"));
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(heard.size(), 2u);
}

TEST_F(WexDynamicEncapSmDelete, RemovalNeedsNeitherTheStatusNorItsParent) {
   parentIs("Ethernet1", false);
   start();
   publishUsual();
   listen();

   status->proxyIntfDel(id("Ethernet1"));
   EXPECT_THAT(heard, IsEmpty());
   status->proxySubIntfStatusDel(id("Ethernet1.10"));

   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   EXPECT_EQ(dynamic->entrys(), 0u);
}

TEST_F(WexDynamicEncapSmDelete, ChangedPatchWithdrawsTheOldPatchEntry) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();

   publish("Ethernet1.10", "Ethernet1.21", 200, 100);

   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey), inserted(proxyKey),
                                  inserted(patchKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", false),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addProxyLine("Ethernet1.10", "Ethernet1", 100),
                                          addPatchLine("Ethernet1.21", "Ethernet1", 200)));
   EXPECT_EQ(dynamic->entry(patchKey).serviceIntf(), id("Ethernet1.21"));
   EXPECT_FALSE(sm->subIntfToDynIntfEncapHas(id("Ethernet1.20")));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.21")), patchKey);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.21"));
}

TEST_F(WexDynamicEncapSmDelete, EqualVidsDeleteFindsTheProxyHalfAlreadyGone) {
   parentIs("Ethernet1", true);
   start();
   publish("Ethernet1.10", "Ethernet1.20", 100, 100);
   listen();
   auto trace = capture();

   status->proxySubIntfStatusDel(id("Ethernet1.10"));

   // Both halves are traced; the second entryDel finds nothing and is silent.
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", true),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 100),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   EXPECT_THAT(heard, ElementsAre(removed(proxyKey)));
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(sm->subIntfToDynIntfEncaps(), 0u);
}

TEST_F(WexDynamicEncapSmDelete, FirstDeleteOfASharedEncapRemovesTheSharedEntry) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   publish("Ethernet1.30", "Ethernet1.40", 300, 100);
   listen();
   auto trace = capture();

   status->proxySubIntfStatusDel(id("Ethernet1.30"));

   EXPECT_THAT(heard, ElementsAre(removed(onPort("Ethernet1", 300)), removed(proxyKey)));
   // Ethernet1.10 still stands and still names the encap, which is gone.
   EXPECT_EQ(dynamic->entrys(), 1u);
   EXPECT_TRUE(dynamic->entryHas(patchKey));
   EXPECT_FALSE(dynamic->entryHas(proxyKey));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.10")), proxyKey);
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntf(id("Ethernet1.10")), id("Ethernet1.20"));

   // Its own delete then finds the proxy half gone: traced, silent.
   trace.clear();
   heard.clear();
   status->proxySubIntfStatusDel(id("Ethernet1.10"));
   EXPECT_THAT(heard, ElementsAre(removed(patchKey)));
   EXPECT_THAT(traced(trace), ElementsAre(handlerLine("Ethernet1.10", true),
                                          removePatchLine("Ethernet1.20", "Ethernet1", 200),
                                          removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   EXPECT_EQ(dynamic->entrys(), 0u);
}

TEST_F(WexDynamicEncapSmDelete, DeleteOfTheOverwrittenProxyRemovesTheOthersEntry) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   publish("Ethernet1.30", "Ethernet1.40", 300, 100);
   ASSERT_EQ(dynamic->entry(proxyKey).serviceIntf(), id("Ethernet1.30"));
   listen();

   status->proxySubIntfStatusDel(id("Ethernet1.10"));

   EXPECT_THAT(heard, ElementsAre(removed(patchKey), removed(proxyKey)));
   EXPECT_FALSE(dynamic->entryHas(proxyKey));
   EXPECT_TRUE(dynamic->entryHas(onPort("Ethernet1", 300)));
   EXPECT_EQ(sm->subIntfToDynIntfEncap(id("Ethernet1.30")), proxyKey);
}

TEST_F(WexDynamicEncapSmDelete, HalfAlreadyForgottenIsSkippedSilently) {
   parentIs("Ethernet1", true);
   start();
   publishUsual();
   listen();
   auto trace = capture();
   // The patch's half forgotten, as after a lost entry.
   sm->subIntfToDynIntfEncapDel(id("Ethernet1.20"));

   sm->deleteMacsecProxyDynEncap(id("Ethernet1.10"));

   EXPECT_THAT(traced(trace), ElementsAre(removeProxyLine("Ethernet1.10", "Ethernet1", 100)));
   EXPECT_THAT(heard, ElementsAre(removed(proxyKey)));
   EXPECT_TRUE(dynamic->entryHas(patchKey));
   EXPECT_EQ(sm->macsecProxySubIntfToPatchSubIntfs(), 0u);
}

// ---- buildEncap ---------------------------------------------------------------------

TEST(WexBuildEncap, TagsGetTheirVidsTpid8100AndNoFlags) {
   Ulva::VlanTagEncap const e = buildEncap(100, 200);
   EXPECT_EQ(e.outerTag().vid(), 100);
   EXPECT_EQ(e.outerTag().tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(e.outerTag().tagFlags(), 0u);
   EXPECT_EQ(e.innerTag().vid(), 200);
   EXPECT_EQ(e.innerTag().tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(e.innerTag().tagFlags(), 0u);
}

TEST(WexBuildEncap, AbsentTagIsTakenAsAnyOtherNumber) {
   Ulva::VlanTagEncap const e = buildEncap(100, 0x0FFF);
   EXPECT_EQ(e.innerTag().vid(), 4095);
   EXPECT_EQ(e.innerTag().tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(e, Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
   EXPECT_EQ(buildEncap(0x0FFF, 0x0FFF), Ulva::VlanTagEncap());
   EXPECT_EQ(buildEncap(0, 0), Ulva::VlanTagEncap(Ulva::vlanTag(0), Ulva::vlanTag(0)));
}

TEST(WexBuildEncap, HighestLegalVidsAreAccepted) {
   Ulva::VlanTagEncap e;
   EXPECT_NO_THROW(e = buildEncap(4097, 4097));
   EXPECT_EQ(e.outerTag().vid(), 4097);
   EXPECT_EQ(e.innerTag().vid(), 4097);
}

TEST(WexBuildEncap, OuterVidAbove4097Throws) {
   EXPECT_EQ(rangeErrorOf([] { (void)buildEncap(4098, 0); }), rangeText);
   EXPECT_THROW((void)buildEncap(65535, 0), Fen::RangeException);
}

TEST(WexBuildEncap, InnerVidAbove4097Throws) {
   EXPECT_EQ(rangeErrorOf([] { (void)buildEncap(0, 4098); }), rangeText);
   EXPECT_THROW((void)buildEncap(0, 65535), Fen::RangeException);
}

}  // namespace
}  // namespace TestSupport
