// The collections of the common model that the state machines read and write:
// the four encap model collections, the platform layer's common data and LAG
// member lists, the sub-interface status directories and the MACsec proxy status,
// plus the platform records they hold. A listener registered on each notifier
// reads the collection while it is being told about a change: the change is
// already there (or, for a removal, already gone), and a write of an equal value
// tells nobody.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Listener.h"
#include "Fen/Exception.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Interface/SubIntfStatus.h"
#include "Kestin/IntfId.h"
#include "MacsecProxy/Status.h"
#include "Ulva/Collections.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"
#include "Wex/WexCommonSmData.h"

namespace {

using TestSupport::Listener;

Kestin::IntfId const eth1("Ethernet1");
Kestin::IntfId const eth2("Ethernet2");
Kestin::IntfId const eth3("Ethernet3");
Kestin::IntfId const lag1("Port-Channel1");
Kestin::IntfId const lag2("Port-Channel2");
Kestin::IntfId const sub1("Ethernet1.100");
Kestin::IntfId const sub2("Ethernet2.200");

Ulva::IntfEncap encapOf(Kestin::IntfId intf, std::uint32_t outerVid,
                        std::uint32_t innerVid = 4095) {
   return Ulva::IntfEncap(intf,
                          Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::vlanTag(innerVid)));
}

Ulva::ServiceIntfFwdInfo fwdInfoOf(Kestin::IntfId intf, std::uint16_t fwdData,
                                   Ulva::ServiceIntfType type = Ulva::serviceIntfTypeSubIntf) {
   Ulva::ServiceIntfFwdInfo info(intf);
   info.serviceTypeIs(type);
   info.fwdDataIs(fwdData);
   return info;
}

template <class T>
T keyAt(void const* keyPtr) {
   return *static_cast<T const*>(keyPtr);
}

}  // namespace

// ---- platform records -------------------------------------------------------

TEST(PlatformRecords, DefaultIntfIdEqualsItselfAndNoRealInterface) {
   EXPECT_EQ(Kestin::IntfId(), Kestin::IntfId());
   for (char const* name : {"Ethernet1", "Ethernet3/1", "Ethernet3/1/2", "Port-Channel1",
                            "Ethernet3/1.100", "Port-Channel10.7", "Vlan10"}) {
      EXPECT_FALSE(Kestin::IntfId(name) == Kestin::IntfId()) << name;
      EXPECT_FALSE(Kestin::IntfId() == Kestin::IntfId(name)) << name;
   }
}

TEST(PlatformRecords, DefaultIntfEncapEqualsFreshlyBuiltOne) {
   Ulva::IntfEncap const a;
   Ulva::IntfEncap const b;
   EXPECT_EQ(a, b);
   EXPECT_EQ(a, Ulva::IntfEncap(Kestin::IntfId(), Ulva::VlanTagEncap()));
   EXPECT_EQ(a, Ulva::IntfEncap(Kestin::IntfId()));
   EXPECT_EQ(a.intfId(), Kestin::IntfId());
   EXPECT_EQ(a.encap().outerTag().vid(), 4095);
   EXPECT_EQ(a.encap().innerTag().vid(), 4095);
   EXPECT_EQ(a.encap().outerTag().tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(a.encap().innerTag().tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(a.encap().outerTag().tagFlags(), 0);
   EXPECT_FALSE(a == encapOf(eth1, 4095));
   EXPECT_FALSE(a == Ulva::IntfEncap(Kestin::IntfId(), Ulva::VlanTagEncap(Ulva::vlanTag(1), {})));
}

TEST(PlatformRecords, VidsAboveTwelveBitsUpTo4097AreLegal) {
   Ulva::VlanTag tag;
   tag.vidIs(4096);
   EXPECT_EQ(tag.vid(), 4096);
   tag.vidIs(4097);
   EXPECT_EQ(tag.vid(), 4097);
   EXPECT_EQ(Ulva::vlanTag(4097).vid(), 4097);
   EXPECT_EQ(Ulva::vlanTag(0).vid(), 0);
}

TEST(PlatformRecords, VidAbove4097IsRefusedAndTagKeepsItsValue) {
   Ulva::VlanTag tag;
   tag.vidIs(100);
   try {
      tag.vidIs(4098);
      FAIL() << "vid 4098 was accepted";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), testing::HasSubstr("Ulva::VlanTag::vid < 0 or > 4097 not allowed"));
   }
   EXPECT_EQ(tag.vid(), 100);
   EXPECT_THROW(Ulva::vlanTag(65535), Fen::RangeException);
}

TEST(PlatformRecords, HwStatusEnumeratorsAreOrderedFromWorseToBetter) {
   static_assert(Ulva::IntfEncapHwStatus::hwStatusSuccess == Ulva::hwStatusSuccess);
   EXPECT_EQ(Ulva::hwStatusFailed, 0);
   EXPECT_EQ(Ulva::hwStatusNotReady, 1);
   EXPECT_EQ(Ulva::hwStatusSuccess, 2);
   EXPECT_LT(Ulva::hwStatusFailed, Ulva::hwStatusNotReady);
   EXPECT_LT(Ulva::hwStatusNotReady, Ulva::hwStatusSuccess);
}

