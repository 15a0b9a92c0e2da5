// The system's own encap records and collections: the two value records (every
// field compared, hashed field by field under a seed; plain, LAG and LAG member
// configurations told apart by lagId) and the three collections (two notify each
// real change once, after it, with the key; the set of supported service types
// notifies nobody).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "Listener.h"
#include "Fen/Hash.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexModules.h"

namespace {

using WexVlanMapping::SupportedEncapServiceTypes;
using WexVlanMapping::WexDynamicIntfEncapColl;
using WexVlanMapping::WexDynamicIntfEncapInfo;
using WexVlanMapping::WexIntfEncapHwConfig;
using WexVlanMapping::WexIntfEncapHwConfigColl;

using TestSupport::Listener;

Kestin::IntfId const eth1("Ethernet1");
Kestin::IntfId const eth2("Ethernet2");
Kestin::IntfId const lag1("Port-Channel1");
Kestin::IntfId const lag2("Port-Channel2");
Kestin::IntfId const sub1("Ethernet1.100");
Kestin::IntfId const sub2("Ethernet2.200");

Ulva::VlanTagEncap tags(std::uint32_t outerVid, std::uint32_t innerVid = 4095) {
   return Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::vlanTag(innerVid));
}

Ulva::IntfEncap encapOf(Kestin::IntfId intf, std::uint32_t outerVid,
                        std::uint32_t innerVid = 4095) {
   return Ulva::IntfEncap(intf, tags(outerVid, innerVid));
}

Ulva::ServiceIntfFwdInfo fwdInfoOf(Kestin::IntfId intf, std::uint16_t fwdData) {
   Ulva::ServiceIntfFwdInfo info(intf);
   info.serviceTypeIs(Ulva::serviceIntfTypeSubIntf);
   info.fwdDataIs(fwdData);
   return info;
}

// A fully written dynamic encap.
WexDynamicIntfEncapInfo dynamicInfo(Ulva::IntfEncap const& key) {
   WexDynamicIntfEncapInfo info(key);
   info.egressEncapIs(tags(300, 30));
   info.sourceIs(WexVlanMapping::macsecProxy);
   info.serviceIntfIs(sub1);
   return info;
}

// A fully written configuration of a port in LAG lag1.
WexIntfEncapHwConfig memberConfig(Ulva::IntfEncap const& key) {
   WexIntfEncapHwConfig config(key, fwdInfoOf(sub1, 7), lag1);
   config.egressEncapIs(tags(300, 30));
   config.sourceIs(WexVlanMapping::macsecProxy);
   config.retryCntIs(3);
   return config;
}

Ulva::IntfEncap keyAt(void const* keyPtr) {
   return *static_cast<Ulva::IntfEncap const*>(keyPtr);
}

}  // namespace

// ---- WexIntfEncapSource -----------------------------------------------------

TEST(WexIntfEncapSource, StaticEncapIsZeroAndTheDefault) {
   EXPECT_EQ(WexVlanMapping::staticEncap, 0);
   EXPECT_EQ(WexVlanMapping::macsecProxy, 1);
   EXPECT_EQ(WexDynamicIntfEncapInfo().source(), WexVlanMapping::staticEncap);
   EXPECT_EQ(WexIntfEncapHwConfig().source(), WexVlanMapping::staticEncap);
   static_assert(sizeof(WexVlanMapping::WexIntfEncapSource) == 1);
}

TEST(WexIntfEncapSource, PrintsItsName) {
   std::ostringstream os;
   os << WexVlanMapping::staticEncap << " " << WexVlanMapping::macsecProxy;
   EXPECT_EQ(os.str(), "staticEncap macsecProxy");
}

// ---- WexDynamicIntfEncapInfo ------------------------------------------------

TEST(WexDynamicIntfEncapInfo, DefaultHasEveryFieldAtItsDefault) {
   WexDynamicIntfEncapInfo const info;
   EXPECT_EQ(info.intfEncap(), Ulva::IntfEncap());
   EXPECT_EQ(info.egressEncap(), Ulva::VlanTagEncap());
   EXPECT_EQ(info.source(), WexVlanMapping::staticEncap);
   EXPECT_EQ(info.serviceIntf(), Kestin::IntfId());
}

