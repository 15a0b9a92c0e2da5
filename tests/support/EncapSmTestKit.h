// Helpers of the encap state machine tests, on top of SmFixture:
//
// LevelTraceCapture  keeps every text trace line with its facility and level
// ChangeWatch        a listener that counts (and reports on stderr) every change
//                    of a notifying collection; death tests use its report to
//                    show that nothing changed before an assertion fired
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

#include "Fen/Trace.h"
#include "SmFixture.h"

namespace WexVlanMappingTest {

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

// Captures the text trace lines of one facility, with the level each came at,
// while enabling exactly the levels of `mask`. Restores sink and mask at its end.
class LevelTraceCapture {
public:
   struct Line {
      int level;
      std::string text;
   };

   explicit LevelTraceCapture(std::uint32_t mask = Fen::TraceFacility::allLevels,
                              char const* facility = "WexIntfEncapSm")
       : facility_(facility), savedMask_(Fen::TraceHandle::levelMask(facility)) {
      Fen::TraceHandle::levelMaskIs(facility, mask);
      savedSink_ =
          Fen::traceSinkIs([this](Fen::String const& f, int level, Fen::String const& text) {
             if (f.stdString() == facility_) lines_.push_back({level, text.stdString()});
          });
   }
   ~LevelTraceCapture() {
      Fen::traceSinkIs(savedSink_);
      Fen::TraceHandle::levelMaskIs(facility_.c_str(), savedMask_);
   }
   LevelTraceCapture(LevelTraceCapture const&) = delete;
   LevelTraceCapture& operator=(LevelTraceCapture const&) = delete;

   // The texts that came at `level`, in order.
   std::vector<std::string> at(int level) const {
      std::vector<std::string> out;
      for (auto const& l : lines_) {
         if (l.level == level) out.push_back(l.text);
      }
      return out;
   }
   // Every text, in order, whatever its level.
   std::vector<std::string> texts() const {
      std::vector<std::string> out;
      for (auto const& l : lines_)
         out.push_back(l.text);
      return out;
   }
   // The texts that contain `part`.
   std::vector<std::string> matching(std::string const& part) const {
      std::vector<std::string> out;
      for (auto const& l : lines_) {
         if (l.text.find(part) != std::string::npos) out.push_back(l.text);
      }
      return out;
   }
   void clear() { lines_.clear(); }

private:
   std::string facility_;
   std::uint32_t savedMask_;
   Fen::TraceSink savedSink_;
   std::vector<Line> lines_;
};

// Hears every attribute of one notifier. Each change is counted and written to
// stderr as "changed <name>", so that a death test can tell from the output of
// the dying process whether the collection was touched before the end.
class ChangeWatch : public Fen::PtrInterface::NotifieeConst {
   FEN_COUNTED_CLASS("WexVlanMappingTest::ChangeWatch")

public:
   ChangeWatch(Fen::PtrInterface const* notifier, char const* name) : name_(name) {
      notifierIs(notifier);
      isRegisteredNotifieeIs(true);
   }
   void onAttribute(Fen::AttributeId, void const*) override {
      ++changes;
      std::fprintf(stderr, "changed %s\n", name_.c_str());
      std::fflush(stderr);
   }
   void fenDoZombieReactors(bool zombie) override { fenMarkedForDeletionIs(zombie); }

   std::size_t changes = 0;

private:
   std::string name_;
};

inline Fen::Ptr<ChangeWatch> watch(Fen::PtrInterface const* notifier, char const* name) {
   return Fen::fenObjectIs<ChangeWatch>(notifier, name);
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

   // The config of a member port of `lag` for the LAG's config `lagConfig`.
   static WexIntfEncapHwConfig memberConfig(WexIntfEncapHwConfig const& lagConfig,
                                            char const* port) {
      WexIntfEncapHwConfig c(Ulva::IntfEncap(id(port), lagConfig.intfEncap().encap()),
                             lagConfig.fwdInfo(), lagConfig.lagId());
      c.egressEncapIs(lagConfig.egressEncap());
      c.sourceIs(lagConfig.source());
      return c;
   }
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

}  // namespace WexVlanMappingTest
