// The simulated platform: a state machine whose hardware is two collections,
// testHwConfigKey (what is programmed) and testHwStatusColl (what the hardware
// says, written by the test). Adds are answered from the status collection, a
// change of it for a programmed encap is reported back, and an encap travels the
// whole way from the inputs to the hardware and back to the published status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Listener.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;

class SimulatedPlatform : public SmFixture {
protected:
   // Captures the lines of the machine and of the simulated platform.
   static TraceCapture bothFacilities() {
      return TraceCapture({"WexIntfEncapSm", "WexTestIntfEncapSm"});
   }
   static std::vector<std::string> reportLines(TraceCapture const& trace) {
      return trace.matching("WexIntfEncapSm::platformEncapHwStatusIs: ");
   }
   // The lines that begin with `prefix`, all of them at level 8.
   static std::vector<std::string> level8(TraceCapture const& trace, std::string const& prefix) {
      return trace.startingWithAt(prefix, 8);
   }
   std::set<Ulva::IntfEncap> programmedKeys() const {
      std::set<Ulva::IntfEncap> out;
      for (IntfEncapSm::TestHwConfigKeySet::IteratorConst it(simulated->testHwConfigKeyMap()); it;
           it.advance()) {
         out.insert(it.key());
      }
      return out;
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200, 10);
   Ulva::IntfEncap const lagE = encap("Port-Channel10", 100);
};

TEST_F(SimulatedPlatform, AddWithoutHardwareStatusIsAnsweredFailed) {
   fwdInfoIs("Vlan100", 7);
   startSimulated();
   auto trace = bothFacilities();

   wantIs(e1, "Vlan100");

   EXPECT_TRUE(simulated->testHwConfigKey(e1));
   EXPECT_TRUE(simulated->hwStatusColl()->hwStatusHas(e1));
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_FALSE(hw->hwStatusHas(e1));
   EXPECT_THAT(
       level8(trace, "IntfEncapSm::platformAddHwConfig: "),
       ElementsAre("IntfEncapSm::platformAddHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)"));
   EXPECT_THAT(reportLines(trace), IsEmpty());
}

TEST_F(SimulatedPlatform, StatusWrittenBeforeConfigIsAnsweredAtAddWithoutReport) {
   fwdInfoIs("Vlan100", 7);
   startSimulated();
   auto trace = bothFacilities();

   hw->hwStatusIs(e1, hwStatusNotReady);
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_FALSE(simulated->hwStatusColl()->hwStatusHas(e1));
   EXPECT_FALSE(simulated->hwConfigColl()->configHas(e1));

   wantIs(e1, "Vlan100");

   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
   EXPECT_THAT(reportLines(trace), IsEmpty());
   EXPECT_THAT(level8(trace, "IntfEncapSm::handleTestHwStatus: "), IsEmpty());
}

TEST_F(SimulatedPlatform, MachineBuiltOverInputsIsProgrammedAndPublishedByTheConstructor) {
   fwdInfoIs("Vlan100", 7);
   wantIs(e1, "Vlan100");
   wantIs(e2, "Vlan100");
   hw->hwStatusIs(e1, hwStatusSuccess);
   hw->hwStatusIs(e2, hwStatusNotReady);
   auto trace = bothFacilities();

   startSimulated();

   EXPECT_EQ(simulated->hwConfigColl()->configs(), 2u);
   EXPECT_EQ(simulated->hwConfigColl()->config(e1), plainConfig(e1, "Vlan100", 7));
   EXPECT_EQ(simulated->hwConfigColl()->config(e2), plainConfig(e2, "Vlan100", 7));
   EXPECT_EQ(programmedKeys(), (std::set<Ulva::IntfEncap>{e1, e2}));
   EXPECT_EQ(simulated->hwStatusColl()->hwStatuss(), 2u);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e2), hwStatusNotReady);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e2), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(e2));
   EXPECT_EQ(simulated->retryNeededs(), 1u);
   ASSERT_GE(trace.lines().size(), 2u);
   EXPECT_EQ(trace.lines()[0], "IntfEncapSm::handleInitialized: ");
   EXPECT_EQ(trace.lines()[1], "WexIntfEncapSm::handleInitialized: ");
   EXPECT_THAT(level8(trace, "IntfEncapSm::handleInitialized: "),
               ElementsAre("IntfEncapSm::handleInitialized: "));
   // The walk of the hardware's statuses finds them as the hooks read them.
   EXPECT_THAT(level8(trace, "IntfEncapSm::handleTestHwStatus: "), IsEmpty());
   EXPECT_THAT(reportLines(trace), IsEmpty());
}

