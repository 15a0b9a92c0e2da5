// Helpers of the encap state machine tests, on top of SmFixture:
//
// added, deleted     the hook calls a recording platform is expected to see
// EncapSmTest        SmFixture plus a recording platform built without its
//                    initial sweep, optionally with inputs left null
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Listener.h"
#include "SmFixture.h"
#include "TraceCapture.h"

namespace TestSupport {

// Hook calls print as "add <config>" / "delete <config>" in failure messages.
inline void PrintTo(RecordingPlatform::HookCall const& call, std::ostream* os) {
   *os << (call.kind == RecordingPlatform::hookAdd ? "add " : "delete ") << call.config;
}

inline RecordingPlatform::HookCall added(WexIntfEncapHwConfig const& config) {
   return {RecordingPlatform::hookAdd, config};
}
inline RecordingPlatform::HookCall deleted(WexIntfEncapHwConfig const& config) {
   return {RecordingPlatform::hookDelete, config};
}

class EncapSmTest : public SmFixture {
protected:
   // Which inputs and outputs a machine is built without.
   struct Nulls {
      bool wcsd = false;
      bool fwdInfo = false;
      bool svcStatus = false;
      bool wanted = false;
      bool published = false;
   };

   // The recording platform over the fixture's collections, not swept yet (the
   // platform of startRecording, before its handleInitialized).
   RecordingPlatform& buildRecording(bool withRemote = false) {
      return buildRecording(Nulls{}, withRemote);
   }
   RecordingPlatform& buildRecording(Nulls nulls, bool withRemote = false) {
      using Fen::Ptr;
      recording = Fen::fenObjectIs<RecordingPlatform>(
          nulls.wcsd ? nullptr : wcsd,
          nulls.fwdInfo ? nullptr : Ptr<Ulva::ServiceIntfFwdInfoColl const>(fwd),
          nulls.svcStatus ? nullptr : svcStatus,
          nulls.wanted ? nullptr : Ptr<Ulva::IntfEncapServiceIntfColl const>(wanted),
          nulls.published ? nullptr : published,
          withRemote ? Ptr<Ulva::IntfEncapHwStatusColl const>(remote) : nullptr);
      return *recording;
   }
   RecordingPlatform& sm() const { return *recording; }
   std::vector<RecordingPlatform::HookCall>& calls() const { return recording->calls; }

   // A dynamic entry for `e` with its egress encap, source and service interface.
   static WexVlanMapping::WexDynamicIntfEncapInfo dynamicEntry(
       Ulva::IntfEncap const& e, Ulva::VlanTagEncap const& egress,
       WexVlanMapping::WexIntfEncapSource source, char const* svcIntf) {
      WexVlanMapping::WexDynamicIntfEncapInfo info(e);
      info.egressEncapIs(egress);
      info.sourceIs(source);
      info.serviceIntfIs(svcIntf ? id(svcIntf) : Kestin::IntfId());
      return info;
   }
   // What `config` becomes when its service interface's forwarding changes.
   static WexIntfEncapHwConfig withFwdInfo(WexIntfEncapHwConfig const& config, char const* svcIntf,
                                           std::uint16_t fwdData) {
      Ulva::ServiceIntfFwdInfo info(id(svcIntf));
      info.fwdDataIs(fwdData);
      WexIntfEncapHwConfig c(config.intfEncap(), info, config.lagId());
      c.egressEncapIs(config.egressEncap());
      c.sourceIs(config.source());
      c.retryCntIs(config.retryCnt());
      return c;
   }
};

}  // namespace TestSupport
