// Fault injection in the simulated platform: rules that make an add answer
// hwStatusFailed or hwStatusNotReady whatever the hardware's table says. Each
// rule's effect, its limits (an interface, a count, a period), how rules combine,
// and the road an injected answer travels: stored, published, rolled up into a
// LAG, kept for a retry or not, corrected by a retry pass or by the hardware,
// with the machine's invariants holding after every step and a restart showing
// no difference but the allowed ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "SmFixture.h"

namespace WexVlanMappingTest {

// Differences print as their text in failure messages.
void PrintTo(RestartDifference const& d, std::ostream* os) {
   *os << "{" << d.what << ", " << (d.allowed ? "allowed: " + d.why : std::string("not allowed"))
       << "}";
}

}  // namespace WexVlanMappingTest

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;
using WexVlanMappingTest::RestartDifference;
using WexVlanMappingTest::restartDifferences;
using WexVlanMappingTest::restartedIntfEncapSm;

template <class Map>
std::set<typename Map::KeyType> keysOf(Map const& map) {
   std::set<typename Map::KeyType> out;
   for (typename Map::IteratorConst it(map); it; it.advance())
      out.insert(it.key());
   return out;
}

std::string text(Ulva::IntfEncap const& e) {
   std::ostringstream os;
   os << e;
   return os.str();
}

class SimulatedPlatformFault : public SmFixture {
protected:
   static TraceCapture bothFacilities() {
      return TraceCapture({"WexIntfEncapSm", "WexTestIntfEncapSm"});
   }
   // The fault lines of the platform; a test failure when one stands at another
   // level than 7.
   static std::vector<std::string> faultLines(TraceCapture const& trace) {
      std::vector<std::string> out;
      for (auto const& line : trace.records()) {
         if (line.text.rfind("IntfEncapSm::platformAddHwConfig: ", 0) != 0 ||
             line.text.find(" fault answer ") == std::string::npos) {
            continue;
         }
         EXPECT_EQ(line.level, 7) << line.text;
         out.push_back(line.text);
      }
      return out;
   }
   static std::string faultLine(Ulva::IntfEncap const& e, char const* answer) {
      return "IntfEncapSm::platformAddHwConfig: " + text(e) + " fault answer " + answer;
   }

   // The machine's own status of `e` (the platform's last word).
   Ulva::IntfEncapHwStatus own(Ulva::IntfEncap const& e) const {
      return simulated->hwStatusColl()->hwStatus(e);
   }
   // Wants `e` for Vlan100 and gives the answer its add got.
   Ulva::IntfEncapHwStatus add(Ulva::IntfEncap const& e) {
      wantIs(e, "Vlan100");
      return own(e);
   }
   // A switch with Vlan100 forwarding and a hardware that answers success to
   // the encaps of `ports` with outer tags 1 to `tags`.
   void successEverywhere(std::initializer_list<char const*> ports, std::uint32_t tags) {
      fwdInfoIs("Vlan100", 7);
      for (char const* p : ports) {
         for (std::uint32_t t = 1; t <= tags; ++t)
            hw->hwStatusIs(encap(p, t), hwStatusSuccess);
      }
   }

