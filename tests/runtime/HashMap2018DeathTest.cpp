// Broken invariants of Fen::HashMap2018 end the process, with the expression as
// the message: a stored record whose key would change in place, a shift of more
// than one slot in a map of counted objects, and the use of an exhausted
// Fen::StdIterator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Fen/Accessors.h"
#include "Fen/HashMap2018.h"
#include "Fen/Ptr.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/VlanTag.h"

namespace {

// The runtime prints a failed assertion's message between ` and ': matching the
// quotes too holds the message to exactly the system's text, where a bare
// substring would also accept a longer expression that merely starts with it.
testing::Matcher<std::string const&> failedAssertion(std::string const& message) {
   return testing::HasSubstr("`" + message + "'");
}

Ulva::IntfEncap encapOf(int vid) {
   return Ulva::IntfEncap(
       Kestin::IntfId("Ethernet3/1"),
       Ulva::VlanTagEncap(Ulva::vlanTag(static_cast<std::uint32_t>(vid)), Ulva::VlanTag()));
}

// A record that holds its own key.
class EncapCost {
public:
   EncapCost() = default;
   EncapCost(Ulva::IntfEncap const& intfEncap, int cost) : intfEncap_(intfEncap), cost_(cost) {}
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }
   int cost() const { return cost_; }
   bool operator==(EncapCost const&) const = default;

private:
   Ulva::IntfEncap intfEncap_;
   int cost_ = 0;
};
struct EncapCostKey {
   Ulva::IntfEncap const& operator()(EncapCost const& r) const { return r.intfEncap(); }
};
struct FenCost {
   static constexpr std::uint32_t salt = 0xEEB06D1F;
   using KeyFunktor = EncapCostKey;
};
using CostMap = Fen::HashMap2018<FenCost, Ulva::IntfEncap, EncapCost>;

// A counted object that holds its own key.
class EncapObj : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("HashMap2018DeathTest::EncapObj")

public:
   explicit EncapObj(Ulva::IntfEncap const& intfEncap) : intfEncap_(intfEncap) {}
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }

private:
   Ulva::IntfEncap const intfEncap_;
};
struct EncapObjKey {
   Ulva::IntfEncap operator()(Fen::Ptr<EncapObj> const& p) const { return p->intfEncap(); }
};
struct FenObj {
   static constexpr std::uint32_t salt = 0x4ECC3302;
   using KeyFunktor = EncapObjKey;
};
using ObjMap = Fen::HashMap2018<FenObj, Ulva::IntfEncap, Fen::Ptr<EncapObj>>;
static_assert(!ObjMap::trivialNodes, "a map of counted objects has its own node moves");

// A plain owner of a record map, as generated classes hold one.
class CostTable {
public:
   FEN_COLLECTION_ACCESSORS(cost, CostMap, cost_)

private:
   CostMap cost_;
};

}  // namespace

TEST(HashMap2018Death, RecordWithAnotherKeyWrittenOverANodeAsserts) {
   CostMap m;
   m.memberIs(EncapCost(encapOf(10), 1));
   m.memberIs(EncapCost(encapOf(20), 2));
   EXPECT_DEATH(m.memberIs(encapOf(10), EncapCost(encapOf(20), 3)),
                failedAssertion("fwkKey() == KeyFunktor()( _value )"));
   EXPECT_DEATH(m.memberIs(encapOf(10), EncapCost(encapOf(30), 3)),
                failedAssertion("fwkKey() == KeyFunktor()( _value )"));
   // The same write with the node's own key is an ordinary overwrite.
   EXPECT_TRUE(m.memberIs(encapOf(10), EncapCost(encapOf(10), 3)));
   EXPECT_EQ(m.member(encapOf(10)).cost(), 3);
}

TEST(HashMap2018Death, GeneratedWriteOfAnotherKeyOverANodeAsserts) {
   CostTable t;
   t.costIs(EncapCost(encapOf(10), 1));
   EXPECT_DEATH(t.costIs(encapOf(10), EncapCost(encapOf(11), 1)),
                failedAssertion("fwkKey() == KeyFunktor()( _value )"));
   EXPECT_EQ(t.costs(), 1u);
}

TEST(HashMap2018Death, ObjectWithAnotherKeyWrittenOverANodeAsserts) {
   ObjMap m;
   m.memberIs(Fen::fenObjectIs<EncapObj>(encapOf(10)));
   EXPECT_DEATH(m.memberIs(encapOf(10), Fen::fenObjectIs<EncapObj>(encapOf(20))),
                failedAssertion("fwkKey() == KeyFunktor()( _value )"));
   m.memberDelAll();
}

TEST(HashMap2018Death, ShiftOfObjectNodesByMoreThanOneSlotAsserts) {
   // Empty storage for a few slots, zeroed: every slot reads as empty.
   std::vector<std::max_align_t> storage(16 * ObjMap::slotSize() / sizeof(std::max_align_t) + 16);
   EXPECT_DEATH(ObjMap::shift(storage.data(), 0, 2, 2), failedAssertion("slotsToShift == 1"));
   EXPECT_DEATH(ObjMap::shift(storage.data(), 1, 3, 3), failedAssertion("slotsToShift == 1"));
}

TEST(HashMap2018Death, StdIteratorOfAnEmptyMapDereferencedAsserts) {
   CostMap const m;
   Fen::StdIterator<CostMap> const walk(m);
   EXPECT_TRUE(walk == walk.end());
   EXPECT_DEATH((void)*walk, failedAssertion("iter_"));
}

TEST(HashMap2018Death, StdIteratorOfAnEmptyMapAdvancedAsserts) {
   CostMap const m;
   Fen::StdIterator<CostMap> walk(m);
   EXPECT_DEATH(++walk, failedAssertion("iter_"));
}

TEST(HashMap2018Death, StdIteratorWalkedToTheEndAssertsOnUse) {
   CostMap m;
   for (int vid = 1; vid <= 3; ++vid)
      m.memberIs(EncapCost(encapOf(vid), vid));
   Fen::StdIterator<CostMap> walk(m);
   int n = 0;
   for (; !(walk == walk.end()); ++walk)
      ++n;
   EXPECT_EQ(n, 3);
   EXPECT_DEATH((void)*walk, failedAssertion("iter_"));
   EXPECT_DEATH(++walk, failedAssertion("iter_"));
}

TEST(HashMap2018Death, StdIteratorEmptiedUnderItAssertsOnUse) {
   ObjMap m;
   for (int vid = 1; vid <= 5; ++vid)
      m.memberIs(Fen::fenObjectIs<EncapObj>(encapOf(vid)));
   Fen::StdIterator<ObjMap> walk(m);
   EXPECT_EQ((*walk)->references(), 2u);  // the map's and the walk's
   m.memberDelAll();
   ++walk;
   EXPECT_TRUE(walk == walk.end());
   EXPECT_DEATH((void)*walk, failedAssertion("iter_"));
}