TEST(WexDynamicIntfEncapInfo, KeyConstructorSetsOnlyTheKey) {
   auto const key = encapOf(eth1, 100, 10);
   WexDynamicIntfEncapInfo const info(key);
   EXPECT_EQ(info.intfEncap(), key);
   EXPECT_EQ(info.egressEncap(), Ulva::VlanTagEncap());
   EXPECT_EQ(info.source(), WexVlanMapping::staticEncap);
   EXPECT_EQ(info.serviceIntf(), Kestin::IntfId());
}

TEST(WexDynamicIntfEncapInfo, EqualityComparesEveryField) {
   auto const key = encapOf(eth1, 100);
   WexDynamicIntfEncapInfo const base = dynamicInfo(key);
   EXPECT_EQ(base, dynamicInfo(key));

   EXPECT_FALSE(base == dynamicInfo(encapOf(eth1, 101)));
   EXPECT_FALSE(base == dynamicInfo(encapOf(eth2, 100)));
   WexDynamicIntfEncapInfo other = base;
   other.egressEncapIs(tags(300, 31));
   EXPECT_FALSE(base == other);
   other = base;
   other.sourceIs(WexVlanMapping::staticEncap);
   EXPECT_FALSE(base == other);
   other = base;
   other.serviceIntfIs(sub2);
   EXPECT_FALSE(base == other);
}

TEST(WexDynamicIntfEncapInfo, HashMixesEachFieldUnderTheSeed) {
   WexDynamicIntfEncapInfo const info = dynamicInfo(encapOf(eth1, 100));
   Fen::Hash expected(0x5EED);
   expected.hashMix<4>(info.intfEncap().hash(0));
   expected.hashMix<4>(info.egressEncap().hash(0));
   expected.hashMix<4>(std::uint32_t{info.source()});
   expected.hashMix<4>(info.serviceIntf().hash());
   EXPECT_EQ(info.hash(0x5EED), expected.result());
}

TEST(WexDynamicIntfEncapInfo, HashDependsOnSeedAndFields) {
   WexDynamicIntfEncapInfo const info = dynamicInfo(encapOf(eth1, 100));
   EXPECT_EQ(info.hash(1), dynamicInfo(encapOf(eth1, 100)).hash(1));
   EXPECT_NE(info.hash(0), info.hash(1));
   EXPECT_NE(info.hash(1), info.hash(2));
   WexDynamicIntfEncapInfo other = info;
   other.serviceIntfIs(sub2);
   EXPECT_NE(info.hash(0), other.hash(0));
   other = info;
   other.sourceIs(WexVlanMapping::staticEncap);
   EXPECT_NE(info.hash(0), other.hash(0));
}

// ---- WexIntfEncapHwConfig ---------------------------------------------------

TEST(WexIntfEncapHwConfig, DefaultHasEveryFieldAtItsDefault) {
   WexIntfEncapHwConfig const config;
   EXPECT_EQ(config.intfEncap(), Ulva::IntfEncap());
   EXPECT_EQ(config.egressEncap(), Ulva::VlanTagEncap());
   EXPECT_EQ(config.source(), WexVlanMapping::staticEncap);
   EXPECT_EQ(config.fwdInfo(), Ulva::ServiceIntfFwdInfo());
   EXPECT_EQ(config.lagId(), Kestin::IntfId());
   EXPECT_EQ(config.retryCnt(), 0u);
}

TEST(WexIntfEncapHwConfig, ConstructorSetsKeyFwdInfoAndLagOnly) {
   auto const key = encapOf(eth1, 100);
   WexIntfEncapHwConfig const config(key, fwdInfoOf(sub1, 7), lag1);
   EXPECT_EQ(config.intfEncap(), key);
   EXPECT_EQ(config.fwdInfo(), fwdInfoOf(sub1, 7));
   EXPECT_EQ(config.lagId(), lag1);
   EXPECT_EQ(config.egressEncap(), Ulva::VlanTagEncap());
   EXPECT_EQ(config.source(), WexVlanMapping::staticEncap);
   EXPECT_EQ(config.retryCnt(), 0u);
}