   // The invariants of WexIntfEncapSm.h that the platform's answers bear on:
   // (1) decoder counters, (2) a status exactly where a config is, (3) the retry
   // set, (5) the hardware holds exactly the programmed keys; and, for an
   // interface in no LAG, that the published status of a programmed encap is
   // its own. Empty when all hold.
   std::vector<std::string> invariantViolations() const {
      IntfEncapSm const& m = *simulated;
      auto const& configs = *m.hwConfigColl();
      auto const& statuses = *m.hwStatusColl();
      std::set<Ulva::IntfEncap> const configKeys = keysOf(configs.configMap());
      std::set<Ulva::IntfEncap> const statusKeys = keysOf(statuses.hwStatusMap());
      std::set<Ulva::IntfEncap> const retryKeys = keysOf(m.retryNeededMap());
      std::vector<std::string> bad;
      auto violation = [&bad](Ulva::IntfEncap const& k, char const* what) {
         bad.push_back(text(k) + ": " + what);
      };
      auto checkDecoders = [&](auto const& map) {
         for (auto const& key : keysOf(map)) {
            auto const d = map.get(key);
            std::uint32_t n[3] = {0, 0, 0};
            for (auto const& member : keysOf(d->hwStatusMap()))
               ++n[d->hwStatus(member) % 3];
            if (d->hwStatuss() != d->hwStatusCount() || d->failedCount() != n[0] ||
                d->notReadyCount() != n[1] || d->successCount() != n[2]) {
               violation(key, "(1) decoder counters disagree with its members");
            }
         }
      };
      checkDecoders(m.lagHwStatusDecoderMap());
      checkDecoders(m.svcHwStatusDecoderMap());
      if (configKeys != statusKeys) bad.push_back("(2) status keys differ from config keys");
      for (auto const& k : configKeys) {
         bool const waits = statuses.hwStatus(k) == hwStatusNotReady;
         if (waits != retryKeys.contains(k)) {
            violation(k, waits ? "(3) not ready but not in the retry set"
                               : "(3) in the retry set but not not ready");
         }
      }
      for (auto const& k : retryKeys) {
         if (!configKeys.contains(k)) violation(k, "(3) in the retry set without config");
      }
      if (keysOf(m.testHwConfigKeyMap()) != configKeys) {
         bad.push_back("(5) testHwConfigKey differs from the config keys");
      }
      for (auto const& k : configKeys) {
         if (m.portToLagCachedHas(k.intfId()) || !published->hwStatusHas(k)) continue;
         if (Kestin::PortChannelIntfId::isPortChannelIntfId(k.intfId())) continue;
         if (published->hwStatus(k) != statuses.hwStatus(k)) {
            violation(k, "published status differs from its own");
         }
      }
      return bad;
   }
   void expectInvariants(char const* when) const {
      EXPECT_THAT(invariantViolations(), IsEmpty()) << when;
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 1);
   Ulva::IntfEncap const e2 = encap("Ethernet2", 1);
   Ulva::IntfEncap const lagE = encap("Port-Channel10", 1);
   Ulva::IntfEncap const m1 = encap("Ethernet3", 1);
   Ulva::IntfEncap const m2 = encap("Ethernet4", 1);
};

// ---- each rule's effect ------------------------------------------------------------------

TEST_F(SimulatedPlatformFault, NextRuleAnswersWhateverTheTableSays) {
   successEverywhere({"Ethernet1"}, 2);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady);
   auto trace = bothFacilities();

   EXPECT_EQ(add(e1), hwStatusNotReady);
   EXPECT_EQ(hw->hwStatus(e1), hwStatusSuccess);
   EXPECT_TRUE(simulated->testHwConfigKey(e1));
   EXPECT_EQ(simulated->faultAnswers(), 1u);
   EXPECT_THAT(faultLines(trace), ElementsAre(faultLine(e1, "hwStatusNotReady")));
   // The line follows the add's own line.
   auto const adds = trace.matching("IntfEncapSm::platformAddHwConfig: ");
   EXPECT_THAT(adds, ElementsAre("IntfEncapSm::platformAddHwConfig: " + text(e1),
                                 faultLine(e1, "hwStatusNotReady")));

   // The rule is spent: the next add reads the table.
   trace.clear();
   EXPECT_EQ(add(encap("Ethernet1", 2)), hwStatusSuccess);
   EXPECT_THAT(faultLines(trace), IsEmpty());
   EXPECT_EQ(simulated->faultAnswers(), 1u);
   expectInvariants("after two adds");
}

TEST_F(SimulatedPlatformFault, NextRuleAnswersCountAddsThenGoes) {
   successEverywhere({"Ethernet1"}, 4);
   startSimulated();
   simulated->faultAddNextIs(3, hwStatusFailed);

   std::vector<Ulva::IntfEncapHwStatus> answers;
   for (std::uint32_t t = 1; t <= 4; ++t)
      answers.push_back(add(encap("Ethernet1", t)));

   EXPECT_THAT(answers,
               ElementsAre(hwStatusFailed, hwStatusFailed, hwStatusFailed, hwStatusSuccess));
   EXPECT_EQ(simulated->faultAnswers(), 3u);
   expectInvariants("after four adds");
}

