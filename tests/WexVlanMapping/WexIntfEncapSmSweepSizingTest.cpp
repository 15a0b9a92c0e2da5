// WexIntfEncapSm sizes the tables that its sweep makes one per interface (the
// wanted encaps, the configs) and one per service interface (the decoder) for
// the encaps the wanted input gives each: such a table is made to measure and
// never grows while the sweep fills it. Tables made after the sweep start at the
// smallest size, as any table does.
#include <gtest/gtest.h>

#include "SmFixture.h"

namespace TestSupport {
namespace {

using WexVlanMapping::WexEncapHwStatusDecoder;
using WexVlanMapping::WexPortEncapHwConfigList;
using WexVlanMapping::WexPortWantedEncapList;

// The capacity of a table of type Map that was sized for `n` members.
template <class Map>
std::size_t reservedCapacity(std::size_t n) {
   Map m;
   m.reserve(n);
   return m.capacity();
}

class WexIntfEncapSmSweepSizing : public SmFixture {
protected:
   // `count` encaps on `intf`, VLANs from 2 on, all for service interface `svc`.
   void wantMany(char const* intf, std::uint32_t count, char const* svc) {
      for (std::uint32_t vid = 2; vid < 2 + count; ++vid)
         wantIs(encap(intf, vid), svc);
   }
};

TEST_F(WexIntfEncapSmSweepSizing, TablesTheSweepMakesAreSizedForTheirEncaps) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 8);
   wantMany("Ethernet1", 100, "Vlan100");
   wantMany("Ethernet2", 30, "Vlan200");
   // Grown one member at a time, a table of 100 ends larger than one sized for
   // 100: the capacities below tell the two apart.
   WexPortEncapHwConfigList::HwConfigMap grown;
   for (std::uint32_t vid = 2; vid < 102; ++vid)
      grown.memberIs(WexVlanMapping::WexIntfEncapHwConfig(
          encap("Ethernet1", vid), Ulva::ServiceIntfFwdInfo(), Kestin::IntfId()));
   ASSERT_NE(grown.capacity(), reservedCapacity<WexPortEncapHwConfigList::HwConfigMap>(100));

   startRecording();

   auto const configs1 = machine().portToHwConfigList(id("Ethernet1"));
   ASSERT_TRUE(configs1);
   EXPECT_EQ(configs1->hwConfigs(), 100u);
   EXPECT_EQ(configs1->hwConfigMap().capacity(),
             reservedCapacity<WexPortEncapHwConfigList::HwConfigMap>(100));
   auto const configs2 = machine().portToHwConfigList(id("Ethernet2"));
   ASSERT_TRUE(configs2);
   EXPECT_EQ(configs2->hwConfigMap().capacity(),
             reservedCapacity<WexPortEncapHwConfigList::HwConfigMap>(30));

   auto const wanted1 = machine().portWantedEncap(id("Ethernet1"));
   ASSERT_TRUE(wanted1);
   EXPECT_EQ(wanted1->encaps(), 100u);
   EXPECT_EQ(wanted1->encapMap().capacity(),
             reservedCapacity<WexPortWantedEncapList::EncapSet>(100));

   auto const decoder = machine().svcHwStatusDecoder(WexVlanMapping::serviceEncap(id("Vlan100")));
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->hwStatuss(), 100u);
   EXPECT_EQ(decoder->hwStatusMap().capacity(),
             reservedCapacity<WexEncapHwStatusDecoder::HwStatusMap>(100));
}

TEST_F(WexIntfEncapSmSweepSizing, TablesMadeAfterTheSweepStartSmall) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan300", 9);
   wantMany("Ethernet1", 100, "Vlan100");
   startRecording();

   // A new interface and a new service interface after the sweep: their tables
   // hold one encap and are not sized from what the sweep counted.
   Ulva::IntfEncap const late = encap("Ethernet3", 5);
   wantIs(late, "Vlan300");

   std::size_t const smallest = reservedCapacity<WexPortEncapHwConfigList::HwConfigMap>(1);
   auto const configs = machine().portToHwConfigList(id("Ethernet3"));
   ASSERT_TRUE(configs);
   EXPECT_EQ(configs->hwConfigMap().capacity(), smallest);
   auto const lateWanted = machine().portWantedEncap(id("Ethernet3"));
   ASSERT_TRUE(lateWanted);
   EXPECT_EQ(lateWanted->encapMap().capacity(), smallest);
   auto const decoder = machine().svcHwStatusDecoder(WexVlanMapping::serviceEncap(id("Vlan300")));
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->hwStatusMap().capacity(), smallest);

   // A table of a counted interface that the sweep did not make (its encaps all
   // went away, then one came back) is not sized from the sweep's counts either.
   for (std::uint32_t vid = 2; vid < 102; ++vid)
      wanted->serviceIntfDel(encap("Ethernet1", vid));
   ASSERT_FALSE(machine().portWantedEncap(id("Ethernet1")));
   wantIs(encap("Ethernet1", 2), "Vlan100");
   auto const back = machine().portWantedEncap(id("Ethernet1"));
   ASSERT_TRUE(back);
   EXPECT_EQ(back->encapMap().capacity(), smallest);
}

}  // namespace
}  // namespace TestSupport
