#include "WexVlanMapping/WexTestIntfEncapSm.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "Fen/Exception.h"
#include "Gantry/Trace.h"

namespace WexVlanMappingTest {

// wexTestIntfEncapSmModule, published when the library is loaded.
Fen::String const fenNamespacePrefix("ns-");
FEN_MODULE(wexTestIntfEncapSmModule, "WexTestIntfEncapSm", IntfEncapSm)

namespace {

FEN_TRACE_UNIT("WexTestIntfEncapSm");

}  // namespace

IntfEncapSm::IntfEncapSm(Inputs const& inputs)
    : StateMachine(FEN_SM_FORWARD(WexVlanMapping::WexIntfEncapSm, WEX_INTF_ENCAP_SM_ATTRIBUTES)) {
   FEN_SM_BIND(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)
   // Attaches the dynamic encaps; before the sweep its own sweep ends at once.
   dynamicIntfEncapIs(inputs.dynamicIntfEncap);
   IntfEncapSm::handleInitialized();
}

IntfEncapSm::~IntfEncapSm() {
   fenTeardownReactors();
   testHwConfigKeyDelAll();
}

Fen::FwkType IntfEncapSm::fwkType() const {
   return {&wexTestIntfEncapSmModule, 0};
}

void IntfEncapSm::handleInitialized() {
   GANTRY_TRACE(8, "IntfEncapSm::handleInitialized: ");
   // The sweep starts from no status: nothing is owed a report.
   faultOwed_.clear();
   WexIntfEncapSm::handleInitialized();
   // As if each entry had just been written: catches a status that differs from
   // what the hooks read. An answer a fault gave in the sweep stays.
   Fen::Ptr<Ulva::IntfEncapHwStatusColl const> const hw(testHwStatusColl());
   Fen::forEachKeyAhead(
       hw->hwStatusMap(),
       [this](Ulva::IntfEncap const& key) {
          hwConfigColl()->configMap().prefetch(key);
          hwStatusColl()->hwStatusMap().prefetch(key);
       },
       [this](Ulva::IntfEncap const& key) {
          if (faultOwed_.empty() || !faultOwed_.contains(key)) handleTestHwStatus(key);
       });
}

Ulva::IntfEncapHwStatus IntfEncapSm::platformAddHwConfig(
    WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) {
   Ulva::IntfEncap const key = hwConfig.intfEncap();
   GANTRY_TRACE(8, "IntfEncapSm::platformAddHwConfig: (%s, %s:%s, %s:%s)", GANTRY_ENCAP(key));
   // Programmed whatever the answer: the machine keeps a refused config too.
   testHwConfigKeyIs(key);
   Ulva::IntfEncapHwStatus const tableStatus = testHwStatusColl()->hwStatus(key);
   if (faultNext_.empty() && faultEvery_.empty() && faultOwed_.empty()) return tableStatus;

   Ulva::IntfEncapHwStatus answer = tableStatus;
   bool owed = faultOwed_.contains(key);
   if (std::optional<Ulva::IntfEncapHwStatus> const fault = faultAnswerFor(key.intfId())) {
      GANTRY_TRACE(7, "IntfEncapSm::platformAddHwConfig: (%s, %s:%s, %s:%s) fault answer %s",
                   GANTRY_ENCAP(key), *fault);
      ++faultAnswers_;
      answer = *fault;
      owed = true;
   }
   // A retry pass reads no answer of its re-add: the encap waits, not ready,
   // for the platform's next report. Where the last answer was injected, no
   // change of the hardware's table will come to correct it, so the platform
   // reports the answer of this add itself.
   bool const retry = hwConfig.retryCnt() > 0 && retryNeededHas(key) &&
                      hwStatusColl()->hwStatus(key) == Ulva::hwStatusNotReady;
   if (retry && owed && answer != Ulva::hwStatusNotReady) {
      GANTRY_TRACE(8, "IntfEncapSm::platformAddHwConfig: (%s, %s:%s, %s:%s) retry hwStatus: %s",
                   GANTRY_ENCAP(key), answer);
      platformEncapHwStatusIs(key, answer);
   }
   if (answer != tableStatus) {
      faultOwed_.insert(key);
   } else {
      faultOwed_.erase(key);
   }
   return answer;
}

void IntfEncapSm::platformDeleteHwConfig(WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) {
   GANTRY_TRACE(8, "IntfEncapSm::platformDeleteHwConfig: (%s, %s:%s, %s:%s)",
                GANTRY_ENCAP(hwConfig.intfEncap()));
   if (!faultOwed_.empty()) faultOwed_.erase(hwConfig.intfEncap());
   testHwConfigKeyDel(hwConfig.intfEncap());
}

void IntfEncapSm::handleTestHwStatus(Ulva::IntfEncap const& intfEncap) {
   Ulva::IntfEncapHwStatus const newStatus = testHwStatusColl()->hwStatus(intfEncap);
   // Status of something not programmed waits for platformAddHwConfig to read it.
   if (!hwConfigColl()->configHas(intfEncap)) return;
   // The hardware's word overtakes an answer a fault gave.
   if (!faultOwed_.empty()) faultOwed_.erase(intfEncap);
   if (hwStatusColl()->hwStatus(intfEncap) == newStatus) return;
   GANTRY_TRACE(8, "IntfEncapSm::handleTestHwStatus: (%s, %s:%s, %s:%s) hwStatus: %s",
                GANTRY_ENCAP(intfEncap), newStatus);
   platformEncapHwStatusIs(intfEncap, newStatus);
}

// ---- fault injection ----------------------------------------------------------------

namespace {

// Refuses an answer that is no refusal.
void checkFaultAnswer(char const* method, Ulva::IntfEncapHwStatus answer) {
   if (answer == Ulva::hwStatusFailed || answer == Ulva::hwStatusNotReady) return;
   std::ostringstream os;
   os << "IntfEncapSm::" << method << ": a fault answers hwStatusFailed or hwStatusNotReady, not "
      << answer;
   Fen::throwRangeException(Fen::String(os.str()));
}

// A rule answers adds on Ethernet ports and LAGs only: the platform reports the
// correction of an injected answer itself, and the machine hears reports of
// those interfaces alone.
bool faultMatches(Kestin::IntfId ruleIntf, Kestin::IntfId intf) {
   if (!Kestin::EthIntfId::isEthIntfId(intf) &&
       !Kestin::PortChannelIntfId::isPortChannelIntfId(intf))
      return false;
   return ruleIntf == Kestin::IntfId() || ruleIntf == intf;
}

}  // namespace

void IntfEncapSm::faultAddNextIs(std::uint32_t count, Ulva::IntfEncapHwStatus answer,
                                 Kestin::IntfId intf) {
   checkFaultAnswer("faultAddNextIs", answer);
   if (count == 0) return;
   faultNext_.push_back({count, answer, intf});
}

void IntfEncapSm::faultAddEveryIs(std::uint32_t period, Ulva::IntfEncapHwStatus answer,
                                  Kestin::IntfId intf) {
   if (period != 0) checkFaultAnswer("faultAddEveryIs", answer);
   auto const it = std::find_if(faultEvery_.begin(), faultEvery_.end(),
                                [intf](FaultEvery const& r) { return r.intf == intf; });
   if (period == 0) {
      if (it != faultEvery_.end()) faultEvery_.erase(it);
      return;
   }
   FaultEvery const rule{period, 0, answer, intf};
   if (it != faultEvery_.end()) {
      *it = rule;
   } else {
      faultEvery_.push_back(rule);
   }
}

void IntfEncapSm::faultDelAll() {
   faultNext_.clear();
   faultEvery_.clear();
}

std::optional<Ulva::IntfEncapHwStatus> IntfEncapSm::faultAnswerFor(Kestin::IntfId intf) {
   // Every matching every-k rule counts the add, whoever answers it.
   FaultEvery const* own = nullptr;
   FaultEvery const* any = nullptr;
   for (FaultEvery& rule : faultEvery_) {
      if (!faultMatches(rule.intf, intf)) continue;
      if (++rule.seen < rule.period) continue;
      rule.seen = 0;
      (rule.intf == Kestin::IntfId() ? any : own) = &rule;
   }
   auto const next = std::find_if(faultNext_.begin(), faultNext_.end(), [intf](FaultNext const& r) {
      return faultMatches(r.intf, intf);
   });
   if (next != faultNext_.end()) {
      Ulva::IntfEncapHwStatus const answer = next->answer;
      if (--next->left == 0) faultNext_.erase(next);
      return answer;
   }
   if (own) return own->answer;
   if (any) return any->answer;
   return std::nullopt;
}

// ---- restart check ------------------------------------------------------------------

Fen::Ptr<IntfEncapSm> restartedIntfEncapSm(IntfEncapSm const& running) {
   // The machine only reads wcsd (portToLag, lagToPort); its slot holds it non-const.
   Fen::Ptr<Wex::WexCommonSmData> const wcsd(const_cast<Wex::WexCommonSmData*>(running.wcsd()));
   Fen::Ptr<IntfEncapSm> fresh = intfEncapSmFactory(
       {.wcsd = wcsd,
        .serviceIntfFwdInfo = running.serviceIntfFwdInfo(),
        .serviceIntfHwStatus = Ulva::serviceIntfHwStatusCollFactory(),
        .intfEncapServiceIntf = running.intfEncapServiceIntf(),
        .intfEncapHwStatus = Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus"),
        .remoteEncapHwStatus = running.remoteEncapHwStatus(),
        .dynamicIntfEncap = running.dynamicIntfEncap(),
        .testHwStatusColl = running.testHwStatusColl()});
   // A restarted agent hears again from the platform which ports are down.
   for (auto it = running.portDownMap().begin(); it; it.advance()) {
      if (running.portDown(it.key())) fresh->platformPortDownIs(it.key(), true);
   }
   return fresh;
}

namespace {

using WexVlanMapping::WexIntfEncapHwConfig;

// The encap as the machine's traces render it: "(Ethernet1, 100:0x8100, 4095:0x8100)".
std::string textOf(Ulva::IntfEncap const& e) {
   std::ostringstream os;
   os << e;
   return os.str();
}
std::string textOf(Kestin::IntfId id) {
   return id.stringValue().stdString();
}

// What the running machine alone says about the two kinds of difference a
// restart may show, and which of them excuses a given difference.
class RestartExcuses {
public:
   RestartExcuses(IntfEncapSm const& running, IntfEncapSm const& fresh)
       : running_(running), fresh_(fresh) {
      findLeftovers();
      findDirectReports();
   }

