// WexVlanMappingTest::IntfEncapSm: the simulated platform behind the hooks of
// WexIntfEncapSm, and the model of a real one: derive, implement the two hooks,
// report late statuses through platformEncapHwStatusIs, call handleInitialized
// when ready.
//
// The simulated hardware is two collections. `testHwConfigKey` holds the encaps
// now programmed. `testHwStatusColl`, an input written by whoever plays the
// hardware, holds the status the hardware has for each encap: a config added
// is answered with that status (hwStatusFailed when there is none), and a later
// change of an entry for a programmed encap is reported to the state machine.
//
// Construction starts the machine: every config the inputs imply is programmed
// before the factory returns.
//
// Fault injection
// ---------------
// Rules set with faultAddNextIs and faultAddEveryIs make an add answer
// hwStatusFailed or hwStatusNotReady whatever testHwStatusColl says (adds on
// Ethernet ports and LAGs only, the interfaces whose reports the machine hears;
// an add on any other interface keeps the table's answer), so that a
// scenario or a test can see the machine meet a refusal it did not arrange in
// the hardware's table. An injected answer is what platformAddHwConfig returns,
// and the machine takes it as any other: stored as the encap's status, rolled
// up, published, and (for hwStatusNotReady) kept in the retry set. The add
// itself still happens: the key goes into testHwConfigKey as for a genuine
// answer of that status, since the machine keeps a refused config in
// hwConfigColl and the hardware holds exactly its keys.
// An injected answer that differs from the hardware's table is the platform's
// own word, which the hardware owes a correction:
//  - a later change of the encap's entry in testHwStatusColl is reported as
//    always, and the hardware's word stands from then on;
//  - a retry pass (handleHwConfigRetry) reads no answer of its re-adds and
//    waits for a report: at the re-add of an encap whose last answer was
//    injected, the platform reports the answer it gives now (the table's, or a
//    fault's again) through platformEncapHwStatusIs, unless it is
//    hwStatusNotReady again. So an injected hwStatusNotReady ends at the
//    table's status at the first retry pass that no rule answers, and an
//    injected hwStatusFailed stays until the table's entry changes or the
//    config is programmed anew (a failed add is not retried);
//  - handleInitialized's walk of the hardware's table leaves an injected
//    answer of the sweep in place.
// A restart check sees an injected answer that still stands as a direct report.
// Every add counts, retries and the adds of the initial sweep included; rules
// are not part of what reflection sees and a restarted machine has none.
//
// Restart check
// -------------
// restartedIntfEncapSm builds, beside a running machine, the machine a restart
// would build on the same inputs; restartDifferences lists where the two
// disagree, and marks the two kinds of difference that a restart may show:
// (1) dynamic leftover: a config that a replaced or detached dynamic collection
//     left behind stays until something names its encap again, where a fresh
//     machine derives from the inputs as they are now;
// (2) direct report: a status the platform reported through
//     platformEncapHwStatusIs stays as reported, unless the encap's config is
//     programmed and the hardware's input gives the same status (a fresh machine
//     hears only what the hardware's input holds).
// Both are read off the running machine alone, without its history.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "WexVlanMapping/WexIntfEncapSm.h"

namespace WexVlanMappingTest {

// The bound attribute of the simulated platform beside those of WexIntfEncapSm
// (see Fen/StateMachineTable.h): what the hardware answers, heard.
// clang-format off
#define WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES(input, output, shared)                              \
   input(testHwStatusColl, TestHwStatusColl, Ulva::IntfEncapHwStatusColl const, hwStatus,     \
         Ulva::IntfEncap, handleTestHwStatus, ::Fen::NoVariant)
// clang-format on

class IntfEncapSm : public Fen::StateMachine<IntfEncapSm, WexVlanMapping::WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMappingTest::IntfEncapSm")

public:
   using FenSm = IntfEncapSm;

   // Inputs: the six of WexIntfEncapSm::Inputs, then dynamicIntfEncap and
   // testHwStatusColl; fenInputCount.
   FEN_SM_INPUTS_WITH_SHARED(WEX_INTF_ENCAP_SM_ATTRIBUTES, WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)

   void handleTestHwStatus(Ulva::IntfEncap const& intfEncap);
   // fen_handleTestHwStatusColl_hwStatus, FenTestHwStatusColl.
   FEN_SM_REACTORS(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)

   // IntfEncapSmIs(inputs), or with the eight pointers of Inputs in its order.
   FEN_CREATOR(IntfEncapSm)
   // IntfEncapSm(Inputs const&), IntfEncapSm(eight pointers).
   FEN_SM_CONSTRUCTORS(IntfEncapSm)
   ~IntfEncapSm() override;

   Fen::FwkType fwkType() const override;
   void handleInitialized() override;
   Ulva::IntfEncapHwStatus platformAddHwConfig(
       WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) override;
   void platformDeleteHwConfig(WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) override;

