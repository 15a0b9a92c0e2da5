// The text trace: facilities and masks, the sink, the trace option of tools, and
// the text side of the trace statement.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Bridging/VlanTpid.h"
#include "Fen/Exception.h"
#include "Fen/Trace.h"
#include "Gantry/Trace.h"
#include "Kestin/IntfId.h"
#include "Lintel/TraceHandle.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/VlanTag.h"

FEN_TRACE_UNIT("TraceTestUnit");

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct Line {
   std::string facility;
   int level;
   std::string text;
   bool operator==(Line const&) const = default;
};

void PrintTo(Line const& l, std::ostream* os) {
   *os << l.facility << " " << l.level << " \"" << l.text << "\"";
}

constexpr std::uint32_t bit(int level) {
   return Fen::TraceFacility::levelBit(level);
}

// Captures every text line, with no Lintel handle and every level of the unit
// off at the start; puts the sink and the mask back afterwards.
class TraceText : public testing::Test {
protected:
   void SetUp() override {
      previousHandle_ = Lintel::defaultLintelHandleIs(nullptr);
      previousMask_ = Fen::TraceHandle::levelMask("TraceTestUnit");
      Fen::TraceHandle::levelMaskIs("TraceTestUnit", 0);
      previousSink_ = Fen::traceSinkIs([this](Fen::String const& f, int l, Fen::String const& t) {
         lines_.push_back(Line{f.stdString(), l, t.stdString()});
      });
   }
   void TearDown() override {
      Fen::traceSinkIs(previousSink_);
      Fen::TraceHandle::levelMaskIs("TraceTestUnit", previousMask_);
      Lintel::defaultLintelHandleIs(previousHandle_);
   }

   std::vector<Line> lines_;

private:
   Fen::TraceSink previousSink_;
   std::uint32_t previousMask_ = 0;
   Lintel::TraceHandle* previousHandle_ = nullptr;
};

int argumentCalls = 0;

Fen::String countedName() {
   ++argumentCalls;
   return Fen::String("Ethernet3/1");
}

void tracedHandler(bool isDel) {
   GANTRY_TRACE(8, "Unit::handler: %s isDel:%s", countedName(), isDel);
}

// A handler that computes something and traces along the way.
int sumOfVids(std::vector<Ulva::IntfEncap> const& encaps) {
   int sum = 0;
   for (Ulva::IntfEncap const& e : encaps) {
      GANTRY_TRACE(8, "Unit::sumOfVids: " GANTRY_ENCAP_FORMAT, GANTRY_ENCAP(e));
      if (e.encap().outerTag().vid() == Ulva::VlanTag::vidDefault) {
         GANTRY_TRACE(0, "Unit::sumOfVids: no outer tag, skipping");
         continue;
      }
      sum += e.encap().outerTag().vid();
      GANTRY_TRACE(7, "Unit::sumOfVids: sum %s", sum);
   }
   return sum;
}

std::vector<Ulva::IntfEncap> someEncaps() {
   return {
       Ulva::IntfEncap(Kestin::IntfId("Ethernet3/1"),
                       Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag())),
       Ulva::IntfEncap(Kestin::IntfId("Ethernet4"), Ulva::VlanTagEncap()),
       Ulva::IntfEncap(
           Kestin::IntfId("Port-Channel10.7"),
           Ulva::VlanTagEncap(Ulva::vlanTag(20, Bridging::vlanTpid88a8), Ulva::vlanTag(30))),
   };
}

}  // namespace

TEST_F(TraceText, DisabledStatementEvaluatesNoArgument) {
   argumentCalls = 0;
   tracedHandler(false);
   tracedHandler(true);
   EXPECT_EQ(argumentCalls, 0);
   EXPECT_TRUE(lines_.empty());
}

TEST_F(TraceText, EnabledLevelEvaluatesEachArgumentOnce) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(8));
   argumentCalls = 0;
   tracedHandler(false);
   EXPECT_EQ(argumentCalls, 1);
   EXPECT_EQ(lines_.size(), 1u);
}