TEST(PlatformRecords, FwdInfoEqualityComparesEveryField) {
   auto const base = fwdInfoOf(sub1, 7);
   EXPECT_EQ(base, fwdInfoOf(sub1, 7));
   EXPECT_FALSE(base == fwdInfoOf(sub2, 7));
   EXPECT_FALSE(base == fwdInfoOf(sub1, 8));
   EXPECT_FALSE(base == fwdInfoOf(sub1, 7, Ulva::serviceIntfTypeDefault));
   Ulva::ServiceIntfFwdInfo const dflt;
   EXPECT_EQ(dflt.serviceIntf(), Kestin::IntfId());
   EXPECT_EQ(dflt.serviceType(), 0);
   EXPECT_EQ(dflt.fwdData(), 0);
}

// ---- Ulva::IntfEncapHwStatusColl ----------------------------------------------

TEST(UlvaIntfEncapHwStatusColl, FactoryGivesNamedEmptyActiveCollection) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus");
   EXPECT_EQ(coll->name(), Fen::String("remoteEncapHwStatus"));
   EXPECT_EQ(coll->hwStatuss(), 0u);
   EXPECT_TRUE(coll->hasNotificationActive());
   EXPECT_FALSE(coll->fenMarkedForDeletion());
   EXPECT_EQ(coll->references(), 1u);
   Fen::NotifieeListDesc const desc = coll->notifieeList();
   EXPECT_EQ(desc.count, 1u);
   EXPECT_EQ(desc.list, &coll->notifiees());
}

TEST(UlvaIntfEncapHwStatusColl, AbsentKeyReadsFailedAndOnlyHasTellsItApart) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   auto const failed = encapOf(eth1, 10);
   auto const absent = encapOf(eth1, 11);
   coll->hwStatusIs(failed, Ulva::hwStatusFailed);
   EXPECT_EQ(coll->hwStatus(failed), Ulva::hwStatusFailed);
   EXPECT_EQ(coll->hwStatus(absent), Ulva::hwStatusFailed);
   EXPECT_TRUE(coll->hwStatusHas(failed));
   EXPECT_FALSE(coll->hwStatusHas(absent));
}

TEST(UlvaIntfEncapHwStatusColl, WriteNotifiesOnceWithKeyAfterTheChange) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   auto const key = encapOf(eth1, 10);
   std::vector<std::pair<Ulva::IntfEncap, Ulva::IntfEncapHwStatus>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Ulva::IntfEncap>(keyPtr);
      seen.emplace_back(k, coll->hwStatus(k));
   });

   coll->hwStatusIs(key, Ulva::hwStatusNotReady);
   coll->hwStatusIs(key, Ulva::hwStatusSuccess);
   ASSERT_EQ(seen.size(), 2u);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{258, 258}));
   EXPECT_EQ(seen[0].first, key);
   EXPECT_EQ(seen[0].second, Ulva::hwStatusNotReady);
   EXPECT_EQ(seen[1].second, Ulva::hwStatusSuccess);
}

TEST(UlvaIntfEncapHwStatusColl, WriteOfEqualValueIsSilent) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   auto const key = encapOf(eth1, 10);
   coll->hwStatusIs(key, Ulva::hwStatusSuccess);
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   coll->hwStatusIs(key, Ulva::hwStatusSuccess);
   EXPECT_EQ(l->calls(), 0u);
   EXPECT_EQ(coll->hwStatuss(), 1u);
}

TEST(UlvaIntfEncapHwStatusColl, WriteOfFailedForAbsentKeyIsAnInsertionThatNotifies) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   auto const key = encapOf(eth1, 10);
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   coll->hwStatusIs(key, Ulva::hwStatusFailed);
   EXPECT_EQ(l->calls(), 1u);
   EXPECT_TRUE(coll->hwStatusHas(key));
}

TEST(UlvaIntfEncapHwStatusColl, DelNotifiesAfterRemovalAndAbsentDelIsSilent) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   auto const key = encapOf(eth1, 10);
   coll->hwStatusIs(key, Ulva::hwStatusSuccess);
   std::vector<bool> hadKey;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      hadKey.push_back(coll->hwStatusHas(keyAt<Ulva::IntfEncap>(keyPtr)));
   });

   coll->hwStatusDel(key);
   EXPECT_EQ(hadKey, std::vector<bool>{false});
   coll->hwStatusDel(key);
   coll->hwStatusDel(encapOf(eth2, 20));
   EXPECT_EQ(l->calls(), 1u);
   EXPECT_EQ(coll->hwStatuss(), 0u);
}

TEST(UlvaIntfEncapHwStatusColl, DelAllNotifiesPerMemberWhileShrinking) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   std::set<Ulva::IntfEncap> members;
   for (std::uint32_t vid = 1; vid <= 5; ++vid) {
      members.insert(encapOf(eth1, vid));
      coll->hwStatusIs(encapOf(eth1, vid), Ulva::hwStatusSuccess);
   }
   std::vector<std::uint32_t> counts;
   std::set<Ulva::IntfEncap> removed;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Ulva::IntfEncap>(keyPtr);
      EXPECT_FALSE(coll->hwStatusHas(k));
      EXPECT_TRUE(removed.insert(k).second);
      counts.push_back(coll->hwStatuss());
   });

   coll->hwStatusDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{4, 3, 2, 1, 0}));
   EXPECT_EQ(removed, members);
   EXPECT_EQ(coll->hwStatuss(), 0u);
}

TEST(UlvaIntfEncapHwStatusColl, IterationVisitsEveryMemberOnce) {
   auto coll = Ulva::intfEncapHwStatusCollFactory("hw");
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> expected;
   for (std::uint32_t vid = 1; vid <= 20; ++vid) {
      auto const status = static_cast<Ulva::IntfEncapHwStatus>(vid % 3);
      expected[encapOf(eth1, vid)] = status;
      coll->hwStatusIs(encapOf(eth1, vid), status);
   }
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> visited;
   for (auto const& node : Fen::StdIterator(coll->hwStatusMap())) {
      EXPECT_TRUE(visited.emplace(node.key, node.value).second);
   }
   EXPECT_EQ(visited, expected);
}

