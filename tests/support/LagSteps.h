// Steps of the agent that owns LAG membership, and the records the state
// machine derives for LAG members, for the tests of the encap state machine.
//
// An agent changes a membership in two writes: first the LAG's member list
// (`lagToPort`, which the machine only reads), then the port's entry in
// `portToLag` (which the machine hears). joinLag and leaveLag do both, in that
// order; a move is a join to another LAG.
#pragma once

#include <string>
#include <vector>

#include "SmFixture.h"

namespace TestSupport {

// Takes `port` out of the member list of `lag` in `wcsd` (a no-op if absent).
inline void lagPortListDel(Wex::WexCommonSmData& wcsd, Kestin::IntfId lag, Kestin::IntfId port) {
   if (!wcsd.lagToPortHas(lag)) return;
   Wex::WexLagPortList list = wcsd.lagToPort(lag);
   list.portDel(port);
   wcsd.lagToPortIs(lag, list);
}

// Adds `port` to the member list of `lag` in `wcsd`.
inline void lagPortListIs(Wex::WexCommonSmData& wcsd, Kestin::IntfId lag, Kestin::IntfId port) {
   Wex::WexLagPortList list = wcsd.lagToPort(lag);
   list.portIs(port, Wex::WexLagPort());
   wcsd.lagToPortIs(lag, list);
}

// `port` joins `lag`, leaving the LAG it is in: member lists first, then portToLag.
inline void joinLag(Wex::WexCommonSmData& wcsd, Kestin::IntfId port, Kestin::IntfId lag) {
   if (wcsd.portToLagHas(port)) lagPortListDel(wcsd, wcsd.portToLag(port), port);
   lagPortListIs(wcsd, lag, port);
   wcsd.portToLagIs(port, lag);
}

// `port` leaves its LAG: the member list first, then portToLag.
inline void leaveLag(Wex::WexCommonSmData& wcsd, Kestin::IntfId port) {
   lagPortListDel(wcsd, wcsd.portToLag(port), port);
   wcsd.portToLagDel(port);
}

// `config` with another retryCnt.
inline WexIntfEncapHwConfig withRetryCnt(WexIntfEncapHwConfig config, std::uint32_t retryCnt) {
   config.retryCntIs(retryCnt);
   return config;
}

// The configs of the hook calls, in call order.
inline std::vector<WexIntfEncapHwConfig> hookConfigs(RecordingPlatform const& platform) {
   std::vector<WexIntfEncapHwConfig> out;
   for (auto const& call : platform.calls)
      out.push_back(call.config);
   return out;
}

}  // namespace TestSupport