TEST(WexIntfEncapHwConfig, EqualityComparesEveryField) {
   auto const key = encapOf(eth1, 100);
   WexIntfEncapHwConfig const base = memberConfig(key);
   EXPECT_EQ(base, memberConfig(key));

   EXPECT_FALSE(base == memberConfig(encapOf(eth1, 100, 10)));
   EXPECT_FALSE(base == memberConfig(encapOf(eth2, 100)));
   WexIntfEncapHwConfig other = base;
   other.egressEncapIs(tags(301, 30));
   EXPECT_FALSE(base == other);
   other = base;
   other.sourceIs(WexVlanMapping::staticEncap);
   EXPECT_FALSE(base == other);
   other = base;
   other.retryCntIs(4);
   EXPECT_FALSE(base == other);

   auto rebuilt = [&](Ulva::ServiceIntfFwdInfo const& fwdInfo, Kestin::IntfId lagId) {
      WexIntfEncapHwConfig c(key, fwdInfo, lagId);
      c.egressEncapIs(base.egressEncap());
      c.sourceIs(base.source());
      c.retryCntIs(base.retryCnt());
      return c;
   };
   EXPECT_EQ(base, rebuilt(fwdInfoOf(sub1, 7), lag1));
   EXPECT_FALSE(base == rebuilt(fwdInfoOf(sub1, 8), lag1));
   EXPECT_FALSE(base == rebuilt(fwdInfoOf(sub2, 7), lag1));
   EXPECT_FALSE(base == rebuilt(fwdInfoOf(sub1, 7), lag2));
   EXPECT_FALSE(base == rebuilt(fwdInfoOf(sub1, 7), Kestin::IntfId()));
}

TEST(WexIntfEncapHwConfig, ConfigsDifferingOnlyInRetryCntDifferAndHashDifferently) {
   WexIntfEncapHwConfig const a = memberConfig(encapOf(eth1, 100));
   WexIntfEncapHwConfig b = a;
   b.retryCntInc(1);
   EXPECT_FALSE(a == b);
   EXPECT_NE(a.hash(0), b.hash(0));
   EXPECT_NE(a.hash(0x1234), b.hash(0x1234));
}

TEST(WexIntfEncapHwConfig, HashMixesEachFieldUnderTheSeed) {
   WexIntfEncapHwConfig const config = memberConfig(encapOf(eth1, 100));
   Fen::Hash expected(0x5EED);
   expected.hashMix<4>(config.intfEncap().hash(0));
   expected.hashMix<4>(config.egressEncap().hash(0));
   expected.hashMix<4>(std::uint32_t{config.source()});
   expected.hashMix<4>(config.fwdInfo().hash(0));
   expected.hashMix<4>(config.lagId().hash());
   expected.hashMix<4>(config.retryCnt());
   EXPECT_EQ(config.hash(0x5EED), expected.result());
}

TEST(WexIntfEncapHwConfig, HashDependsOnSeedNotOnIdentity) {
   WexIntfEncapHwConfig const config = memberConfig(encapOf(eth1, 100));
   EXPECT_EQ(config.hash(7), memberConfig(encapOf(eth1, 100)).hash(7));
   EXPECT_NE(config.hash(0), config.hash(1));
   EXPECT_NE(config.hash(1), config.hash(0x80000000u));
   EXPECT_NE(config.hash(0), memberConfig(encapOf(eth2, 100)).hash(0));
}

TEST(WexIntfEncapHwConfig, RetryCntIncOfZeroChangesNothing) {
   WexIntfEncapHwConfig const before = memberConfig(encapOf(eth1, 100));
   WexIntfEncapHwConfig after = before;
   after.retryCntInc(0);
   EXPECT_EQ(after, before);
   EXPECT_EQ(after.retryCnt(), 3u);
   EXPECT_EQ(after.hash(0), before.hash(0));
}

TEST(WexIntfEncapHwConfig, RetryCntIncAddsAndWrapsAt32Bits) {
   WexIntfEncapHwConfig config = memberConfig(encapOf(eth1, 100));
   config.retryCntInc(1);
   EXPECT_EQ(config.retryCnt(), 4u);
   config.retryCntInc(10);
   EXPECT_EQ(config.retryCnt(), 14u);
   config.retryCntIs(std::numeric_limits<std::uint32_t>::max());
   config.retryCntInc(1);
   EXPECT_EQ(config.retryCnt(), 0u);
   config.retryCntIs(0xFFFFFFF0u);
   config.retryCntInc(0x20);
   EXPECT_EQ(config.retryCnt(), 0x10u);
}