// ---- Ulva::ServiceIntfHwStatusColl ---------------------------------------------

TEST(UlvaServiceIntfHwStatusColl, FactoryGivesEmptyActiveCollection) {
   auto coll = Ulva::serviceIntfHwStatusCollFactory();
   EXPECT_EQ(coll->hwStatuss(), 0u);
   EXPECT_TRUE(coll->hasNotificationActive());
   EXPECT_EQ(coll->notifieeList().list, &coll->notifiees());
}

TEST(UlvaServiceIntfHwStatusColl, AbsentInterfaceReadsFailedAndOnlyHasTellsItApart) {
   auto coll = Ulva::serviceIntfHwStatusCollFactory();
   coll->hwStatusIs(sub1, Ulva::hwStatusFailed);
   EXPECT_EQ(coll->hwStatus(sub1), Ulva::hwStatusFailed);
   EXPECT_EQ(coll->hwStatus(sub2), Ulva::hwStatusFailed);
   EXPECT_TRUE(coll->hwStatusHas(sub1));
   EXPECT_FALSE(coll->hwStatusHas(sub2));
}

TEST(UlvaServiceIntfHwStatusColl, ChangeNotifiesAfterwardsAndEqualWriteIsSilent) {
   auto coll = Ulva::serviceIntfHwStatusCollFactory();
   std::vector<std::pair<Kestin::IntfId, int>> seen;  // -1: absent
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Kestin::IntfId>(keyPtr);
      seen.emplace_back(k, coll->hwStatusHas(k) ? int{coll->hwStatus(k)} : -1);
   });

   coll->hwStatusIs(sub1, Ulva::hwStatusNotReady);
   coll->hwStatusIs(sub1, Ulva::hwStatusNotReady);
   coll->hwStatusIs(sub1, Ulva::hwStatusSuccess);
   coll->hwStatusDel(sub1);
   coll->hwStatusDel(sub1);
   EXPECT_EQ(seen, (std::vector<std::pair<Kestin::IntfId, int>>{
                       {sub1, Ulva::hwStatusNotReady}, {sub1, Ulva::hwStatusSuccess}, {sub1, -1}}));
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{258, 258, 258}));
}

TEST(UlvaServiceIntfHwStatusColl, DelAllNotifiesPerMemberThenIsEmpty) {
   auto coll = Ulva::serviceIntfHwStatusCollFactory();
   coll->hwStatusIs(sub1, Ulva::hwStatusSuccess);
   coll->hwStatusIs(sub2, Ulva::hwStatusNotReady);
   std::vector<std::uint32_t> counts;
   auto l = Listener::ListenerIs(
       coll.ptr(), [&](Fen::AttributeId, void const*) { counts.push_back(coll->hwStatuss()); });
   coll->hwStatusDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{1, 0}));
}

// ---- Ulva::IntfEncapServiceIntfColl --------------------------------------------

TEST(UlvaIntfEncapServiceIntfColl, FactoryGivesEmptyActiveCollection) {
   auto coll = Ulva::intfEncapServiceIntfCollFactory();
   EXPECT_EQ(coll->serviceIntfs(), 0u);
   EXPECT_TRUE(coll->hasNotificationActive());
   EXPECT_EQ(coll->notifieeList().count, 1u);
   EXPECT_EQ(coll->notifieeList().list, &coll->notifiees());
}

TEST(UlvaIntfEncapServiceIntfColl, AbsentEncapReadsDefaultId) {
   auto coll = Ulva::intfEncapServiceIntfCollFactory();
   EXPECT_EQ(coll->serviceIntf(encapOf(eth1, 100)), Kestin::IntfId());
   EXPECT_FALSE(coll->serviceIntfHas(encapOf(eth1, 100)));
}

TEST(UlvaIntfEncapServiceIntfColl, ChangeNotifiesWithEncapAfterwardsAndEqualWriteIsSilent) {
   auto coll = Ulva::intfEncapServiceIntfCollFactory();
   auto const key = encapOf(eth1, 100);
   std::vector<std::pair<Ulva::IntfEncap, Kestin::IntfId>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Ulva::IntfEncap>(keyPtr);
      seen.emplace_back(k, coll->serviceIntf(k));
   });

   coll->serviceIntfIs(key, sub1);
   coll->serviceIntfIs(key, sub1);
   coll->serviceIntfIs(key, sub2);
   Kestin::IntfId const removed = coll->serviceIntfDel(key);
   EXPECT_EQ(removed, sub2);
   EXPECT_EQ(coll->serviceIntfDel(key), Kestin::IntfId());
   EXPECT_EQ(seen, (std::vector<std::pair<Ulva::IntfEncap, Kestin::IntfId>>{
                       {key, sub1}, {key, sub2}, {key, Kestin::IntfId()}}));
   EXPECT_EQ(l->calls(), 3u);
}

TEST(UlvaIntfEncapServiceIntfColl, DelAllNotifiesPerMemberWhileShrinking) {
   auto coll = Ulva::intfEncapServiceIntfCollFactory();
   coll->serviceIntfIs(encapOf(eth1, 100), sub1);
   coll->serviceIntfIs(encapOf(eth2, 200), sub2);
   coll->serviceIntfIs(encapOf(eth3, 300), Kestin::IntfId("Ethernet3.300"));
   std::vector<std::uint32_t> counts;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      EXPECT_FALSE(coll->serviceIntfHas(keyAt<Ulva::IntfEncap>(keyPtr)));
      counts.push_back(coll->serviceIntfs());
   });
   coll->serviceIntfDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{2, 1, 0}));
}

