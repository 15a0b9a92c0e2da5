// Restart: a machine that heard every change since it started, and a fresh
// machine built on the same inputs (with the same ports reported down), must
// publish the same statuses and program the same configs, except where the
// machine's own rules make the outcome depend on the order of past events.
// Those exceptions are listed, each with its reason, in `Excuses` below; every
// other difference fails the test with the sequence that led to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "LagSteps.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using WexVlanMapping::WexDynamicIntfEncapColl;
using WexVlanMapping::WexDynamicIntfEncapInfo;
using WexVlanMapping::WexIntfEncapSm;

// ---- the little world the sequences play in ----------------------------------------

constexpr char const* portNames[] = {"Ethernet1", "Ethernet2", "Ethernet3"};
constexpr char const* lagNames[] = {"Port-Channel1", "Port-Channel2"};
constexpr char const* intfNames[] = {"Ethernet1", "Ethernet2", "Ethernet3", "Port-Channel1",
                                     "Port-Channel2"};
constexpr char const* svcNames[] = {"Vlan10", "Vlan20"};
struct Tags {
   std::uint32_t outer;
   std::uint32_t inner;
};
constexpr Tags tagSets[] = {
    {100, Ulva::VlanTag::vidDefault}, {200, Ulva::VlanTag::vidDefault}, {300, 30}};
constexpr Tags egressSets[] = {
    {100, Ulva::VlanTag::vidDefault}, {200, Ulva::VlanTag::vidDefault}, {400, 40}};
constexpr int portCount = 3;
constexpr int lagCount = 2;
constexpr int tagCount = 3;
constexpr int encapCount = 5 * tagCount;
// Forwarding data: 0 (nowhere) for one number in six, else 1 or 2.
std::uint16_t fwdDataAt(int i) {
   return i % 6 == 0 ? 0 : static_cast<std::uint16_t>(1 + i % 2);
}

// A status, success for most numbers.
Ulva::IntfEncapHwStatus statusAt(int i) {
   switch (i % 6) {
      case 0:
         return Ulva::hwStatusFailed;
      case 1:
         return Ulva::hwStatusNotReady;
      default:
         return Ulva::hwStatusSuccess;
   }
}

Ulva::VlanTagEncap tagsOf(Tags t) {
   return Ulva::VlanTagEncap(Ulva::vlanTag(t.outer), Ulva::vlanTag(t.inner));
}
Ulva::IntfEncap encapAt(int i) {
   return Ulva::IntfEncap(Kestin::IntfId(intfNames[i / tagCount]), tagsOf(tagSets[i % tagCount]));
}
Kestin::IntfId portAt(int i) {
   return Kestin::IntfId(portNames[i % portCount]);
}
// Ethernet3 never joins a LAG: its own encaps are always compared without the
// excuses that LAG membership brings.
Kestin::IntfId lagCapablePortAt(int i) {
   return portAt(i % 2);
}
Kestin::IntfId lagAt(int i) {
   return Kestin::IntfId(lagNames[i % lagCount]);
}
Kestin::IntfId svcAt(int i) {
   return Kestin::IntfId(svcNames[i % 2]);
}

// The encap as every trace of the machine renders it.
std::string text(Ulva::IntfEncap const& e) {
   auto tag = [](Ulva::VlanTag const& t) {
      std::ostringstream os;
      os << t.vid() << ":" << t.tpid();
      return os.str();
   };
   return "(" + e.intfId().stringValue().stdString() + ", " + tag(e.encap().outerTag()) + ", " +
          tag(e.encap().innerTag()) + ")";
}
std::string text(Kestin::IntfId id) {
   return id.stringValue().stdString();
}
std::string text(Ulva::IntfEncapHwStatus s) {
   std::ostringstream os;
   os << s;
   return os.str();
}

// ---- steps --------------------------------------------------------------------------------