TEST(WexIntfEncapHwConfig, DefaultLagIdIsNeitherLagNorMemberWhateverTheEncap) {
   for (Kestin::IntfId intf : {Kestin::IntfId(), eth1, lag1, sub1}) {
      WexIntfEncapHwConfig const config(Ulva::IntfEncap(intf, tags(100)), fwdInfoOf(sub1, 7),
                                        Kestin::IntfId());
      EXPECT_FALSE(config.isLag()) << intf;
      EXPECT_FALSE(config.isLagMember()) << intf;
   }
   EXPECT_FALSE(WexIntfEncapHwConfig().isLag());
   EXPECT_FALSE(WexIntfEncapHwConfig().isLagMember());
}

TEST(WexIntfEncapHwConfig, LagIdOfOwnInterfaceIsLagAndOfAnotherIsMember) {
   WexIntfEncapHwConfig const ofLag(encapOf(lag1, 100), fwdInfoOf(sub1, 7), lag1);
   EXPECT_TRUE(ofLag.isLag());
   EXPECT_FALSE(ofLag.isLagMember());
   WexIntfEncapHwConfig const ofMember(encapOf(eth1, 100), fwdInfoOf(sub1, 7), lag1);
   EXPECT_FALSE(ofMember.isLag());
   EXPECT_TRUE(ofMember.isLagMember());
}

TEST(WexIntfEncapHwConfig, LagAndMemberAreNeverBothTrue) {
   std::vector<Kestin::IntfId> const ids{Kestin::IntfId(), eth1, eth2, lag1, lag2, sub1};
   for (Kestin::IntfId intf : ids) {
      for (Kestin::IntfId lagId : ids) {
         WexIntfEncapHwConfig const config(Ulva::IntfEncap(intf, tags(100)), {}, lagId);
         EXPECT_FALSE(config.isLag() && config.isLagMember()) << intf << " in " << lagId;
      }
   }
}

TEST(WexIntfEncapHwConfig, ParentEncapOfMemberKeepsBothTagsAndTakesTheLag) {
   auto const key = encapOf(eth1, 100, 10);
   WexIntfEncapHwConfig const member(key, fwdInfoOf(sub1, 7), lag1);
   Ulva::IntfEncap const parent = member.parentIntfEncap();
   EXPECT_EQ(parent.intfId(), lag1);
   EXPECT_EQ(parent.encap(), key.encap());
   EXPECT_EQ(parent.encap().outerTag().vid(), 100);
   EXPECT_EQ(parent.encap().innerTag().vid(), 10);
   EXPECT_EQ(parent, encapOf(lag1, 100, 10));
}

TEST(WexIntfEncapHwConfig, ParentEncapOfPlainPortOrLagIsItsOwn) {
   auto const plainKey = encapOf(eth1, 100, 10);
   WexIntfEncapHwConfig const plain(plainKey, fwdInfoOf(sub1, 7), Kestin::IntfId());
   EXPECT_EQ(plain.parentIntfEncap(), plainKey);
   auto const lagKey = encapOf(lag1, 100, 10);
   WexIntfEncapHwConfig const ofLag(lagKey, fwdInfoOf(sub1, 7), lag1);
   EXPECT_EQ(ofLag.parentIntfEncap(), lagKey);
   EXPECT_EQ(WexIntfEncapHwConfig().parentIntfEncap(), Ulva::IntfEncap());
}

// ---- factories ----------------------------------------------------------------

TEST(WexIntfEncapCollections, FactoriesGiveEmptyActiveCollections) {
   auto dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto configs = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(configs->configs(), 0u);
   EXPECT_EQ(types->encapServiceTypes(), 0u);
   for (Fen::PtrInterface const* p : {static_cast<Fen::PtrInterface const*>(dynamic.ptr()),
                                      static_cast<Fen::PtrInterface const*>(configs.ptr()),
                                      static_cast<Fen::PtrInterface const*>(types.ptr())}) {
      EXPECT_TRUE(p->hasNotificationActive());
      EXPECT_FALSE(p->fenMarkedForDeletion());
      EXPECT_EQ(p->references(), 1u);
   }
}