// ---- Ulva::ServiceIntfFwdInfoColl ----------------------------------------------

TEST(UlvaServiceIntfFwdInfoColl, FactoryGivesEmptyActiveCollection) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   EXPECT_EQ(coll->fwdInfos(), 0u);
   EXPECT_TRUE(coll->hasNotificationActive());
   EXPECT_EQ(coll->notifieeList().list, &coll->notifiees());
}

TEST(UlvaServiceIntfFwdInfoColl, DelOfAbsentKeyReturnsDefaultRecordSilently) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   coll->fwdInfoIs(fwdInfoOf(sub2, 9));
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   Ulva::ServiceIntfFwdInfo const removed = coll->fwdInfoDel(sub1);
   EXPECT_EQ(removed, Ulva::ServiceIntfFwdInfo());
   EXPECT_EQ(l->calls(), 0u);
   EXPECT_EQ(coll->fwdInfos(), 1u);
}

TEST(UlvaServiceIntfFwdInfoColl, AbsentKeyReadsDefaultRecord) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   EXPECT_EQ(coll->fwdInfo(sub1), Ulva::ServiceIntfFwdInfo());
   EXPECT_FALSE(coll->fwdInfoHas(sub1));
}

TEST(UlvaServiceIntfFwdInfoColl, WriteTakesKeyFromRecordAndNotifiesAfterTheChange) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   std::vector<std::pair<Kestin::IntfId, Ulva::ServiceIntfFwdInfo>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Kestin::IntfId>(keyPtr);
      seen.emplace_back(k, coll->fwdInfo(k));
   });

   coll->fwdInfoIs(fwdInfoOf(sub1, 7));
   coll->fwdInfoIs(fwdInfoOf(sub1, 7));  // equal: silent
   coll->fwdInfoIs(fwdInfoOf(sub1, 8));  // fwdData alone differs
   ASSERT_EQ(seen.size(), 2u);
   EXPECT_EQ(seen[0].first, sub1);
   EXPECT_EQ(seen[0].second, fwdInfoOf(sub1, 7));
   EXPECT_EQ(seen[1].second, fwdInfoOf(sub1, 8));
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{258, 258}));
   EXPECT_TRUE(coll->fwdInfoHas(sub1));
   EXPECT_FALSE(coll->fwdInfoHas(sub2));
}

TEST(UlvaServiceIntfFwdInfoColl, DelReturnsRemovedRecordAfterNotifyingItsAbsence) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   coll->fwdInfoIs(fwdInfoOf(sub1, 7));
   std::vector<bool> hadKey;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      hadKey.push_back(coll->fwdInfoHas(keyAt<Kestin::IntfId>(keyPtr)));
   });
   Ulva::ServiceIntfFwdInfo const removed = coll->fwdInfoDel(sub1);
   EXPECT_EQ(removed, fwdInfoOf(sub1, 7));
   EXPECT_EQ(hadKey, std::vector<bool>{false});
}

TEST(UlvaServiceIntfFwdInfoColl, DelAllNotifiesPerMemberWhileShrinking) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   coll->fwdInfoIs(fwdInfoOf(sub1, 1));
   coll->fwdInfoIs(fwdInfoOf(sub2, 2));
   std::vector<std::uint32_t> counts;
   auto l = Listener::ListenerIs(
       coll.ptr(), [&](Fen::AttributeId, void const*) { counts.push_back(coll->fwdInfos()); });
   coll->fwdInfoDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{1, 0}));
}

TEST(UlvaServiceIntfFwdInfoColl, IterationGivesEveryRecordOnce) {
   auto coll = Ulva::serviceIntfFwdInfoCollFactory();
   coll->fwdInfoIs(fwdInfoOf(sub1, 1));
   coll->fwdInfoIs(fwdInfoOf(sub2, 2));
   std::map<Kestin::IntfId, std::uint16_t> visited;
   for (auto const& record : Fen::StdIterator(coll->fwdInfoMap())) {
      EXPECT_TRUE(visited.emplace(record.serviceIntf(), record.fwdData()).second);
   }
   EXPECT_EQ(visited, (std::map<Kestin::IntfId, std::uint16_t>{{sub1, 1}, {sub2, 2}}));
}

TEST(UlvaIntfEncapServiceIntfColl, IterationGivesEveryEncapWithItsServiceIntf) {
   auto coll = Ulva::intfEncapServiceIntfCollFactory();
   coll->serviceIntfIs(encapOf(eth1, 100), sub1);
   coll->serviceIntfIs(encapOf(eth2, 200), sub2);
   std::map<Ulva::IntfEncap, Kestin::IntfId> visited;
   for (auto const& node : Fen::StdIterator(coll->serviceIntfMap())) {
      EXPECT_TRUE(visited.emplace(node.key, node.value).second);
   }
   EXPECT_EQ(visited, (std::map<Ulva::IntfEncap, Kestin::IntfId>{{encapOf(eth1, 100), sub1},
                                                                 {encapOf(eth2, 200), sub2}}));
}

// ---- Wex::WexLagPortList --------------------------------------------------------