// What an agent, the platform or the hardware does. The numbers a to d choose
// within the world (each taken modulo its range, so that any value is valid and
// shrinking towards 0 keeps a step meaningful).
enum StepKind : int {
   wantIs,         // intfEncapServiceIntf: encap a under service b
   wantDel,        // intfEncapServiceIntf: encap a gone
   fwdIs,          // serviceIntfFwdInfo: service a with fwdData from b (0 forwards nowhere)
   fwdDel,         // serviceIntfFwdInfo: service a gone
   dynIs,          // attached dynamic collection: encap a, egress b, source c, service d
   dynDel,         // attached dynamic collection: encap a gone
   dynReplace,     // a new dynamic collection, with some entries of the attached one
   dynDetach,      // the dynamic collection is detached
   dynAttachBack,  // the collection attached before is attached again
   lagJoin,        // port a joins (or moves to) LAG b; the portToLag write waits if c % 3 == 0
   lagLeave,       // port a leaves its LAG; the portToLag write waits if c % 3 == 0
   lagFlush,       // the waiting portToLag write is done
   portDownIs,     // the platform reports port a down (if b % 3 == 0) or up
   remoteIs,       // remote status of encap a is b
   remoteDel,      // remote status of encap a gone
   hwIs,           // the simulated hardware's status of encap a is b
   hwDel,          // the simulated hardware's status of encap a gone
   reportIs,       // the platform reports status b for encap a, which has no config
   retry,          // the platform asks for the retries
   reinit,         // the platform asks to program everything again
};

struct Step {
   StepKind kind;
   int a = 0;
   int b = 0;
   int c = 0;
   int d = 0;
};

std::string describe(Step const& s) {
   std::ostringstream os;
   auto svcOrNone = [](int i) { return i % 3 == 2 ? std::string("none") : text(svcAt(i % 3)); };
   switch (s.kind) {
      case wantIs:
         os << "want " << text(encapAt(s.a % encapCount)) << " under " << text(svcAt(s.b));
         break;
      case wantDel:
         os << "unwant " << text(encapAt(s.a % encapCount));
         break;
      case fwdIs:
         os << "fwdInfo " << text(svcAt(s.a)) << " fwdData " << fwdDataAt(s.b);
         break;
      case fwdDel:
         os << "fwdInfo " << text(svcAt(s.a)) << " gone";
         break;
      case dynIs:
         os << "dynamic " << text(encapAt(s.a % encapCount)) << " egress "
            << egressSets[s.b % 3].outer << " source " << s.c % 2 << " under " << svcOrNone(s.d);
         break;
      case dynDel:
         os << "dynamic " << text(encapAt(s.a % encapCount)) << " gone";
         break;
      case dynReplace:
         os << "dynamic collection replaced (keeping entries " << s.a % 3 << ")";
         break;
      case dynDetach:
         os << "dynamic collection detached";
         break;
      case dynAttachBack:
         os << "dynamic collection attached back";
         break;
      case lagJoin:
         os << text(lagCapablePortAt(s.a)) << " joins " << text(lagAt(s.b))
            << (s.c % 3 == 0 ? " (portToLag later)" : "");
         break;
      case lagLeave:
         os << text(lagCapablePortAt(s.a)) << " leaves its LAG"
            << (s.c % 3 == 0 ? " (portToLag later)" : "");
         break;
      case lagFlush:
         os << "waiting portToLag write done";
         break;
      case portDownIs:
         os << text(portAt(s.a)) << (s.b % 3 == 0 ? " down" : " up");
         break;
      case remoteIs:
         os << "remote " << text(encapAt(s.a % encapCount)) << " " << text(statusAt(s.b));
         break;
      case remoteDel:
         os << "remote " << text(encapAt(s.a % encapCount)) << " gone";
         break;
      case hwIs:
         os << "hardware " << text(encapAt(s.a % encapCount)) << " " << text(statusAt(s.b));
         break;
      case hwDel:
         os << "hardware " << text(encapAt(s.a % encapCount)) << " gone";
         break;
      case reportIs:
         os << "platform reports " << text(encapAt(s.a % encapCount)) << " " << text(statusAt(s.b))
            << " (if unprogrammed)";
         break;
      case retry:
         os << "retry";
         break;
      case reinit:
         os << "reinit";
         break;
   }
   return os.str();
}