TEST(WexIntfEncapCollections, StaticFactoriesGiveEmptyActiveCollections) {
   auto dynamic = WexDynamicIntfEncapColl::WexDynamicIntfEncapCollIs();
   auto configs = WexIntfEncapHwConfigColl::WexIntfEncapHwConfigCollIs();
   auto types = SupportedEncapServiceTypes::SupportedEncapServiceTypesIs();
   EXPECT_EQ(dynamic->entrys(), 0u);
   EXPECT_EQ(configs->configs(), 0u);
   EXPECT_EQ(types->encapServiceTypes(), 0u);
   EXPECT_TRUE(dynamic->hasNotificationActive());
   EXPECT_TRUE(configs->hasNotificationActive());
   EXPECT_TRUE(types->hasNotificationActive());
}

TEST(WexIntfEncapCollections, TypesAreIndices245OfModuleWexIntfEncap) {
   auto dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto configs = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   for (Fen::FwkType const& t : {dynamic->fwkType(), configs->fwkType(), types->fwkType()}) {
      ASSERT_NE(t.module, nullptr);
      EXPECT_EQ(t.module, &WexVlanMapping::wexIntfEncapModule);
      EXPECT_EQ(std::string_view(t.module->name), "WexIntfEncap");
   }
   EXPECT_EQ(dynamic->fwkType().index, 2);
   EXPECT_EQ(configs->fwkType().index, 4);
   EXPECT_EQ(types->fwkType().index, 5);
}

TEST(WexIntfEncapCollections, NotifyingCollectionsDescribeTheirOwnList) {
   auto dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto configs = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   Fen::NotifieeListDesc const d = dynamic->notifieeList();
   EXPECT_EQ(d.count, 1u);
   EXPECT_EQ(d.list, &dynamic->notifiees());
   Fen::NotifieeListDesc const c = configs->notifieeList();
   EXPECT_EQ(c.count, 1u);
   EXPECT_EQ(c.list, &configs->notifiees());
}

TEST(WexIntfEncapCollections, SupportedTypesKeepTheEmptyBaseDescriptor) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   Fen::NotifieeListDesc const d = types->notifieeList();
   EXPECT_EQ(d.count, 0u);
   EXPECT_EQ(d.list, nullptr);
   EXPECT_EQ(d.reserved0, nullptr);
   EXPECT_EQ(d.reserved1, nullptr);
   // A reactor on it hears nothing: it cannot even register.
   auto l = Listener::ListenerIs(types.ptr(), nullptr);
   EXPECT_FALSE(l->isRegisteredNotifiee());
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   EXPECT_EQ(l->calls(), 0u);
}

// ---- WexDynamicIntfEncapColl -------------------------------------------------------

TEST(WexDynamicIntfEncapColl, AbsentKeyReadsDefaultRecord) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   EXPECT_EQ(coll->entry(encapOf(eth1, 100)), WexDynamicIntfEncapInfo());
   EXPECT_FALSE(coll->entryHas(encapOf(eth1, 100)));
}

TEST(WexDynamicIntfEncapColl, InsertNotifies130OnceWithKeyAfterTheChange) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const key = encapOf(eth1, 100);
   std::vector<std::pair<Ulva::IntfEncap, WexDynamicIntfEncapInfo>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.emplace_back(keyAt(keyPtr), coll->entry(keyAt(keyPtr)));
   });
   coll->entryIs(dynamicInfo(key));
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{130});
   ASSERT_EQ(seen.size(), 1u);
   EXPECT_EQ(seen[0].first, key);
   EXPECT_EQ(seen[0].second, dynamicInfo(key));
   EXPECT_EQ(coll->entrys(), 1u);
}

TEST(WexDynamicIntfEncapColl, WriteOfEqualValueIsSilent) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->entryIs(dynamicInfo(key));
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   coll->entryIs(dynamicInfo(key));
   EXPECT_EQ(l->calls(), 0u);
   EXPECT_EQ(coll->entry(key), dynamicInfo(key));
}

TEST(WexDynamicIntfEncapColl, ChangedValueOverwritesAndNotifiesOnce) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->entryIs(dynamicInfo(key));
   WexDynamicIntfEncapInfo changed = dynamicInfo(key);
   changed.serviceIntfIs(sub2);
   std::vector<Kestin::IntfId> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(coll->entry(keyAt(keyPtr)).serviceIntf());
   });
   coll->entryIs(changed);
   EXPECT_EQ(seen, std::vector<Kestin::IntfId>{sub2});
   EXPECT_EQ(coll->entry(key), changed);
   EXPECT_EQ(coll->entrys(), 1u);
}