TEST_F(TraceText, OtherLevelLeavesStatementOff) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(7) | bit(0));
   argumentCalls = 0;
   tracedHandler(false);
   EXPECT_EQ(argumentCalls, 0);
   EXPECT_TRUE(lines_.empty());
}

TEST_F(TraceText, BoolPrintsTrueAndFalse) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(8));
   tracedHandler(false);
   tracedHandler(true);
   EXPECT_THAT(lines_,
               ElementsAre(Line{"TraceTestUnit", 8, "Unit::handler: Ethernet3/1 isDel:false"},
                           Line{"TraceTestUnit", 8, "Unit::handler: Ethernet3/1 isDel:true"}));
}

TEST_F(TraceText, HandlerRunsToSameResultWithTracingOffOrOn) {
   int const off = sumOfVids(someEncaps());
   EXPECT_TRUE(lines_.empty());
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", Fen::TraceFacility::allLevels);
   int const on = sumOfVids(someEncaps());
   EXPECT_EQ(off, 120);
   EXPECT_EQ(on, off);
   EXPECT_EQ(lines_.size(), 6u);
}

TEST_F(TraceText, EncapStatementTextLines) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(0) | bit(7) | bit(8));
   sumOfVids(someEncaps());
   EXPECT_THAT(
       lines_,
       ElementsAre(
           Line{"TraceTestUnit", 8, "Unit::sumOfVids: (Ethernet3/1, 100:0x8100, 4095:0x8100)"},
           Line{"TraceTestUnit", 7, "Unit::sumOfVids: sum 100"},
           Line{"TraceTestUnit", 8, "Unit::sumOfVids: (Ethernet4, 4095:0x8100, 4095:0x8100)"},
           Line{"TraceTestUnit", 0, "Unit::sumOfVids: no outer tag, skipping"},
           Line{"TraceTestUnit", 8, "Unit::sumOfVids: (Port-Channel10.7, 20:0x88a8, 30:0x8100)"},
           Line{"TraceTestUnit", 7, "Unit::sumOfVids: sum 120"}));
}

TEST_F(TraceText, NumbersAndEnumsPrintThroughConverter) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(7));
   std::uint8_t const small = 7;
   std::int32_t const negative = -3;
   std::uint64_t const count = 5000000000ull;
   char const* cstr = "text";
   GANTRY_TRACE(7, "Unit::f: %s %s %s %s %s %s %s", Ulva::hwStatusSuccess, Bridging::vlanTpid9100,
                small, negative, count, cstr, std::string("std"));
   EXPECT_THAT(lines_,
               ElementsAre(Line{"TraceTestUnit", 7,
                                "Unit::f: hwStatusSuccess 0x9100 7 -3 5000000000 text std"}));
}

TEST_F(TraceText, StatementWithoutArguments) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(8));
   GANTRY_TRACE(8, "Unit::handleInitialized: ");
   EXPECT_THAT(lines_, ElementsAre(Line{"TraceTestUnit", 8, "Unit::handleInitialized: "}));
}

TEST_F(TraceText, HelperHandsOneLineToSink) {
   {
      Fen::TraceHelper h(_defaultTraceHandle(), 7, __FILE__, __LINE__, "helper");
      h << "count " << 3 << " flag " << true << " tpid " << Bridging::vlanTpid8100;
      EXPECT_TRUE(lines_.empty());
   }
   Fen::TraceHelper(_defaultTraceHandle(), 8, __FILE__, __LINE__, "helper") << "temporary";
   EXPECT_THAT(lines_, ElementsAre(Line{"TraceTestUnit", 7, "count 3 flag true tpid 0x8100"},
                                   Line{"TraceTestUnit", 8, "temporary"}));
}

TEST_F(TraceText, SinkIsReturnsPreviousSink) {
   std::vector<std::string> second;
   Fen::TraceSink mine = Fen::traceSinkIs([&second](Fen::String const&, int, Fen::String const& t) {
      second.push_back(t.stdString());
   });
   Fen::traceLineIs("Facility", 3, "to the second");
   // The returned sink is the capturing one of the fixture.
   mine("Facility", 4, "through the returned one");
   Fen::traceSinkIs(mine);
   Fen::traceLineIs("Facility", 5, "back to the first");
   EXPECT_THAT(second, ElementsAre("to the second"));
   EXPECT_THAT(lines_, ElementsAre(Line{"Facility", 4, "through the returned one"},
                                   Line{"Facility", 5, "back to the first"}));
}

