// WexEncapHwStatusDecoder: members, the three counters kept in step with them,
// the aggregate read from the counters, and the assertions that end the process
// when map and counters disagree.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/VlanTag.h"
#include "WexVlanMapping/WexEncapHwStatusDecoder.h"
#include "WexVlanMapping/WexModules.h"

namespace {

using testing::HasSubstr;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;
using WexVlanMapping::WexEncapHwStatusDecoder;

char const invalidStatusMessage[] = "0 && \"invalid IntfEncapHwStatus\"";
char const outOfStepMessage[] = "hwStatuss() == hwStatusCount()";

// A member encap: a port of a LAG with one outer tag.
Ulva::IntfEncap memberEncap(int port, std::uint32_t vid = 100) {
   return Ulva::IntfEncap(Kestin::IntfId(("Ethernet" + std::to_string(port)).c_str()),
                          Ulva::VlanTagEncap(Ulva::vlanTag(vid), Ulva::VlanTag()));
}

// The decoder's own key: the LAG encap.
Ulva::IntfEncap const lagEncap(Kestin::IntfId("Port-Channel10"),
                               Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));

Fen::Ptr<WexEncapHwStatusDecoder> newDecoder() {
   return WexVlanMapping::wexEncapHwStatusDecoderFactory(lagEncap);
}

struct Counts {
   std::uint32_t failed;
   std::uint32_t notReady;
   std::uint32_t success;
};

void expectCounts(WexEncapHwStatusDecoder const& d, Counts c) {
   EXPECT_EQ(d.failedCount(), c.failed);
   EXPECT_EQ(d.notReadyCount(), c.notReady);
   EXPECT_EQ(d.successCount(), c.success);
   EXPECT_EQ(d.hwStatusCount(), c.failed + c.notReady + c.success);
}

}  // namespace

// ---- creation -----------------------------------------------------------------

TEST(WexEncapHwStatusDecoderCreation, FactoryGivesAnActiveEmptyDecoder) {
   auto const* info = Fen::AllocTrackTypeInfo::typeInfoIs(WexEncapHwStatusDecoder::fenTypeName());
   std::int64_t const live = info->liveObjects();

   auto d = WexVlanMapping::wexEncapHwStatusDecoderFactory(lagEncap);
   ASSERT_TRUE(d);
   EXPECT_EQ(d->references(), 1u);
   EXPECT_TRUE(d->hasNotificationActive());
   EXPECT_EQ(d->intfEncap(), lagEncap);
   EXPECT_EQ(d->hwStatuss(), 0u);
   expectCounts(*d, {0, 0, 0});
   EXPECT_EQ(info->liveObjects(), live + 1);
   EXPECT_EQ(d->fenAllocTrackTypeInfo(), info);
}

TEST(WexEncapHwStatusDecoderCreation, StaticCreatorGivesAnActiveEmptyDecoder) {
   auto d = WexEncapHwStatusDecoder::WexEncapHwStatusDecoderIs(lagEncap);
   ASSERT_TRUE(d);
   EXPECT_EQ(d->references(), 1u);
   EXPECT_TRUE(d->hasNotificationActive());
   EXPECT_EQ(d->intfEncap(), lagEncap);
   EXPECT_EQ(d->hwStatuss(), 0u);
   expectCounts(*d, {0, 0, 0});
}

TEST(WexEncapHwStatusDecoderCreation, EachCallMakesANewDecoder) {
   auto a = WexVlanMapping::wexEncapHwStatusDecoderFactory(lagEncap);
   auto b = WexEncapHwStatusDecoder::WexEncapHwStatusDecoderIs(lagEncap);
   EXPECT_FALSE(a == b);
   a->updateMember(memberEncap(1), hwStatusSuccess);
   EXPECT_EQ(b->hwStatuss(), 0u);
}

TEST(WexEncapHwStatusDecoderCreation, TypeIsIndexOneOfTheStateMachineModule) {
   auto d = newDecoder();
   Fen::FwkType const type = d->fwkType();
   EXPECT_EQ(type.module, &WexVlanMapping::wexIntfEncapSmModule);
   EXPECT_EQ(type.index, 1u);
   ASSERT_NE(type.module, nullptr);
   EXPECT_STREQ(type.module->name, "WexIntfEncapSm");
}

TEST(WexEncapHwStatusDecoderCreation, DecoderTakesPartInNoNotification) {
   auto d = newDecoder();
   Fen::NotifieeListDesc const desc = d->notifieeList();
   EXPECT_EQ(desc.list, nullptr);
}