TEST(WexDynamicIntfEncapColl, DelOfAbsentKeyReturnsDefaultRecordSilently) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   coll->entryIs(dynamicInfo(encapOf(eth2, 200)));
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   WexDynamicIntfEncapInfo const removed = coll->entryDel(encapOf(eth1, 100));
   EXPECT_EQ(removed, WexDynamicIntfEncapInfo());
   EXPECT_EQ(l->calls(), 0u);
   EXPECT_EQ(coll->entrys(), 1u);
}

TEST(WexDynamicIntfEncapColl, DelReturnsRemovedValueAfterNotifyingItsAbsence) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->entryIs(dynamicInfo(key));
   std::vector<std::pair<Ulva::IntfEncap, bool>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.emplace_back(keyAt(keyPtr), coll->entryHas(keyAt(keyPtr)));
   });
   WexDynamicIntfEncapInfo const removed = coll->entryDel(key);
   EXPECT_EQ(removed, dynamicInfo(key));
   EXPECT_EQ(seen, (std::vector<std::pair<Ulva::IntfEncap, bool>>{{key, false}}));
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{130});
}

TEST(WexDynamicIntfEncapColl, DelAllNotifiesPerMemberWhileShrinking) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   std::set<Ulva::IntfEncap> members;
   for (std::uint32_t vid = 1; vid <= 6; ++vid) {
      members.insert(encapOf(eth1, vid));
      coll->entryIs(dynamicInfo(encapOf(eth1, vid)));
   }
   std::vector<std::uint32_t> counts;
   std::set<Ulva::IntfEncap> removed;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      EXPECT_FALSE(coll->entryHas(keyAt(keyPtr)));
      EXPECT_TRUE(removed.insert(keyAt(keyPtr)).second);
      counts.push_back(coll->entrys());
   });
   coll->entryDelAll();
   EXPECT_EQ(counts, (std::vector<std::uint32_t>{5, 4, 3, 2, 1, 0}));
   EXPECT_EQ(removed, members);
   EXPECT_EQ(coll->entrys(), 0u);
}

TEST(WexDynamicIntfEncapColl, ListenerExceptionLeavesTheChangeInPlace) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const key = encapOf(eth1, 100);
   auto l = Listener::ListenerIs(coll.ptr(), [](Fen::AttributeId, void const*) {
      throw std::runtime_error("listener failed");
   });
   EXPECT_THROW(coll->entryIs(dynamicInfo(key)), std::runtime_error);
   EXPECT_EQ(coll->entry(key), dynamicInfo(key));
   EXPECT_THROW(coll->entryDel(key), std::runtime_error);
   EXPECT_FALSE(coll->entryHas(key));
}

TEST(WexDynamicIntfEncapColl, ListenerMayWriteTheSameCollectionInsideTheNotification) {
   auto coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const first = encapOf(eth1, 100);
   auto const second = encapOf(eth2, 200);
   std::vector<Ulva::IntfEncap> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(keyAt(keyPtr));
      if (keyAt(keyPtr) == first) coll->entryIs(dynamicInfo(second));
   });
   coll->entryIs(dynamicInfo(first));
   EXPECT_EQ(seen, (std::vector<Ulva::IntfEncap>{first, second}));
   EXPECT_EQ(coll->entrys(), 2u);
}

// ---- WexIntfEncapHwConfigColl -------------------------------------------------------

TEST(WexIntfEncapHwConfigColl, AbsentKeyReadsDefaultConfig) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   EXPECT_EQ(coll->config(encapOf(eth1, 100)), WexIntfEncapHwConfig());
   EXPECT_FALSE(coll->configHas(encapOf(eth1, 100)));
}

TEST(WexIntfEncapHwConfigColl, InsertNotifies130OnceWithKeyAfterTheChange) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto const key = encapOf(eth1, 100);
   std::vector<std::pair<Ulva::IntfEncap, WexIntfEncapHwConfig>> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.emplace_back(keyAt(keyPtr), coll->config(keyAt(keyPtr)));
   });
   coll->configIs(memberConfig(key));
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{130});
   ASSERT_EQ(seen.size(), 1u);
   EXPECT_EQ(seen[0].first, key);
   EXPECT_EQ(seen[0].second, memberConfig(key));
}

TEST(WexIntfEncapHwConfigColl, WriteOfEqualValueIsSilent) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->configIs(memberConfig(key));
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   coll->configIs(memberConfig(key));
   EXPECT_EQ(l->calls(), 0u);
}