TEST_F(SimulatedPlatformFault, NextRuleWithCountZeroAddsNoRule) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(0, hwStatusFailed);
   EXPECT_EQ(add(e1), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 0u);
}

// A rule answers adds on Ethernet ports and LAGs only: the machine hears the
// platform's reports of those alone, so an add elsewhere keeps the table's word
// and the rule stays for the next port.
TEST_F(SimulatedPlatformFault, RuleLeavesAddsOnOtherInterfacesToTheTable) {
   successEverywhere({"Ethernet1", "Vlan300"}, 1);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady);
   simulated->faultAddEveryIs(1, hwStatusFailed, id("Vlan300"));

   EXPECT_EQ(add(encap("Vlan300", 1)), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 0u);
   EXPECT_EQ(add(e1), hwStatusNotReady);
   EXPECT_EQ(simulated->faultAnswers(), 1u);
}

TEST_F(SimulatedPlatformFault, NextRuleOnAnInterfaceAnswersOnlyItsAdds) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 2);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusFailed, id("Ethernet2"));
   auto trace = bothFacilities();

   EXPECT_EQ(add(e1), hwStatusSuccess);
   EXPECT_EQ(add(encap("Ethernet1", 2)), hwStatusSuccess);
   EXPECT_EQ(add(e2), hwStatusFailed);
   EXPECT_EQ(add(encap("Ethernet2", 2)), hwStatusSuccess);
   EXPECT_THAT(faultLines(trace), ElementsAre(faultLine(e2, "hwStatusFailed")));
}

TEST_F(SimulatedPlatformFault, OldestMatchingNextRuleAnswersFirst) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 3);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady, id("Ethernet2"));
   simulated->faultAddNextIs(2, hwStatusFailed);
   simulated->faultAddNextIs(1, hwStatusNotReady);

   // The rule for Ethernet2 does not match; the oldest rule for any interface does.
   EXPECT_EQ(add(e1), hwStatusFailed);
   // Both match: the older, on Ethernet2, answers and is spent.
   EXPECT_EQ(add(e2), hwStatusNotReady);
   EXPECT_EQ(add(encap("Ethernet2", 2)), hwStatusFailed);
   // The second rule for any interface, now the oldest.
   EXPECT_EQ(add(encap("Ethernet1", 2)), hwStatusNotReady);
   EXPECT_EQ(add(encap("Ethernet1", 3)), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 4u);
   expectInvariants("after five adds");
}

TEST_F(SimulatedPlatformFault, EveryRuleAnswersEveryKthAdd) {
   successEverywhere({"Ethernet1"}, 7);
   startSimulated();
   simulated->faultAddEveryIs(3, hwStatusFailed);

   std::vector<Ulva::IntfEncapHwStatus> answers;
   for (std::uint32_t t = 1; t <= 7; ++t)
      answers.push_back(add(encap("Ethernet1", t)));

   EXPECT_THAT(answers,
               ElementsAre(hwStatusSuccess, hwStatusSuccess, hwStatusFailed, hwStatusSuccess,
                           hwStatusSuccess, hwStatusFailed, hwStatusSuccess));
   EXPECT_EQ(simulated->faultAnswers(), 2u);
   expectInvariants("after seven adds");
}

TEST_F(SimulatedPlatformFault, EveryRuleOnAnInterfaceCountsOnlyItsAdds) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 4);
   startSimulated();
   simulated->faultAddEveryIs(2, hwStatusNotReady, id("Ethernet1"));

   std::vector<Ulva::IntfEncapHwStatus> answers;
   for (std::uint32_t t = 1; t <= 4; ++t) {
      answers.push_back(add(encap("Ethernet1", t)));
      answers.push_back(add(encap("Ethernet2", t)));
   }

   // Ethernet1's second and fourth adds; Ethernet2's adds neither count nor answer.
   EXPECT_THAT(answers,
               ElementsAre(hwStatusSuccess, hwStatusSuccess, hwStatusNotReady, hwStatusSuccess,
                           hwStatusSuccess, hwStatusSuccess, hwStatusNotReady, hwStatusSuccess));
   expectInvariants("after eight adds");
}