   // A difference at key `k` of hwConfigColl, testHwConfigKey or retryNeeded
   // (`withReport`: retryNeeded, where a direct report of `k` itself excuses too).
   std::string configKeyWhy(Ulva::IntfEncap const& k, bool withReport) const {
      for (Ulva::IntfEncap const& e : selfAndParents(k)) {
         if (leftover_.contains(e)) return "dynamic leftover " + textOf(e);
      }
      if (withReport && reported_.contains(k)) return "direct report " + textOf(k);
      return {};
   }

   // A difference of the published status of `k`: its config or its LAG's is a
   // leftover, or a direct report stands at `k` or rolls up into it.
   std::string encapStatusWhy(Ulva::IntfEncap const& k) const {
      std::string why = configKeyWhy(k, false);
      if (!why.empty()) return why;
      auto const it = reportBehind_.find(k);
      if (it != reportBehind_.end()) return "direct report " + textOf(it->second);
      return {};
   }

   // A difference of the published status of `svc`: a member of its decoder, on
   // either side, whose own status may differ.
   std::string serviceStatusWhy(Kestin::IntfId svc) const {
      std::map<std::string, Ulva::IntfEncap> members;
      for (IntfEncapSm const* m : {&running_, &fresh_}) {
         auto const decoder = m->svcHwStatusDecoder(WexVlanMapping::serviceEncap(svc));
         if (!decoder) continue;
         for (auto it = decoder->hwStatusMap().begin(); it; it.advance()) {
            members.emplace(textOf(it.key()), it.key());
         }
      }
      for (auto const& [text, member] : members) {
         if (leftover_.contains(member)) return "dynamic leftover " + text;
      }
      for (auto const& [text, member] : members) {
         auto const it = reportBehind_.find(member);
         if (it != reportBehind_.end()) return "direct report " + textOf(it->second);
      }
      return {};
   }

private:
   // An encap is a leftover when its wanted config, or the service it is counted
   // under, is not what the inputs imply now. Only a dynamic collection replaced
   // or detached leaves one: every other input change derives the encap again.
   void findLeftovers() {
      std::set<Ulva::IntfEncap> candidates;
      for (auto it = running_.portToHwConfigListMap().begin(); it; it.advance()) {
         auto const list = running_.portToHwConfigList(it.key());
         for (auto c = list->hwConfigMap().begin(); c; c.advance())
            candidates.insert(c.key());
      }
      for (auto it = running_.intfEncapSvcIntfCachedMap().begin(); it; it.advance())
         candidates.insert(it.key());
      // A wanted encap that the replaced collection left without config or service.
      for (auto it = running_.intfEncapServiceIntf()->serviceIntfMap().begin(); it; it.advance())
         candidates.insert(it.key());
      if (auto const* dynamic = running_.dynamicIntfEncap()) {
         for (auto it = dynamic->entryMap().begin(); it; it.advance())
            candidates.insert(it.key());
      }
      WexIntfEncapHwConfig const noConfig;
      for (Ulva::IntfEncap const& e : candidates) {
         Kestin::IntfId svc;
         WexIntfEncapHwConfig const derived = running_.deriveHwConfig(e, &svc);
         WexIntfEncapHwConfig const held = running_.getHwConfig(e);
         // fwdData 0 forwards nowhere: no config is kept for it.
         bool const bothWithout = derived.fwdInfo().fwdData() == 0 && held == noConfig;
         if ((!bothWithout && derived != held) || running_.intfEncapSvcIntfCached(e) != svc) {
            leftover_.insert(e);
         }
      }
   }

