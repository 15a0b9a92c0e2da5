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