// ---- the edge cases of the aggregate and the counters -------------------------

TEST(WexEncapHwStatusDecoder, NewDecoderHasNoCountAndReadsFailedForBothArguments) {
   auto d = newDecoder();
   EXPECT_EQ(d->hwStatusCount(), 0u);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusFailed);
   EXPECT_EQ(d->aggrHwStatus(true), hwStatusFailed);
}

TEST(WexEncapHwStatusDecoder, SuccessAndFailedMembersAreFailedStrictlyAndSuccessWithAnySuccessful) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->updateMember(memberEncap(2), hwStatusFailed);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusFailed);
   EXPECT_EQ(d->aggrHwStatus(true), hwStatusSuccess);
}

TEST(WexEncapHwStatusDecoder, NotReadyAndFailedMembersWithAnySuccessfulAreFailed) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusNotReady);
   d->updateMember(memberEncap(2), hwStatusFailed);
   EXPECT_EQ(d->aggrHwStatus(true), hwStatusFailed);
}

TEST(WexEncapHwStatusDecoder, SuccessAndNotReadyMembersAreNotReadyStrictly) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->updateMember(memberEncap(2), hwStatusNotReady);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusNotReady);
}

TEST(WexEncapHwStatusDecoder, UpdateTwiceWithTheSameStatusLeavesTheCountersAsAfterTheFirst) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusNotReady);
   expectCounts(*d, {0, 1, 0});
   d->updateMember(memberEncap(1), hwStatusNotReady);
   expectCounts(*d, {0, 1, 0});
   EXPECT_EQ(d->hwStatuss(), 1u);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusNotReady);
}

TEST(WexEncapHwStatusDecoder, UpdateFromNotReadyToSuccessMovesOneCount) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusNotReady);
   d->updateMember(memberEncap(2), hwStatusNotReady);
   expectCounts(*d, {0, 2, 0});
   d->updateMember(memberEncap(1), hwStatusSuccess);
   expectCounts(*d, {0, 1, 1});
   EXPECT_EQ(d->hwStatuss(), 2u);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusSuccess);
   EXPECT_EQ(d->hwStatus(memberEncap(2)), hwStatusNotReady);
}

TEST(WexEncapHwStatusDecoder, RemovingAKeyThatIsNoMemberChangesNothing) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->updateMember(memberEncap(2), hwStatusFailed);
   d->removeMember(memberEncap(3));
   d->removeMember(memberEncap(1, 200));  // same port, another tag
   expectCounts(*d, {1, 0, 1});
   EXPECT_EQ(d->hwStatuss(), 2u);
   EXPECT_TRUE(d->hwStatusHas(memberEncap(1)));
   EXPECT_TRUE(d->hwStatusHas(memberEncap(2)));

   auto empty = newDecoder();
   empty->removeMember(memberEncap(1));
   expectCounts(*empty, {0, 0, 0});
   EXPECT_EQ(empty->hwStatuss(), 0u);
}

TEST(WexEncapHwStatusDeathTest, UpdateWithAByteOutsideTheEnumerationAborts) {
   auto d = newDecoder();
   EXPECT_DEATH(d->updateMember(memberEncap(1), static_cast<Ulva::IntfEncapHwStatus>(3)),
                HasSubstr(invalidStatusMessage));
}

TEST(WexEncapHwStatusDeathTest, UpdateOfAMemberToAByteOutsideTheEnumerationAborts) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   EXPECT_DEATH(d->updateMember(memberEncap(1), static_cast<Ulva::IntfEncapHwStatus>(0xFF)),
                HasSubstr(invalidStatusMessage));
}

TEST(WexEncapHwStatusDeathTest, CountDecWithAByteOutsideTheEnumerationAborts) {
   auto d = newDecoder();
   EXPECT_DEATH(d->hwStatusCountDec(static_cast<Ulva::IntfEncapHwStatus>(7)),
                HasSubstr(invalidStatusMessage));
}

TEST(WexEncapHwStatusDeathTest, CountIncWithAByteOutsideTheEnumerationAborts) {
   auto d = newDecoder();
   EXPECT_DEATH(d->hwStatusCountInc(static_cast<Ulva::IntfEncapHwStatus>(3)),
                HasSubstr(invalidStatusMessage));
}