TEST_F(SimulatedPlatform, StatusWrittenEqualToStoredOneIsIgnored) {
   fwdInfoIs("Vlan100", 7);
   startSimulated();
   wantIs(e1, "Vlan100");  // no hardware entry: stored as failed
   ASSERT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   auto trace = bothFacilities();

   hw->hwStatusIs(e1, hwStatusFailed);

   EXPECT_TRUE(hw->hwStatusHas(e1));
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
}

TEST_F(SimulatedPlatform, StatusChangeOfProgrammedEncapIsReported) {
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(e1, hwStatusNotReady);
   startSimulated();
   wantIs(e1, "Vlan100");
   auto trace = bothFacilities();

   hw->hwStatusIs(e1, hwStatusSuccess);

   EXPECT_THAT(trace.lines(),
               ElementsAre("IntfEncapSm::handleTestHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
                           "hwStatus: hwStatusSuccess",
                           "WexIntfEncapSm::platformEncapHwStatusIs: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus:hwStatusSuccess",
                           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusSuccess",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusSuccess"));
   EXPECT_THAT(level8(trace, "IntfEncapSm::handleTestHwStatus: "),
               ElementsAre("IntfEncapSm::handleTestHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
                           "hwStatus: hwStatusSuccess"));
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_FALSE(simulated->retryNeededHas(e1));
}

