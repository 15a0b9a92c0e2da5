// Random sequences of input changes and hardware answers applied to a machine on
// the simulated platform, with the machine's invariants checked after each step.
//
// The world: Ethernet3 and Ethernet4 start as members of Port-Channel10,
// Ethernet1 and Ethernet2 stand alone. Ethernet1, Ethernet3 and Ethernet4 join,
// leave and move between Port-Channel10 and Port-Channel20 the way an agent does
// it: first the member lists in lagToPort, then portToLag, which the machine
// hears. Ethernet ports go down and come up, everything is reprogrammed now and
// then, and in about half the runs the machine has a remote status collection
// whose entries come and go. Encaps have one or two tags; three service
// interfaces forward or not.
//
// The checks are the invariants (1) to (8) of WexIntfEncapSm.h, cited by number.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/state.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "WexVlanMapping/WexIntfEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace TestSupport {

using WexVlanMappingTest::IntfEncapSm;
using WexVlanMappingTest::intfEncapSmFactory;
namespace {

using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;
using WexVlanMapping::WexDynamicIntfEncapInfo;
using WexVlanMapping::WexIntfEncapHwConfig;
using WexVlanMapping::WexIntfEncapSm;

constexpr int maxSteps = 60;
constexpr int runs = 10000;

Kestin::IntfId const lag("Port-Channel10");
Kestin::IntfId const otherLag("Port-Channel20");
Kestin::IntfId const lagPortA("Ethernet3");
Kestin::IntfId const lagPortB("Ethernet4");

std::vector<char const*> const interfaces{"Ethernet1", "Ethernet2",      "Ethernet3",
                                          "Ethernet4", "Port-Channel10", "Port-Channel20"};
std::vector<char const*> const ethPorts{"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4"};
// The ports whose membership changes; Ethernet2 always stands alone.
std::vector<char const*> const movingPorts{"Ethernet1", "Ethernet3", "Ethernet4"};
std::vector<char const*> const serviceIntfs{"Vlan10", "Vlan20", "Vlan30"};

Ulva::IntfEncap encapOf(char const* intf, std::uint32_t outer, std::uint32_t inner) {
   return Ulva::IntfEncap(Kestin::IntfId(intf),
                          Ulva::VlanTagEncap(Ulva::vlanTag(outer), Ulva::vlanTag(inner)));
}

// "(Ethernet1, 100)" or "(Ethernet1, 100, 10)".
std::string shortText(Ulva::IntfEncap const& e) {
   std::ostringstream os;
   os << "(" << e.intfId() << ", " << e.encap().outerTag().vid();
   if (e.encap().innerTag().vid() != Ulva::VlanTag::vidDefault) {
      os << ", " << e.encap().innerTag().vid();
   }
   os << ")";
   return os.str();
}

std::string shortText(Ulva::VlanTagEncap const& e) {
   return shortText(Ulva::IntfEncap(Kestin::IntfId(), e)).substr(3);
}

rc::Gen<Ulva::IntfEncap> genEncap() {
   return rc::gen::apply(
       [](char const* intf, std::uint32_t outer, std::uint32_t inner) {
          return encapOf(intf, outer, inner);
       },
       rc::gen::elementOf(interfaces), rc::gen::elementOf(std::vector<std::uint32_t>{100, 200}),
       rc::gen::weightedElement<std::uint32_t>({{3, Ulva::VlanTag::vidDefault}, {1, 10}}));
}

rc::Gen<Kestin::IntfId> genServiceIntf() {
   return rc::gen::map(rc::gen::elementOf(serviceIntfs),
                       [](char const* name) { return Kestin::IntfId(name); });
}

rc::Gen<Kestin::IntfId> genIntf(std::vector<char const*> const& names) {
   return rc::gen::map(rc::gen::elementOf(names),
                       [](char const* name) { return Kestin::IntfId(name); });
}

rc::Gen<Ulva::IntfEncapHwStatus> genStatus() {
   return rc::gen::weightedElement<Ulva::IntfEncapHwStatus>(
       {{2, hwStatusSuccess}, {2, hwStatusNotReady}, {1, hwStatusFailed}});
}

// What a port that joined `lagId` must hold for the LAG's config.
WexIntfEncapHwConfig memberOf(WexIntfEncapHwConfig const& lagConfig, Kestin::IntfId port,
                              Kestin::IntfId lagId) {
   return WexVlanMapping::portHwConfigOf(lagConfig, port, lagId);
}

WexIntfEncapHwConfig withoutRetries(WexIntfEncapHwConfig c) {
   c.retryCntIs(0);
   return c;
}

template <class Map>
std::set<typename Map::KeyType> keysOf(Map const& map) {
   std::set<typename Map::KeyType> out;
   for (typename Map::IteratorConst it(map); it; it.advance())
      out.insert(it.key());
   return out;
}

// The machine on the simulated platform with all its collections, and what the
// checks must remember between steps.
class System {
public:
   explicit System(bool withRemote)
       : wcsd(Wex::wexCommonSmDataFactory()),
         fwd(Ulva::serviceIntfFwdInfoCollFactory()),
         svcStatus(Ulva::serviceIntfHwStatusCollFactory()),
         wanted(Ulva::intfEncapServiceIntfCollFactory()),
         published(Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus")),
         dynamic(WexVlanMapping::wexDynamicIntfEncapCollFactory()),
         hw(Ulva::intfEncapHwStatusCollFactory("testHwStatus")),
         remote(withRemote ? Ulva::intfEncapHwStatusCollFactory("remoteHwStatus") : nullptr) {
      wcsd->portToLagIs(lagPortA, lag);
      wcsd->portToLagIs(lagPortB, lag);
      Wex::WexLagPortList list;
      list.portIs(lagPortA, Wex::WexLagPort());
      list.portIs(lagPortB, Wex::WexLagPort());
      wcsd->lagToPortIs(lag, list);
      sm = intfEncapSmFactory(wcsd, fwd, svcStatus, wanted, published, remote, dynamic, hw);
   }

   // The member list of `l` in lagToPort with `port` added or taken out.
   void lagToPortChange(Kestin::IntfId l, Kestin::IntfId port, bool add) {
      Wex::WexLagPortList list = wcsd->lagToPort(l);
      if (add) {
         list.portIs(port, Wex::WexLagPort());
      } else {
         list.portDel(port);
      }
      if (list.ports() == 0) {
         if (wcsd->lagToPortHas(l)) wcsd->lagToPortDel(l);
      } else {
         wcsd->lagToPortIs(l, list);
      }
   }

   bool inPortToLag(Kestin::IntfId intf) const { return wcsd->portToLagHas(intf); }

   // The encap under which a rollup of `e` publishes: the LAG's encap for a
   // member port, `e` itself otherwise.
   Ulva::IntfEncap publishedUnder(Ulva::IntfEncap const& e) const {
      return inPortToLag(e.intfId()) ? Ulva::IntfEncap(wcsd->portToLag(e.intfId()), e.encap()) : e;
   }

   // What a step tells the checks: the encap whose rollup ends the step, if any.
   struct StepEnd {
      std::optional<Ulva::IntfEncap> rolledUp;
   };

   // Checks every invariant; fails the case with all violations and the state.
   void check(StepEnd const& end);

   Fen::Ptr<Wex::WexCommonSmData> wcsd;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus;
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published;
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> remote;
   Fen::Ptr<IntfEncapSm> sm;

   // Ethernet ports last reported down.
   std::set<Kestin::IntfId> down;
   // Encaps whose remote entry changed while their port was in a LAG (the
   // machine skips those) and whose published status no step has since ended
   // by rolling up.
   std::set<Ulva::IntfEncap> remoteSkipped;

   // Statuses that a platform report wrote for an encap without a config, and
   // that nothing has overwritten or wiped since.
   std::map<Ulva::IntfEncap, Ulva::IntfEncapHwStatus> reportOnly;
   std::uint32_t retryPasses = 0;
   int step = 0;
};

void System::check(StepEnd const& end) {
   ++step;
   WexIntfEncapSm const& m = *sm;
   auto const& configs = *m.hwConfigColl();
   auto const& statuses = *m.hwStatusColl();
   std::set<Ulva::IntfEncap> const configKeys = keysOf(configs.configMap());
   std::set<Ulva::IntfEncap> const statusKeys = keysOf(statuses.hwStatusMap());
   std::set<Ulva::IntfEncap> const retryKeys = keysOf(m.retryNeededMap());
   std::vector<std::string> bad;
   auto violation = [&bad](Ulva::IntfEncap const& k, std::string const& what) {
      std::ostringstream os;
      os << k << ": " << what;
      bad.push_back(os.str());
   };

   // What the checks remember follows the machine: an entry goes once its
   // status was overwritten by a config's add or wiped, or once its config is
   // gone or was programmed anew.
   for (auto it = reportOnly.begin(); it != reportOnly.end();) {
      bool const gone = configKeys.count(it->first) || !statusKeys.count(it->first);
      it = gone ? reportOnly.erase(it) : std::next(it);
   }
   if (end.rolledUp) remoteSkipped.erase(publishedUnder(*end.rolledUp));

   // Invariant (1) of WexIntfEncapSm.h. Every decoder's counters agree with its members.
   auto checkDecoders = [&](auto const& map, char const* which) {
      for (auto const& key : keysOf(map)) {
         auto const d = map.get(key);
         std::uint32_t n[3] = {0, 0, 0};
         for (auto const& member : keysOf(d->hwStatusMap()))
            ++n[d->hwStatus(member) % 3];
         if (d->hwStatuss() != d->hwStatusCount() || d->failedCount() != n[0] ||
             d->notReadyCount() != n[1] || d->successCount() != n[2]) {
            std::ostringstream os;
            os << which << " decoder: " << d->hwStatuss() << " members (" << n[0] << "/" << n[1]
               << "/" << n[2] << ") but counters " << d->failedCount() << "/" << d->notReadyCount()
               << "/" << d->successCount();
            violation(key, os.str());
         }
      }
   };
   checkDecoders(m.lagHwStatusDecoderMap(), "LAG");
   checkDecoders(m.svcHwStatusDecoderMap(), "service");

   // Invariant (2) of WexIntfEncapSm.h. A status exactly where a config is, apart from what a
   // report wrote for an encap without config.
   for (auto const& k : configKeys) {
      if (!statusKeys.count(k)) violation(k, "config without status");
   }
   for (auto const& k : statusKeys) {
      if (configKeys.count(k)) continue;
      auto const r = reportOnly.find(k);
      if (r == reportOnly.end()) {
         violation(k, "status without config, not written by a report");
      } else if (statuses.hwStatus(k) != r->second) {
         violation(k, "status without config differs from the one reported");
      }
   }

   // Invariant (3) of WexIntfEncapSm.h. The retry set, exact after every step: an
   // encap waits exactly when its config is programmed and its last status is
   // not ready, a LAG member's as much as any other.
   auto qualifies = [&](Ulva::IntfEncap const& k) {
      return statuses.hwStatusHas(k) && statuses.hwStatus(k) == hwStatusNotReady &&
             configs.configHas(k) && configs.config(k) != WexIntfEncapHwConfig();
   };
   std::set<Ulva::IntfEncap> candidates = retryKeys;
   candidates.insert(statusKeys.begin(), statusKeys.end());
   for (auto const& k : candidates) {
      bool const in = retryKeys.count(k) != 0;
      if (in != qualifies(k)) {
         violation(k, in ? "waits for a retry without qualifying" : "qualifies but does not wait");
      }
   }

   // Invariant (4) of WexIntfEncapSm.h. Every programmed config is one that is wanted: the plain or
   // LAG config of its own encap, or the member config of its LAG's encap. (Membership changes as
   // an agent makes them, lagToPort before portToLag, so the LAG's walks and the port's walks agree
   // and no member config is left behind.)
   for (auto const& k : configKeys) {
      WexIntfEncapHwConfig const c = configs.config(k);
      WexIntfEncapHwConfig const c0 = withoutRetries(c);
      if (c.intfEncap() != k) violation(k, "config stored under another key");
      if (c.retryCnt() > retryPasses) violation(k, "retryCnt above the number of retry passes");
      if (c.isLagMember()) {
         WexIntfEncapHwConfig const lagConfig =
             m.getHwConfig(Ulva::IntfEncap(c.lagId(), k.encap()));
         bool const current = lagConfig != WexIntfEncapHwConfig() &&
                              c0 == memberOf(lagConfig, k.intfId(), lagConfig.lagId());
         if (!current) violation(k, "member config of no wanted LAG config");
      } else {
         WexIntfEncapHwConfig const w = m.getHwConfig(k);
         if (w == WexIntfEncapHwConfig() || c0 != w) violation(k, "config that is not wanted");
         if (!c.isLag() && inPortToLag(k.intfId())) violation(k, "own config of a LAG member");
      }
   }
   // ...and every wanted config of an interface in no LAG is programmed, unless
   // the port is down: a port down takes its configs out of hardware and keeps
   // them in its list for the port up.
   for (auto const& port : keysOf(m.portToHwConfigListMap())) {
      if (inPortToLag(port) || down.count(port)) continue;
      auto const list = m.portToHwConfigList(port);
      for (auto const& k : keysOf(list->hwConfigMap())) {
         if (!configKeys.count(k) || withoutRetries(configs.config(k)) != list->hwConfig(k)) {
            violation(k, "wanted config not programmed");
         }
      }
   }

   // Invariant (5) of WexIntfEncapSm.h. The simulated hardware holds exactly the programmed keys.
   std::set<Ulva::IntfEncap> const programmed = keysOf(sm->testHwConfigKeyMap());
   for (auto const& k : programmed) {
      if (!configKeys.count(k)) violation(k, "in testHwConfigKey without config");
   }
   for (auto const& k : configKeys) {
      if (!programmed.count(k)) violation(k, "config not in testHwConfigKey");
   }

   // Invariant (6) of WexIntfEncapSm.h. A port that is down has no config.
   for (auto const& k : configKeys) {
      if (down.count(k.intfId())) violation(k, "config of a port that is down");
   }

   // Invariant (7) of WexIntfEncapSm.h. A port in a LAG (per portToLag; every membership step ends
   // in the join or leave it makes) that is up holds exactly the member configs of its LAG's wanted
   // configs, re-keyed to the port with the LAG as lagId (retryCnt aside), and none of its own.
   for (auto const& port : keysOf(wcsd->portToLagMap())) {
      if (down.count(port)) continue;
      Kestin::IntfId const l = wcsd->portToLag(port);
      std::map<Ulva::IntfEncap, WexIntfEncapHwConfig> expected;
      if (auto const list = m.portToHwConfigList(l)) {
         for (auto const& lk : keysOf(list->hwConfigMap())) {
            WexIntfEncapHwConfig const c = memberOf(m.getHwConfig(lk), port, l);
            expected.emplace(c.intfEncap(), c);
         }
      }
      for (auto const& k : configKeys) {
         if (k.intfId() != port) continue;
         auto const e = expected.find(k);
         if (e == expected.end()) {
            violation(k, "config of a LAG member that no config of its LAG asks for");
         } else if (withoutRetries(configs.config(k)) != e->second) {
            violation(k, "member config differs from its LAG's config");
         }
      }
      for (auto const& [k, c] : expected) {
         if (!configKeys.count(k)) violation(k, "member config of its LAG's config missing");
      }
   }

   // Invariant (8) of WexIntfEncapSm.h. With a remote collection, no published status exceeds the
   // remote one (an absent remote entry reads as failed). Every rollup reads the remote collection
   // as it is, and a remote change rolls its encap up at once, except on a port in a LAG: there the
   // machine skips it, so an encap whose remote entry changed while its port was in a LAG is exempt
   // until a step ends in a rollup published under that encap (a static or dynamic change, a
   // platform report, a hardware status report or a remote change, named by the step).
   if (remote) {
      for (auto it = remoteSkipped.begin(); it != remoteSkipped.end();) {
         it = published->hwStatusHas(*it) ? std::next(it) : remoteSkipped.erase(it);
      }
      for (auto const& k : keysOf(published->hwStatusMap())) {
         if (remoteSkipped.count(k)) continue;
         Ulva::IntfEncapHwStatus const p = published->hwStatus(k);
         Ulva::IntfEncapHwStatus const r = remote->hwStatus(k);
         if (p > r) {
            std::ostringstream os;
            os << "published " << p << " above remote " << r;
            violation(k, os.str());
         }
      }
   }

   if (bad.empty()) return;
   std::ostringstream os;
   os << "after step " << step << ":\n";
   for (auto const& b : bad)
      os << "  " << b << "\n";
   os << "hwConfigColl:";
   for (auto const& k : configKeys) {
      auto const c = configs.config(k);
      os << " " << shortText(k) << "{svc " << c.fwdInfo().serviceIntf() << " fwdData "
         << c.fwdInfo().fwdData() << " lag '" << c.lagId() << "' retryCnt " << c.retryCnt() << "}";
   }
   os << "\nhwStatusColl:";
   for (auto const& k : statusKeys)
      os << " " << shortText(k) << "=" << statuses.hwStatus(k);
   os << "\nintfEncapHwStatus:";
   for (auto const& k : keysOf(published->hwStatusMap()))
      os << " " << shortText(k) << "=" << published->hwStatus(k);
   if (remote) {
      os << "\nremote:";
      for (auto const& k : keysOf(remote->hwStatusMap()))
         os << " " << shortText(k) << "=" << remote->hwStatus(k);
   }
   os << "\nretryNeeded:";
   for (auto const& k : retryKeys)
      os << " " << shortText(k);
   os << "\n";
   RC_FAIL(os.str());
}

// Whether the machine was built with a remote status collection.
struct Model {
   bool remote = false;
};
using Step = rc::state::Command<Model, System>;

// ---- input changes -------------------------------------------------------------------

struct WantStatic : Step {
   Ulva::IntfEncap e = *genEncap();
   Kestin::IntfId svc = *genServiceIntf();
   void run(Model const&, System& s) const override {
      bool const changes = !s.wanted->serviceIntfHas(e) || s.wanted->serviceIntf(e) != svc;
      s.wanted->serviceIntfIs(e, svc);
      s.check({changes ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "want " << shortText(e) << " for " << svc; }
};

struct UnwantStatic : Step {
   Ulva::IntfEncap e = *genEncap();
   void run(Model const&, System& s) const override {
      bool const changes = s.wanted->serviceIntfHas(e);
      s.wanted->serviceIntfDel(e);
      s.check({changes ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "unwant " << shortText(e); }
};

struct FwdInfoSet : Step {
   Kestin::IntfId svc = *genServiceIntf();
   std::uint16_t fwdData = *rc::gen::element<std::uint16_t>(1, 2, 0);
   void run(Model const&, System& s) const override {
      Ulva::ServiceIntfFwdInfo info(svc);
      info.fwdDataIs(fwdData);
      s.fwd->fwdInfoIs(info);
      s.check({});
   }
   void show(std::ostream& os) const override { os << "fwdInfo " << svc << " fwdData " << fwdData; }
};

struct FwdInfoDel : Step {
   Kestin::IntfId svc = *genServiceIntf();
   void run(Model const&, System& s) const override {
      s.fwd->fwdInfoDel(svc);
      s.check({});
   }
   void show(std::ostream& os) const override { os << "no fwdInfo " << svc; }
};

struct DynamicSet : Step {
   Ulva::IntfEncap e = *genEncap();
   Ulva::VlanTagEncap egress =
       *rc::gen::element(e.encap(), Ulva::VlanTagEncap(Ulva::vlanTag(300), Ulva::VlanTag()),
                         Ulva::VlanTagEncap(Ulva::vlanTag(300), Ulva::vlanTag(10)));
   WexVlanMapping::WexIntfEncapSource source =
       *rc::gen::element(WexVlanMapping::staticEncap, WexVlanMapping::macsecProxy);
   Kestin::IntfId svc = *rc::gen::weightedOneOf<Kestin::IntfId>(
       {{4, genServiceIntf()}, {1, rc::gen::just(Kestin::IntfId())}});
   void run(Model const&, System& s) const override {
      WexDynamicIntfEncapInfo info(e);
      info.egressEncapIs(egress);
      info.sourceIs(source);
      info.serviceIntfIs(svc);
      bool const changes = s.dynamic->entry(e) != info;
      s.dynamic->entryIs(info);
      s.check({changes ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override {
      os << "dynamic " << shortText(e) << " egress " << shortText(egress) << " " << source
         << " for '" << svc << "'";
   }
};

struct DynamicDel : Step {
   Ulva::IntfEncap e = *genEncap();
   void run(Model const&, System& s) const override {
      bool const changes = s.dynamic->entryHas(e);
      s.dynamic->entryDel(e);
      s.check({changes ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "no dynamic " << shortText(e); }
};

// A port joins a LAG, or moves to it from the other one: the agent takes it
// out of the old LAG's member list, puts it into the new one's, then writes
// portToLag. A repeated join of the same LAG rewrites the same values.
struct LagJoin : Step {
   Kestin::IntfId port = *genIntf(movingPorts);
   Kestin::IntfId to = *rc::gen::element(lag, otherLag);
   void run(Model const&, System& s) const override {
      if (s.inPortToLag(port) && s.wcsd->portToLag(port) != to)
         s.lagToPortChange(s.wcsd->portToLag(port), port, false);
      s.lagToPortChange(to, port, true);
      s.wcsd->portToLagIs(port, to);
      s.check({});
   }
   void show(std::ostream& os) const override { os << port << " joins " << to; }
};

// A port leaves its LAG: out of the member list first, then out of portToLag.
// Nothing happens for a port in no LAG.
struct LagLeave : Step {
   Kestin::IntfId port = *genIntf(movingPorts);
   void run(Model const&, System& s) const override {
      if (s.inPortToLag(port)) {
         s.lagToPortChange(s.wcsd->portToLag(port), port, false);
         s.wcsd->portToLagDel(port);
      }
      s.check({});
   }
   void show(std::ostream& os) const override { os << port << " leaves its LAG"; }
};

struct PortDown : Step {
   Kestin::IntfId port = *genIntf(ethPorts);
   bool isDown = *rc::gen::arbitrary<bool>();
   void run(Model const&, System& s) const override {
      s.sm->platformPortDownIs(port, isDown);
      if (isDown) {
         s.down.insert(port);
      } else {
         s.down.erase(port);
      }
      s.check({});
   }
   void show(std::ostream& os) const override {
      os << "platform: " << port << (isDown ? " down" : " up");
   }
};

struct Reinit : Step {
   void run(Model const&, System& s) const override {
      s.sm->reinitAllHwConfig();
      s.check({});
   }
   void show(std::ostream& os) const override { os << "reinit all"; }
};

// A remote entry changes; the machine rolls its encap up unless the encap's
// port is in a LAG.
struct RemoteSet : Step {
   Ulva::IntfEncap e = *genEncap();
   Ulva::IntfEncapHwStatus status = *genStatus();
   void checkPreconditions(Model const& m) const override { RC_PRE(m.remote); }
   void run(Model const&, System& s) const override {
      bool const changes = !s.remote->hwStatusHas(e) || s.remote->hwStatus(e) != status;
      bool const skipped = s.inPortToLag(e.intfId());
      s.remote->hwStatusIs(e, status);
      if (changes && skipped) s.remoteSkipped.insert(e);
      s.check({changes && !skipped ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "remote " << shortText(e) << " " << status; }
};

struct RemoteDel : Step {
   Ulva::IntfEncap e = *genEncap();
   void checkPreconditions(Model const& m) const override { RC_PRE(m.remote); }
   void run(Model const&, System& s) const override {
      bool const changes = s.remote->hwStatusHas(e);
      bool const skipped = s.inPortToLag(e.intfId());
      s.remote->hwStatusDel(e);
      if (changes && skipped) s.remoteSkipped.insert(e);
      s.check({changes && !skipped ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "remote forgets " << shortText(e); }
};

// ---- hardware answers ------------------------------------------------------------------------

// Would the simulated platform report `e` after its hardware status became
// `status` (`present` false: the entry is deleted)?
bool reports(System const& s, Ulva::IntfEncap const& e, Ulva::IntfEncapHwStatus status,
             bool present) {
   bool const writes =
       present ? !(s.hw->hwStatusHas(e) && s.hw->hwStatus(e) == status) : s.hw->hwStatusHas(e);
   return writes && s.sm->hwConfigColl()->configHas(e) &&
          s.sm->hwStatusColl()->hwStatus(e) != status;
}

struct HwStatusSet : Step {
   Ulva::IntfEncap e = *genEncap();
   Ulva::IntfEncapHwStatus status = *genStatus();
   void run(Model const&, System& s) const override {
      bool const reported = reports(s, e, status, true);
      s.hw->hwStatusIs(e, status);
      s.check({reported ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override {
      os << "hardware " << shortText(e) << " " << status;
   }
};

struct HwStatusDel : Step {
   Ulva::IntfEncap e = *genEncap();
   void run(Model const&, System& s) const override {
      bool const reported = reports(s, e, hwStatusFailed, false);
      s.hw->hwStatusDel(e);
      s.check({reported ? std::optional(e) : std::nullopt});
   }
   void show(std::ostream& os) const override { os << "hardware forgets " << shortText(e); }
};

struct Retry : Step {
   void run(Model const&, System& s) const override {
      ++s.retryPasses;
      s.sm->handleHwConfigRetry();
      s.check({std::nullopt});
   }
   void show(std::ostream& os) const override { os << "retry"; }
};

// The platform reports of its own accord, also for an encap it has no config for.
struct PlatformReport : Step {
   Ulva::IntfEncap e = *genEncap();
   Ulva::IntfEncapHwStatus status = *genStatus();
   void run(Model const&, System& s) const override {
      s.sm->platformEncapHwStatusIs(e, status);
      if (!s.sm->hwConfigColl()->configHas(e)) s.reportOnly[e] = status;
      s.check({e});
   }
   void show(std::ostream& os) const override {
      os << "platform reports " << shortText(e) << " " << status;
   }
};

auto const genStep = rc::state::gen::execOneOfWithArgs<
    WantStatic, WantStatic, WantStatic, UnwantStatic, UnwantStatic, FwdInfoSet, FwdInfoSet,
    FwdInfoDel, DynamicSet, DynamicSet, DynamicDel, LagJoin, LagJoin, LagLeave, HwStatusSet,
    HwStatusSet, HwStatusSet, HwStatusSet, HwStatusDel, HwStatusDel, Retry, Retry, PlatformReport,
    PortDown, PortDown, Reinit, RemoteSet, RemoteSet, RemoteDel>();

TEST(WexIntfEncapSmProperty, InvariantsHoldAfterEveryStep) {
   rc::detail::TestMetadata metadata;
   metadata.id = "WexIntfEncapSmProperty/InvariantsHoldAfterEveryStep";
   metadata.description = "InvariantsHoldAfterEveryStep";
   rc::detail::TestParams params = rc::detail::configuration().testParams;
   // RC_PARAMS (seed, max_success, ...) takes over when given.
   if (std::getenv("RC_PARAMS") == nullptr) params.maxSuccess = runs;

   auto const result = rc::detail::checkProperty(
       rc::detail::toProperty([] {
          // About half the runs have a remote collection.
          bool const withRemote = *rc::gen::arbitrary<bool>();
          System system(withRemote);
          // A sequence is one step longer than the size it is made with.
          auto const steps =
              *rc::gen::resize(maxSteps - 1, rc::state::gen::commands(Model{withRemote}, genStep));
          rc::state::runAll(steps, Model{withRemote}, system);
       }),
       metadata, params);

   std::ostringstream os;
   rc::detail::printResultMessage(result, os);
   EXPECT_TRUE(result.template is<rc::detail::SuccessResult>()) << os.str();
}

}  // namespace
}  // namespace TestSupport