   // An encap whose status the platform reported directly, where the hardware's
   // input does not give that status for a programmed config. Its own status and
   // the LAG encap it rolls up into may differ.
   void findDirectReports() {
      Ulva::IntfEncapHwStatusColl const* const statuses = running_.hwStatusColl();
      Ulva::IntfEncapHwStatusColl const* const hardware = running_.testHwStatusColl();
      for (auto it = statuses->hwStatusMap().begin(); it; it.advance()) {
         Ulva::IntfEncap const e = it.key();
         bool const heardFromHardware = running_.hwConfigColl()->configHas(e) && hardware &&
                                        hardware->hwStatus(e) == statuses->hwStatus(e);
         if (heardFromHardware) continue;
         reported_.insert(e);
         reportBehind_.emplace(e, e);
         if (auto const lag = lagEncapOf(e)) reportBehind_.emplace(*lag, e);
      }
   }

   // The encap with the same tags on the LAG that `e`'s port is in, as the machine
   // last heard it.
   std::optional<Ulva::IntfEncap> lagEncapOf(Ulva::IntfEncap const& e) const {
      if (!running_.portToLagCachedHas(e.intfId())) return std::nullopt;
      return Ulva::IntfEncap(running_.portToLagCached(e.intfId()), e.encap());
   }