TEST(WexLagPortList, PortIsAddsMembersOnce) {
   Wex::WexLagPortList list;
   EXPECT_EQ(list.ports(), 0u);
   list.portIs(eth1, Wex::WexLagPort());
   list.portIs(eth2, Wex::WexLagPort());
   list.portIs(eth1, Wex::WexLagPort());
   EXPECT_EQ(list.ports(), 2u);
   EXPECT_TRUE(list.portHas(eth1));
   EXPECT_TRUE(list.portHas(eth2));
   EXPECT_FALSE(list.portHas(eth3));
}

TEST(WexLagPortList, PortDelOnCopyLeavesOriginalAsItWas) {
   Wex::WexLagPortList list;
   list.portIs(eth1, Wex::WexLagPort());
   list.portIs(eth2, Wex::WexLagPort());
   Wex::WexLagPortList const before = list;

   Wex::WexLagPortList copy = list;
   EXPECT_EQ(copy, list);
   copy.portDel(eth1);
   EXPECT_EQ(copy.ports(), 1u);
   EXPECT_FALSE(copy.portHas(eth1));
   EXPECT_EQ(list.ports(), 2u);
   EXPECT_TRUE(list.portHas(eth1));
   EXPECT_EQ(list, before);
   EXPECT_FALSE(copy == list);

   copy.portDel(eth2);
   EXPECT_EQ(copy.ports(), 0u);  // no port would remain
   EXPECT_EQ(list.ports(), 2u);
}

TEST(WexLagPortList, EqualityIsByMembers) {
   Wex::WexLagPortList a;
   Wex::WexLagPortList b;
   EXPECT_EQ(a, b);
   a.portIs(eth1, Wex::WexLagPort());
   b.portIs(eth2, Wex::WexLagPort());
   EXPECT_FALSE(a == b);
   b.portIs(eth1, Wex::WexLagPort());
   a.portIs(eth2, Wex::WexLagPort());
   EXPECT_EQ(a, b);
}

// ---- Wex::WexCommonSmData --------------------------------------------------------

TEST(WexCommonSmData, FactoryGivesEmptyActiveObject) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   EXPECT_EQ(wcsd->portToLags(), 0u);
   EXPECT_EQ(wcsd->lagToPorts(), 0u);
   EXPECT_EQ(wcsd->multiEncapIntfs(), 0u);
   EXPECT_TRUE(wcsd->hasNotificationActive());
   EXPECT_EQ(wcsd->notifieeList().count, 1u);
   EXPECT_EQ(wcsd->notifieeList().list, &wcsd->notifiees());
}

TEST(WexCommonSmData, PortWithoutLagReadsDefaultId) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   EXPECT_EQ(wcsd->portToLag(eth1), Kestin::IntfId());
   EXPECT_FALSE(wcsd->portToLagHas(eth1));
}

TEST(WexCommonSmData, PortToLagNotifies271WithPortAfterTheChange) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   std::vector<std::pair<Kestin::IntfId, Kestin::IntfId>> seen;
   auto l = Listener::ListenerIs(wcsd.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const port = keyAt<Kestin::IntfId>(keyPtr);
      seen.emplace_back(port, wcsd->portToLag(port));
   });

   wcsd->portToLagIs(eth1, lag1);
   wcsd->portToLagIs(eth1, lag1);  // equal: silent
   wcsd->portToLagIs(eth1, lag2);
   Kestin::IntfId const former = wcsd->portToLagDel(eth1);
   wcsd->portToLagDel(eth1);  // absent: silent
   EXPECT_EQ(former, lag2);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{271, 271, 271}));
   EXPECT_EQ(seen, (std::vector<std::pair<Kestin::IntfId, Kestin::IntfId>>{
                       {eth1, lag1}, {eth1, lag2}, {eth1, Kestin::IntfId()}}));
}

TEST(WexCommonSmData, LagToPortNotifies272WithLagAndEqualListIsSilent) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   std::vector<std::pair<Kestin::IntfId, std::uint32_t>> seen;
   auto l = Listener::ListenerIs(wcsd.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const lag = keyAt<Kestin::IntfId>(keyPtr);
      seen.emplace_back(lag, wcsd->lagToPort(lag).ports());
   });

   Wex::WexLagPortList members;
   members.portIs(eth1, Wex::WexLagPort());
   wcsd->lagToPortIs(lag1, members);
   Wex::WexLagPortList const same = members;
   wcsd->lagToPortIs(lag1, same);  // equal: silent
   members.portIs(eth2, Wex::WexLagPort());
   wcsd->lagToPortIs(lag1, members);
   wcsd->lagToPortDel(lag1);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{272, 272, 272}));
   EXPECT_EQ(seen, (std::vector<std::pair<Kestin::IntfId, std::uint32_t>>{
                       {lag1, 1}, {lag1, 2}, {lag1, 0}}));
}

TEST(WexCommonSmData, LagToPortValueIsACopy) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   Wex::WexLagPortList members;
   members.portIs(eth1, Wex::WexLagPort());
   members.portIs(eth2, Wex::WexLagPort());
   wcsd->lagToPortIs(lag1, members);

   Wex::WexLagPortList copy = wcsd->lagToPort(lag1);
   copy.portDel(eth1);
   EXPECT_EQ(wcsd->lagToPort(lag1).ports(), 2u);
   EXPECT_TRUE(wcsd->lagToPort(lag1).portHas(eth1));
   EXPECT_EQ(wcsd->lagToPort(lag2).ports(), 0u);
}