TEST_F(SimulatedPlatformFault, RetriesCountAsAdds) {
   successEverywhere({"Ethernet1"}, 1);
   hw->hwStatusIs(e1, hwStatusNotReady);
   startSimulated();
   ASSERT_EQ(add(e1), hwStatusNotReady);
   simulated->faultAddEveryIs(2, hwStatusFailed);

   // The first re-add counts; the second is the rule's turn, and a retry's
   // answer is reported.
   simulated->handleHwConfigRetry();
   EXPECT_EQ(own(e1), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
   simulated->handleHwConfigRetry();
   EXPECT_EQ(own(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
   EXPECT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 2u);
   EXPECT_EQ(simulated->faultAnswers(), 1u);
   expectInvariants("after two retry passes");
}

TEST_F(SimulatedPlatformFault, NextRuleTakesTheTurnOfAnEveryRule) {
   successEverywhere({"Ethernet1"}, 4);
   startSimulated();
   simulated->faultAddEveryIs(2, hwStatusFailed);
   simulated->faultAddNextIs(2, hwStatusNotReady);

   std::vector<Ulva::IntfEncapHwStatus> answers;
   for (std::uint32_t t = 1; t <= 4; ++t)
      answers.push_back(add(encap("Ethernet1", t)));

   // The second add is the every rule's turn, answered by the next rule; the
   // every rule still counted it, so its next turn is the fourth.
   EXPECT_THAT(answers,
               ElementsAre(hwStatusNotReady, hwStatusNotReady, hwStatusSuccess, hwStatusFailed));
   EXPECT_EQ(simulated->faultAnswers(), 3u);
}

TEST_F(SimulatedPlatformFault, EveryRuleOfTheAddsInterfacePrecedesTheOneForAnyInterface) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 1);
   startSimulated();
   simulated->faultAddEveryIs(1, hwStatusFailed);
   simulated->faultAddEveryIs(1, hwStatusNotReady, id("Ethernet1"));

   EXPECT_EQ(add(e1), hwStatusNotReady);
   EXPECT_EQ(add(e2), hwStatusFailed);
}

TEST_F(SimulatedPlatformFault, EveryRuleIsReplacedPerInterfaceAndRemovedWithPeriodZero) {
   successEverywhere({"Ethernet1"}, 6);
   startSimulated();
   simulated->faultAddEveryIs(2, hwStatusFailed);
   EXPECT_EQ(add(encap("Ethernet1", 1)), hwStatusSuccess);
   // Replaced: the count starts again, with the new period and answer.
   simulated->faultAddEveryIs(2, hwStatusNotReady);
   EXPECT_EQ(add(encap("Ethernet1", 2)), hwStatusSuccess);
   EXPECT_EQ(add(encap("Ethernet1", 3)), hwStatusNotReady);
   // A rule for another interface leaves this one alone; period 0 removes it.
   simulated->faultAddEveryIs(0, hwStatusSuccess, id("Ethernet2"));
   EXPECT_EQ(add(encap("Ethernet1", 4)), hwStatusSuccess);
   EXPECT_EQ(add(encap("Ethernet1", 5)), hwStatusNotReady);
   simulated->faultAddEveryIs(0, hwStatusFailed);
   EXPECT_EQ(add(encap("Ethernet1", 6)), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 2u);
}

TEST_F(SimulatedPlatformFault, FaultDelAllRemovesEveryRuleAndKeepsTheCount) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 3);
   startSimulated();
   simulated->faultAddNextIs(5, hwStatusFailed);
   simulated->faultAddNextIs(5, hwStatusNotReady, id("Ethernet2"));
   simulated->faultAddEveryIs(1, hwStatusFailed);
   simulated->faultAddEveryIs(1, hwStatusNotReady, id("Ethernet1"));
   ASSERT_EQ(add(e1), hwStatusFailed);

   simulated->faultDelAll();

   EXPECT_EQ(add(encap("Ethernet1", 2)), hwStatusSuccess);
   EXPECT_EQ(add(e2), hwStatusSuccess);
   EXPECT_EQ(add(encap("Ethernet2", 2)), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 1u);
   // The answer already given stays.
   EXPECT_EQ(own(e1), hwStatusFailed);
}