rc::Gen<Step> stepGen() {
   return rc::gen::exec([] {
      Step s;
      s.kind = *rc::gen::weightedElement<StepKind>({
          {14, wantIs},  {3, wantDel},    {4, fwdIs},      {1, fwdDel},        {6, dynIs},
          {2, dynDel},   {1, dynReplace}, {1, dynDetach},  {1, dynAttachBack}, {5, lagJoin},
          {3, lagLeave}, {2, lagFlush},   {3, portDownIs}, {4, remoteIs},      {2, remoteDel},
          {7, hwIs},     {2, hwDel},      {2, reportIs},   {1, retry},         {1, reinit},
      });
      s.a = *rc::gen::inRange(0, encapCount);
      s.b = *rc::gen::inRange(0, 6);
      s.c = *rc::gen::inRange(0, 6);
      s.d = *rc::gen::inRange(0, 6);
      return s;
   });
}

// ---- what the two machines may disagree on ------------------------------------------

// Differences between the machine that heard the sequence and a fresh one that the
// machine's rules allow. Each set names encaps (or hwConfigColl keys) whose outputs
// may differ, and why. Three more are read off the first machine at the end:
// retryCnt, which counts that machine's retries and starts at 0 on a fresh one, is
// not compared (configAt); a status the platform reported for an encap without
// config (reportWithoutConfig); a LAG encap none of whose listed ports carries a
// member config (lagWithoutMemberConfig). A service interface's status may differ
// where one of its decoder's members may.
struct Excuses {
   // Configs left behind by a replaced or detached dynamic collection: the sweep of
   // a newly attached collection covers its own entries only, and a detach sweeps
   // nothing, so an encap that stood only in the old collection keeps the config
   // derived from it (and the status and service membership that go with it) until
   // something names the encap again (its static entry, a dynamic entry, or its
   // service interface's forwarding). Covers the encap's hwConfigColl key, the
   // member configs of a LAG encap, its published status and its services.
   std::set<Ulva::IntfEncap> dynamicLeftover;
   // A port's own encaps while the port is in a LAG: every rollup of them is
   // redirected to the LAG encap, so their published status and their status in
   // their service's decoder stay as they were at the join, where a fresh machine
   // has no entry (or a failed member). This lasts, also after the leave, until a
   // rollup on the port's own path runs for the encap (seen in its trace line).
   std::set<Ulva::IntfEncap> frozenOwnEncap;
   // An encap whose static entry changed while its config was derived from a
   // dynamic entry (one still attached, or one a former collection left behind):
   // the rollup counts the encap in the decoder of its static service interface,
   // but derivation takes it out only of the service it derived it under, so the
   // decoder of the former static service keeps the encap with its last status,
   // where a fresh machine has it not at all, or as a member that joined failed.
   std::set<Ulva::IntfEncap> staticChangedUnderDynamic;
   // LAG configs that changed while a port's LAG member lists had changed and its
   // portToLag write was still to come: adds and deletes of a LAG config spread to
   // the ports of the lists, not to the ports the machine knows as members, so a
   // member config can be missing on the port, or left behind there. A member
   // config left behind is counted, under the port's key, in the decoder of
   // whichever LAG the machine knows the port in when the port's encap is next
   // rolled up, and stays there after the port has gone on. Covers the port's
   // hwConfigColl key for those tags and the status of every LAG encap with them.
   std::set<Ulva::IntfEncap> windowMemberKey;
   std::set<Ulva::IntfEncap> windowLagEncap;
};

// ---- one run: a machine that hears the sequence, then a fresh one ---------------------------