TEST(WexCommonSmData, MultiEncapIntfNotifies273AndDelReportsMembership) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   std::vector<std::pair<Kestin::IntfId, bool>> seen;
   auto l = Listener::ListenerIs(wcsd.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const intf = keyAt<Kestin::IntfId>(keyPtr);
      seen.emplace_back(intf, wcsd->multiEncapIntf(intf));
   });

   wcsd->multiEncapIntfIs(eth1);
   wcsd->multiEncapIntfIs(eth1);  // already a member: silent
   EXPECT_TRUE(wcsd->multiEncapIntf(eth1));
   EXPECT_FALSE(wcsd->multiEncapIntf(eth2));
   EXPECT_TRUE(wcsd->multiEncapIntfDel(eth1));
   EXPECT_FALSE(wcsd->multiEncapIntfDel(eth1));
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{273, 273}));
   EXPECT_EQ(seen, (std::vector<std::pair<Kestin::IntfId, bool>>{{eth1, true}, {eth1, false}}));
}

TEST(WexCommonSmData, PortToLagDelAllNotifiesPerPortWhileShrinking) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   wcsd->portToLagIs(eth1, lag1);
   wcsd->portToLagIs(eth2, lag1);
   wcsd->portToLagIs(eth3, lag2);
   std::vector<std::uint32_t> counts;
   auto l = Listener::ListenerIs(wcsd.ptr(), [&](Fen::AttributeId id, void const* keyPtr) {
      EXPECT_EQ(id, 271u);
      EXPECT_FALSE(wcsd->portToLagHas(keyAt<Kestin::IntfId>(keyPtr)));
      counts.push_back(wcsd->portToLags());
   });
   wcsd->portToLagDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{2, 1, 0}));
}

// ---- Interface::SubIntfStatusDir ---------------------------------------------------

TEST(InterfaceSubIntfStatusDir, FactoryGivesEmptyActiveDirectory) {
   auto dir = Interface::subIntfStatusDirFactory();
   EXPECT_EQ(dir->intfStatuss(), 0u);
   EXPECT_TRUE(dir->hasNotificationActive());
   EXPECT_EQ(dir->notifieeList().list, &dir->notifiees());
}

TEST(InterfaceSubIntfStatusDir, IntfStatusIsCreatesOnceAndNotifies386AfterInsertion) {
   auto dir = Interface::subIntfStatusDirFactory();
   std::vector<Interface::SubIntfStatus const*> seen;
   auto l = Listener::ListenerIs(dir.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(dir->intfStatus(keyAt<Kestin::IntfId>(keyPtr)).ptr());
   });

   Fen::Ptr<Interface::SubIntfStatus> const created = dir->intfStatusIs(sub1);
   ASSERT_NE(created, nullptr);
   EXPECT_EQ(created->intfId(), sub1);
   EXPECT_FALSE(created->programInHw());
   Fen::Ptr<Interface::SubIntfStatus> const again = dir->intfStatusIs(sub1);
   EXPECT_EQ(again.ptr(), created.ptr());
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{386});
   EXPECT_EQ(seen, std::vector<Interface::SubIntfStatus const*>{created.ptr()});
   EXPECT_EQ(dir->intfStatus(sub2), nullptr);
}

TEST(InterfaceSubIntfStatusDir, IntfStatusDelReturnsRemovedEntryOrNull) {
   auto dir = Interface::subIntfStatusDirFactory();
   auto const created = dir->intfStatusIs(sub1);
   std::vector<bool> hadKey;
   auto l = Listener::ListenerIs(dir.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      hadKey.push_back(dir->intfStatusHas(keyAt<Kestin::IntfId>(keyPtr)));
   });
   EXPECT_EQ(dir->intfStatusDel(sub1).ptr(), created.ptr());
   EXPECT_EQ(dir->intfStatusDel(sub1), nullptr);
   EXPECT_EQ(hadKey, std::vector<bool>{false});
}

TEST(InterfaceSubIntfStatusDir, ReplacementUnderTheSameKeyIsOneWriteAndOneNotification) {
   auto dir = Interface::subIntfStatusDirFactory();
   auto const first = dir->intfStatusIs(sub1);
   std::vector<Interface::SubIntfStatus const*> seen;
   auto l = Listener::ListenerIs(dir.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(dir->intfStatus(keyAt<Kestin::IntfId>(keyPtr)).ptr());
   });
   auto const second = Fen::fenObjectIs<Interface::SubIntfStatus>(sub1);

   dir->intfStatusIs(sub1, second);
   dir->intfStatusIs(sub1, second);  // the same object again: silent

   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{386});
   EXPECT_EQ(seen, std::vector<Interface::SubIntfStatus const*>{second.ptr()});
   EXPECT_EQ(dir->intfStatuss(), 1u);
   EXPECT_NE(first.ptr(), second.ptr());
}

TEST(InterfaceSubIntfStatusDir, KeyCanHoldANullMemberThatIntfStatusIsReplaces) {
   auto dir = Interface::subIntfStatusDirFactory();
   auto l = Listener::ListenerIs(dir.ptr(), nullptr);

   dir->intfStatusIs(sub1, Fen::Ptr<Interface::SubIntfStatus>());
   EXPECT_TRUE(dir->intfStatusHas(sub1));
   EXPECT_EQ(dir->intfStatus(sub1), nullptr);
   // Finding or making the member puts a new object in place of the null one.
   auto const made = dir->intfStatusIs(sub1);
   ASSERT_NE(made, nullptr);
   EXPECT_EQ(dir->intfStatus(sub1).ptr(), made.ptr());
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{386, 386}));
   // Removing a null member gives back null, and notifies.
   dir->intfStatusIs(sub1, Fen::Ptr<Interface::SubIntfStatus>());
   EXPECT_EQ(dir->intfStatusDel(sub1), nullptr);
   EXPECT_FALSE(dir->intfStatusHas(sub1));
   EXPECT_EQ(l->calls(), 4u);
}