TEST(WexEncapHwStatusDeathTest, RemoveAfterAMemberAddedWithoutACountAborts) {
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusSuccess);
   EXPECT_EQ(d->hwStatuss(), 1u);
   EXPECT_EQ(d->hwStatusCount(), 0u);
   EXPECT_DEATH(d->removeMember(memberEncap(1)), HasSubstr(outOfStepMessage));
}

TEST(WexEncapHwStatusDeathTest, RemoveOfANonMemberAfterAMemberAddedWithoutACountAborts) {
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusNotReady);
   EXPECT_DEATH(d->removeMember(memberEncap(2)), HasSubstr(outOfStepMessage));
}

TEST(WexEncapHwStatusDeathTest, UpdateThatChangesAStatusAfterAMemberAddedWithoutACountAborts) {
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusNotReady);
   EXPECT_DEATH(d->updateMember(memberEncap(1), hwStatusSuccess), HasSubstr(outOfStepMessage));
}

TEST(WexEncapHwStatusDeathTest, UpdateOfAnotherMemberAfterAMemberAddedWithoutACountAborts) {
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusNotReady);
   EXPECT_DEATH(d->updateMember(memberEncap(2), hwStatusSuccess), HasSubstr(outOfStepMessage));
}

TEST(WexEncapHwStatusDecoder, UpdateWithTheRecordedStatusReturnsBeforeTheInvariantCheck) {
   // A repeat of the recorded status changes nothing and asserts nothing, even
   // while map and counters disagree.
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusNotReady);
   d->updateMember(memberEncap(1), hwStatusNotReady);
   EXPECT_EQ(d->hwStatuss(), 1u);
   expectCounts(*d, {0, 0, 0});
}

// ---- the aggregate, rule by rule, for both arguments -----------------------------
//
// aggrHwStatus reads the counters and takes the first rule that applies:
//   1. anySuccessful and a success counted   -> success
//   2. a failure counted                     -> failed
//   3. a not-ready counted                   -> not ready
//   4. a success counted                     -> success
//   5. nothing counted                       -> failed

namespace {

struct AggregateCase {
   char const* name;
   Counts counts;
   Ulva::IntfEncapHwStatus strict;         // anySuccessful false
   Ulva::IntfEncapHwStatus anySuccessful;  // anySuccessful true
};

// Every combination of empty and non-empty counters; the comment names the rule
// that decides each result.
AggregateCase const aggregateCases[] = {
    // all zero: rule 5 either way
    {"NoMembers", {0, 0, 0}, hwStatusFailed, hwStatusFailed},
    // success only: rule 4 strictly, rule 1 with anySuccessful
    {"SuccessOnly", {0, 0, 2}, hwStatusSuccess, hwStatusSuccess},
    // not-ready only: rule 3 either way
    {"NotReadyOnly", {0, 3, 0}, hwStatusNotReady, hwStatusNotReady},
    // failed only: rule 2 either way
    {"FailedOnly", {1, 0, 0}, hwStatusFailed, hwStatusFailed},
    // not-ready and success: rule 3 strictly, rule 1 with anySuccessful
    {"NotReadyAndSuccess", {0, 1, 1}, hwStatusNotReady, hwStatusSuccess},
    // failed and success: rule 2 strictly, rule 1 with anySuccessful
    {"FailedAndSuccess", {2, 0, 1}, hwStatusFailed, hwStatusSuccess},
    // failed and not-ready: rule 2 either way
    {"FailedAndNotReady", {1, 1, 0}, hwStatusFailed, hwStatusFailed},
    // all three: rule 2 strictly, rule 1 with anySuccessful
    {"AllThree", {1, 2, 3}, hwStatusFailed, hwStatusSuccess},
};

class WexEncapHwStatusDecoderAggregate : public testing::TestWithParam<AggregateCase> {};

}  // namespace

TEST_P(WexEncapHwStatusDecoderAggregate, MembersFoldIntoTheStatusOfTheFirstRuleThatApplies) {
   AggregateCase const& c = GetParam();
   auto d = newDecoder();
   int port = 1;
   for (std::uint32_t i = 0; i < c.counts.failed; ++i)
      d->updateMember(memberEncap(port++), hwStatusFailed);
   for (std::uint32_t i = 0; i < c.counts.notReady; ++i) {
      d->updateMember(memberEncap(port++), hwStatusNotReady);
   }
   for (std::uint32_t i = 0; i < c.counts.success; ++i)
      d->updateMember(memberEncap(port++), hwStatusSuccess);
   expectCounts(*d, c.counts);
   EXPECT_EQ(d->aggrHwStatus(false), c.strict);
   EXPECT_EQ(d->aggrHwStatus(true), c.anySuccessful);
}

