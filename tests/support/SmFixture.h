// Test scaffolding for the interface encap state machine: a platform that records
// every hook call in order, a fixture that owns a full set of inputs and outputs,
// and the one builder of member configs. The helpers live in TestSupport; the
// simulated platform they drive ships in WexVlanMappingTest.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "TraceCapture.h"
#include "WexVlanMapping/WexIntfEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace TestSupport {

using WexVlanMapping::WexIntfEncapHwConfig;
using WexVlanMappingTest::IntfEncapSm;
using WexVlanMappingTest::intfEncapSmFactory;

// The config that the LAG config `lagConfig` spreads to its member `port`.
inline WexIntfEncapHwConfig memberConfig(WexIntfEncapHwConfig const& lagConfig,
                                         Kestin::IntfId port) {
   return WexVlanMapping::portHwConfigOf(lagConfig, port, lagConfig.lagId());
}
inline WexIntfEncapHwConfig memberConfig(WexIntfEncapHwConfig const& lagConfig, char const* port) {
   return memberConfig(lagConfig, Kestin::IntfId(port));
}

// A platform behind the hooks that writes down each call, in order, and answers
// an add from `answers` (`defaultAnswer` for an encap it has no answer for).
class RecordingPlatform
    : public Fen::StateMachine<RecordingPlatform, WexVlanMapping::WexIntfEncapSm> {
   FEN_COUNTED_CLASS("TestSupport::RecordingPlatform")

public:
   enum HookKind { hookAdd, hookDelete };
   struct HookCall {
      HookKind kind;
      WexIntfEncapHwConfig config;
      bool operator==(HookCall const&) const = default;
   };

   using StateMachine::StateMachine;
   ~RecordingPlatform() override { fenTeardownReactors(); }

   Ulva::IntfEncapHwStatus platformAddHwConfig(WexIntfEncapHwConfig const& c) override {
      calls.push_back({hookAdd, c});
      auto it = answers.find(c.intfEncap());
      return it == answers.end() ? defaultAnswer : it->second;
   }
   void platformDeleteHwConfig(WexIntfEncapHwConfig const& c) override {
      calls.push_back({hookDelete, c});
   }
   auto fenReactors() { return std::tie(); }

   // The keys of the calls made so far, as "add Ethernet1 100" / "delete ...".
   std::vector<std::string> callKeys() const;

   std::vector<HookCall> calls;
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> answers;
   Ulva::IntfEncapHwStatus defaultAnswer = Ulva::hwStatusSuccess;
};

// Inputs and outputs of one state machine, and handy builders of keys and records.
class SmFixture : public testing::Test {
protected:
   SmFixture();
   ~SmFixture() override;

   // Builds a RecordingPlatform over the collections and runs the initial sweep.
   void startRecording(bool withRemote = false);
   // Builds the simulated platform over the collections (it sweeps by itself).
   void startSimulated(bool withRemote = false);
   WexVlanMapping::WexIntfEncapSm& machine() const;

   static Kestin::IntfId id(char const* name) { return Kestin::IntfId(name); }
   // An encap with one tag (inner at its default) or two.
   static Ulva::IntfEncap encap(char const* intf, std::uint32_t outerVid,
                                std::uint32_t innerVid = Ulva::VlanTag::vidDefault);
   static Ulva::IntfEncap serviceKey(char const* svcIntf) { return Ulva::IntfEncap(id(svcIntf)); }
   // Forwarding information of a service interface with `fwdData`.
   void fwdInfoIs(char const* svcIntf, std::uint16_t fwdData,
                  Ulva::ServiceIntfType type = Ulva::serviceIntfTypeDefault);
   // A LAG with its member ports, in lagToPort and portToLag.
   void lagIs(char const* lag, std::initializer_list<char const*> ports);
   // Wants `e` statically, for service interface `svcIntf`.
   void wantIs(Ulva::IntfEncap const& e, char const* svcIntf) {
      wanted->serviceIntfIs(e, id(svcIntf));
   }
   // The config the machine derives for `e` from the fixture's inputs.
   WexIntfEncapHwConfig plainConfig(Ulva::IntfEncap const& e, char const* svcIntf,
                                    std::uint16_t fwdData) const;
   // Sets only the member list of `lag` in lagToPort; portToLag is left alone.
   void lagMembersIs(char const* lag, std::initializer_list<char const*> ports);
   // The member ports of `lag` in the order in which a walk of its list meets them.
   std::vector<Kestin::IntfId> lagPorts(char const* lag) const;

   Fen::Ptr<Wex::WexCommonSmData> wcsd;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus;
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> remote;
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw;  // the simulated hardware's status
   Fen::Ptr<RecordingPlatform> recording;
   Fen::Ptr<IntfEncapSm> simulated;
};

}  // namespace TestSupport
