// Ulva::VlanTag, Ulva::VlanTagEncap and Ulva::IntfEncap: defaults, the legal vid
// range, equality, order and the seeded hash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Bridging/VlanTpid.h"
#include "Fen/Exception.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/VlanTag.h"

namespace {

char const vidRefusal[] = "Ulva::VlanTag::vid < 0 or > 4097 not allowed";

Ulva::VlanTag tag(std::uint32_t vid, Bridging::VlanTpid tpid = Bridging::vlanTpid8100,
                  std::uint8_t flags = 0) {
   Ulva::VlanTag t = Ulva::vlanTag(vid, tpid);
   t.tagFlagsIs(flags);
   return t;
}

Ulva::IntfEncap encap(char const* intf, Ulva::VlanTag outer = Ulva::VlanTag(),
                      Ulva::VlanTag inner = Ulva::VlanTag()) {
   return Ulva::IntfEncap(Kestin::IntfId(intf), Ulva::VlanTagEncap(outer, inner));
}

// Keys that differ from each other in exactly one field or more.
std::vector<Ulva::IntfEncap> distinctEncaps() {
   return {
       Ulva::IntfEncap(),
       encap("Ethernet1"),
       encap("Ethernet2"),
       encap("Ethernet1", tag(100)),
       encap("Ethernet1", tag(101)),
       encap("Ethernet1", tag(100), tag(200)),
       encap("Ethernet1", tag(200), tag(100)),
       encap("Ethernet1", tag(100, Bridging::vlanTpid88a8)),
       encap("Ethernet1", tag(100, Bridging::vlanTpid8100, 1)),
       encap("Ethernet1", tag(100), tag(200, Bridging::vlanTpid8100, 2)),
       encap("Ethernet1", tag(4096)),
       encap("Ethernet1", tag(4097)),
       encap("Ethernet1", tag(0)),
       encap("Ethernet1.100", tag(100)),
       encap("Port-Channel10", tag(100)),
       encap("Port-Channel10.7"),
   };
}

std::string refusalOf(std::uint32_t vid) {
   Ulva::VlanTag t;
   try {
      t.vidIs(vid);
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "";
}

}  // namespace

// ---- VlanTag -------------------------------------------------------------------

TEST(VlanTag, DefaultIsNoTagWithTpid8100AndNoFlags) {
   Ulva::VlanTag const t;
   EXPECT_EQ(t.vid(), 4095u);
   EXPECT_EQ(t.vid(), Ulva::VlanTag::vidDefault);
   EXPECT_EQ(t.tpid(), Bridging::vlanTpid8100);
   EXPECT_EQ(static_cast<std::uint16_t>(t.tpid()), 0x8100u);
   EXPECT_EQ(t.tagFlags(), 0u);
}

TEST(VlanTag, EveryVidUpTo4097IsLegal) {
   for (std::uint32_t vid = 0; vid <= 4097; ++vid) {
      Ulva::VlanTag t;
      ASSERT_NO_THROW(t.vidIs(vid)) << vid;
      ASSERT_EQ(t.vid(), vid);
   }
}

TEST(VlanTag, Vids4096And4097AreLegalAndDistinct) {
   Ulva::VlanTag a, b;
   a.vidIs(4096);
   b.vidIs(4097);
   EXPECT_EQ(a.vid(), 4096u);
   EXPECT_EQ(b.vid(), 4097u);
   EXPECT_FALSE(a == b);
   EXPECT_FALSE(a == Ulva::VlanTag());
   EXPECT_EQ(Ulva::vlanTag(4097).vid(), 4097u);
}

TEST(VlanTag, Vid4098IsRefusedWithItsMessage) {
   Ulva::VlanTag t;
   t.vidIs(100);
   try {
      t.vidIs(4098);
      FAIL() << "4098 accepted";
   } catch (Fen::RangeException const& e) {
      EXPECT_STREQ(e.what(), vidRefusal);
      EXPECT_EQ(e.message(), Fen::String(vidRefusal));
   }
   EXPECT_EQ(t.vid(), 100u) << "a refused vid leaves the tag as it was";
}

TEST(VlanTag, EveryVidAbove4097IsRefusedWithTheSameMessage) {
   for (std::uint32_t vid : {4098u, 4099u, 8191u, 0xFFFFu, 0x10000u, 0x10FFFu, 0xFFFFFFFFu}) {
      EXPECT_EQ(refusalOf(vid), vidRefusal) << vid;
   }
}

TEST(VlanTag, BuildingATagFromNumbersRefusesVid4098) {
   EXPECT_THROW(Ulva::vlanTag(4098), Fen::RangeException);
   EXPECT_THROW(Ulva::vlanTag(65536 + 100), Fen::RangeException);
   Ulva::VlanTag const t = Ulva::vlanTag(7, Bridging::vlanTpid88a8);
   EXPECT_EQ(t.vid(), 7u);
   EXPECT_EQ(t.tpid(), Bridging::vlanTpid88a8);
   EXPECT_EQ(t.tagFlags(), 0u);
}

TEST(VlanTag, EqualityTakesEveryField) {
   EXPECT_TRUE(tag(10) == tag(10));
   EXPECT_FALSE(tag(10) == tag(11));
   EXPECT_FALSE(tag(10) == tag(10, Bridging::vlanTpid88a8));
   EXPECT_FALSE(tag(10) == tag(10, Bridging::vlanTpid8100, 1));
   Ulva::VlanTag t;
   t.tpidIs(Bridging::vlanTpid9100);
   EXPECT_EQ(t.tpid(), Bridging::vlanTpid9100);
   EXPECT_FALSE(t == Ulva::VlanTag());
   t.tpidIs(Bridging::vlanTpid8100);
   EXPECT_TRUE(t == Ulva::VlanTag());
}

// ---- VlanTagEncap ----------------------------------------------------------------

TEST(VlanTagEncap, DefaultHasBothTagsAtTheirDefaults) {
   Ulva::VlanTagEncap const e;
   EXPECT_TRUE(e.outerTag() == Ulva::VlanTag());
   EXPECT_TRUE(e.innerTag() == Ulva::VlanTag());
   EXPECT_TRUE(e == Ulva::VlanTagEncap(Ulva::VlanTag(), Ulva::VlanTag()));
}

TEST(VlanTagEncap, OuterAndInnerTagsAreNotInterchangeable) {
   Ulva::VlanTagEncap const a(tag(100), tag(200));
   Ulva::VlanTagEncap const b(tag(200), tag(100));
   EXPECT_FALSE(a == b);
   EXPECT_TRUE(a < b || b < a);
   EXPECT_EQ(a.outerTag().vid(), 100u);
   EXPECT_EQ(a.innerTag().vid(), 200u);
}

TEST(VlanTagEncap, EqualEncapsHashEqually) {
   Ulva::VlanTagEncap const a(tag(100), tag(200));
   Ulva::VlanTagEncap const b(tag(100), tag(200));
   for (std::uint32_t seed : {0u, 1u, 0x0614B468u, 0xFFFFFFFFu})
      EXPECT_EQ(a.hash(seed), b.hash(seed));
   EXPECT_NE(a.hash(1), a.hash(2));
}

// ---- IntfEncap -------------------------------------------------------------------

TEST(IntfEncap, DefaultEqualsAFreshlyBuiltOne) {
   Ulva::IntfEncap const none;
   EXPECT_TRUE(none == Ulva::IntfEncap());
   EXPECT_TRUE(none == Ulva::IntfEncap(Kestin::IntfId()));
   EXPECT_TRUE(none == Ulva::IntfEncap(Kestin::IntfId(), Ulva::VlanTagEncap()));
   EXPECT_TRUE(none.intfId() == Kestin::IntfId());
   EXPECT_TRUE(none.encap() == Ulva::VlanTagEncap());
   EXPECT_FALSE(none < Ulva::IntfEncap());
   EXPECT_EQ(none.hash(0x1234), Ulva::IntfEncap().hash(0x1234));
}

TEST(IntfEncap, ServiceEncapIsTheInterfaceWithDefaultTags) {
   Ulva::IntfEncap const svc(Kestin::IntfId("Ethernet3/1.100"));
   EXPECT_TRUE(svc.intfId() == Kestin::IntfId("Ethernet3/1.100"));
   EXPECT_TRUE(svc.encap() == Ulva::VlanTagEncap());
   EXPECT_FALSE(svc == Ulva::IntfEncap());
}

TEST(IntfEncap, EqualityTakesTheIdAndEveryTagField) {
   std::vector<Ulva::IntfEncap> const keys = distinctEncaps();
   for (std::size_t i = 0; i < keys.size(); ++i) {
      for (std::size_t j = 0; j < keys.size(); ++j) {
         EXPECT_EQ(keys[i] == keys[j], i == j) << keys[i] << " vs " << keys[j];
      }
   }
}

TEST(IntfEncap, OrderIsStrictTotalAndByInterfaceFirst) {
   std::vector<Ulva::IntfEncap> const keys = distinctEncaps();
   for (auto const& a : keys) {
      EXPECT_FALSE(a < a) << a;
      for (auto const& b : keys) {
         EXPECT_EQ(int(a < b) + int(b < a) + int(a == b), 1) << a << " vs " << b;
         if (!(a.intfId() == b.intfId())) {
            EXPECT_EQ(a < b, a.intfId() < b.intfId()) << a << " vs " << b;
         }
         for (auto const& c : keys) {
            if (a < b && b < c) {
               EXPECT_TRUE(a < c) << a << " " << b << " " << c;
            }
         }
      }
   }
   EXPECT_TRUE(encap("Ethernet2", tag(4000)) < encap("Ethernet10", tag(1)));
   std::set<Ulva::IntfEncap> const set(keys.begin(), keys.end());
   EXPECT_EQ(set.size(), keys.size());
}

TEST(IntfEncap, EqualKeysHashEquallyUnderEverySeed) {
   for (std::uint32_t seed : {0u, 1u, 0x0614B468u, 0x7546BC2Eu, 0xFFFFFFFFu}) {
      for (auto const& k : distinctEncaps()) {
         Ulva::IntfEncap const copy = k;
         Ulva::IntfEncap const rebuilt(
             Kestin::IntfId(k.intfId().stringValue()),
             Ulva::VlanTagEncap(k.encap().outerTag(), k.encap().innerTag()));
         EXPECT_EQ(copy.hash(seed), k.hash(seed)) << k;
         EXPECT_EQ(rebuilt.hash(seed), k.hash(seed)) << k;
      }
   }
}

TEST(IntfEncap, DifferentSeedsGiveDifferentHashes) {
   for (auto const& k : distinctEncaps()) {
      std::set<std::uint32_t> hashes;
      std::vector<std::uint32_t> const seeds{0u,          1u,          2u,         0x0614B468u,
                                             0x7546BC2Eu, 0x80000000u, 0xFFFFFFFFu};
      for (std::uint32_t seed : seeds)
         hashes.insert(k.hash(seed));
      EXPECT_EQ(hashes.size(), seeds.size()) << k;
   }
}

TEST(IntfEncap, DifferentKeysGiveDifferentHashes) {
   std::vector<Ulva::IntfEncap> const keys = distinctEncaps();
   for (std::uint32_t seed : {0u, 0x0614B468u}) {
      std::set<std::uint32_t> hashes;
      for (auto const& k : keys)
         hashes.insert(k.hash(seed));
      EXPECT_EQ(hashes.size(), keys.size()) << "seed " << seed;
   }
}

TEST(IntfEncap, PrintsInterfaceAndBothTags) {
   std::ostringstream os;
   os << encap("Ethernet3/1", tag(100));
   EXPECT_THAT(os.str(), testing::HasSubstr("Ethernet3/1"));
   EXPECT_THAT(os.str(), testing::HasSubstr("100"));
   EXPECT_THAT(os.str(), testing::HasSubstr("4095"));
}