TEST_P(WexEncapHwStatusDecoderAggregate, CountersAloneDecideWithoutLookingAtMembers) {
   AggregateCase const& c = GetParam();
   auto d = newDecoder();
   d->failedCountInc(c.counts.failed);
   d->notReadyCountInc(c.counts.notReady);
   d->successCountInc(c.counts.success);
   EXPECT_EQ(d->hwStatuss(), 0u);
   EXPECT_EQ(d->aggrHwStatus(false), c.strict);
   EXPECT_EQ(d->aggrHwStatus(true), c.anySuccessful);
}

INSTANTIATE_TEST_SUITE_P(AllCounterCombinations, WexEncapHwStatusDecoderAggregate,
                         testing::ValuesIn(aggregateCases),
                         [](testing::TestParamInfo<AggregateCase> const& info) {
                            return std::string(info.param.name);
                         });

TEST(WexEncapHwStatusDecoder, AggregateFollowsMembersAsTheyChangeAndLeave) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusFailed);
   d->updateMember(memberEncap(2), hwStatusSuccess);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusFailed);
   d->updateMember(memberEncap(1), hwStatusNotReady);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusNotReady);
   d->updateMember(memberEncap(1), hwStatusSuccess);
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusSuccess);
   d->removeMember(memberEncap(2));
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusSuccess);
   d->removeMember(memberEncap(1));
   EXPECT_EQ(d->aggrHwStatus(false), hwStatusFailed);
   EXPECT_EQ(d->aggrHwStatus(true), hwStatusFailed);
   expectCounts(*d, {0, 0, 0});
}

TEST(WexEncapHwStatusDecoder, RemovingTheLastMemberKeepsTheDecoder) {
   auto const* info = Fen::AllocTrackTypeInfo::typeInfoIs(WexEncapHwStatusDecoder::fenTypeName());
   auto d = newDecoder();
   std::int64_t const live = info->liveObjects();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->removeMember(memberEncap(1));
   EXPECT_EQ(info->liveObjects(), live);
   EXPECT_EQ(d->references(), 1u);
   EXPECT_EQ(d->hwStatuss(), 0u);
   EXPECT_FALSE(d->hwStatusHas(memberEncap(1)));
}

TEST(WexEncapHwStatusDecoder, ManyMembersStayInStepWithTheCounters) {
   auto d = newDecoder();
   Ulva::IntfEncapHwStatus const statuses[] = {hwStatusFailed, hwStatusNotReady, hwStatusSuccess};
   // 600 members over 200 ports and 3 tags, each moved through several statuses.
   std::vector<Ulva::IntfEncap> members;
   for (int port = 1; port <= 200; ++port) {
      for (std::uint32_t vid : {10u, 20u, 4097u})
         members.push_back(memberEncap(port, vid));
   }
   Counts expected{0, 0, 0};
   std::vector<int> status(members.size(), -1);
   auto counterOf = [&expected](int s) -> std::uint32_t& {
      return s == 0 ? expected.failed : s == 1 ? expected.notReady : expected.success;
   };
   for (int round = 0; round < 3; ++round) {
      for (std::size_t i = 0; i < members.size(); ++i) {
         int const s = static_cast<int>((i * 7 + static_cast<std::size_t>(round) * 5) % 3);
         if (status[i] >= 0) --counterOf(status[i]);
         ++counterOf(s);
         status[i] = s;
         d->updateMember(members[i], statuses[s]);
      }
      expectCounts(*d, expected);
      EXPECT_EQ(d->hwStatuss(), members.size());
   }
   for (std::size_t i = 0; i < members.size(); i += 2) {
      --counterOf(status[i]);
      d->removeMember(members[i]);
   }
   expectCounts(*d, expected);
   EXPECT_EQ(d->hwStatuss(), members.size() / 2);
   for (std::size_t i = 1; i < members.size(); i += 2) {
      EXPECT_EQ(d->hwStatus(members[i]), statuses[status[i]]);
   }
}

// ---- the counter operations -----------------------------------------------------