TEST_F(SimulatedPlatformFault, AnswerThatIsNoRefusalIsRefused) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   auto message = [](auto const& call) -> std::string {
      try {
         call();
      } catch (Fen::RangeException const& e) {
         return e.what();
      }
      return "no exception";
   };
   EXPECT_EQ(message([&] { simulated->faultAddNextIs(1, hwStatusSuccess); }),
             "IntfEncapSm::faultAddNextIs: a fault answers hwStatusFailed or hwStatusNotReady, "
             "not hwStatusSuccess");
   EXPECT_EQ(message([&] { simulated->faultAddEveryIs(1, hwStatusSuccess, id("Ethernet1")); }),
             "IntfEncapSm::faultAddEveryIs: a fault answers hwStatusFailed or hwStatusNotReady, "
             "not hwStatusSuccess");
   EXPECT_EQ(
       message([&] { simulated->faultAddNextIs(1, static_cast<Ulva::IntfEncapHwStatus>(7)); }),
       "IntfEncapSm::faultAddNextIs: a fault answers hwStatusFailed or hwStatusNotReady, "
       "not IntfEncapHwStatus(7)");
   // A removal names no answer.
   EXPECT_EQ(message([&] { simulated->faultAddEveryIs(0, hwStatusSuccess); }), "no exception");
   // Nothing was set.
   EXPECT_EQ(add(e1), hwStatusSuccess);
   EXPECT_EQ(simulated->faultAnswers(), 0u);
}

// ---- where each injected answer ends ---------------------------------------------------

TEST_F(SimulatedPlatformFault, NotReadyInjectionWaitsAndARetryPassProgramsIt) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady);

   add(e1);

   EXPECT_EQ(own(e1), hwStatusNotReady);
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
   EXPECT_TRUE(simulated->testHwConfigKey(e1));
   expectInvariants("after the injected answer");

   // No rule is left: the retry's re-add gets the table's answer, which the
   // platform reports.
   auto trace = bothFacilities();
   simulated->handleHwConfigRetry();

   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handleHwConfigRetry: ", "IntfEncapSm::platformAddHwConfig: " + text(e1),
           "IntfEncapSm::platformAddHwConfig: " + text(e1) + " retry hwStatus: hwStatusSuccess",
           "WexIntfEncapSm::platformEncapHwStatusIs: " + text(e1) + " hwStatus:hwStatusSuccess",
           "WexIntfEncapSm::updateEncapHwStatus: " + text(e1) + " hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
           "hwStatusSuccess"));
   EXPECT_EQ(own(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
   EXPECT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 1u);
   expectInvariants("after the retry pass");

   // Nothing waits: another pass adds nothing.
   trace.clear();
   simulated->handleHwConfigRetry();
   EXPECT_THAT(trace.lines(), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
}

TEST_F(SimulatedPlatformFault, NotReadyInjectedAgainOnTheRetryKeepsTheEncapWaiting) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(2, hwStatusNotReady);
   add(e1);

   simulated->handleHwConfigRetry();
   EXPECT_EQ(own(e1), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   expectInvariants("after the first retry pass");

   simulated->handleHwConfigRetry();
   EXPECT_EQ(own(e1), hwStatusSuccess);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
   EXPECT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 2u);
   EXPECT_EQ(simulated->faultAnswers(), 2u);
   expectInvariants("after the second retry pass");
}

