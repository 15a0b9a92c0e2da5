// Kestin::IntfId: names in and out, refusal of bad names, order, kinds, hash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/String.h"
#include "Kestin/IntfId.h"

namespace {

using Kestin::EthIntfId;
using Kestin::IntfId;
using Kestin::PortChannelIntfId;
using Kestin::SubIntfId;

IntfId id(char const* name) {
   return IntfId(name);
}

char const* const acceptedNames[] = {
    "Ethernet1",
    "Ethernet2",
    "Ethernet10",
    "Ethernet65535",
    "Ethernet3/1",
    "Ethernet1/4095",
    "Ethernet3/1/4",
    "Ethernet65535/4095/4095",
    "Port-Channel1",
    "Port-Channel10",
    "Port-Channel65535",
    "Ethernet3.7",
    "Ethernet3/1.100",
    "Ethernet3/1/2.1",
    "Ethernet1.1048575",
    "Port-Channel10.7",
    "Port-Channel65535.1048575",
    "Vlan1",
    "Vlan100",
    "Vlan4094",
};

// Text that is no interface name at all.
char const* const malformedNames[] = {
    "Ethernet",
    "ethernet1",
    "ETHERNET1",
    "Eth1",
    "Ethernet 1",
    " Ethernet1",
    "Ethernet1 ",
    "Ethernet-1",
    "Ethernet+1",
    "Ethernet1x",
    "Ethernet01",
    "Ethernet0",
    "Ethernet1/",
    "Ethernet1//2",
    "Ethernet/1",
    "Ethernet1/0",
    "Ethernet1/2/",
    "Ethernet1/2/3/4",
    "Ethernet1/2/0",
    "Ethernet1.",
    "Ethernet1.0",
    "Ethernet1.01",
    "Ethernet1.2.3",
    "Ethernet1..2",
    "Port-Channel",
    "PortChannel1",
    "Port-channel1",
    "Port-Channel0",
    "Port-Channel1/1",
    "Port-Channel1.",
    "Vlan",
    "Vlan0",
    "Vlan10.5",
    "Vlan1/1",
    "Management1",
    "Foo",
    ".",
    "1",
    "/",
    "Ethernet1\n",
};

// Well-formed names with a number beyond its field.
char const* const outOfRangeNames[] = {
    "Ethernet65536",
    "Ethernet1/4096",
    "Ethernet1/1/4096",
    "Ethernet1.1048576",
    "Port-Channel65536",
    "Port-Channel1.1048576",
    "Vlan4095",
    "Ethernet99999999999999999999999999",
    "Ethernet1.99999999999999999999999999",
};

// The text of the exception that building `name` raises, or "" when none.
std::string refusalOf(char const* name) {
   try {
      IntfId const ignored(name);
      (void)ignored;
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "";
}

bool quotes(std::string const& message, std::string const& text) {
   return message.find("'" + text + "'") != std::string::npos ||
          message.find("\"" + text + "\"") != std::string::npos;
}

}  // namespace

TEST(IntfIdNames, EveryAcceptedNameRoundTripsThroughStringValue) {
   for (char const* name : acceptedNames) {
      SCOPED_TRACE(name);
      IntfId const fromCString(name);
      IntfId const fromString{Fen::String(name)};
      EXPECT_EQ(fromCString.stringValue(), Fen::String(name));
      EXPECT_TRUE(fromCString == fromString);
      EXPECT_FALSE(fromCString == IntfId());
      // The name read back builds the same id.
      EXPECT_TRUE(IntfId(fromCString.stringValue()) == fromCString);
   }
}

TEST(IntfIdNames, DistinctNamesGiveDistinctIds) {
   std::vector<IntfId> ids;
   for (char const* name : acceptedNames)
      ids.push_back(id(name));
   for (std::size_t i = 0; i < ids.size(); ++i) {
      for (std::size_t j = 0; j < ids.size(); ++j) {
         EXPECT_EQ(ids[i] == ids[j], i == j) << acceptedNames[i] << " vs " << acceptedNames[j];
      }
   }
}

TEST(IntfIdNames, IdIsOneSixtyFourBitWord) {
   EXPECT_EQ(sizeof(IntfId), 8u);
}

TEST(IntfIdNames, EmptyNameGivesTheDefaultId) {
   EXPECT_TRUE(id("") == IntfId());
   EXPECT_TRUE(IntfId(Fen::String()) == IntfId());
   EXPECT_TRUE(IntfId().stringValue().empty());

   IntfId reused = id("Ethernet5");
   reused.handleInitialized(Fen::String());
   EXPECT_TRUE(reused == IntfId());
   reused.handleInitialized(Fen::String("Port-Channel5"));
   EXPECT_TRUE(reused == id("Port-Channel5"));
}

TEST(IntfIdNames, MalformedNameRaisesRangeExceptionQuotingTheText) {
   for (char const* name : malformedNames) {
      SCOPED_TRACE(name);
      EXPECT_THROW(id(name), Fen::RangeException);
      std::string const message = refusalOf(name);
      EXPECT_TRUE(quotes(message, name)) << "message: " << message;
   }
}

TEST(IntfIdNames, OutOfRangeNumberRaisesRangeExceptionQuotingTheText) {
   for (char const* name : outOfRangeNames) {
      SCOPED_TRACE(name);
      EXPECT_THROW(id(name), Fen::RangeException);
      std::string const message = refusalOf(name);
      EXPECT_TRUE(quotes(message, name)) << "message: " << message;
   }
}

TEST(IntfIdNames, RefusalIsARangeErrorCarryingItsMessage) {
   try {
      id("Ethernet0");
      FAIL() << "no exception";
   } catch (Fen::RangeException const& e) {
      EXPECT_EQ(e.message(), Fen::String(e.what()));
      std::range_error const& base = e;
      EXPECT_THAT(base.what(), testing::HasSubstr("Ethernet0"));
   }
}

TEST(IntfIdNames, PrintsItsName) {
   std::ostringstream os;
   os << id("Ethernet3/1.100");
   EXPECT_EQ(os.str(), "Ethernet3/1.100");
}

// ---- equality and order ----------------------------------------------------------

TEST(IntfIdOrder, DefaultIdEqualsItselfAndNoRealInterface) {
   IntfId const none;
   EXPECT_TRUE(none == none);
   EXPECT_TRUE(none == IntfId());
   EXPECT_FALSE(none < none);
   for (char const* name : acceptedNames) {
      SCOPED_TRACE(name);
      EXPECT_FALSE(id(name) == none);
      EXPECT_FALSE(none == id(name));
   }
}

TEST(IntfIdOrder, PortsOrderNumericallyNotAsText) {
   EXPECT_TRUE(id("Ethernet2") < id("Ethernet10"));
   EXPECT_FALSE(id("Ethernet10") < id("Ethernet2"));
   EXPECT_TRUE(id("Ethernet9") < id("Ethernet10"));
   EXPECT_TRUE(id("Ethernet1/2") < id("Ethernet1/10"));
   EXPECT_TRUE(id("Ethernet1/1/2") < id("Ethernet1/1/10"));
   EXPECT_TRUE(id("Ethernet2/40") < id("Ethernet10/1"));
   EXPECT_TRUE(id("Port-Channel2") < id("Port-Channel10"));
   EXPECT_TRUE(id("Vlan2") < id("Vlan10"));
   EXPECT_TRUE(id("Ethernet1.2") < id("Ethernet1.10"));
   EXPECT_TRUE(id("Port-Channel10.2") < id("Port-Channel10.10"));
}

TEST(IntfIdOrder, KindComesBeforeTheNumbers) {
   // Whatever the order of the kinds, it does not depend on the numbers.
   char const* const kinds[][2] = {
       {"Ethernet1", "Ethernet65535/4095/4095"},
       {"Port-Channel1", "Port-Channel65535"},
       {"Vlan1", "Vlan4094"},
   };
   for (auto const& a : kinds) {
      for (auto const& b : kinds) {
         if (&a == &b) continue;
         bool const lowFirst = id(a[0]) < id(b[1]);
         EXPECT_EQ(id(a[1]) < id(b[0]), lowFirst) << a[0] << " " << b[0];
         EXPECT_EQ(id(a[0]) < id(b[0]), lowFirst) << a[0] << " " << b[0];
         EXPECT_EQ(id(a[1]) < id(b[1]), lowFirst) << a[0] << " " << b[0];
      }
   }
}

TEST(IntfIdOrder, OrderIsStrictAndTotal) {
   std::vector<IntfId> ids{IntfId()};
   for (char const* name : acceptedNames)
      ids.push_back(id(name));
   for (IntfId const& a : ids) {
      EXPECT_FALSE(a < a) << a;
      for (IntfId const& b : ids) {
         int const relations = int(a < b) + int(b < a) + int(a == b);
         EXPECT_EQ(relations, 1) << a << " vs " << b;
         for (IntfId const& c : ids) {
            if (a < b && b < c) {
               EXPECT_TRUE(a < c) << a << " " << b << " " << c;
            }
         }
      }
   }
}

TEST(IntfIdOrder, PortComesBeforeItsSubInterfaces) {
   EXPECT_TRUE(id("Ethernet3/1") < id("Ethernet3/1.1"));
   EXPECT_TRUE(id("Ethernet3/1.1048575") < id("Ethernet3/2"));
   EXPECT_TRUE(id("Port-Channel10") < id("Port-Channel10.7"));
   EXPECT_TRUE(id("Port-Channel10.7") < id("Port-Channel11"));
}

TEST(IntfIdOrder, SortedSetOfIdsFollowsTheOrder) {
   std::set<IntfId> set;
   for (char const* name :
        {"Ethernet10", "Ethernet2", "Ethernet1/10", "Ethernet1/2", "Ethernet1"}) {
      set.insert(id(name));
   }
   std::vector<std::string> sorted;
   for (IntfId const& i : set)
      sorted.push_back(i.stringValue().stdString());
   EXPECT_THAT(sorted, testing::ElementsAre("Ethernet1", "Ethernet1/2", "Ethernet1/10", "Ethernet2",
                                            "Ethernet10"));
}

// ---- kinds -----------------------------------------------------------------------

TEST(IntfIdKinds, EthernetPredicateHoldsForEthernetPortsOnly) {
   for (char const* name : {"Ethernet1", "Ethernet3/1", "Ethernet3/1/4", "Ethernet65535"}) {
      EXPECT_TRUE(EthIntfId::isEthIntfId(id(name))) << name;
   }
   for (char const* name :
        {"Ethernet3.7", "Ethernet3/1.100", "Port-Channel1", "Port-Channel10.7", "Vlan1"}) {
      EXPECT_FALSE(EthIntfId::isEthIntfId(id(name))) << name;
   }
   EXPECT_FALSE(EthIntfId::isEthIntfId(IntfId()));
}

TEST(IntfIdKinds, PortChannelPredicateHoldsForLagsOnly) {
   for (char const* name : {"Port-Channel1", "Port-Channel10", "Port-Channel65535"}) {
      EXPECT_TRUE(PortChannelIntfId::isPortChannelIntfId(id(name))) << name;
   }
   for (char const* name : {"Port-Channel10.7", "Ethernet1", "Ethernet3/1.100", "Vlan10"}) {
      EXPECT_FALSE(PortChannelIntfId::isPortChannelIntfId(id(name))) << name;
   }
   EXPECT_FALSE(PortChannelIntfId::isPortChannelIntfId(IntfId()));
}

TEST(IntfIdKinds, SubInterfacesKnowTheirParent) {
   EXPECT_TRUE(SubIntfId::parentIntfId(id("Ethernet3/1.100")) == id("Ethernet3/1"));
   EXPECT_TRUE(SubIntfId::parentIntfId(id("Ethernet3.7")) == id("Ethernet3"));
   EXPECT_TRUE(SubIntfId::parentIntfId(id("Ethernet3/1/2.1")) == id("Ethernet3/1/2"));
   EXPECT_TRUE(SubIntfId::parentIntfId(id("Port-Channel10.7")) == id("Port-Channel10"));
   EXPECT_TRUE(SubIntfId::parentIntfId(id("Port-Channel65535.1048575")) == id("Port-Channel65535"));
   for (char const* name : {"Ethernet3/1.100", "Port-Channel10.7", "Ethernet1.1048575"}) {
      EXPECT_TRUE(SubIntfId::isSubIntfId(id(name))) << name;
   }
   EXPECT_EQ(SubIntfId::subIntfNumber(id("Ethernet3/1.100")), 100u);
}

TEST(IntfIdKinds, NonSubInterfacesHaveTheDefaultParent) {
   for (char const* name : {"Ethernet3/1", "Port-Channel10", "Vlan5"}) {
      EXPECT_FALSE(SubIntfId::isSubIntfId(id(name))) << name;
      EXPECT_TRUE(SubIntfId::parentIntfId(id(name)) == IntfId()) << name;
      EXPECT_EQ(SubIntfId::subIntfNumber(id(name)), 0u) << name;
   }
   EXPECT_FALSE(SubIntfId::isSubIntfId(IntfId()));
   EXPECT_TRUE(SubIntfId::parentIntfId(IntfId()) == IntfId());
}

TEST(IntfIdKinds, VlanInterfaceIsNeitherEthernetNorLagNorSubInterface) {
   IntfId const vlan = id("Vlan100");
   EXPECT_FALSE(EthIntfId::isEthIntfId(vlan));
   EXPECT_FALSE(PortChannelIntfId::isPortChannelIntfId(vlan));
   EXPECT_FALSE(SubIntfId::isSubIntfId(vlan));
   EXPECT_FALSE(vlan == id("Ethernet100"));
   EXPECT_FALSE(vlan == id("Port-Channel100"));
}

// ---- hash ------------------------------------------------------------------------

TEST(IntfIdHash, HashIsStableForTheSameId) {
   for (char const* name : acceptedNames) {
      IntfId const a(name);
      IntfId const b(name);
      EXPECT_EQ(a.hash(), b.hash()) << name;
      EXPECT_EQ(a.hash(), a.hash()) << name;
      IntfId const copy = a;
      EXPECT_EQ(copy.hash(), a.hash()) << name;
   }
   EXPECT_EQ(IntfId().hash(), IntfId().hash());
}

TEST(IntfIdHash, HashDiffersAcrossIds) {
   std::vector<IntfId> ids{IntfId()};
   for (char const* name : acceptedNames)
      ids.push_back(id(name));
   for (int port = 1; port <= 64; ++port) {
      for (int lane = 1; lane <= 8; ++lane) {
         std::string const name = "Ethernet" + std::to_string(port) + "/" + std::to_string(lane);
         ids.push_back(IntfId(name.c_str()));
         ids.push_back(IntfId((name + ".10").c_str()));
      }
      ids.push_back(IntfId(("Port-Channel" + std::to_string(port)).c_str()));
   }
   std::set<IntfId> const distinct(ids.begin(), ids.end());
   ASSERT_GT(distinct.size(), 1000u);
   std::set<std::uint32_t> hashes;
   for (IntfId const& i : distinct)
      hashes.insert(i.hash());
   EXPECT_EQ(hashes.size(), distinct.size());
}