class RestartRun {
public:
   RestartRun()
       : wcsd_(Wex::wexCommonSmDataFactory()),
         fwd_(Ulva::serviceIntfFwdInfoCollFactory()),
         wanted_(Ulva::intfEncapServiceIntfCollFactory()),
         remote_(Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus")),
         hw_(Ulva::intfEncapHwStatusCollFactory("testHwStatus")),
         svcStatus_(Ulva::serviceIntfHwStatusCollFactory()),
         published_(Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus")) {
      // To begin with, both services forward, and the hardware and the remote side
      // take every encap (an absent remote entry would cap every status at failed).
      for (int i = 0; i < 2; ++i) {
         Ulva::ServiceIntfFwdInfo info(svcAt(i));
         info.fwdDataIs(static_cast<std::uint16_t>(i + 1));
         fwd_->fwdInfoIs(info);
      }
      for (int i = 0; i < encapCount; ++i) {
         hw_->hwStatusIs(encapAt(i), Ulva::hwStatusSuccess);
         remote_->hwStatusIs(encapAt(i), Ulva::hwStatusSuccess);
      }
      dynamics_.push_back(WexVlanMapping::wexDynamicIntfEncapCollFactory());
      attached_ = dynamics_.front();
      first_ =
          intfEncapSmFactory(wcsd_, fwd_, svcStatus_, wanted_, published_, remote_, attached_, hw_);
   }

   ~RestartRun() {
      fresh_ = nullptr;
      first_ = nullptr;
   }

   void apply(Step const& s) {
      log_.push_back(describe(s));
      // The configs of the LAGs of a waiting membership change, before the step.
      std::optional<Pending> const pendingBefore = pending_;
      std::map<Ulva::IntfEncap, std::optional<WexIntfEncapHwConfig>> const windowBefore =
          windowLagConfigs();
      // The members of a service decoder, for a forwarding change that walks them.
      std::vector<Ulva::IntfEncap> svcMembers;
      if (s.kind == fwdIs || s.kind == fwdDel) svcMembers = svcDecoderMembers(*first_, svcAt(s.a));
      trace_.clear();

      run(s);

      for (std::string const& line : trace_.lines())
         noteTraceLine(line, svcMembers);
      trace_.clear();
      if (pending_ && pendingBefore && *pending_ == *pendingBefore) {
         for (auto const& [lagEncap, config] : windowLagConfigs()) {
            auto const before = windowBefore.find(lagEncap);
            std::optional<WexIntfEncapHwConfig> const old =
                before == windowBefore.end() ? std::nullopt : before->second;
            if (old == config) continue;
            excuses_.windowMemberKey.insert(Ulva::IntfEncap(pending_->port, lagEncap.encap()));
            for (int l = 0; l < lagCount; ++l) {
               excuses_.windowLagEncap.insert(Ulva::IntfEncap(lagAt(l), lagEncap.encap()));
            }
         }
      }
   }

   // Finishes a waiting membership change, builds the fresh machine, reports the
   // ports down again, and lists every difference that no excuse covers.
   std::vector<std::string> differences() {
      flushPending();
      freshSvcStatus_ = Ulva::serviceIntfHwStatusCollFactory();
      freshPublished_ = Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
      fresh_ = intfEncapSmFactory(wcsd_, fwd_, freshSvcStatus_, wanted_, freshPublished_, remote_,
                                  attached_, hw_);
      for (int p = 0; p < portCount; ++p) {
         if (first_->portDown(portAt(p))) fresh_->platformPortDownIs(portAt(p), true);
      }
      std::vector<std::string> out;
      compareConfigs(out);
      comparePublished(out);
      compareServices(out);
      return out;
   }

   std::string report(std::vector<std::string> const& diffs) const {
      std::ostringstream os;
      os << "sequence:\n";
      for (std::size_t i = 0; i < log_.size(); ++i)
         os << "  " << i + 1 << ". " << log_[i] << "\n";
      os << "differences:\n";
      for (auto const& d : diffs)
         os << "  " << d << "\n";
      auto list = [&os](char const* name, std::set<Ulva::IntfEncap> const& set) {
         os << name << ":";
         for (auto const& e : set)
            os << " " << text(e);
         os << "\n";
      };
      list("dynamic leftovers", excuses_.dynamicLeftover);
      list("frozen own encaps", excuses_.frozenOwnEncap);
      list("static changed under dynamic", excuses_.staticChangedUnderDynamic);
      list("window member keys", excuses_.windowMemberKey);
      list("window LAG encaps", excuses_.windowLagEncap);
      return os.str();
   }

private:
   struct Pending {
      Kestin::IntfId port;
      Kestin::IntfId lag;  // default: a leave
      Kestin::IntfId oldLag;
      bool operator==(Pending const&) const = default;
   };

   void run(Step const& s) {
      Ulva::IntfEncap const e = encapAt(s.a % encapCount);
      switch (s.kind) {
         case wantIs:
            if (!wanted_->serviceIntfHas(e) || wanted_->serviceIntf(e) != svcAt(s.b)) {
               noteStaticChange(e);
            }
            wanted_->serviceIntfIs(e, svcAt(s.b));
            break;
         case wantDel:
            if (wanted_->serviceIntfHas(e)) noteStaticChange(e);
            wanted_->serviceIntfDel(e);
            break;
         case fwdIs: {
            Ulva::ServiceIntfFwdInfo info(svcAt(s.a));
            info.fwdDataIs(fwdDataAt(s.b));
            fwd_->fwdInfoIs(info);
            break;
         }
         case fwdDel:
            fwd_->fwdInfoDel(svcAt(s.a));
            break;
         case dynIs: {
            if (!attached_) break;
            WexDynamicIntfEncapInfo info(e);
            info.egressEncapIs(tagsOf(egressSets[s.b % 3]));
            info.sourceIs(s.c % 2 ? WexVlanMapping::macsecProxy : WexVlanMapping::staticEncap);
            info.serviceIntfIs(s.d % 3 == 2 ? Kestin::IntfId() : svcAt(s.d % 3));
            attached_->entryIs(info);
            break;
         }
         case dynDel:
            if (attached_) attached_->entryDel(e);
            break;
         case dynReplace: {
            auto const coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
            if (attached_) {
               for (int i = 0; i < encapCount; ++i) {
                  if ((i + s.a) % 3 != 0 && attached_->entryHas(encapAt(i))) {
                     coll->entryIs(attached_->entry(encapAt(i)));
                  }
               }
            }
            dynamics_.push_back(coll);
            attach(coll);
            break;
         }
         case dynDetach:
            attach(nullptr);
            break;
         case dynAttachBack: {
            Fen::Ptr<WexDynamicIntfEncapColl> back;
            for (auto it = dynamics_.rbegin(); it != dynamics_.rend(); ++it) {
               if (*it != attached_) {
                  back = *it;
                  break;
               }
            }
            if (back) attach(back);
            break;
         }
         case lagJoin:
            join(lagCapablePortAt(s.a), lagAt(s.b), s.c % 3 == 0);
            break;
         case lagLeave:
            leave(lagCapablePortAt(s.a), s.c % 3 == 0);
            break;
         case lagFlush:
            flushPending();
            break;
         case portDownIs:
            first_->platformPortDownIs(portAt(s.a), s.b % 3 == 0);
            break;
         case remoteIs:
            remote_->hwStatusIs(e, statusAt(s.b));
            break;
         case remoteDel:
            remote_->hwStatusDel(e);
            break;
         case hwIs:
            hw_->hwStatusIs(e, statusAt(s.b));
            break;
         case hwDel:
            hw_->hwStatusDel(e);
            break;
         case reportIs:
            if (!first_->hwConfigColl()->configHas(e)) {
               first_->platformEncapHwStatusIs(e, statusAt(s.b));
            }
            break;
         case retry:
            first_->handleHwConfigRetry();
            break;
         case reinit:
            first_->reinitAllHwConfig();
            break;
      }
   }

   // Attaching a collection sweeps its entries; what only the old one named stays.
   void attach(Fen::Ptr<WexDynamicIntfEncapColl> const& coll) {
      if (attached_) {
         for (int i = 0; i < encapCount; ++i) {
            Ulva::IntfEncap const e = encapAt(i);
            if (attached_->entryHas(e) && !(coll && coll->entryHas(e))) {
               excuses_.dynamicLeftover.insert(e);
            }
         }
      }
      if (coll) {
         first_->dynamicIntfEncapIs(coll);
      } else {
         first_->dynamicIntfEncapDel();
      }
      attached_ = coll;
   }

   // The static entry of `e` changes while its config is derived from a dynamic entry.
   void noteStaticChange(Ulva::IntfEncap const& e) {
      if ((attached_ && attached_->entryHas(e)) || excuses_.dynamicLeftover.contains(e)) {
         excuses_.staticChangedUnderDynamic.insert(e);
      }
   }

   void join(Kestin::IntfId port, Kestin::IntfId lag, bool later) {
      flushPending();
      if (wcsd_->portToLagHas(port) && wcsd_->portToLag(port) == lag) return;
      Kestin::IntfId const oldLag = wcsd_->portToLag(port);
      if (wcsd_->portToLagHas(port)) lagPortListDel(*wcsd_, oldLag, port);
      lagPortListIs(*wcsd_, lag, port);
      pending_ = Pending{port, lag, oldLag};
      if (!later) flushPending();
   }

   void leave(Kestin::IntfId port, bool later) {
      flushPending();
      if (!wcsd_->portToLagHas(port)) return;
      Kestin::IntfId const oldLag = wcsd_->portToLag(port);
      lagPortListDel(*wcsd_, oldLag, port);
      pending_ = Pending{port, Kestin::IntfId(), oldLag};
      if (!later) flushPending();
   }

   void flushPending() {
      if (!pending_) return;
      Pending const p = *pending_;
      pending_.reset();
      trace_.clear();
      if (p.lag == Kestin::IntfId()) {
         wcsd_->portToLagDel(p.port);
      } else {
         wcsd_->portToLagIs(p.port, p.lag);
      }
      for (std::string const& line : trace_.lines())
         noteTraceLine(line, {});
      trace_.clear();
      // From now on every rollup of the port's own encaps goes to the LAG.
      if (p.lag != Kestin::IntfId()) {
         for (int t = 0; t < tagCount; ++t) {
            excuses_.frozenOwnEncap.insert(Ulva::IntfEncap(p.port, tagsOf(tagSets[t])));
         }
      }
   }

   // The configs of the LAGs whose member lists a waiting change has touched.
   std::map<Ulva::IntfEncap, std::optional<WexIntfEncapHwConfig>> windowLagConfigs() const {
      std::map<Ulva::IntfEncap, std::optional<WexIntfEncapHwConfig>> out;
      if (!pending_) return out;
      for (Kestin::IntfId lag : {pending_->lag, pending_->oldLag}) {
         if (lag == Kestin::IntfId()) continue;
         auto const list = first_->portToHwConfigList(lag);
         for (int t = 0; t < tagCount; ++t) {
            Ulva::IntfEncap const e(lag, tagsOf(tagSets[t]));
            out[e] = list && list->hwConfigHas(e) ? std::optional(list->hwConfig(e)) : std::nullopt;
         }
      }
      return out;
   }

   void noteTraceLine(std::string const& line, std::vector<Ulva::IntfEncap> const& svcMembers) {
      for (int i = 0; i < encapCount; ++i) {
         Ulva::IntfEncap const e = encapAt(i);
         std::string const t = text(e);
         // Derivation ran for the encap: whatever a former dynamic collection left
         // is replaced by what the inputs say now.
         if (line.starts_with("WexIntfEncapSm::handleIntfEncapServiceIntf: " + t + " ") ||
             line.starts_with("WexIntfEncapSm::handleDynamicIntfEncap: " + t + " ")) {
            excuses_.dynamicLeftover.erase(e);
         }
         // A rollup on the encap's own path ran: its published status is current.
         if (line.starts_with("WexIntfEncapSm::updateEncapHwStatus: " + t + " hwStatus ") ||
             line.starts_with("WexIntfEncapSm::updateEncapHwStatus: " + t + " deleting hwStatus")) {
            excuses_.frozenOwnEncap.erase(e);
         }
      }
      if (line.starts_with("WexIntfEncapSm::handleServiceIntfFwdInfo: ") &&
          line.find(" isDel:") != std::string::npos) {
         for (auto const& e : svcMembers)
            excuses_.dynamicLeftover.erase(e);
      }
   }

   static std::vector<Ulva::IntfEncap> svcDecoderMembers(WexIntfEncapSm const& m,
                                                         Kestin::IntfId svc) {
      std::vector<Ulva::IntfEncap> out;
      auto const decoder = m.svcHwStatusDecoder(WexVlanMapping::serviceEncap(svc));
      if (!decoder) return out;
      for (auto it = decoder->hwStatusMap().begin(); it; it.advance())
         out.push_back(it.key());
      return out;
   }

   // ---- comparison ----

   // The config programmed for `k`, with retryCnt left out: it counts the retries
   // of the machine that made them.
   static std::optional<WexIntfEncapHwConfig> configAt(WexIntfEncapSm const& m,
                                                       Ulva::IntfEncap const& k) {
      if (!m.hwConfigColl()->configHas(k)) return std::nullopt;
      return withRetryCnt(m.hwConfigColl()->config(k), 0);
   }
   static std::string show(std::optional<WexIntfEncapHwConfig> const& c) {
      if (!c) return "none";
      std::ostringstream os;
      os << *c;
      return os.str();
   }
   static std::string show(Ulva::IntfEncapHwStatusColl const& coll, Ulva::IntfEncap const& k) {
      return coll.hwStatusHas(k) ? text(coll.hwStatus(k)) : std::string("none");
   }

   // A LAG encap whose LAG lists ports of which none carries a member config for it
   // (they are down, say). Whether the LAG encap itself still counts in its
   // decoder then depends on which rollup came last: one through the LAG encap
   // keeps it while the LAG lists any port, one through a member port without
   // config takes it out when no other port is listed at that moment, and only a
   // member port that has a config brings it back. A fresh machine adds the member
   // configs first and takes them out at the port-down, so its answer may differ.
   bool lagWithoutMemberConfig(Ulva::IntfEncap const& e) const {
      if (!Kestin::PortChannelIntfId::isPortChannelIntfId(e.intfId())) return false;
      Wex::WexLagPortList const ports = wcsd_->lagToPort(e.intfId());
      if (ports.ports() == 0) return false;
      for (auto it = ports.portMap().begin(); it; it.advance()) {
         if (first_->hwConfigColl()->configHas(Ulva::IntfEncap(it.key(), e.encap()))) return false;
      }
      return true;
   }

   // A status the platform reported for an encap it has no config for: stored as it
   // came and rolled up, where a fresh machine has no such report.
   bool reportWithoutConfig(Ulva::IntfEncap const& e) const {
      return first_->hwStatusColl()->hwStatusHas(e) && !first_->hwConfigColl()->configHas(e);
   }

   bool statusExcused(Ulva::IntfEncap const& e) const {
      return excuses_.dynamicLeftover.contains(e) || excuses_.frozenOwnEncap.contains(e) ||
             excuses_.windowLagEncap.contains(e) || reportWithoutConfig(e) ||
             lagWithoutMemberConfig(e);
   }

   void compareConfigs(std::vector<std::string>& out) const {
      std::set<Ulva::IntfEncap> keys;
      for (WexIntfEncapSm const* m : {first_.ptr(), fresh_.ptr()}) {
         for (auto it = m->hwConfigColl()->configMap().begin(); it; it.advance()) {
            keys.insert(it.key());
         }
      }
      for (auto const& k : keys) {
         auto const a = configAt(*first_, k);
         auto const b = configAt(*fresh_, k);
         if (a == b) continue;
         // A member config follows its LAG's config.
         auto const parentOf = [](std::optional<WexIntfEncapHwConfig> const& c) {
            return c ? c->parentIntfEncap() : Ulva::IntfEncap();
         };
         if (excuses_.dynamicLeftover.contains(k) ||
             excuses_.dynamicLeftover.contains(parentOf(a)) ||
             excuses_.dynamicLeftover.contains(parentOf(b)) ||
             excuses_.windowMemberKey.contains(k)) {
            continue;
         }
         out.push_back("hwConfigColl " + text(k) + ": " + show(a) + " / fresh " + show(b));
      }
   }

   void comparePublished(std::vector<std::string>& out) const {
      std::set<Ulva::IntfEncap> keys;
      for (auto const* coll : {published_.ptr(), freshPublished_.ptr()}) {
         for (auto it = coll->hwStatusMap().begin(); it; it.advance())
            keys.insert(it.key());
      }
      for (auto const& k : keys) {
         std::string const a = show(*published_, k);
         std::string const b = show(*freshPublished_, k);
         if (a == b || statusExcused(k)) continue;
         out.push_back("intfEncapHwStatus " + text(k) + ": " + a + " / fresh " + b);
      }
   }

   void compareServices(std::vector<std::string>& out) const {
      for (int s = 0; s < 2; ++s) {
         Kestin::IntfId const svc = svcAt(s);
         auto show = [svc](Ulva::ServiceIntfHwStatusColl const& c) {
            return c.hwStatusHas(svc) ? text(c.hwStatus(svc)) : std::string("none");
         };
         std::string const a = show(*svcStatus_);
         std::string const b = show(*freshSvcStatus_);
         if (a == b) continue;
         // A service's status is the aggregate of its members: a member whose own
         // status may differ carries the difference up.
         bool excused = false;
         for (WexIntfEncapSm const* m : {first_.ptr(), fresh_.ptr()}) {
            for (auto const& e : svcDecoderMembers(*m, svc)) {
               excused =
                   excused || statusExcused(e) || excuses_.staticChangedUnderDynamic.contains(e);
            }
         }
         if (excused) continue;
         out.push_back("serviceIntfHwStatus " + text(svc) + ": " + a + " / fresh " + b);
      }
   }

   Fen::Ptr<Wex::WexCommonSmData> wcsd_;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd_;
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> remote_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw_;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published_;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> freshSvcStatus_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> freshPublished_;
   std::vector<Fen::Ptr<WexDynamicIntfEncapColl>> dynamics_;
   Fen::Ptr<WexDynamicIntfEncapColl> attached_;
   TraceCapture trace_;
   Fen::Ptr<IntfEncapSm> first_;
   Fen::Ptr<IntfEncapSm> fresh_;
   std::optional<Pending> pending_;
   Excuses excuses_;
   std::vector<std::string> log_;
};

TEST(WexIntfEncapSmRestart, FreshMachineAgreesWithTheOneThatHeardEveryChange) {
   // Fixed seeds, so that every run plays the same sequences and a failure comes
   // back; a failing sequence is shrunk before it is printed. Per seed, 300
   // sequences of up to 120 steps.
   rc::detail::TestParams params;
   params.maxSuccess = 300;
   params.maxSize = 120;
   rc::detail::TestMetadata metadata;
   metadata.id = metadata.description = "restart agrees";
   for (std::uint64_t seed : {0x5EEDu, 0xC0FFEEu, 0x1DEA5u}) {
      params.seed = seed;
      rc::detail::TestResult const result = rc::detail::checkTestable(
          [] {
             auto const steps = *rc::gen::container<std::vector<Step>>(stepGen());
             RestartRun run;
             for (Step const& s : steps)
                run.apply(s);
             std::vector<std::string> const diffs = run.differences();
             if (!diffs.empty()) RC_FAIL(run.report(diffs));
          },
          metadata, params);
      std::ostringstream os;
      rc::detail::printResultMessage(result, os);
      EXPECT_TRUE(result.is<rc::detail::SuccessResult>()) << "seed " << seed << "\n" << os.str();
   }
}

}  // namespace
}  // namespace TestSupport
