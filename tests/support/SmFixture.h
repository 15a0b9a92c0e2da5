// Test scaffolding for the interface encap state machine: a platform that records
// every hook call in order, a fixture that owns a full set of inputs and outputs,
// and a capture of the text trace.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "Fen/Trace.h"
#include "WexVlanMapping/WexIntfEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace WexVlanMappingTest {

using WexVlanMapping::WexIntfEncapHwConfig;

// A platform behind the hooks that writes down each call, in order, and answers
// an add from `answers` (`defaultAnswer` for an encap it has no answer for).
class RecordingPlatform
    : public Fen::StateMachine<RecordingPlatform, WexVlanMapping::WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMappingTest::RecordingPlatform")

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

// Captures the text trace lines of a set of facilities at the given levels for
// its lifetime; restores the sink and the masks afterwards.
class TraceCapture {
public:
   explicit TraceCapture(std::initializer_list<char const*> facilities = {"WexIntfEncapSm"},
                         std::uint32_t mask = Fen::TraceFacility::allLevels);
   ~TraceCapture();
   std::vector<std::string> const& lines() const { return lines_; }
   bool contains(std::string const& line) const;
   // Lines that contain `part`.
   std::vector<std::string> matching(std::string const& part) const;
   // The lines written at `level`, in order.
   std::vector<std::string> linesAt(int level) const;
   // The lines that begin with `prefix`; a test failure when any of them stands
   // at another level than `level`.
   std::vector<std::string> startingWithAt(std::string const& prefix, int level) const;
   void clear() {
      lines_.clear();
      levels_.clear();
   }

private:
   std::vector<std::string> lines_;
   std::vector<int> levels_;
   std::vector<std::pair<std::string, std::uint32_t>> savedMasks_;
   Fen::TraceSink savedSink_;
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
   // The member config that a LAG's config spreads to `port`.
   static WexIntfEncapHwConfig memberConfig(WexIntfEncapHwConfig const& lagConfig,
                                            char const* port);
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

}  // namespace WexVlanMappingTest