TEST(WexIntfEncapHwConfigColl, ConfigDifferingOnlyInRetryCntNotifiesOnceWithNewCount) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->configIs(memberConfig(key));
   std::vector<std::uint32_t> seen;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      seen.push_back(coll->config(keyAt(keyPtr)).retryCnt());
   });
   WexIntfEncapHwConfig retried = memberConfig(key);
   retried.retryCntInc(1);
   coll->configIs(retried);
   EXPECT_EQ(l->ids(), std::vector<Fen::AttributeId>{130});
   EXPECT_EQ(seen, std::vector<std::uint32_t>{4});
   EXPECT_EQ(coll->config(key).retryCnt(), 4u);
   EXPECT_EQ(coll->configs(), 1u);
}

TEST(WexIntfEncapHwConfigColl, DelOfAbsentKeyReturnsDefaultConfigSilently) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   EXPECT_EQ(coll->configDel(encapOf(eth1, 100)), WexIntfEncapHwConfig());
   EXPECT_EQ(l->calls(), 0u);
}

TEST(WexIntfEncapHwConfigColl, DelReturnsRemovedValueAfterNotifyingItsAbsence) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->configIs(memberConfig(key));
   std::vector<bool> hadKey;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId, void const* keyPtr) {
      hadKey.push_back(coll->configHas(keyAt(keyPtr)));
   });
   EXPECT_EQ(coll->configDel(key), memberConfig(key));
   EXPECT_EQ(hadKey, std::vector<bool>{false});
}

TEST(WexIntfEncapHwConfigColl, DelAllOnNMembersNotifiesNTimesWhileShrinkingThenIsEmpty) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   std::set<Ulva::IntfEncap> members;
   std::uint32_t const n = 40;  // enough to grow the table past its first size
   for (std::uint32_t vid = 1; vid <= n; ++vid) {
      members.insert(encapOf(eth1, vid));
      coll->configIs(memberConfig(encapOf(eth1, vid)));
   }
   ASSERT_EQ(coll->configs(), n);
   std::vector<std::uint32_t> counts;
   std::set<Ulva::IntfEncap> removed;
   auto l = Listener::ListenerIs(coll.ptr(), [&](Fen::AttributeId id, void const* keyPtr) {
      EXPECT_EQ(id, 130u);
      EXPECT_FALSE(coll->configHas(keyAt(keyPtr)));
      EXPECT_TRUE(removed.insert(keyAt(keyPtr)).second);
      counts.push_back(coll->configs());
   });
   coll->configDelAll();

   std::vector<std::uint32_t> expected;
   for (std::uint32_t left = n; left-- > 0;)
      expected.push_back(left);
   EXPECT_EQ(counts, expected);
   EXPECT_EQ(removed, members);
   EXPECT_EQ(coll->configs(), 0u);
   EXPECT_EQ(l->calls(), n);
}

TEST(WexIntfEncapHwConfigColl, DelAllOnEmptyCollectionIsSilent) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto l = Listener::ListenerIs(coll.ptr(), nullptr);
   coll->configDelAll();
   EXPECT_EQ(l->calls(), 0u);
}

TEST(WexIntfEncapHwConfigCollDeathTest, OverwriteUnderAnotherMembersKeyBreaksTheKeyInvariant) {
   auto coll = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
   auto const key = encapOf(eth1, 100);
   coll->configIs(memberConfig(key));
   EXPECT_DEATH(coll->configIs(key, memberConfig(encapOf(eth2, 200))),
                testing::HasSubstr("fwkKey() == KeyFunktor()( _value )"));
}

// ---- both notifying collections --------------------------------------------------------