TEST_F(TraceText, EmptySinkRestoresStderr) {
   Fen::TraceSink mine = Fen::traceSinkIs(Fen::TraceSink());
   testing::internal::CaptureStderr();
   Fen::traceLineIs("Facility", 8, "to stderr");
   std::string const err = testing::internal::GetCapturedStderr();
   Fen::traceSinkIs(mine);
   EXPECT_EQ(err, "Facility 8 to stderr\n");
}

TEST_F(TraceText, LinesFromSeveralThreadsStayWhole) {
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(8));
   std::mutex lock;
   std::vector<std::string> seen;
   Fen::TraceSink mine = Fen::traceSinkIs([&](Fen::String const&, int, Fen::String const& t) {
      std::lock_guard guard(lock);
      seen.push_back(t.stdString());
   });
   std::vector<std::thread> threads;
   for (int t = 0; t < 4; ++t) {
      threads.emplace_back([t] {
         for (int i = 0; i < 200; ++i)
            GANTRY_TRACE(8, "Unit::thread: %s %s", t, i);
      });
   }
   for (auto& th : threads)
      th.join();
   Fen::traceSinkIs(mine);
   ASSERT_EQ(seen.size(), 800u);
   for (std::string const& s : seen)
      EXPECT_THAT(s, testing::MatchesRegex("Unit::thread: [0-3] [0-9]+"));
}

// ---- Facilities and masks ----

TEST(TraceHandle, LevelBitIsSixteenPlusLevel) {
   EXPECT_EQ(Fen::TraceFacility::levelBit(0), 0x00010000u);
   EXPECT_EQ(Fen::TraceFacility::levelBit(8), 0x01000000u);
   EXPECT_EQ(Fen::TraceFacility::levelBit(15), 0x80000000u);
   EXPECT_EQ(Fen::TraceFacility::levelBit(16), 0u);
   EXPECT_EQ(Fen::TraceFacility::levelBit(-1), 0u);
}

TEST(TraceHandle, MaskSetAndReadByFacilityName) {
   std::uint32_t const before = Fen::TraceHandle::levelMask("TraceTestUnit");
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", bit(7) | bit(8));
   EXPECT_EQ(Fen::TraceHandle::levelMask("TraceTestUnit"), bit(7) | bit(8));
   EXPECT_EQ(_defaultTraceHandle().levelMask(), bit(7) | bit(8));
   EXPECT_TRUE(_defaultTraceHandle().levelEnabled(7));
   EXPECT_FALSE(_defaultTraceHandle().levelEnabled(0));
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", before);
}

TEST(TraceHandle, UnknownFacilityHasEmptyMask) {
   EXPECT_EQ(Fen::TraceHandle::levelMask("NoSuchFacilityAnywhere"), 0u);
}

TEST(TraceHandle, MaskSetBeforeRegistrationAppliesAtRegistration) {
   Fen::TraceHandle::levelMaskIs("LateFacility", bit(8));
   EXPECT_EQ(Fen::TraceHandle::levelMask("LateFacility"), bit(8));
   static constinit Fen::TraceHandle late("LateFacility");
   EXPECT_EQ(late.levelMask(), 0u);
   {
      Fen::TraceHandle::Registration reg(&late);
      EXPECT_EQ(late.levelMask(), bit(8));
      Fen::TraceHandle::levelMaskIs("LateFacility", bit(0));
      EXPECT_EQ(late.levelMask(), bit(0));
   }
   // Unregistered: later settings no longer reach it.
   Fen::TraceHandle::levelMaskIs("LateFacility", bit(7));
   EXPECT_EQ(late.levelMask(), bit(0));
}