TEST_F(SimulatedPlatform, DeletedStatusWhileStoredSuccessIsReportedFailed) {
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(e1, hwStatusSuccess);
   startSimulated();
   wantIs(e1, "Vlan100");
   ASSERT_EQ(published->hwStatus(e1), hwStatusSuccess);
   auto trace = bothFacilities();

   hw->hwStatusDel(e1);

   EXPECT_THAT(trace.lines(),
               ElementsAre("IntfEncapSm::handleTestHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
                           "hwStatus: hwStatusFailed",
                           "WexIntfEncapSm::platformEncapHwStatusIs: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus:hwStatusFailed",
                           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusFailed"));
   EXPECT_TRUE(simulated->hwStatusColl()->hwStatusHas(e1));
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_TRUE(simulated->testHwConfigKey(e1));
}

TEST_F(SimulatedPlatform, DeletedStatusWhileStoredFailedDoesNothing) {
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(e1, hwStatusFailed);
   startSimulated();
   wantIs(e1, "Vlan100");
   ASSERT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   auto trace = bothFacilities();

   hw->hwStatusDel(e1);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
}

TEST_F(SimulatedPlatform, LagConfigWithTwoMembersProgramsThreeKeys) {
   lagIs("Port-Channel10", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(lagE, hwStatusSuccess);
   startSimulated();
   auto trace = bothFacilities();

   wantIs(lagE, "Vlan100");

   Ulva::IntfEncap const m1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const m2 = encap("Ethernet2", 100);
   EXPECT_EQ(programmedKeys(), (std::set<Ulva::IntfEncap>{lagE, m1, m2}));
   std::vector<std::string> expectedAdds{
       "IntfEncapSm::platformAddHwConfig: (Port-Channel10, 100:0x8100, 4095:0x8100)"};
   for (Kestin::IntfId port : lagPorts("Port-Channel10")) {
      expectedAdds.push_back("IntfEncapSm::platformAddHwConfig: (" +
                             port.stringValue().stdString() + ", 100:0x8100, 4095:0x8100)");
   }
   EXPECT_EQ(level8(trace, "IntfEncapSm::platformAddHwConfig: "), expectedAdds);
   // Without a status per member the members fail, and so does the LAG.
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(m1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);

   hw->hwStatusIs(m1, hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   hw->hwStatusIs(m2, hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);
   auto const decoder = simulated->lagHwStatusDecoder(lagE);
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->hwStatuss(), 3u);
   EXPECT_EQ(decoder->successCount(), 3u);
   EXPECT_FALSE(published->hwStatusHas(m1));
   EXPECT_FALSE(published->hwStatusHas(m2));
}

TEST_F(SimulatedPlatform, DeletedConfigLeavesItsHardwareStatus) {
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(e1, hwStatusSuccess);
   startSimulated();
   wantIs(e1, "Vlan100");
   ASSERT_TRUE(simulated->testHwConfigKey(e1));
   auto trace = bothFacilities();

   wanted->serviceIntfDel(e1);

   EXPECT_FALSE(simulated->testHwConfigKey(e1));
   EXPECT_EQ(simulated->testHwConfigKeys(), 0u);
   EXPECT_TRUE(hw->hwStatusHas(e1));
   EXPECT_EQ(hw->hwStatus(e1), hwStatusSuccess);
   EXPECT_THAT(level8(trace, "IntfEncapSm::platformDeleteHwConfig: "),
               ElementsAre("IntfEncapSm::platformDeleteHwConfig: (Ethernet1, 100:0x8100, "
                           "4095:0x8100)"));
   // The status entry of an encap that is not programmed is ignored.
   trace.clear();
   hw->hwStatusIs(e1, hwStatusNotReady);
   EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(SimulatedPlatform, RetryProgramsTheSameKeyAgain) {
   fwdInfoIs("Vlan100", 7);
   hw->hwStatusIs(e1, hwStatusNotReady);
   startSimulated();
   wantIs(e1, "Vlan100");
   ASSERT_TRUE(simulated->retryNeededHas(e1));
   auto trace = bothFacilities();

   simulated->handleHwConfigRetry();

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handleHwConfigRetry: ",
                           "IntfEncapSm::platformAddHwConfig: (Ethernet1, 100:0x8100, "
                           "4095:0x8100)"));
   EXPECT_EQ(programmedKeys(), (std::set<Ulva::IntfEncap>{e1}));
   EXPECT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 1u);
   EXPECT_TRUE(simulated->retryNeededHas(e1));
}

// ---- the road of one encap -------------------------------------------------------------------

// Everything an encap touches on its way, as text: the input, the wanted and the
// programmed config, the hardware, the retry set, what is published, and the
// service decoder with its counters.
struct RoadView {
   std::map<Ulva::IntfEncap, Kestin::IntfId> serviceIntf;
   std::map<Ulva::IntfEncap, WexIntfEncapHwConfig> wantedConfig;
   std::map<Ulva::IntfEncap, WexIntfEncapHwConfig> hwConfig;
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> hwStatus;
   std::set<Ulva::IntfEncap> testHwConfigKey;
   std::set<Ulva::IntfEncap> retryNeeded;
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> published;
   std::map<Kestin::IntfId, Ulva::IntfEncapHwStatus> svcPublished;
   // The service decoder's members, and its counters (failed, not ready, success).
   std::optional<std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus>> svcDecoder;
   std::vector<std::uint32_t> svcDecoderCounts;

   // Counters as they follow from the members.
   void countMembers() {
      svcDecoderCounts = {0, 0, 0};
      if (!svcDecoder) return;
      for (auto const& [k, s] : *svcDecoder)
         ++svcDecoderCounts.at(s);
   }

   // A config in one line: key, service, forwarding data, LAG, source, egress
   // tags and retry count.
   static std::string configText(WexIntfEncapHwConfig const& c) {
      std::ostringstream os;
      os << c.intfEncap() << "{svc " << c.fwdInfo().serviceIntf() << " fwdData "
         << c.fwdInfo().fwdData() << " lag '" << c.lagId() << "' " << c.source() << " egress "
         << c.egressEncap().outerTag().vid() << "/" << c.egressEncap().innerTag().vid()
         << " retryCnt " << c.retryCnt() << "}";
      return os.str();
   }

   std::string text() const {
      std::ostringstream os;
      os << "intfEncapServiceIntf:";
      for (auto const& [k, v] : serviceIntf)
         os << " " << k << "->" << v;
      os << "\nwanted config:";
      for (auto const& [k, v] : wantedConfig)
         os << " " << configText(v);
      os << "\nhwConfigColl:";
      for (auto const& [k, v] : hwConfig)
         os << " " << configText(v);
      os << "\nhwStatusColl:";
      for (auto const& [k, v] : hwStatus)
         os << " " << k << "=" << v;
      os << "\ntestHwConfigKey:";
      for (auto const& k : testHwConfigKey)
         os << " " << k;
      os << "\nretryNeeded:";
      for (auto const& k : retryNeeded)
         os << " " << k;
      os << "\nintfEncapHwStatus:";
      for (auto const& [k, v] : published)
         os << " " << k << "=" << v;
      os << "\nserviceIntfHwStatus:";
      for (auto const& [k, v] : svcPublished)
         os << " " << k << "=" << v;
      os << "\nservice decoder:";
      if (!svcDecoder) {
         os << " none";
      } else {
         for (auto const& [k, v] : *svcDecoder)
            os << " " << k << "=" << v;
         os << " counts " << svcDecoderCounts.at(0) << "/" << svcDecoderCounts.at(1) << "/"
            << svcDecoderCounts.at(2);
      }
      os << "\n";
      return os.str();
   }
};

class SimulatedPlatformRoad : public SimulatedPlatform {
protected:
   RoadView view() const {
      RoadView v;
      for (Ulva::IntfEncapServiceIntfColl::ServiceIntfMap::IteratorConst it(
               wanted->serviceIntfMap());
           it; it.advance()) {
         v.serviceIntf[it.key()] = wanted->serviceIntf(it.key());
      }
      for (WexVlanMapping::WexIntfEncapSm::PortToHwConfigListMap::IteratorConst it(
               simulated->portToHwConfigListMap());
           it; it.advance()) {
         auto const list = simulated->portToHwConfigList(it.key());
         for (WexVlanMapping::WexPortEncapHwConfigList::HwConfigMap::IteratorConst c(
                  list->hwConfigMap());
              c; c.advance()) {
            v.wantedConfig[c.key()] = list->hwConfig(c.key());
         }
      }
      auto const& configs = *simulated->hwConfigColl();
      for (WexVlanMapping::WexIntfEncapHwConfigColl::ConfigMap::IteratorConst it(
               configs.configMap());
           it; it.advance()) {
         v.hwConfig[it.key()] = configs.config(it.key());
      }
      auto const& statuses = *simulated->hwStatusColl();
      for (Ulva::IntfEncapHwStatusColl::HwStatusMap::IteratorConst it(statuses.hwStatusMap()); it;
           it.advance()) {
         v.hwStatus[it.key()] = statuses.hwStatus(it.key());
      }
      v.testHwConfigKey = programmedKeys();
      for (WexVlanMapping::WexIntfEncapSm::RetryNeededSet::IteratorConst it(
               simulated->retryNeededMap());
           it; it.advance()) {
         v.retryNeeded.insert(it.key());
      }
      for (Ulva::IntfEncapHwStatusColl::HwStatusMap::IteratorConst it(published->hwStatusMap()); it;
           it.advance()) {
         v.published[it.key()] = published->hwStatus(it.key());
      }
      for (Ulva::ServiceIntfHwStatusColl::HwStatusMap::IteratorConst it(svcStatus->hwStatusMap());
           it; it.advance()) {
         v.svcPublished[it.key()] = svcStatus->hwStatus(it.key());
      }
      v.svcDecoderCounts = {0, 0, 0};
      if (auto const d = simulated->svcHwStatusDecoder(serviceKey("Vlan100"))) {
         v.svcDecoder.emplace();
         for (WexVlanMapping::WexEncapHwStatusDecoder::HwStatusMap::IteratorConst it(
                  d->hwStatusMap());
              it; it.advance()) {
            (*v.svcDecoder)[it.key()] = d->hwStatus(it.key());
         }
         v.svcDecoderCounts = {d->failedCount(), d->notReadyCount(), d->successCount()};
      }
      return v;
   }

   // Starts listening to the collections whose changes mark the steps of the road.
   void listen() {
      auto record = [this](char const* what) {
         return [this, what](Fen::AttributeId, void const*) {
            events.push_back(std::string(what) + "\n" + view().text());
         };
      };
      probes.push_back(Listener::ListenerIs(simulated->hwConfigColl(), record("hwConfigColl")));
      probes.push_back(Listener::ListenerIs(simulated->hwStatusColl(), record("hwStatusColl")));
      probes.push_back(Listener::ListenerIs(published.ptr(), record("intfEncapHwStatus")));
      probes.push_back(Listener::ListenerIs(svcStatus.ptr(), record("serviceIntfHwStatus")));
   }

   // The changes heard since the last call, each with the view at that moment,
   // and the view now.
   void expectRoad(std::vector<std::pair<std::string, RoadView>> expected, RoadView now,
                   char const* step) {
      SCOPED_TRACE(step);
      ASSERT_EQ(events.size(), expected.size());
      for (std::size_t i = 0; i < expected.size(); ++i) {
         expected[i].second.countMembers();
         EXPECT_EQ(events[i], expected[i].first + "\n" + expected[i].second.text())
             << "change " << i;
      }
      now.countMembers();
      EXPECT_EQ(view().text(), now.text());
      events.clear();
   }

   std::vector<std::string> events;
   std::vector<Fen::Ptr<Listener>> probes;
};

TEST_F(SimulatedPlatformRoad, OneEncapFromInputToHardwareAndBack) {
   Kestin::IntfId const vlan100 = id("Vlan100");
   fwdInfoIs("Vlan100", 7);
   startSimulated();
   listen();
   WexIntfEncapHwConfig const config = plainConfig(e1, "Vlan100", 7);

   RoadView v;
   v.svcPublished = {{vlan100, hwStatusFailed}};
   expectRoad({}, v, "service interface with forwarding information, no encap");

   // The hardware will answer not ready; an entry for an unprogrammed encap
   // changes nothing.
   hw->hwStatusIs(e1, hwStatusNotReady);
   expectRoad({}, v, "hardware status before the config");

   // 1. The entry is written.
   wanted->serviceIntfIs(e1, vlan100);
   v.serviceIntf = {{e1, vlan100}};
   // 2. The config is derived and recorded as wanted; the encap has joined its
   // service decoder as failed. 3. It is stored before the hook runs.
   v.wantedConfig = {{e1, config}};
   v.svcDecoder.emplace();
   (*v.svcDecoder)[e1] = hwStatusFailed;
   v.hwConfig = {{e1, config}};
   RoadView const stored = v;
   // 3. The hook has put the key into the hardware; 4. its answer is stored...
   v.testHwConfigKey = {e1};
   v.hwStatus = {{e1, hwStatusNotReady}};
   RoadView const answered = v;
   // ...rolled up: published for the encap, with the retry set in step...
   v.retryNeeded = {e1};
   v.published = {{e1, hwStatusNotReady}};
   RoadView const published1 = v;
   // ...then the service decoder and, last, the service status.
   (*v.svcDecoder)[e1] = hwStatusNotReady;
   v.svcPublished = {{vlan100, hwStatusNotReady}};
   expectRoad({{"hwConfigColl", stored},
               {"hwStatusColl", answered},
               {"intfEncapHwStatus", published1},
               {"serviceIntfHwStatus", v}},
              v, "steps 1 to 4: the entry is written");

   // 5. The hardware finishes.
   hw->hwStatusIs(e1, hwStatusSuccess);
   v.hwStatus = {{e1, hwStatusSuccess}};
   RoadView const reported = v;
   v.retryNeeded = {};
   v.published = {{e1, hwStatusSuccess}};
   RoadView const published2 = v;
   (*v.svcDecoder)[e1] = hwStatusSuccess;
   v.svcPublished = {{vlan100, hwStatusSuccess}};
   expectRoad(
       {{"hwStatusColl", reported}, {"intfEncapHwStatus", published2}, {"serviceIntfHwStatus", v}},
       v, "step 5: the hardware reports success");

   // 6. The entry leaves: the encap leaves its service decoder first, then the
   // config goes from hwConfigColl, the hardware and the wanted list, and the
   // published status goes last.
   wanted->serviceIntfDel(e1);
   v.serviceIntf = {};
   v.svcDecoder->clear();
   v.svcPublished = {{vlan100, hwStatusFailed}};
   RoadView const leftService = v;
   v.hwConfig = {};
   RoadView const unstored = v;
   v.testHwConfigKey = {};
   v.hwStatus = {};
   RoadView const unprogrammed = v;
   v.wantedConfig = {};
   v.published = {};
   expectRoad({{"serviceIntfHwStatus", leftService},
               {"hwConfigColl", unstored},
               {"hwStatusColl", unprogrammed},
               {"intfEncapHwStatus", v}},
              v, "step 6: the entry leaves");

   // The hardware keeps its status; the service keeps its (empty) decoder while
   // it has forwarding information.
   EXPECT_EQ(hw->hwStatus(e1), hwStatusSuccess);
   EXPECT_TRUE(simulated->svcHwStatusDecoderHas(serviceKey("Vlan100")));
}

}  // namespace
}  // namespace TestSupport