TEST_F(SimulatedPlatformFault, FailedInjectionIsOvertakenByTheHardwaresChange) {
   successEverywhere({"Ethernet1"}, 1);
   hw->hwStatusIs(e1, hwStatusNotReady);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusFailed);
   ASSERT_EQ(add(e1), hwStatusFailed);

   // The hardware's table changes: its word stands, as for a genuine answer.
   hw->hwStatusIs(e1, hwStatusSuccess);
   EXPECT_EQ(own(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   expectInvariants("after the hardware's change");
}

TEST_F(SimulatedPlatformFault, GenuineNotReadyIsNotReportedByARetryPass) {
   // The hardware says not ready and no fault answered: a retry waits for the
   // table to change, as without fault rules.
   successEverywhere({"Ethernet1", "Ethernet2"}, 1);
   hw->hwStatusIs(e1, hwStatusNotReady);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusFailed, id("Ethernet2"));
   ASSERT_EQ(add(e1), hwStatusNotReady);
   auto trace = bothFacilities();

   simulated->handleHwConfigRetry();

   EXPECT_THAT(trace.matching("platformEncapHwStatusIs"), IsEmpty());
   EXPECT_EQ(own(e1), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
}

TEST_F(SimulatedPlatformFault, FailedInjectionIsPublishedAndNotRetried) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusFailed);

   add(e1);

   EXPECT_EQ(own(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
   // Kept in hardware as the machine keeps its config.
   EXPECT_TRUE(simulated->hwConfigColl()->configHas(e1));
   EXPECT_TRUE(simulated->testHwConfigKey(e1));
   expectInvariants("after the injected answer");

   // A retry pass has nothing to retry.
   auto trace = bothFacilities();
   simulated->handleHwConfigRetry();
   EXPECT_THAT(trace.lines(), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
   EXPECT_EQ(own(e1), hwStatusFailed);
   EXPECT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 0u);

   // Programmed anew, it gets the table's answer.
   simulated->reinitAllHwConfig();
   EXPECT_EQ(own(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   expectInvariants("after the reprogramming");
}

TEST_F(SimulatedPlatformFault, FailedInjectedOnARetryEndsTheWait) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady);
   simulated->faultAddNextIs(1, hwStatusFailed);
   add(e1);
   ASSERT_TRUE(simulated->retryNeededHas(e1));

   simulated->handleHwConfigRetry();

   EXPECT_EQ(own(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
   expectInvariants("after the retry pass");
}

TEST_F(SimulatedPlatformFault, FailedLagMemberFailsTheLag) {
   successEverywhere({"Ethernet3", "Ethernet4", "Port-Channel10"}, 1);
   lagIs("Port-Channel10", {"Ethernet3", "Ethernet4"});
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusFailed, id("Ethernet4"));
   auto trace = bothFacilities();

   add(lagE);

   EXPECT_THAT(faultLines(trace), ElementsAre(faultLine(m2, "hwStatusFailed")));
   EXPECT_EQ(own(lagE), hwStatusSuccess);
   EXPECT_EQ(own(m1), hwStatusSuccess);
   EXPECT_EQ(own(m2), hwStatusFailed);
   auto const decoder = simulated->lagHwStatusDecoder(lagE);
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->failedCount(), 1u);
   EXPECT_EQ(decoder->successCount(), 2u);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   EXPECT_FALSE(published->hwStatusHas(m2));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_FALSE(simulated->retryNeededHas(m2));
   expectInvariants("after the LAG's adds");

   // The hardware reports the member again: the LAG comes up.
   hw->hwStatusIs(m2, hwStatusNotReady);
   hw->hwStatusIs(m2, hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusSuccess);
   expectInvariants("after the member's report");
}

TEST_F(SimulatedPlatformFault, NotReadyLagMemberWaitsAndARetryPassBringsTheLagUp) {
   successEverywhere({"Ethernet3", "Ethernet4", "Port-Channel10"}, 1);
   lagIs("Port-Channel10", {"Ethernet3", "Ethernet4"});
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady, id("Ethernet3"));

   add(lagE);

   EXPECT_EQ(own(m1), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(m1));
   EXPECT_EQ(published->hwStatus(lagE), hwStatusNotReady);
   expectInvariants("after the LAG's adds");

   simulated->handleHwConfigRetry();

   EXPECT_EQ(own(m1), hwStatusSuccess);
   EXPECT_FALSE(simulated->retryNeededHas(m1));
   EXPECT_EQ(simulated->lagHwStatusDecoder(lagE)->successCount(), 3u);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);
   expectInvariants("after the retry pass");
}

