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
#pragma once

#include <cstdint>

#include "WexVlanMapping/WexIntfEncapSm.h"

namespace WexVlanMappingTest {

class IntfEncapSm : public Fen::StateMachine<IntfEncapSm, WexVlanMapping::WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMappingTest::IntfEncapSm")

public:
   void handleTestHwStatus(Ulva::IntfEncap const& intfEncap);
   void fen_handleTestHwStatusColl_hwStatus(Ulva::IntfEncap const& intfEncap) {
      handleTestHwStatus(intfEncap);
   }

   class FenTestHwStatusColl
       : public Fen::Reactor<FenTestHwStatusColl, IntfEncapSm, Ulva::IntfEncapHwStatusColl,
                             Ulva::IntfEncapHwStatusColl::hwStatusAttributeId, Ulva::IntfEncap,
                             &IntfEncapSm::fen_handleTestHwStatusColl_hwStatus> {
      FEN_COUNTED_CLASS("WexVlanMappingTest::IntfEncapSm::FenTestHwStatusColl")

   public:
      using Reactor::Reactor;
   };

   struct FenTestHwConfigKey {
      static constexpr std::uint32_t salt = 0x4454B385;
   };
   using TestHwConfigKeySet = Fen::HashMap2018<FenTestHwConfigKey, Ulva::IntfEncap>;

   // IntfEncapSmIs(...), with the eight arguments of the constructor.
   FEN_CREATOR(IntfEncapSm)

   IntfEncapSm(Fen::Ptr<Wex::WexCommonSmData> const& wcsd,
               Fen::Ptr<Ulva::ServiceIntfFwdInfoColl const> const& serviceIntfFwdInfo,
               Fen::Ptr<Ulva::ServiceIntfHwStatusColl> const& serviceIntfHwStatus,
               Fen::Ptr<Ulva::IntfEncapServiceIntfColl const> const& intfEncapServiceIntf,
               Fen::Ptr<Ulva::IntfEncapHwStatusColl> const& intfEncapHwStatus,
               Fen::Ptr<Ulva::IntfEncapHwStatusColl const> const& remoteEncapHwStatus,
               Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl const> const& dynamicIntfEncap,
               Fen::Ptr<Ulva::IntfEncapHwStatusColl const> const& testHwStatusColl);
   ~IntfEncapSm() override;

   Fen::FwkType fwkType() const override;
   void handleInitialized() override;
   Ulva::IntfEncapHwStatus platformAddHwConfig(
       WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) override;
   void platformDeleteHwConfig(WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) override;

   Ulva::IntfEncapHwStatusColl const* testHwStatusColl() const {
      return testHwStatusColl_.notifier();
   }
   FEN_COLLECTION_ACCESSORS(testHwConfigKey, TestHwConfigKeySet, testHwConfigKey_)

   auto fenReactors() { return std::tie(testHwStatusColl_); }

private:
   Fen::ReactorSlot<FenTestHwStatusColl> testHwStatusColl_;
   TestHwConfigKeySet testHwConfigKey_;
};

// How an agent starts a simulated platform: the eight arguments of the
// constructor, the base's six, then dynamicIntfEncap and testHwStatusColl.
template <class... A>
Fen::Ptr<IntfEncapSm> intfEncapSmFactory(A&&... args) {
   return IntfEncapSm::IntfEncapSmIs(std::forward<A>(args)...);
}

}  // namespace WexVlanMappingTest