   // `k` and the encaps whose config `k`'s config is made from: the parent of the
   // config at `k` on either side, or, where neither has one, the LAG encap of
   // `k`'s port.
   std::vector<Ulva::IntfEncap> selfAndParents(Ulva::IntfEncap const& k) const {
      std::vector<Ulva::IntfEncap> out{k};
      bool anyConfig = false;
      for (IntfEncapSm const* m : {&running_, &fresh_}) {
         if (!m->hwConfigColl()->configHas(k)) continue;
         anyConfig = true;
         out.push_back(m->hwConfigColl()->config(k).parentIntfEncap());
      }
      if (!anyConfig) {
         if (auto const lag = lagEncapOf(k)) out.push_back(*lag);
      }
      return out;
   }

   IntfEncapSm const& running_;
   IntfEncapSm const& fresh_;
   std::set<Ulva::IntfEncap> leftover_;
   std::set<Ulva::IntfEncap> reported_;
   // Where a direct report may show, and the reported encap behind it.
   std::map<Ulva::IntfEncap, Ulva::IntfEncap> reportBehind_;
};

// Compares one keyed output of the two machines. `keysOf(m, add)` calls add(key)
// for each key of machine m; `show(m, key)` renders m's value at key ("none"
// where m has none); `why(key)` gives the excuse, if any.
template <class Key, class KeysOf, class Show, class Why>
void compareOutput(std::vector<RestartDifference>& out, char const* name,
                   IntfEncapSm const& running, IntfEncapSm const& fresh, KeysOf const& keysOf,
                   Show const& show, Why const& why) {
   std::map<std::string, Key> keys;
   for (IntfEncapSm const* m : {&running, &fresh}) {
      keysOf(*m, [&keys](Key const& k) { keys.emplace(textOf(k), k); });
   }
   for (auto const& [text, key] : keys) {
      std::string const a = show(running, key);
      std::string const b = show(fresh, key);
      if (a == b) continue;
      RestartDifference d;
      d.what = std::string(name) + " " + text + ": " + a + " / fresh " + b;
      d.why = why(key);
      d.allowed = !d.why.empty();
      out.push_back(std::move(d));
   }
}

template <class Coll, class Key>
std::string statusText(Coll const* coll, Key const& key) {
   if (!coll || !coll->hwStatusHas(key)) return "none";
   std::ostringstream os;
   os << coll->hwStatus(key);
   return os.str();
}

}  // namespace

std::vector<RestartDifference> restartDifferences(IntfEncapSm const& running,
                                                  IntfEncapSm const& fresh) {
   RestartExcuses const excuses(running, fresh);
   std::vector<RestartDifference> out;
   compareOutput<Ulva::IntfEncap>(
       out, "intfEncapHwStatus", running, fresh,
       [](IntfEncapSm const& m, auto const& add) {
          if (auto const* coll = m.intfEncapHwStatus()) {
             for (auto it = coll->hwStatusMap().begin(); it; it.advance())
                add(it.key());
          }
       },
       [](IntfEncapSm const& m, Ulva::IntfEncap const& k) {
          return statusText(m.intfEncapHwStatus(), k);
       },
       [&excuses](Ulva::IntfEncap const& k) { return excuses.encapStatusWhy(k); });
   compareOutput<Kestin::IntfId>(
       out, "serviceIntfHwStatus", running, fresh,
       [](IntfEncapSm const& m, auto const& add) {
          if (auto const* coll = m.serviceIntfHwStatus()) {
             for (auto it = coll->hwStatusMap().begin(); it; it.advance())
                add(it.key());
          }
       },
       [](IntfEncapSm const& m, Kestin::IntfId svc) {
          return statusText(m.serviceIntfHwStatus(), svc);
       },
       [&excuses](Kestin::IntfId svc) { return excuses.serviceStatusWhy(svc); });
   compareOutput<Ulva::IntfEncap>(
       out, "hwConfigColl", running, fresh,
       [](IntfEncapSm const& m, auto const& add) {
          for (auto it = m.hwConfigColl()->configMap().begin(); it; it.advance())
             add(it.key());
       },
       [](IntfEncapSm const& m, Ulva::IntfEncap const& k) -> std::string {
          if (!m.hwConfigColl()->configHas(k)) return "none";
          // retryCnt counts the running machine's own retries; a fresh one has none.
          WexIntfEncapHwConfig config = m.hwConfigColl()->config(k);
          config.retryCntIs(0);
          std::ostringstream os;
          os << config;
          return os.str();
       },
       [&excuses](Ulva::IntfEncap const& k) { return excuses.configKeyWhy(k, false); });
   compareOutput<Ulva::IntfEncap>(
       out, "testHwConfigKey", running, fresh,
       [](IntfEncapSm const& m, auto const& add) {
          for (auto it = m.testHwConfigKeyMap().begin(); it; it.advance())
             add(it.key());
       },
       [](IntfEncapSm const& m, Ulva::IntfEncap const& k) -> std::string {
          return m.testHwConfigKeyHas(k) ? "programmed" : "none";
       },
       [&excuses](Ulva::IntfEncap const& k) { return excuses.configKeyWhy(k, false); });
   compareOutput<Ulva::IntfEncap>(
       out, "retryNeeded", running, fresh,
       [](IntfEncapSm const& m, auto const& add) {
          for (auto it = m.retryNeededMap().begin(); it; it.advance())
             add(it.key());
       },
       [](IntfEncapSm const& m, Ulva::IntfEncap const& k) -> std::string {
          return m.retryNeededHas(k) ? "waiting" : "none";
       },
       [&excuses](Ulva::IntfEncap const& k) { return excuses.configKeyWhy(k, true); });
   return out;
}

}  // namespace WexVlanMappingTest