TEST_F(SimulatedPlatformFault, OnTheLagMatchesTheLagsOwnConfigOnly) {
   successEverywhere({"Ethernet3", "Ethernet4", "Port-Channel10"}, 1);
   lagIs("Port-Channel10", {"Ethernet3", "Ethernet4"});
   startSimulated();
   simulated->faultAddNextIs(3, hwStatusFailed, id("Port-Channel10"));

   add(lagE);

   EXPECT_EQ(own(lagE), hwStatusFailed);
   EXPECT_EQ(own(m1), hwStatusSuccess);
   EXPECT_EQ(own(m2), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   EXPECT_EQ(simulated->faultAnswers(), 1u);
   expectInvariants("after the LAG's adds");
}

TEST_F(SimulatedPlatformFault, InjectedAnswerOfTheSweepStays) {
   successEverywhere({"Ethernet1", "Ethernet2"}, 1);
   wantIs(e1, "Vlan100");
   wantIs(e2, "Vlan100");
   startSimulated();
   ASSERT_EQ(published->hwStatus(e1), hwStatusSuccess);
   simulated->faultAddNextIs(1, hwStatusFailed, id("Ethernet1"));
   simulated->faultAddNextIs(1, hwStatusNotReady, id("Ethernet2"));

   // The walk of the hardware's table after the sweep leaves both answers.
   simulated->handleInitialized();

   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e2), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e2));
   expectInvariants("after the sweep");

   simulated->handleHwConfigRetry();
   EXPECT_EQ(published->hwStatus(e2), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   expectInvariants("after the retry pass");
}

TEST_F(SimulatedPlatformFault, DeletedConfigOwesNoReport) {
   successEverywhere({"Ethernet1"}, 1);
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady);
   add(e1);
   wanted->serviceIntfDel(e1);
   EXPECT_FALSE(simulated->testHwConfigKey(e1));

   // Wanted again while the hardware says not ready: a genuine answer, which
   // a retry pass leaves to the hardware.
   hw->hwStatusIs(e1, hwStatusNotReady);
   add(e1);
   auto trace = bothFacilities();
   simulated->handleHwConfigRetry();
   EXPECT_THAT(trace.matching("platformEncapHwStatusIs"), IsEmpty());
   EXPECT_EQ(own(e1), hwStatusNotReady);
   expectInvariants("after the retry pass");
}

// ---- restart ----------------------------------------------------------------------------

TEST_F(SimulatedPlatformFault, NotReadyAnswerThatResolvesLeavesNoDifferenceAtRestart) {
   successEverywhere({"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4", "Port-Channel10"}, 1);
   lagIs("Port-Channel10", {"Ethernet3", "Ethernet4"});
   startSimulated();
   simulated->faultAddNextIs(1, hwStatusNotReady, id("Ethernet1"));
   simulated->faultAddNextIs(1, hwStatusNotReady, id("Ethernet4"));
   add(e1);
   add(e2);
   add(lagE);
   ASSERT_TRUE(simulated->retryNeededHas(e1));
   ASSERT_TRUE(simulated->retryNeededHas(m2));

   // While they wait, a restart reads success from the hardware: the injected
   // answers are direct reports.
   {
      auto const fresh = restartedIntfEncapSm(*simulated);
      auto const diffs = restartDifferences(*simulated, *fresh);
      EXPECT_FALSE(diffs.empty());
      for (RestartDifference const& d : diffs) {
         EXPECT_TRUE(d.allowed) << d.what;
         EXPECT_TRUE(d.why == "direct report " + text(e1) || d.why == "direct report " + text(m2))
             << d.what << ": " << d.why;
      }
   }

   simulated->handleHwConfigRetry();
   expectInvariants("after the retry pass");

   auto const fresh = restartedIntfEncapSm(*simulated);
   EXPECT_THAT(restartDifferences(*simulated, *fresh), IsEmpty());
}

// ---- many steps -----------------------------------------------------------------------

// Random input changes, hardware changes, retry passes, reprogramming and fault
// rules on a small switch, under fixed seeds: the invariants hold after every
// step, and once the rules are gone and a retry pass has run, a restart shows
// no difference but the allowed ones.
TEST_F(SimulatedPlatformFault, InvariantsHoldUnderRandomFaults) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 8);
   lagIs("Port-Channel10", {"Ethernet3", "Ethernet4"});
   startSimulated();
   std::vector<char const*> const intfs{"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4",
                                        "Port-Channel10"};
   std::vector<char const*> const ports{"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4"};
   Ulva::IntfEncapHwStatus const statuses[] = {hwStatusFailed, hwStatusNotReady, hwStatusSuccess};
   Ulva::IntfEncapHwStatus const faults[] = {hwStatusFailed, hwStatusNotReady};