   // ---- fault injection (see the header comment) ----------------------------------
   // An add "on" an interface is the add of a config whose encap is on it: a
   // LAG's own config is an add on the LAG, the member configs made from it are
   // adds on the member ports. A rule for the default id matches every add.
   // An answer other than hwStatusFailed and hwStatusNotReady is refused with a
   // Fen::RangeException, "IntfEncapSm::<method>: a fault answers hwStatusFailed
   // or hwStatusNotReady, not <answer>", and no rule changes.
   //
   // The next `count` adds (of configs on `intf`, or on any interface when `intf`
   // is the default id) answer `answer` whatever the hardware's table says. Each
   // call adds a rule; count 0 adds none. When several such rules match an add,
   // the oldest answers it and counts it; a rule that has answered `count` adds
   // goes. These rules precede the every-k rules.
   void faultAddNextIs(std::uint32_t count, Ulva::IntfEncapHwStatus answer,
                       Kestin::IntfId intf = Kestin::IntfId());
   // Every `period`-th add (counting the adds that match `intf` as above)
   // answers `answer`: the period-th, the 2*period-th, and so on, counted from
   // this call. One rule per `intf`: a call replaces the rule for `intf`, and
   // period 0 removes it. Every matching add counts, also one that a next rule
   // answers (the turn is then lost). When the rule for the add's interface and
   // the one for any interface both have their turn, the interface's answers.
   void faultAddEveryIs(std::uint32_t period, Ulva::IntfEncapHwStatus answer,
                        Kestin::IntfId intf = Kestin::IntfId());
   // Removes every fault rule. An answer already given stays, with the
   // correction the hardware owes it.
   void faultDelAll();
   // How many adds a fault rule has answered so far (for tools and tests); never
   // reset, not even by faultDelAll.
   std::uint32_t faultAnswers() const { return faultAnswers_; }

   // testHwStatusColl().
   FEN_SM_GETTERS(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)
   auto fenReactors() { return FEN_SM_TIE(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES); }

private:
   // testHwStatusColl_.
   FEN_SM_MEMBERS(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)

public:
   // FenTestHwConfigKey, TestHwConfigKeySet, testHwConfigKey_ and its accessors.
   FEN_COLLECTION(testHwConfigKey, FenTestHwConfigKey, TestHwConfigKeySet, Ulva::IntfEncap, void,
                  0x4454B385)

   // What reflection sees beside the base's attributes, from 258.
   using FenReflection = Fen::Reflection<
       WexVlanMapping::WexIntfEncapSm,
       FEN_SM_CTOR_WITH_SHARED(WEX_INTF_ENCAP_SM_ATTRIBUTES, WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES),
       FEN_SM_ROWS(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)  // 258
       FenRow_testHwConfigKey,
       Fen::MethodRow<"handleTestHwStatus", &FenSm::handleTestHwStatus, "intfEncap">>;

private:
   // A rule of faultAddNextIs: the adds it still answers.
   struct FaultNext {
      std::uint32_t left;
      Ulva::IntfEncapHwStatus answer;
      Kestin::IntfId intf;
   };
   // A rule of faultAddEveryIs: the matching adds seen since its last turn.
   struct FaultEvery {
      std::uint32_t period;
      std::uint32_t seen;
      Ulva::IntfEncapHwStatus answer;
      Kestin::IntfId intf;
   };
   // The answer the rules give to an add on `intf`, if any; counts the add in
   // every rule that matches it.
   std::optional<Ulva::IntfEncapHwStatus> faultAnswerFor(Kestin::IntfId intf);

   std::vector<FaultNext> faultNext_;    // oldest first
   std::vector<FaultEvery> faultEvery_;  // at most one per interface
   // Programmed encaps whose last answer was injected and differs from the
   // hardware's table: the hardware owes them a report.
   std::set<Ulva::IntfEncap> faultOwed_;
   std::uint32_t faultAnswers_ = 0;
};

// How an agent starts a simulated platform: by name,
//    intfEncapSmFactory({.wcsd = wcsd, ..., .testHwStatusColl = hardware})
// (an input left out is null), or with the eight pointers of Inputs in its order.
inline Fen::Ptr<IntfEncapSm> intfEncapSmFactory(IntfEncapSm::Inputs const& inputs) {
   return IntfEncapSm::IntfEncapSmIs(inputs);
}
template <class... A>
Fen::Ptr<IntfEncapSm> intfEncapSmFactory(A const&... args) {
   static_assert(sizeof...(A) == IntfEncapSm::fenInputCount,
                 "intfEncapSmFactory takes the eight pointers of IntfEncapSm::Inputs, in order");
   return IntfEncapSm::IntfEncapSmIs(IntfEncapSm::Inputs{args...});
}

// One difference between a machine that heard every change and a fresh one.
struct RestartDifference {
   // "<collection> <key>: <running> / fresh <fresh>", e.g.
   // "intfEncapHwStatus (Ethernet1, 100:0x8100, 4095:0x8100): hwStatusSuccess / fresh
   // hwStatusFailed"; a side without the key shows "none".
   std::string what;
   // One of the two kinds of difference that a restart may show.
   bool allowed = false;
   // For an allowed one, its kind and the encap behind it ("dynamic leftover
   // <encap>" or "direct report <encap>"); empty otherwise.
   std::string why;
   bool operator==(RestartDifference const&) const = default;
};

// A machine started on the inputs of `running` (wcsd, serviceIntfFwdInfo,
// intfEncapServiceIntf, remoteEncapHwStatus, the attached dynamicIntfEncap,
// testHwStatusColl), publishing into serviceIntfHwStatus and intfEncapHwStatus
// collections of its own, with every port that `running` holds down reported down
// again through platformPortDownIs: what a restart reaches. It changes none of
// `running`'s outputs. It listens to the same inputs, so the caller drops it
// before they change again.
Fen::Ptr<IntfEncapSm> restartedIntfEncapSm(IntfEncapSm const& running);

// Every difference between `running` and `fresh`, collection by collection in
// this order, keys sorted by their string form within each:
//  - intfEncapHwStatus (published encap statuses; absent on one side shows "none");
//  - serviceIntfHwStatus (published service statuses);
//  - hwConfigColl (the configs handed to the platform), with retryCnt taken as 0
//    on both sides: it counts the running machine's own retries;
//  - testHwConfigKey (what the simulated hardware holds);
//  - retryNeeded (the retry set).
// Each is marked allowed when it is one of the two kinds above.
std::vector<RestartDifference> restartDifferences(IntfEncapSm const& running,
                                                  IntfEncapSm const& fresh);

}  // namespace WexVlanMappingTest