TEST(WexIntfEncapCollections, DestroyingCollectionsWithMembersAndListenersNotifiesNobody) {
   std::size_t calls = 0;
   auto count = [&](Fen::AttributeId, void const*) { ++calls; };
   WexDynamicIntfEncapColl const* dynamicRaw = nullptr;
   {
      auto dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
      auto configs = WexVlanMapping::wexIntfEncapHwConfigCollFactory();
      dynamicRaw = dynamic.ptr();
      for (std::uint32_t vid = 1; vid <= 3; ++vid) {
         dynamic->entryIs(dynamicInfo(encapOf(eth1, vid)));
         configs->configIs(memberConfig(encapOf(eth1, vid)));
      }
      std::vector<Fen::Ptr<Listener>> listeners{
          Listener::ListenerIs(dynamic.ptr(), count), Listener::ListenerIs(dynamic.ptr(), count),
          Listener::ListenerIs(configs.ptr(), count), Listener::ListenerIs(configs.ptr(), count)};
      // From here on the listeners alone keep the collections alive.
      dynamic = nullptr;
      configs = nullptr;
      EXPECT_EQ(dynamicRaw->entrys(), 3u);
      EXPECT_EQ(dynamicRaw->notifiees().size(), 2u);
   }
   EXPECT_EQ(calls, 0u);
}

// ---- SupportedEncapServiceTypes ---------------------------------------------------------

TEST(SupportedEncapServiceTypes, InsertTwiceDeleteOnceAndTheTypeIsGone) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   EXPECT_EQ(types->encapServiceTypes(), 1u);
   EXPECT_TRUE(types->encapServiceType(Ulva::serviceIntfTypeSubIntf));
   EXPECT_TRUE(types->encapServiceTypeDel(Ulva::serviceIntfTypeSubIntf));
   EXPECT_FALSE(types->encapServiceType(Ulva::serviceIntfTypeSubIntf));
   EXPECT_FALSE(types->encapServiceTypeHas(Ulva::serviceIntfTypeSubIntf));
   EXPECT_EQ(types->encapServiceTypes(), 0u);
}

TEST(SupportedEncapServiceTypes, DelOfNonMemberReturnsFalse) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   EXPECT_FALSE(types->encapServiceTypeDel(Ulva::serviceIntfTypeSubIntf));
   types->encapServiceTypeIs(Ulva::serviceIntfTypeTunnel);
   EXPECT_FALSE(types->encapServiceTypeDel(Ulva::serviceIntfTypeSubIntf));
   EXPECT_TRUE(types->encapServiceType(Ulva::serviceIntfTypeTunnel));
}

TEST(SupportedEncapServiceTypes, AnyByteIsAType) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   for (unsigned v = 0; v < 256; v += 17) {
      types->encapServiceTypeIs(static_cast<Ulva::ServiceIntfType>(v));
   }
   EXPECT_EQ(types->encapServiceTypes(), 16u);
   for (unsigned v = 0; v < 256; ++v) {
      EXPECT_EQ(types->encapServiceType(static_cast<Ulva::ServiceIntfType>(v)), v % 17 == 0) << v;
   }
   for (unsigned v = 0; v < 256; v += 34) {
      EXPECT_TRUE(types->encapServiceTypeDel(static_cast<Ulva::ServiceIntfType>(v)));
   }
   EXPECT_EQ(types->encapServiceTypes(), 8u);
   EXPECT_TRUE(types->encapServiceType(static_cast<Ulva::ServiceIntfType>(17)));
   EXPECT_FALSE(types->encapServiceType(static_cast<Ulva::ServiceIntfType>(34)));
}

TEST(SupportedEncapServiceTypes, HoldsAllByteValuesAtOnce) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   for (unsigned v = 256; v-- > 0;)
      types->encapServiceTypeIs(static_cast<Ulva::ServiceIntfType>(v));
   EXPECT_EQ(types->encapServiceTypes(), 256u);
   for (unsigned v = 0; v < 256; v += 2) {
      EXPECT_TRUE(types->encapServiceTypeDel(static_cast<Ulva::ServiceIntfType>(v))) << v;
   }
   EXPECT_EQ(types->encapServiceTypes(), 128u);
   for (unsigned v = 0; v < 256; ++v) {
      EXPECT_EQ(types->encapServiceType(static_cast<Ulva::ServiceIntfType>(v)), v % 2 == 1) << v;
   }
}

TEST(SupportedEncapServiceTypes, DelAllEmptiesTheSet) {
   auto types = WexVlanMapping::supportedEncapServiceTypesFactory();
   types->encapServiceTypeIs(Ulva::serviceIntfTypeDefault);
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   types->encapServiceTypeDelAll();
   EXPECT_EQ(types->encapServiceTypes(), 0u);
   EXPECT_FALSE(types->encapServiceType(Ulva::serviceIntfTypeDefault));
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   EXPECT_TRUE(types->encapServiceType(Ulva::serviceIntfTypeSubIntf));
}