#ifdef WEXVM_SANITIZED
   int const steps = 400;
#else
   int const steps = 3000;
#endif
   for (std::uint32_t seed : {1u, 2u, 3u}) {
      std::mt19937 rng(seed);
      auto pick = [&rng](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
      std::vector<std::string> log;
      for (int step = 0; step < steps; ++step) {
         char const* intf = intfs[pick(intfs.size())];
         Ulva::IntfEncap const e = encap(intf, 1 + static_cast<std::uint32_t>(pick(3)));
         Kestin::IntfId const ruleIntf = pick(2) ? Kestin::IntfId() : id(intf);
         std::ostringstream what;
         switch (pick(10)) {
            case 0:
            case 1:
               wantIs(e, pick(2) ? "Vlan100" : "Vlan200");
               what << "want " << e;
               break;
            case 2:
               wanted->serviceIntfDel(e);
               what << "unwant " << e;
               break;
            case 3: {
               // The encap itself, or the same tags on a port (a LAG member's).
               Ulva::IntfEncap const target =
                   pick(2) ? e : encap(ports[pick(ports.size())], e.encap().outerTag().vid());
               Ulva::IntfEncapHwStatus const s = statuses[pick(3)];
               hw->hwStatusIs(target, s);
               what << "hardware " << target << " " << s;
               break;
            }
            case 4:
            case 5:
               simulated->handleHwConfigRetry();
               what << "retry pass";
               break;
            case 6: {
               std::uint32_t const n = 1 + static_cast<std::uint32_t>(pick(3));
               Ulva::IntfEncapHwStatus const s = faults[pick(2)];
               simulated->faultAddNextIs(n, s, ruleIntf);
               what << "fault next " << n << " " << s << " on '" << ruleIntf << "'";
               break;
            }
            case 7: {
               std::uint32_t const k = static_cast<std::uint32_t>(pick(4));
               Ulva::IntfEncapHwStatus const s = faults[pick(2)];
               simulated->faultAddEveryIs(k, s, ruleIntf);
               what << "fault every " << k << " " << s << " on '" << ruleIntf << "'";
               break;
            }
            case 8:
               if (pick(4) == 0) {
                  simulated->reinitAllHwConfig();
                  what << "reinit";
               } else {
                  simulated->faultDelAll();
                  what << "fault del all";
               }
               break;
            default: {
               Kestin::IntfId const port = id(ports[pick(ports.size())]);
               bool const down = pick(2) == 0;
               simulated->platformPortDownIs(port, down);
               what << "port " << port << (down ? " down" : " up");
               break;
            }
         }
         log.push_back(what.str());
         auto const bad = invariantViolations();
         if (!bad.empty()) {
            std::ostringstream os;
            for (auto const& l : log)
               os << "  " << l << "\n";
            for (auto const& b : bad)
               os << "  broken: " << b << "\n";
            FAIL() << "seed " << seed << ", step " << step << ":\n" << os.str();
         }
      }
      // No rule left, every port up, one retry pass: what differs from a restart
      // is allowed.
      simulated->faultDelAll();
      for (char const* p : ports)
         simulated->platformPortDownIs(id(p), false);
      simulated->handleHwConfigRetry();
      expectInvariants("after the rules are gone");
      {
         auto const fresh = restartedIntfEncapSm(*simulated);
         for (RestartDifference const& d : restartDifferences(*simulated, *fresh))
            EXPECT_TRUE(d.allowed) << "seed " << seed << ": " << d.what;
      }
      // The next seed starts from nothing wanted and every port up.
      for (auto const& k : keysOf(wanted->serviceIntfMap()))
         wanted->serviceIntfDel(k);
   }
   EXPECT_GT(simulated->faultAnswers(), 0u);
}

}  // namespace
}  // namespace TestSupport