TEST(InterfaceHardwareSubIntfStatusDir, ReplacementAndNullMemberEachNotifyOnce) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   auto const first = dir->hardwareStatusIs(sub1);
   auto l = Listener::ListenerIs(dir.ptr(), nullptr);
   auto const second = Fen::fenObjectIs<Interface::Hardware::SubIntfStatus>(sub1);
   dir->hardwareStatusIs(sub1, second);
   EXPECT_EQ(dir->hardwareStatus(sub1).ptr(), second.ptr());
   dir->hardwareStatusIs(sub1, Fen::Ptr<Interface::Hardware::SubIntfStatus>());
   EXPECT_TRUE(dir->hardwareStatusHas(sub1));
   EXPECT_EQ(dir->hardwareStatus(sub1), nullptr);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{258, 258}));
   EXPECT_NE(first.ptr(), second.ptr());
}

TEST(InterfaceSubIntfStatus, ProgramInHwNotifies515OnlyOnChange) {
   auto dir = Interface::subIntfStatusDirFactory();
   auto const status = dir->intfStatusIs(sub1);
   std::vector<bool> seen;
   auto l = Listener::ListenerIs(
       status.ptr(), [&](Fen::AttributeId, void const*) { seen.push_back(status->programInHw()); });
   status->programInHwIs(false);
   status->programInHwIs(true);
   status->programInHwIs(true);
   status->programInHwIs(false);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{515, 515}));
   EXPECT_EQ(seen, (std::vector<bool>{true, false}));
}

// ---- Interface::Hardware::SubIntfStatusDir -------------------------------------------

TEST(InterfaceHardwareSubIntfStatusDir, FactoryGivesEmptyActiveDirectory) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   EXPECT_EQ(dir->hardwareStatuss(), 0u);
   EXPECT_TRUE(dir->hasNotificationActive());
   EXPECT_EQ(dir->notifieeList().list, &dir->notifiees());
}

TEST(InterfaceHardwareSubIntfStatusDir, HardwareStatusIsCreatesOrReturnsExisting) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   std::vector<Kestin::IntfId> seen;
   auto l = Listener::ListenerIs(dir.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Kestin::IntfId>(keyPtr);
      EXPECT_TRUE(dir->hardwareStatusHas(k));
      seen.push_back(k);
   });

   Fen::Ptr<Interface::Hardware::SubIntfStatus> const created = dir->hardwareStatusIs(sub1);
   ASSERT_NE(created, nullptr);
   EXPECT_EQ(created->intfId(), sub1);
   EXPECT_FALSE(created->hardwareSuccess());
   created->hardwareSuccessIs(true);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const existing = dir->hardwareStatusIs(sub1);
   EXPECT_EQ(existing.ptr(), created.ptr());
   EXPECT_TRUE(existing->hardwareSuccess());
   EXPECT_EQ(dir->hardwareStatus(sub1).ptr(), created.ptr());
   EXPECT_EQ(dir->hardwareStatus(sub2), nullptr);
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{258});
   EXPECT_EQ(seen, std::vector<Kestin::IntfId>{sub1});
}

TEST(InterfaceHardwareSubIntfStatusDir, HardwareStatusDelReturnsRemovedEntryOrNull) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   auto const created = dir->hardwareStatusIs(sub1);
   std::vector<bool> hadKey;
   auto l = Listener::ListenerIs(dir.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      hadKey.push_back(dir->hardwareStatusHas(keyAt<Kestin::IntfId>(keyPtr)));
   });
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const removed = dir->hardwareStatusDel(sub1);
   EXPECT_EQ(removed.ptr(), created.ptr());
   EXPECT_EQ(dir->hardwareStatusDel(sub1), nullptr);
   EXPECT_EQ(dir->hardwareStatusDel(sub2), nullptr);
   EXPECT_EQ(hadKey, std::vector<bool>{false});
   EXPECT_EQ(dir->hardwareStatuss(), 0u);
}

TEST(InterfaceHardwareSubIntfStatusDir, DelAllNotifiesPerEntryWhileShrinking) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   dir->hardwareStatusIs(sub1);
   dir->hardwareStatusIs(sub2);
   std::vector<std::uint32_t> counts;
   auto l = Listener::ListenerIs(
       dir.ptr(), [&](Fen::AttributeId, void const*) { counts.push_back(dir->hardwareStatuss()); });
   dir->hardwareStatusDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{1, 0}));
}

TEST(InterfaceHardwareSubIntfStatus, HardwareSuccessNotifies259OnlyOnChange) {
   auto dir = Interface::Hardware::subIntfStatusDirFactory();
   auto const status = dir->hardwareStatusIs(sub1);
   std::vector<bool> seen;
   auto l = Listener::ListenerIs(status.ptr(), [&](Fen::AttributeId, void const*) {
      seen.push_back(status->hardwareSuccess());
   });
   status->hardwareSuccessIs(false);  // already false in a new entry
   status->hardwareSuccessIs(true);
   status->hardwareSuccessIs(true);
   status->hardwareSuccessIs(false);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{259, 259}));
   EXPECT_EQ(seen, (std::vector<bool>{true, false}));
}

// ---- MacsecProxy::Status ------------------------------------------------------------

TEST(MacsecProxyStatus, FactoryGivesEmptyActiveStatus) {
   auto status = MacsecProxy::statusFactory();
   EXPECT_EQ(status->proxySubIntfStatuss(), 0u);
   EXPECT_EQ(status->proxyIntfs(), 0u);
   EXPECT_TRUE(status->hasNotificationActive());
   EXPECT_EQ(status->notifieeList().list, &status->notifiees());
}