TEST(WexEncapHwStatusDecoder, CountIncAndDecMoveTheCounterOfTheirStatusByOne) {
   auto d = newDecoder();
   d->hwStatusCountInc(hwStatusFailed);
   expectCounts(*d, {1, 0, 0});
   d->hwStatusCountInc(hwStatusNotReady);
   d->hwStatusCountInc(hwStatusNotReady);
   expectCounts(*d, {1, 2, 0});
   d->hwStatusCountInc(hwStatusSuccess);
   expectCounts(*d, {1, 2, 1});
   d->hwStatusCountDec(hwStatusNotReady);
   expectCounts(*d, {1, 1, 1});
   d->hwStatusCountDec(hwStatusFailed);
   d->hwStatusCountDec(hwStatusSuccess);
   expectCounts(*d, {0, 1, 0});
   EXPECT_EQ(d->hwStatuss(), 0u);
}

TEST(WexEncapHwStatusDecoder, CountDecBelowZeroWrapsWithoutGuard) {
   auto d = newDecoder();
   d->hwStatusCountDec(hwStatusFailed);
   EXPECT_EQ(d->failedCount(), 0xFFFFFFFFu);
   d->hwStatusCountInc(hwStatusFailed);
   EXPECT_EQ(d->failedCount(), 0u);
}

// ---- the raw accessors touch only their own attribute ----------------------------

TEST(WexEncapHwStatusDecoderAccessors, AbsentMemberReadsAsFailed) {
   auto d = newDecoder();
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusFailed);
   EXPECT_FALSE(d->hwStatusHas(memberEncap(1)));
   d->updateMember(memberEncap(1), hwStatusFailed);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusFailed);
   EXPECT_TRUE(d->hwStatusHas(memberEncap(1)));
}

TEST(WexEncapHwStatusDecoderAccessors, HwStatusIsAddsAndOverwritesWithoutCounting) {
   auto d = newDecoder();
   d->hwStatusIs(memberEncap(1), hwStatusSuccess);
   d->hwStatusIs(memberEncap(2), hwStatusNotReady);
   EXPECT_EQ(d->hwStatuss(), 2u);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusSuccess);
   d->hwStatusIs(memberEncap(1), hwStatusFailed);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusFailed);
   EXPECT_EQ(d->hwStatuss(), 2u);
   expectCounts(*d, {0, 0, 0});
}

TEST(WexEncapHwStatusDecoderAccessors, HwStatusDelReturnsTheValueAndLeavesTheCounters) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->updateMember(memberEncap(2), hwStatusNotReady);
   EXPECT_EQ(d->hwStatusDel(memberEncap(1)), hwStatusSuccess);
   EXPECT_EQ(d->hwStatuss(), 1u);
   EXPECT_FALSE(d->hwStatusHas(memberEncap(1)));
   expectCounts(*d, {0, 1, 1});
   // Nothing there: the value deleted reads as failed.
   EXPECT_EQ(d->hwStatusDel(memberEncap(1)), hwStatusFailed);
   EXPECT_EQ(d->hwStatusDel(memberEncap(9)), hwStatusFailed);
   EXPECT_EQ(d->hwStatuss(), 1u);
   expectCounts(*d, {0, 1, 1});
}

TEST(WexEncapHwStatusDecoderAccessors, HwStatusDelAllEmptiesTheMapAndLeavesTheCounters) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusSuccess);
   d->updateMember(memberEncap(2), hwStatusNotReady);
   d->updateMember(memberEncap(3), hwStatusFailed);
   d->hwStatusDelAll();
   EXPECT_EQ(d->hwStatuss(), 0u);
   EXPECT_FALSE(d->hwStatusHas(memberEncap(2)));
   expectCounts(*d, {1, 1, 1});
   d->hwStatusDelAll();  // on an empty map too
   EXPECT_EQ(d->hwStatuss(), 0u);
}

TEST(WexEncapHwStatusDecoderAccessors, CounterAccessorsMoveOnlyTheirOwnCounterByTheDelta) {
   auto d = newDecoder();
   d->updateMember(memberEncap(1), hwStatusNotReady);
   d->failedCountInc(5);
   expectCounts(*d, {5, 1, 0});
   d->failedCountDec(2);
   expectCounts(*d, {3, 1, 0});
   d->notReadyCountInc(4);
   expectCounts(*d, {3, 5, 0});
   d->notReadyCountDec(5);
   expectCounts(*d, {3, 0, 0});
   d->successCountInc(7);
   expectCounts(*d, {3, 0, 7});
   d->successCountDec(1);
   expectCounts(*d, {3, 0, 6});
   d->failedCountInc(0);
   expectCounts(*d, {3, 0, 6});
   EXPECT_EQ(d->hwStatuss(), 1u);
   EXPECT_EQ(d->hwStatus(memberEncap(1)), hwStatusNotReady);
}