TEST(TraceHandle, SettingReachesEveryHandleOfName) {
   static constinit Fen::TraceHandle a("SharedFacility");
   static constinit Fen::TraceHandle b("SharedFacility");
   Fen::TraceHandle::Registration ra(&a);
   Fen::TraceHandle::Registration rb(&b);
   Fen::TraceHandle::levelMaskIs("SharedFacility", bit(3));
   EXPECT_EQ(a.levelMask(), bit(3));
   EXPECT_EQ(b.levelMask(), bit(3));
   EXPECT_EQ(a.facility(), Fen::String("SharedFacility"));
}

TEST(TraceHandle, EnabledHandleStartsWithAllLevels) {
   constexpr char const* name = "EnabledFacility";
   static constinit Fen::TraceHandle h(name, true);
   EXPECT_EQ(h.levelMask(), Fen::TraceFacility::allLevels);
   EXPECT_STREQ(h.name(), "EnabledFacility");
}

// ---- The trace option of tools ----

TEST(TraceOption, OneFacilityWithLevels) {
   Fen::TraceMasks const m = Fen::traceMasks("WexIntfEncapSm/7,8");
   EXPECT_EQ(m.size(), 1u);
   EXPECT_EQ(m.at("WexIntfEncapSm"), bit(7) | bit(8));
}

TEST(TraceOption, SeveralFacilitiesAndRanges) {
   Fen::TraceMasks const m = Fen::traceMasks("WexIntfEncapSm/0-2,8;WexDynamicEncapSm/15;Other/4-4");
   EXPECT_EQ(m.size(), 3u);
   EXPECT_EQ(m.at("WexIntfEncapSm"), bit(0) | bit(1) | bit(2) | bit(8));
   EXPECT_EQ(m.at("WexDynamicEncapSm"), bit(15));
   EXPECT_EQ(m.at("Other"), bit(4));
}

TEST(TraceOption, RepeatedOptionsAddUp) {
   Fen::TraceMasks m;
   Fen::traceMasksAdd(m, "WexIntfEncapSm/7");
   Fen::traceMasksAdd(m, "WexIntfEncapSm/8;WexIntfEncapMuxSm/0");
   Fen::traceMasksAdd(m, "WexIntfEncapSm/7");
   EXPECT_EQ(m.at("WexIntfEncapSm"), bit(7) | bit(8));
   EXPECT_EQ(m.at("WexIntfEncapMuxSm"), bit(0));
}

TEST(TraceOption, ApplySetsFacilityMasks) {
   std::uint32_t const before = Fen::TraceHandle::levelMask("TraceTestUnit");
   Fen::traceMasksApply(Fen::traceMasks("TraceTestUnit/0,7"));
   EXPECT_EQ(_defaultTraceHandle().levelMask(), bit(0) | bit(7));
   Fen::TraceHandle::levelMaskIs("TraceTestUnit", before);
}

TEST(TraceOption, BadValuesRaiseRangeExceptionQuotingText) {
   struct Case {
      char const* value;
      char const* quoted;
   };
   Case const cases[] = {
       {"", "\"\""},
       {"WexIntfEncapSm", "\"WexIntfEncapSm\""},
       {"/7", "\"/7\""},
       {"WexIntfEncapSm/", "\"WexIntfEncapSm/\""},
       {"WexIntfEncapSm/16", "\"16\""},
       {"WexIntfEncapSm/x", "\"x\""},
       {"WexIntfEncapSm/7,,8", "\"\""},
       {"WexIntfEncapSm/8-7", "\"8-7\""},
       {"WexIntfEncapSm/-1", "\"-1\""},
       {"WexIntfEncapSm/7;", "\"\""},
       {"A/7;B", "\"B\""},
   };
   for (Case const& c : cases) {
      try {
         Fen::traceMasks(c.value);
         ADD_FAILURE() << "accepted \"" << c.value << "\"";
      } catch (Fen::RangeException const& e) {
         EXPECT_THAT(e.what(), HasSubstr(std::string("\"") + c.value + "\"")) << c.value;
         EXPECT_THAT(e.what(), HasSubstr(c.quoted)) << c.value;
      }
   }
}