TEST(MacsecProxyStatus, NewProxySubIntfEntryHoldsItsKeyAndDefaults) {
   auto status = MacsecProxy::statusFactory();
   auto const entry = status->proxySubIntfStatusIs(sub1);
   ASSERT_NE(entry, nullptr);
   EXPECT_EQ(entry->proxySubIntf(), sub1);
   EXPECT_EQ(entry->patchSubIntf(), Kestin::IntfId());
   EXPECT_EQ(entry->patchEncapVid(), 0);
   EXPECT_EQ(entry->proxyEncapVid(), 0);
   EXPECT_EQ(status->proxySubIntfStatusIs(sub1).ptr(), entry.ptr());
   EXPECT_EQ(status->proxySubIntfStatus(sub2), nullptr);
}

TEST(MacsecProxyStatus, ProxySubIntfChangesNotify259WithKey) {
   auto status = MacsecProxy::statusFactory();
   std::vector<std::pair<Kestin::IntfId, std::uint16_t>> seen;  // vid 0xFFFF: absent
   auto l = Listener::ListenerIs(status.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const k = keyAt<Kestin::IntfId>(keyPtr);
      auto const entry = status->proxySubIntfStatus(k);
      seen.emplace_back(k, entry ? entry->proxyEncapVid() : std::uint16_t{0xFFFF});
   });

   auto const entry = status->proxySubIntfStatusIs(sub1);
   entry->patchSubIntfIs(sub2);
   entry->patchEncapVidIs(200);
   entry->proxyEncapVidIs(100);
   status->proxySubIntfStatusChanged(sub1);
   EXPECT_EQ(status->proxySubIntfStatusDel(sub1).ptr(), entry.ptr());
   EXPECT_EQ(status->proxySubIntfStatusDel(sub1), nullptr);
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{259, 259, 259}));
   EXPECT_EQ(seen, (std::vector<std::pair<Kestin::IntfId, std::uint16_t>>{
                       {sub1, 0}, {sub1, 100}, {sub1, 0xFFFF}}));
}

TEST(MacsecProxyStatus, ProxyIntfChangesNotify260WithParentPort) {
   auto status = MacsecProxy::statusFactory();
   std::vector<Kestin::IntfId> seen;
   auto l = Listener::ListenerIs(status.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(keyAt<Kestin::IntfId>(keyPtr));
   });

   auto const parent = status->proxyIntfIs(eth1);
   EXPECT_EQ(parent->intf(), eth1);
   EXPECT_FALSE(parent->singleTagEgress());
   parent->singleTagEgressIs(true);
   status->proxyIntfChanged(eth1);
   EXPECT_TRUE(status->proxyIntf(eth1)->singleTagEgress());
   EXPECT_EQ(status->proxyIntf(eth2), nullptr);
   EXPECT_EQ(status->proxyIntfDel(eth1).ptr(), parent.ptr());
   EXPECT_EQ(l->ids(), (std::vector<Fen::AttributeId>{260, 260, 260}));
   EXPECT_EQ(seen, (std::vector<Kestin::IntfId>{eth1, eth1, eth1}));
}

// ---- every notifying collection -------------------------------------------------------

TEST(ModelCollections, DestroyingCollectionWithMembersAndListenersNotifiesNobody) {
   std::size_t calls = 0;
   auto count = [&](Fen::AttributeId, void const*) { ++calls; };
   {
      auto hw = Ulva::intfEncapHwStatusCollFactory("hw");
      auto fwd = Ulva::serviceIntfFwdInfoCollFactory();
      auto wcsd = Wex::wexCommonSmDataFactory();
      auto dir = Interface::Hardware::subIntfStatusDirFactory();
      hw->hwStatusIs(encapOf(eth1, 10), Ulva::hwStatusSuccess);
      fwd->fwdInfoIs(fwdInfoOf(sub1, 1));
      wcsd->portToLagIs(eth1, lag1);
      wcsd->multiEncapIntfIs(eth1);
      dir->hardwareStatusIs(sub1);
      // Listeners hold their notifiers: once the test lets go, the listeners are
      // what keeps each collection alive.
      std::vector<Fen::Ptr<Listener>> listeners{
          Listener::ListenerIs(hw.ptr(), count), Listener::ListenerIs(fwd.ptr(), count),
          Listener::ListenerIs(wcsd.ptr(), count), Listener::ListenerIs(dir.ptr(), count)};
      hw = nullptr;
      fwd = nullptr;
      wcsd = nullptr;
      dir = nullptr;
      for (auto const& l : listeners)
         EXPECT_TRUE(l->isRegisteredNotifiee());
   }
   EXPECT_EQ(calls, 0u);
}

TEST(ModelCollections, ListenerWritingTheSameCollectionSeesItsOwnWriteNested) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   std::vector<Kestin::IntfId> seen;
   auto l = Listener::ListenerIs(wcsd.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      auto const port = keyAt<Kestin::IntfId>(keyPtr);
      seen.push_back(port);
      // A LAG member's LAG is noted against the LAG too, once.
      if (port == eth1) wcsd->portToLagIs(eth2, wcsd->portToLag(eth1));
   });
   wcsd->portToLagIs(eth1, lag1);
   EXPECT_EQ(seen, (std::vector<Kestin::IntfId>{eth1, eth2}));
   EXPECT_EQ(wcsd->portToLag(eth2), lag1);
}
