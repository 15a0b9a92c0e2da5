// A value record's field table and what is made from it: the table read at
// compile time, equality over every field, the hash, the string form and its
// strict parser, on a record of this test and on the system's own records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/Hash.h"
#include "Fen/Record.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/VlanTag.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace RecordTest {

using testing::ElementsAre;
using testing::HasSubstr;

// A record with a key, a number, a nested record and a field whose text needs
// more than its type's parser (an even number).
class Probe {
public:
   Probe() = default;
   explicit Probe(Kestin::IntfId id) : id_(id) {}
   Probe(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   Kestin::IntfId id() const { return id_; }
   std::uint16_t count() const { return count_; }
   void countIs(std::uint16_t c) { count_ = c; }
   Ulva::VlanTagEncap const& tag() const { return tag_; }
   void tagIs(Ulva::VlanTagEncap const& t) { tag_ = t; }
   std::uint32_t even() const { return even_; }
   void evenIs(std::uint32_t e) {
      if (e % 2) Fen::throwRangeException("odd number not allowed");
      even_ = e;
   }

   bool operator==(Probe const& o) const { return Fen::recordEqual(*this, o); }
   std::uint32_t hash(std::uint32_t seed) const { return Fen::recordHash(*this, seed); }

private:
   static void parseEven(Probe& p, Fen::String::IteratorConst& it,
                         Fen::String::IteratorConst const& end) {
      p.evenIs(static_cast<std::uint32_t>(Fen::sequenceToDecimal(it, end)));
   }

   Kestin::IntfId id_;
   std::uint16_t count_ = 0;
   Ulva::VlanTagEncap tag_;
   std::uint32_t even_ = 0;

public:
   using FenFields =
       Fen::Fields<"RecordTest::Probe", Fen::Field<&Probe::id_, "id", Fen::ctorOnly>,
                   Fen::Field<&Probe::count_, "count">, Fen::Field<&Probe::tag_, "tag">,
                   Fen::Field<&Probe::even_, "even", Fen::writable, &Probe::parseEven>>;
};

Ulva::VlanTagEncap tagOf(std::uint32_t vid) {
   return Ulva::VlanTagEncap(Ulva::vlanTag(vid), Ulva::VlanTag());
}

Probe full() {
   Probe p(Kestin::IntfId("Ethernet1"));
   p.countIs(7);
   p.tagIs(tagOf(100));
   p.evenIs(4);
   return p;
}

Probe parsed(std::string const& text) {
   Fen::String const s(text);
   Fen::String::IteratorConst it = s.begin();
   Probe p(it, s.end());
   Fen::strepToValueEnd(s, it);
   return p;
}

template <class R>
std::vector<std::string> namesOf() {
   std::vector<std::string> out;
   Fen::forEachField<R>([&](auto f) { out.emplace_back(f.name); });
   return out;
}

template <class R>
std::vector<bool> ctorOnlyOf() {
   std::vector<bool> out;
   Fen::forEachField<R>([&](auto f) { out.push_back(f.access == Fen::ctorOnly); });
   return out;
}

std::string const fullText =
    "Value('RecordTest::Probe', ** {'id': 'Ethernet1', 'count': 7, 'tag': "
    "Value('Ulva::VlanTagEncap', ** {'outerTag': "
    "Value('Ulva::VlanTag', ** {'vid': 100, 'tpid': 0x8100, 'tagFlags': 0}), 'innerTag': "
    "Value('Ulva::VlanTag', ** {'vid': 4095, 'tpid': 0x8100, 'tagFlags': 0})}), 'even': 4})";

static_assert(Fen::fieldCount<Probe>() == 4);
static_assert(Fen::fieldCount<WexVlanMapping::WexIntfEncapHwConfig>() == 6);
static_assert(Fen::fieldCount<WexVlanMapping::WexDynamicIntfEncapInfo>() == 4);
static_assert(Fen::fieldCount<Ulva::IntfEncap>() == 2);
static_assert(Fen::fieldCount<Ulva::VlanTag>() == 3);
static_assert(Probe::FenFields::name == "RecordTest::Probe");

TEST(FenRecord, TableGivesNamesAndAccessInDeclarationOrder) {
   EXPECT_THAT(namesOf<Probe>(), ElementsAre("id", "count", "tag", "even"));
   EXPECT_THAT(ctorOnlyOf<Probe>(), ElementsAre(true, false, false, false));
   EXPECT_THAT(namesOf<WexVlanMapping::WexIntfEncapHwConfig>(),
               ElementsAre("intfEncap", "egressEncap", "source", "fwdInfo", "lagId", "retryCnt"));
   EXPECT_THAT(ctorOnlyOf<WexVlanMapping::WexIntfEncapHwConfig>(),
               ElementsAre(true, false, false, true, true, false));
   EXPECT_THAT(namesOf<Ulva::ServiceIntfFwdInfo>(),
               ElementsAre("serviceIntf", "serviceType", "fwdData"));
}

TEST(FenRecord, EqualityComparesEveryField) {
   Probe const base = full();
   EXPECT_EQ(base, full());
   Probe other = full();
   other = Probe(Kestin::IntfId("Ethernet2"));
   other.countIs(7);
   other.tagIs(tagOf(100));
   other.evenIs(4);
   EXPECT_NE(base, other);
   other = full();
   other.countIs(8);
   EXPECT_NE(base, other);
   other = full();
   other.tagIs(tagOf(101));
   EXPECT_NE(base, other);
   other = full();
   other.evenIs(6);
   EXPECT_NE(base, other);
}

TEST(FenRecord, HashMixesEachFieldWordInOrder) {
   Probe const p = full();
   Fen::Hash h(9);
   h.hashMix<4>(Kestin::IntfId("Ethernet1").hash());
   h.hashMix<4>(7);
   h.hashMix<4>(tagOf(100).hash(0));
   h.hashMix<4>(4);
   EXPECT_EQ(p.hash(9), h.result());
   EXPECT_NE(p.hash(9), p.hash(10));
   Probe other = full();
   other.countIs(8);
   EXPECT_NE(p.hash(9), other.hash(9));
   other = full();
   other.evenIs(6);
   EXPECT_NE(p.hash(9), other.hash(9));
}

TEST(FenRecord, StringFormListsFieldsInDeclarationOrder) {
   EXPECT_EQ(Fen::recordToStrep(full()).stdString(), fullText);
   EXPECT_EQ(Fen::recordToStrep(Probe()).stdString(),
             "Value('RecordTest::Probe', ** {'id': '', 'count': 0, 'tag': "
             "Value('Ulva::VlanTagEncap', ** {'outerTag': "
             "Value('Ulva::VlanTag', ** {'vid': 4095, 'tpid': 0x8100, 'tagFlags': 0}), 'innerTag': "
             "Value('Ulva::VlanTag', ** {'vid': 4095, 'tpid': 0x8100, 'tagFlags': 0})}), "
             "'even': 0})");
}

TEST(FenRecord, ParserGivesBackWhatTheStringFormWrote) {
   EXPECT_EQ(parsed(fullText), full());
   EXPECT_EQ(Fen::recordToStrep(parsed(fullText)).stdString(), fullText);
}

// The message of the parser's refusal of `text` with `from` replaced by `to`;
// empty when the text was taken.
std::string refusal(std::string const& from, std::string const& to) {
   std::string text = fullText;
   text.replace(text.find(from), from.size(), to);
   try {
      parsed(text);
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "";
}

TEST(FenRecord, ParserNamesTheFieldThatFailed) {
   EXPECT_THAT(refusal("'count': 7", "'count': 70000"), HasSubstr("attribute 'count'"));
}

TEST(FenRecord, ParserRunsAFieldsOwnParseAndNamesIt) {
   std::string const message = refusal("'even': 4", "'even': 5");
   EXPECT_THAT(message, HasSubstr("attribute 'even'"));
   EXPECT_THAT(message, HasSubstr("odd number not allowed"));
}

TEST(FenRecord, ParserRefusesAFieldOutOfOrderOrAMissingEnd) {
   std::string swapped = fullText;
   swapped.replace(swapped.find("'count'"), 7, "'kount'");
   EXPECT_THROW(parsed(swapped), Fen::RangeException);
   EXPECT_THROW(parsed(fullText.substr(0, fullText.size() - 2)), Fen::RangeException);
   EXPECT_THROW(parsed("Value('RecordTest::Other', ** {'id': ''})"), Fen::RangeException);
}

TEST(FenRecord, SystemRecordsKeepTheirStringForms) {
   WexVlanMapping::WexIntfEncapHwConfig c(
       Ulva::IntfEncap(Kestin::IntfId("Ethernet1"), Ulva::VlanTagEncap(Ulva::vlanTag(5), {})),
       Ulva::ServiceIntfFwdInfo(Kestin::IntfId("Vlan5")), Kestin::IntfId());
   c.retryCntIs(3);
   std::string const text = valueToStrep(c).stdString();
   EXPECT_EQ(text.rfind("Value('WexVlanMapping::WexIntfEncapHwConfig', ** {'intfEncap': "
                        "Value('Ulva::IntfEncap', ** {'intfId': 'Ethernet1', 'encap': ",
                        0),
             0u);
   EXPECT_THAT(text, HasSubstr(", 'lagId': '', 'retryCnt': 3})"));
   WexVlanMapping::WexIntfEncapHwConfig back;
   Fen::strepToValue(Fen::String(text), &back);
   EXPECT_EQ(back, c);
}

}  // namespace RecordTest
