// The scenario reader and runner of wexvm-sim: the switch on the simulated
// platform, the table of scenario commands, the tracking of what each command
// changed, expectations and the two output formats. See SimScenario.h.
#include "SimScenario.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Fen/Trace.h"
#include "Json.h"
#include "Lintel/TraceHandle.h"
#include "MacsecProxy/Status.h"
#include "ReflectShell.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace WexVlanMappingTool {

namespace {

using WexVlanMapping::WexIntfEncapHwConfig;
using Words = std::vector<std::string>;

[[noreturn]] void refuse(std::string const& what) {
   Fen::throwRangeException(what);
}

Kestin::IntfId intfOf(std::string const& name) {
   return Kestin::IntfId(name.c_str());
}

std::uint32_t numberOf(std::string const& text, char const* what) {
   if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos ||
       text.size() > 9) {
      refuse(std::string("bad ") + what + " '" + text + "'");
   }
   return static_cast<std::uint32_t>(std::stoul(text));
}

std::string tagsText(Ulva::VlanTagEncap const& e) {
   std::string s = std::to_string(e.outerTag().vid());
   if (e.innerTag().vid() != Ulva::VlanTag::vidDefault)
      s += "." + std::to_string(e.innerTag().vid());
   return s;
}

std::string encapText(Ulva::IntfEncap const& e) {
   return e.intfId().stringValue().stdString() + " " + tagsText(e.encap());
}

std::string intfText(Kestin::IntfId id) {
   return id.stringValue().stdString();
}

char const* statusText(Ulva::IntfEncapHwStatus s) {
   switch (s) {
      case Ulva::hwStatusSuccess:
         return "success";
      case Ulva::hwStatusNotReady:
         return "not ready";
      case Ulva::hwStatusFailed:
         return "failed";
   }
   return "?";
}

// Whether the simulated platform of this build injects faults into its adds.
template <class Sm>
concept FaultInjecting = requires(Sm& sm, Ulva::IntfEncapHwStatus s, Kestin::IntfId i) {
   sm.faultAddNextIs(std::uint32_t{1}, s, i);
   sm.faultAddEveryIs(std::uint32_t{1}, s, i);
   sm.faultDelAll();
};
template <class Sm>
void faultIs(Sm& sm, bool every, std::uint32_t n, Ulva::IntfEncapHwStatus answer,
             Kestin::IntfId intf) {
   if constexpr (FaultInjecting<Sm>) {
      if (every) {
         sm.faultAddEveryIs(n, answer, intf);
      } else {
         sm.faultAddNextIs(n, answer, intf);
      }
   } else {
      (void)sm, (void)every, (void)n, (void)answer, (void)intf;
      refuse("this build's simulated platform injects no faults");
   }
}
template <class Sm>
void faultsClear(Sm& sm) {
   if constexpr (FaultInjecting<Sm>) {
      sm.faultDelAll();
   } else {
      (void)sm;
      refuse("this build's simulated platform injects no faults");
   }
}

// A listener of one notifier: hands each notification (attribute, key pointer,
// valid during the call) to `heard`.
class Listener : public Fen::PtrInterface::NotifieeConst {
   FEN_COUNTED_CLASS("WexVlanMappingTool::Listener")

public:
   using Heard = std::function<void(Fen::AttributeId, void const*)>;
   static Fen::Ptr<Listener> ListenerIs(Fen::PtrInterface const* notifier, Heard heard) {
      Fen::Ptr<Listener> l = Fen::fenObjectIs<Listener>();
      l->heard_ = std::move(heard);
      l->notifierIs(notifier);
      l->isRegisteredNotifieeIs(true);
      return l;
   }
   void onAttribute(Fen::AttributeId id, void const* keyPtr) override {
      if (heard_) heard_(id, keyPtr);
   }
   void fenDoZombieReactors(bool) override {}

private:
   Heard heard_;
};

// The picture the runner shows: "<kind, padded to 10> <key>" -> its text.
using Picture = std::map<std::string, std::string>;

// One line of the picture that changed: '+' new, '~' changed, '-' gone.
struct Change {
   char op;
   std::string key, before, after;
};

// The members that a command may have changed, as the notifications and the
// command named them.
struct Touched {
   std::vector<Ulva::IntfEncap> hardware;  // hwConfigColl, hwStatusColl: also retrying
   std::vector<Ulva::IntfEncap> encap;
   std::vector<Kestin::IntfId> service;
   std::vector<Kestin::IntfId> port;
   std::vector<Ulva::IntfEncap> dynamic;
   std::vector<Kestin::IntfId> fwdinfo;
   std::vector<Kestin::IntfId> multi;
   std::vector<Kestin::IntfId> subintf;
   // Every member of retryNeeded, before and after (a retry pass, a reinit).
   bool retrySet = false;
   // Anything (a reflection write or call): compare the whole picture.
   bool all = false;
   void clear() { *this = Touched(); }
};

class Switch {
public:
   // With `withRemote`, the machine reads remote statuses as a ceiling; with
   // `withSubIntfs`, the sub-interface multiplexer runs beside it and owns its
   // serviceIntfFwdInfo; with `withProxy`, the MACsec proxy's dynamic encap
   // machine writes into its dynamicIntfEncap.
   Switch(bool withRemote, bool withSubIntfs, bool withProxy)
       : wcsd_(Wex::wexCommonSmDataFactory()),
         fwd_(Ulva::serviceIntfFwdInfoCollFactory()),
         svcStatus_(Ulva::serviceIntfHwStatusCollFactory()),
         wanted_(Ulva::intfEncapServiceIntfCollFactory()),
         published_(Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus")),
         remote_(Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus")),
         dynamic_(WexVlanMapping::wexDynamicIntfEncapCollFactory()),
         hw_(Ulva::intfEncapHwStatusCollFactory("testHwStatus")),
         sm_(WexVlanMappingTest::intfEncapSmFactory(
             {.wcsd = wcsd_,
              .serviceIntfFwdInfo = fwd_,
              .serviceIntfHwStatus = svcStatus_,
              .intfEncapServiceIntf = wanted_,
              .intfEncapHwStatus = published_,
              .remoteEncapHwStatus = withRemote ? remote_ : nullptr,
              .dynamicIntfEncap = dynamic_,
              .testHwStatusColl = hw_})),
         subIntfStatus_(Interface::subIntfStatusDirFactory()),
         subIntfHwStatusIn_(Interface::Hardware::subIntfStatusDirFactory()),
         subIntfHwStatusOut_(Interface::Hardware::subIntfStatusDirFactory()),
         offered_(Ulva::serviceIntfFwdInfoCollFactory()),
         types_(WexVlanMapping::supportedEncapServiceTypesFactory()),
         proxyStatus_(MacsecProxy::statusFactory()) {
      for (auto const t : {Ulva::serviceIntfTypeDefault, Ulva::serviceIntfTypeTunnel,
                           Ulva::serviceIntfTypeSubIntf}) {
         types_->encapServiceTypeIs(t);
      }
      if (withProxy) dynSm_ = WexVlanMapping::wexDynamicEncapSmFactory(proxyStatus_, dynamic_);
      if (withSubIntfs) {
         // Joined as an agent joins them: the forwarding information in force
         // is the machine's input, the machine's service statuses the service
         // road.
         mux_ = WexVlanMapping::wexIntfEncapMuxSmFactory({.wcsd = wcsd_,
                                                          .subIntfStatus = subIntfStatus_,
                                                          .subIntfHwStatusIn = subIntfHwStatusIn_,
                                                          .subIntfHwStatusOut = subIntfHwStatusOut_,
                                                          .serviceIntfFwdInfoIn = offered_,
                                                          .serviceIntfFwdInfoOut = fwd_,
                                                          .serviceIntfHwStatusIn = svcStatus_,
                                                          .supportedServiceTypes = types_});
      }
      listen();
      for (auto& [k, v] : picture())
         shown_.emplace(k, std::move(v));
      for (auto it = sm_->retryNeededMap().begin(); it; it.advance())
         retrying_["retrying  " + encapText(it.key())] = it.key();
      touched_.clear();
   }
   Switch(Switch const&) = delete;
   Switch& operator=(Switch const&) = delete;

   // Names the running machines as the roots of the reflection commands.
   void rootsTo(ReflectShell& shell) const {
      shell.rootIs("IntfEncapSm", sm_);
      shell.rootIs("WexIntfEncapSm", sm_);
      if (mux_) shell.rootIs("WexIntfEncapMuxSm", mux_);
      if (dynSm_) shell.rootIs("WexDynamicEncapSm", dynSm_);
   }

   // The whole picture, built afresh.
   Picture picture() const;
   // The picture as last shown, sorted.
   Picture shown() const { return Picture(shown_.begin(), shown_.end()); }
   // What changed since the last call, in the order the tool prints it: new and
   // changed lines sorted by key, then the lines gone sorted by key. With
   // `full`, from the whole picture; else from the members touched.
   std::vector<Change> changes(bool full);
   // Where a machine restarted now on the same inputs would differ from this one.
   std::vector<WexVlanMappingTest::RestartDifference> restartDifferences() const;

   Touched& touched() { return touched_; }

   // The line of a kind and key as the picture has it now; nullopt when absent.
   std::optional<std::string> hardwareLine(Ulva::IntfEncap const& e) const;
   std::optional<std::string> encapLine(Ulva::IntfEncap const& e) const {
      if (!published_->hwStatusHas(e)) return std::nullopt;
      return statusText(published_->hwStatus(e));
   }
   std::optional<std::string> serviceLine(Kestin::IntfId id) const {
      if (!svcStatus_->hwStatusHas(id)) return std::nullopt;
      return statusText(svcStatus_->hwStatus(id));
   }
   std::optional<std::string> retryingLine(Ulva::IntfEncap const& e) const {
      if (!sm_->retryNeededHas(e)) return std::nullopt;
      return std::string("waiting");
   }
   std::optional<std::string> portLine(Kestin::IntfId id) const {
      if (!sm_->portDownHas(id) || !sm_->portDown(id)) return std::nullopt;
      return std::string("down");
   }
   std::optional<std::string> dynamicLine(Ulva::IntfEncap const& e) const;
   std::optional<std::string> fwdinfoLine(Kestin::IntfId id) const;
   std::optional<std::string> multiLine(Kestin::IntfId id) const {
      if (!wcsd_->multiEncapIntfHas(id)) return std::nullopt;
      return std::string("member");
   }
   std::optional<std::string> subintfLine(Kestin::IntfId id) const;

   // The machines and collections, for the commands.
   Fen::Ptr<Wex::WexCommonSmData> wcsd_;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd_;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus_;
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> remote_;
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic_;
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw_;
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> sm_;
   // The sub-interface multiplexer and its own collections; mux_ is null in a
   // scenario without sub-interface commands.
   Fen::Ptr<Interface::SubIntfStatusDir> subIntfStatus_;
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwStatusIn_;
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwStatusOut_;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> offered_;
   Fen::Ptr<WexVlanMapping::SupportedEncapServiceTypes> types_;
   Fen::Ptr<WexVlanMapping::WexIntfEncapMuxSm> mux_;
   // The MACsec proxy's status and dynamic encap machine; dynSm_ is null in a
   // scenario without proxy commands.
   Fen::Ptr<MacsecProxy::Status> proxyStatus_;
   Fen::Ptr<WexVlanMapping::WexDynamicEncapSm> dynSm_;

private:
   template <class Key>
   static Listener::Heard keysTo(std::vector<Key>& into) {
      return [&into](Fen::AttributeId, void const* key) {
         if (key) into.push_back(*static_cast<Key const*>(key));
      };
   }
   // Listens to the collections the picture shows (again, where the machine
   // replaced one).
   void listen();
   // Listens to the member object of subIntfHwStatusOut under `id`, if any.
   void listenSubIntf(Kestin::IntfId id);

   Touched touched_;
   std::unordered_map<std::string, std::string> shown_;
   // The keys of the "retrying" lines shown, with their encaps.
   std::unordered_map<std::string, Ulva::IntfEncap> retrying_;
   WexVlanMapping::WexIntfEncapHwConfigColl const* heardConfigs_ = nullptr;
   Ulva::IntfEncapHwStatusColl const* heardStatuses_ = nullptr;
   std::vector<Fen::Ptr<Listener>> listeners_;
   std::map<Kestin::IntfId,
            std::pair<Interface::Hardware::SubIntfStatus const*, Fen::Ptr<Listener>>>
       subIntfListeners_;
};

void Switch::listen() {
   heardConfigs_ = sm_->hwConfigColl();
   heardStatuses_ = sm_->hwStatusColl();
   listeners_.clear();
   if (heardConfigs_)
      listeners_.push_back(Listener::ListenerIs(heardConfigs_, keysTo(touched_.hardware)));
   if (heardStatuses_) {
      listeners_.push_back(Listener::ListenerIs(heardStatuses_, keysTo(touched_.hardware)));
   }
   listeners_.push_back(Listener::ListenerIs(published_.ptr(), keysTo(touched_.encap)));
   listeners_.push_back(Listener::ListenerIs(svcStatus_.ptr(), keysTo(touched_.service)));
   if (dynSm_) listeners_.push_back(Listener::ListenerIs(dynamic_.ptr(), keysTo(touched_.dynamic)));
   if (!mux_) return;
   listeners_.push_back(Listener::ListenerIs(fwd_.ptr(), keysTo(touched_.fwdinfo)));
   listeners_.push_back(
       Listener::ListenerIs(wcsd_.ptr(), [this](Fen::AttributeId id, void const* key) {
          if (id == Wex::WexCommonSmData::multiEncapIntfAttributeId && key)
             touched_.multi.push_back(*static_cast<Kestin::IntfId const*>(key));
       }));
   listeners_.push_back(
       Listener::ListenerIs(subIntfHwStatusOut_.ptr(), [this](Fen::AttributeId, void const* key) {
          if (!key) return;
          Kestin::IntfId const id = *static_cast<Kestin::IntfId const*>(key);
          touched_.subintf.push_back(id);
          listenSubIntf(id);
       }));
   subIntfListeners_.clear();
   for (auto it = subIntfHwStatusOut_->hardwareStatusMap().begin(); it; it.advance())
      listenSubIntf(it.key());
}

void Switch::listenSubIntf(Kestin::IntfId id) {
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const status =
       subIntfHwStatusOut_->hardwareStatusHas(id) ? subIntfHwStatusOut_->hardwareStatus(id)
                                                  : nullptr;
   auto& [heard, listener] = subIntfListeners_[id];
   if (heard == status.ptr()) return;
   heard = status.ptr();
   listener = nullptr;
   if (!status) return;
   listener = Listener::ListenerIs(
       status.ptr(), [this, id](Fen::AttributeId, void const*) { touched_.subintf.push_back(id); });
}

std::optional<std::string> Switch::hardwareLine(Ulva::IntfEncap const& e) const {
   WexVlanMapping::WexIntfEncapHwConfigColl const* configs = sm_->hwConfigColl();
   if (!configs || !configs->configHas(e)) return std::nullopt;
   WexIntfEncapHwConfig const c = configs->config(e);
   std::ostringstream os;
   os << "egress " << tagsText(c.egressEncap()) << ", fwd " << c.fwdInfo().fwdData();
   if (c.isLag()) os << ", LAG";
   if (c.isLagMember()) os << ", member of " << c.lagId();
   if (c.source() == WexVlanMapping::macsecProxy) os << ", MACsec proxy";
   if (c.retryCnt()) os << ", retry " << c.retryCnt();
   Ulva::IntfEncapHwStatusColl const* statuses = sm_->hwStatusColl();
   os << ": " << statusText(statuses ? statuses->hwStatus(c.intfEncap()) : Ulva::hwStatusFailed);
   return os.str();
}

std::optional<std::string> Switch::dynamicLine(Ulva::IntfEncap const& key) const {
   if (!dynSm_ || !dynamic_->entryHas(key)) return std::nullopt;
   WexVlanMapping::WexDynamicIntfEncapInfo const e = dynamic_->entry(key);
   return "egress " + tagsText(e.egressEncap()) + ", service " + intfText(e.serviceIntf()) +
          ", source " + WexVlanMapping::stringValue(e.source()).stdString();
}

std::optional<std::string> Switch::fwdinfoLine(Kestin::IntfId id) const {
   if (!mux_ || !fwd_->fwdInfoHas(id)) return std::nullopt;
   Ulva::ServiceIntfFwdInfo const info = fwd_->fwdInfo(id);
   std::string text = "fwd " + std::to_string(info.fwdData());
   if (info.serviceType() != Ulva::serviceIntfTypeDefault)
      text += ", type " + std::to_string(unsigned{info.serviceType()});
   return text;
}

std::optional<std::string> Switch::subintfLine(Kestin::IntfId id) const {
   if (!mux_ || !subIntfHwStatusOut_->hardwareStatusHas(id)) return std::nullopt;
   Fen::Ptr<Interface::Hardware::SubIntfStatus> const status =
       subIntfHwStatusOut_->hardwareStatus(id);
   if (!status) return std::string("null");
   return std::string(status->hardwareSuccess() ? "success" : "no success");
}

Picture Switch::picture() const {
   Picture p;
   if (auto const* configs = sm_->hwConfigColl()) {
      for (auto it = configs->configMap().begin(); it; it.advance())
         p["hardware  " + encapText(it.key())] = *hardwareLine(it.key());
   }
   for (auto it = published_->hwStatusMap().begin(); it; it.advance())
      p["encap     " + encapText(it.key())] = statusText(it.currNodeNonStale()->value);
   for (auto it = svcStatus_->hwStatusMap().begin(); it; it.advance())
      p["service   " + intfText(it.key())] = statusText(it.currNodeNonStale()->value);
   for (auto it = sm_->retryNeededMap().begin(); it; it.advance())
      p["retrying  " + encapText(it.key())] = "waiting";
   for (auto it = sm_->portDownMap().begin(); it; it.advance()) {
      if (it.currNodeNonStale()->value) p["port      " + intfText(it.key())] = "down";
   }
   if (dynSm_) {
      for (auto it = dynamic_->entryMap().begin(); it; it.advance())
         p["dynamic   " + encapText(it.key())] = *dynamicLine(it.key());
   }
   if (!mux_) return p;
   for (auto it = fwd_->fwdInfoMap().begin(); it; it.advance())
      p["fwdinfo   " + intfText(it.key())] = *fwdinfoLine(it.key());
   Fen::forEachKey(wcsd_->multiEncapIntfMap(),
                   [&p](Kestin::IntfId id) { p["multi     " + intfText(id)] = "member"; });
   for (auto it = subIntfHwStatusOut_->hardwareStatusMap().begin(); it; it.advance())
      p["subintf   " + intfText(it.key())] = *subintfLine(it.key());
   return p;
}

std::vector<Change> Switch::changes(bool full) {
   // What the lines touched are now (nullopt: absent), sorted by key.
   std::map<std::string, std::optional<std::string>> now;
   bool const whole = full || touched_.all;
   if (whole) {
      for (auto& [k, v] : picture())
         now.emplace(k, std::move(v));
      for (auto const& [k, v] : shown_)
         now.emplace(k, std::nullopt);
      retrying_.clear();
      for (auto it = sm_->retryNeededMap().begin(); it; it.advance())
         retrying_["retrying  " + encapText(it.key())] = it.key();
   } else {
      std::unordered_map<std::string, Ulva::IntfEncap> retryingNow;
      auto const retry = [&](Ulva::IntfEncap const& e) {
         std::string key = "retrying  " + encapText(e);
         std::optional<std::string> line = retryingLine(e);
         if (line) retryingNow[key] = e;
         now[std::move(key)] = std::move(line);
      };
      if (touched_.retrySet) {
         for (auto const& [k, e] : retrying_)
            retry(e);
         for (auto it = sm_->retryNeededMap().begin(); it; it.advance())
            retry(it.key());
      }
      for (auto const& e : touched_.hardware) {
         now["hardware  " + encapText(e)] = hardwareLine(e);
         retry(e);
      }
      for (auto const& e : touched_.encap)
         now["encap     " + encapText(e)] = encapLine(e);
      for (auto id : touched_.service)
         now["service   " + intfText(id)] = serviceLine(id);
      for (auto id : touched_.port)
         now["port      " + intfText(id)] = portLine(id);
      for (auto const& e : touched_.dynamic)
         now["dynamic   " + encapText(e)] = dynamicLine(e);
      for (auto id : touched_.fwdinfo)
         now["fwdinfo   " + intfText(id)] = fwdinfoLine(id);
      for (auto id : touched_.multi)
         now["multi     " + intfText(id)] = multiLine(id);
      for (auto id : touched_.subintf)
         now["subintf   " + intfText(id)] = subintfLine(id);
      for (auto const& [k, v] : now) {
         if (k.compare(0, 10, "retrying  ") != 0) continue;
         if (v) {
            retrying_[k] = retryingNow[k];
         } else {
            retrying_.erase(k);
         }
      }
   }
   touched_.clear();
   std::vector<Change> out, gone;
   for (auto& [k, v] : now) {
      auto const it = shown_.find(k);
      if (v) {
         if (it == shown_.end()) {
            out.push_back({'+', k, std::string(), *v});
            shown_.emplace(k, *v);
         } else if (it->second != *v) {
            out.push_back({'~', k, it->second, *v});
            it->second = *v;
         }
      } else if (it != shown_.end()) {
         gone.push_back({'-', k, it->second, std::string()});
         shown_.erase(it);
      }
   }
   out.insert(out.end(), std::make_move_iterator(gone.begin()),
              std::make_move_iterator(gone.end()));
   // A reflection write may have replaced a collection the picture shows.
   if (whole || sm_->hwConfigColl() != heardConfigs_ || sm_->hwStatusColl() != heardStatuses_) {
      listen();
   }
   return out;
}

std::vector<WexVlanMappingTest::RestartDifference> Switch::restartDifferences() const {
   Fen::TraceSink const sink = Fen::traceSinkIs([](Fen::String const&, int, Fen::String const&) {});
   Lintel::TraceHandle* const lintel = Lintel::defaultLintelHandleIs(nullptr);
   std::vector<WexVlanMappingTest::RestartDifference> out;
   {
      Fen::Ptr<WexVlanMappingTest::IntfEncapSm> const fresh =
          WexVlanMappingTest::restartedIntfEncapSm(*sm_);
      out = WexVlanMappingTest::restartDifferences(*sm_, *fresh);
   }
   Lintel::defaultLintelHandleIs(lintel);
   Fen::traceSinkIs(sink);
   return out;
}

// ---- the command table ------------------------------------------------------------

// What a parsed line does to the switch.
using Action = std::function<void(Switch&)>;

// Where a line is parsed: for its warnings.
struct LineContext {
   std::string const& source;
   int lineNo;
   std::ostream& err;
   void warn(std::string const& what) const {
      err << "wexvm-sim: " << source << ":" << lineNo << ": warning: " << what << "\n";
   }
};

// A VLAN id given in a scenario: 4097 and below are taken (above, the library
// refuses them), ids outside 1 to 4094 with a warning.
std::uint16_t vidGiven(std::string const& text, LineContext const& at) {
   std::uint32_t const vid = numberOf(text, "vlan id");
   if (vid > 0xFFFF) refuse("vlan id " + text + " above 65535");
   if ((vid == 0 || vid > 4094) && vid <= 4097) {
      at.warn("vlan id " + text + " is outside 1 to 4094; programmed all the same");
   }
   return static_cast<std::uint16_t>(vid);
}

// "100" or "100.200".
Ulva::VlanTagEncap tagsOf(std::string const& text, LineContext const& at) {
   auto const dot = text.find('.');
   Ulva::VlanTag outer = Ulva::vlanTag(vidGiven(text.substr(0, dot), at));
   Ulva::VlanTag inner;
   if (dot != std::string::npos) inner = Ulva::vlanTag(vidGiven(text.substr(dot + 1), at));
   return Ulva::VlanTagEncap(outer, inner);
}

Ulva::IntfEncap encapOf(std::string const& intf, std::string const& tags, LineContext const& at) {
   return Ulva::IntfEncap(intfOf(intf), tagsOf(tags, at));
}

Kestin::IntfId lagOf(std::string const& text) {
   Kestin::IntfId const lag = intfOf(text);
   if (!Kestin::PortChannelIntfId::isPortChannelIntfId(lag)) refuse("'" + text + "' is no LAG");
   return lag;
}

// A member of a LAG: an Ethernet port, never a LAG (itself or another).
Kestin::IntfId memberOf(std::string const& text, Kestin::IntfId lag) {
   Kestin::IntfId const port = intfOf(text);
   if (port == lag) refuse("'" + text + "' cannot be a member of itself");
   if (Kestin::PortChannelIntfId::isPortChannelIntfId(port)) {
      refuse("'" + text + "' is a LAG: a LAG cannot be a member of a LAG");
   }
   if (!Kestin::EthIntfId::isEthIntfId(port)) {
      refuse("'" + text + "' is no Ethernet port: a LAG's members are Ethernet ports");
   }
   return port;
}

bool isPortOrLag(Kestin::IntfId id) {
   return Kestin::EthIntfId::isEthIntfId(id) || Kestin::PortChannelIntfId::isPortChannelIntfId(id);
}

// The interface of a status the platform reports: an Ethernet port or a LAG.
Ulva::IntfEncap reportedEncapOf(std::string const& intf, std::string const& tags,
                                LineContext const& at) {
   Ulva::IntfEncap const e = encapOf(intf, tags, at);
   if (!isPortOrLag(e.intfId())) {
      refuse("'" + intf + "' is neither an Ethernet port nor a LAG: the hardware reports " +
             "statuses for those only");
   }
   return e;
}

Ulva::ServiceIntfType serviceTypeOf(std::string const& text) {
   std::uint32_t const type = numberOf(text, "service type");
   if (type > 255) refuse("service type " + text + " above 255");
   return static_cast<Ulva::ServiceIntfType>(type);
}

Kestin::IntfId subIntfOf(std::string const& text) {
   Kestin::IntfId const id = intfOf(text);
   if (!Kestin::SubIntfId::isSubIntfId(id)) refuse("'" + text + "' is no sub-interface");
   return id;
}

// "<fwdData> [type <n>]" from w[first] on.
Ulva::ServiceIntfFwdInfo fwdInfoOf(Words const& w, std::size_t first, std::string const& usage) {
   Ulva::ServiceIntfFwdInfo info(intfOf(w[first - 1]));
   std::uint32_t const data = numberOf(w[first], "fwdData");
   if (data > 0xFFFF) refuse("fwdData " + w[first] + " above 65535");
   info.fwdDataIs(static_cast<std::uint16_t>(data));
   if (w.size() == first + 3) {
      if (w[first + 1] != "type") refuse(usage);
      info.serviceTypeIs(serviceTypeOf(w[first + 2]));
   } else if (w.size() == first + 2) {
      refuse(usage);
   }
   return info;
}

// A status word of the hardware's or the remote side's input; nullopt: clear.
std::optional<Ulva::IntfEncapHwStatus> statusWordOf(std::string const& word) {
   if (word == "success") return Ulva::hwStatusSuccess;
   if (word == "notready") return Ulva::hwStatusNotReady;
   if (word == "failed") return Ulva::hwStatusFailed;
   if (word == "clear") return std::nullopt;
   refuse("bad status '" + word + "' (success, notready, failed or clear)");
}

void statusIs(Ulva::IntfEncapHwStatusColl& coll, Ulva::IntfEncap const& e,
              std::optional<Ulva::IntfEncapHwStatus> s) {
   if (s) {
      coll.hwStatusIs(e, *s);
   } else {
      coll.hwStatusDel(e);
   }
}

void memberIs(Switch& sw, Kestin::IntfId lag, Kestin::IntfId port, bool member) {
   Wex::WexLagPortList list = sw.wcsd_->lagToPort(lag);
   if (member) {
      list.portIs(port, Wex::WexLagPort());
   } else {
      list.portDel(port);
   }
   if (list.ports()) {
      sw.wcsd_->lagToPortIs(lag, list);
   } else {
      sw.wcsd_->lagToPortDel(lag);
   }
}

// An expectation: a line of the picture as a scenario expects it.
struct Expectation {
   std::string key;                      // as in the picture
   std::optional<std::string> expected;  // nullopt: absent
   std::function<std::optional<std::string>(Switch const&)> actual;
};

// How the runner treats a command.
enum class Kind { run, step, show, expect, reflect };

// Which machine beside the encap machine a command needs.
// Fault rules need every line known beforehand (see LineContext::faults).
enum class Needs { machine, remote, subIntfs, proxy, faults };

struct CommandSpec {
   char const* name;
   char const* args;
   char const* help;
   char const* group;
   Kind kind;
   Needs needs;
   std::size_t minWords, maxWords;  // the name included
   Action (*parse)(Words const& w, LineContext const& at);
   Expectation (*parseExpect)(Words const& w, LineContext const& at) = nullptr;
};

std::string usageOf(CommandSpec const& command) {
   std::string u = std::string("usage: ") + command.name;
   if (*command.args) u += std::string(" ") + command.args;
   return u;
}

Action noAction(Words const&, LineContext const&) {
   return nullptr;
}

char const* const groupSwitch = "switch";
char const* const groupCheck = "checks and faults";
char const* const groupSubIntf =
    "sub-interfaces (they run the sub-interface multiplexer, which then owns the forwarding "
    "information: fwd and nofwd are refused)";
char const* const groupProxy =
    "MACsec proxy (it runs the dynamic encap machine, which writes into dynamicIntfEncap; the "
    "parent port is read when a proxy is added)";
char const* const groupReflect =
    "reflection (roots: IntfEncapSm or WexIntfEncapSm, WexIntfEncapMuxSm, WexDynamicEncapSm; "
    "<path> is <root>.<attr>[<key>].<attr>...; a refused one is reported and the run goes on)";

Expectation expectOf(Words const& w, LineContext const& at) {
   static char const* const usage =
       "usage: expect encap|hardware <intf> <tags> success|notready|failed|none, "
       "expect service <svcIntf> success|notready|failed|none, "
       "expect retry <intf> <tags> yes|no, expect down <port> yes|no";
   if (w.size() < 4) refuse(usage);
   std::string const& what = w[1];
   std::string const& value = w.back();
   auto const status = [&]() -> std::optional<std::string> {
      if (value == "success") return std::string("success");
      if (value == "notready") return std::string("not ready");
      if (value == "failed") return std::string("failed");
      if (value == "none") return std::nullopt;
      refuse("bad status '" + value + "' (success, notready, failed or none)");
   };
   auto const yesNo = [&](char const* yes) -> std::optional<std::string> {
      if (value == "yes") return std::string(yes);
      if (value == "no") return std::nullopt;
      refuse("bad answer '" + value + "' (yes or no)");
   };
   if (what == "encap" || what == "hardware" || what == "retry") {
      if (w.size() != 5) refuse(usage);
      Ulva::IntfEncap const e = encapOf(w[2], w[3], at);
      if (what == "encap") {
         return {"encap     " + encapText(e), status(),
                 [e](Switch const& sw) { return sw.encapLine(e); }};
      }
      if (what == "retry") {
         return {"retrying  " + encapText(e), yesNo("waiting"),
                 [e](Switch const& sw) { return sw.retryingLine(e); }};
      }
      // The hardware's status of the config, its other fields aside.
      return {"hardware  " + encapText(e), status(), [e](Switch const& sw) {
                 std::optional<std::string> line = sw.hardwareLine(e);
                 if (line) line = line->substr(line->rfind(": ") + 2);
                 return line;
              }};
   }
   if (what == "service" || what == "down") {
      if (w.size() != 4) refuse(usage);
      Kestin::IntfId const id = intfOf(w[2]);
      if (what == "service") {
         return {"service   " + intfText(id), status(),
                 [id](Switch const& sw) { return sw.serviceLine(id); }};
      }
      return {"port      " + intfText(id), yesNo("down"),
              [id](Switch const& sw) { return sw.portLine(id); }};
   }
   refuse(usage);
}

// clang-format off
CommandSpec const commandTable[] = {
   {"step", "<text>", "prints a heading", groupSwitch, Kind::step, Needs::machine, 2, SIZE_MAX,
    noAction},
   {"show", "", "prints the whole state", groupSwitch, Kind::show, Needs::machine, 1, 1, noAction},
   {"lag", "<lag> <port>...", "a LAG and its members (Ethernet ports in no other LAG)",
    groupSwitch, Kind::run, Needs::machine, 3, 64,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const lag = lagOf(w[1]);
       std::vector<Kestin::IntfId> ports;
       for (std::size_t i = 2; i < w.size(); ++i) ports.push_back(memberOf(w[i], lag));
       return [lag, ports](Switch& sw) {
          for (auto port : ports) {
             Kestin::IntfId const former = sw.wcsd_->portToLag(port);
             if (former != Kestin::IntfId() && former != lag) {
                refuse("'" + intfText(port) + "' is a member of " + intfText(former) +
                       " already: a port is in one LAG at most (join moves it)");
             }
          }
          for (auto port : ports) memberIs(sw, lag, port, true);
          for (auto port : ports) sw.wcsd_->portToLagIs(port, lag);
       };
    }},
   {"join", "<port> <lag>", "a port joins a LAG (leaving the one it was in)", groupSwitch,
    Kind::run, Needs::machine, 3, 3,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const lag = lagOf(w[2]);
       Kestin::IntfId const port = memberOf(w[1], lag);
       return [lag, port](Switch& sw) {
          Kestin::IntfId const former = sw.wcsd_->portToLag(port);
          if (former != Kestin::IntfId()) memberIs(sw, former, port, false);
          memberIs(sw, lag, port, true);
          sw.wcsd_->portToLagIs(port, lag);
       };
    }},
   {"leave", "<port>", "a port leaves its LAG", groupSwitch, Kind::run, Needs::machine, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const port = intfOf(w[1]);
       std::string const name = w[1];
       return [port, name](Switch& sw) {
          Kestin::IntfId const lag = sw.wcsd_->portToLag(port);
          if (lag == Kestin::IntfId()) refuse("'" + name + "' is in no LAG");
          memberIs(sw, lag, port, false);
          sw.wcsd_->portToLagDel(port);
       };
    }},
   {"fwd", "<svcIntf> <fwdData> [type <n>]", "forwarding information of a service interface",
    groupSwitch, Kind::run, Needs::machine, 3, 5,
    [](Words const& w, LineContext const&) -> Action {
       Ulva::ServiceIntfFwdInfo const info =
           fwdInfoOf(w, 2, "usage: fwd <svcIntf> <fwdData> [type <n>]");
       return [info](Switch& sw) {
          // The multiplexer takes back what it does not offer at the id's next
          // event, and the machine's service status for the record is one at once.
          if (sw.mux_) refuse("the sub-interface multiplexer owns serviceIntfFwdInfo: use offer");
          sw.fwd_->fwdInfoIs(info);
       };
    }},
   {"nofwd", "<svcIntf>", "forwarding information removed", groupSwitch, Kind::run,
    Needs::machine, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const id = intfOf(w[1]);
       return [id](Switch& sw) {
          if (sw.mux_) refuse("the sub-interface multiplexer owns serviceIntfFwdInfo: use nooffer");
          sw.fwd_->fwdInfoDel(id);
       };
    }},
   {"want", "<intf> <tags> <svcIntf>",
    "a static encap for a service interface (<tags>: 100, or outer.inner 100.200)", groupSwitch,
    Kind::run, Needs::machine, 4, 4,
    [](Words const& w, LineContext const& at) -> Action {
       Ulva::IntfEncap const e = encapOf(w[1], w[2], at);
       Kestin::IntfId const svc = intfOf(w[3]);
       return [e, svc](Switch& sw) { sw.wanted_->serviceIntfIs(e, svc); };
    }},
   {"unwant", "<intf> <tags>", "the static encap removed", groupSwitch, Kind::run, Needs::machine,
    3, 3,
    [](Words const& w, LineContext const& at) -> Action {
       Ulva::IntfEncap const e = encapOf(w[1], w[2], at);
       return [e](Switch& sw) { sw.wanted_->serviceIntfDel(e); };
    }},
   {"dynamic", "<intf> <tags> <svcIntf> [egress <tags>] [proxy]",
    "a dynamic encap (proxy: made for the MACsec proxy)", groupSwitch, Kind::run, Needs::machine,
    4, 7,
    [](Words const& w, LineContext const& at) -> Action {
       WexVlanMapping::WexDynamicIntfEncapInfo info(encapOf(w[1], w[2], at));
       info.serviceIntfIs(intfOf(w[3]));
       info.egressEncapIs(info.intfEncap().encap());
       for (std::size_t i = 4; i < w.size(); ++i) {
          if (w[i] == "egress" && i + 1 < w.size()) {
             info.egressEncapIs(tagsOf(w[++i], at));
          } else if (w[i] == "proxy") {
             info.sourceIs(WexVlanMapping::macsecProxy);
          } else {
             refuse("usage: dynamic <intf> <tags> <svcIntf> [egress <tags>] [proxy]");
          }
       }
       return [info](Switch& sw) { sw.dynamic_->entryIs(info); };
    }},
   {"undynamic", "<intf> <tags>", "the dynamic encap removed", groupSwitch, Kind::run,
    Needs::machine, 3, 3,
    [](Words const& w, LineContext const& at) -> Action {
       Ulva::IntfEncap const e = encapOf(w[1], w[2], at);
       return [e](Switch& sw) { sw.dynamic_->entryDel(e); };
    }},
   {"hw", "<intf> <tags> success|notready|failed|clear",
    "what the simulated hardware says for an encap (an Ethernet port's or a LAG's)", groupSwitch,
    Kind::run, Needs::machine, 4, 4,
    [](Words const& w, LineContext const& at) -> Action {
       Ulva::IntfEncap const e = reportedEncapOf(w[1], w[2], at);
       std::optional<Ulva::IntfEncapHwStatus> const s = statusWordOf(w[3]);
       return [e, s](Switch& sw) { statusIs(*sw.hw_, e, s); };
    }},
   {"remote", "<intf> <tags> success|notready|failed|clear",
    "the remote status of an encap; a scenario that uses it runs a machine that reads remote "
    "statuses as a ceiling (an encap without one is published as failed)",
    groupSwitch, Kind::run, Needs::remote, 4, 4,
    [](Words const& w, LineContext const& at) -> Action {
       Ulva::IntfEncap const e = encapOf(w[1], w[2], at);
       std::optional<Ulva::IntfEncapHwStatus> const s = statusWordOf(w[3]);
       return [e, s](Switch& sw) { statusIs(*sw.remote_, e, s); };
    }},
   {"retry", "", "the platform asks for a retry pass", groupSwitch, Kind::run, Needs::machine, 1,
    1,
    [](Words const&, LineContext const&) -> Action {
       return [](Switch& sw) {
          sw.touched().retrySet = true;
          sw.sm_->handleHwConfigRetry();
       };
    }},
   {"down", "<port>", "the platform reports a port down", groupSwitch, Kind::run, Needs::machine,
    2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const port = intfOf(w[1]);
       return [port](Switch& sw) {
          sw.touched().port.push_back(port);
          sw.sm_->platformPortDownIs(port, true);
       };
    }},
   {"up", "<port>", "the platform reports a port up", groupSwitch, Kind::run, Needs::machine, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const port = intfOf(w[1]);
       return [port](Switch& sw) {
          sw.touched().port.push_back(port);
          sw.sm_->platformPortDownIs(port, false);
       };
    }},
   {"reinit", "", "the platform reprograms everything", groupSwitch, Kind::run, Needs::machine,
    1, 1,
    [](Words const&, LineContext const&) -> Action {
       return [](Switch& sw) {
          sw.touched().retrySet = true;
          sw.sm_->reinitAllHwConfig();
       };
    }},
   {"expect",
    "encap|hardware <intf> <tags> success|notready|failed|none | service <svcIntf> "
    "success|notready|failed|none | retry <intf> <tags> yes|no | down <port> yes|no",
    "checks the state now: a published encap status, a config's hardware status, a service's "
    "status, an encap waiting for a retry, a port down; a failed one prints the expected and "
    "the actual line, the run goes on and the exit status is 4",
    groupCheck, Kind::expect, Needs::machine, 4, 5, noAction, expectOf},
   {"fault",
    "add next|every <n> failed|notready [on <intf>] | clear",
    "the simulated platform answers the next <n> adds (next), or every <n>-th add (every; 0 "
    "drops that rule), of any interface or of <intf> so, whatever the hardware's input says; "
    "clear drops every rule",
    groupCheck, Kind::run, Needs::faults, 2, 7,
    [](Words const& w, LineContext const&) -> Action {
       static char const* const usage =
           "usage: fault add next|every <n> failed|notready [on <intf>], fault clear";
       if (w[1] == "clear") {
          if (w.size() != 2) refuse(usage);
          return [](Switch& sw) { faultsClear(*sw.sm_); };
       }
       if (w[1] != "add" || (w.size() != 5 && w.size() != 7)) refuse(usage);
       if (w[2] != "next" && w[2] != "every") refuse(usage);
       bool const every = w[2] == "every";
       std::uint32_t const n = numberOf(w[3], every ? "period" : "count");
       if (n == 0 && !every) refuse("count 0: give 1 or more");
       Ulva::IntfEncapHwStatus answer = Ulva::hwStatusFailed;
       if (w[4] == "notready") {
          answer = Ulva::hwStatusNotReady;
       } else if (w[4] != "failed") {
          refuse("bad answer '" + w[4] + "' (failed or notready)");
       }
       Kestin::IntfId intf;
       if (w.size() == 7) {
          if (w[5] != "on") refuse(usage);
          intf = intfOf(w[6]);
          if (!isPortOrLag(intf)) {
             refuse("'" + w[6] + "' is neither an Ethernet port nor a LAG: adds are on those");
          }
       }
       return [every, n, answer, intf](Switch& sw) { faultIs(*sw.sm_, every, n, answer, intf); };
    }},
   {"subintf", "<id> [program|noprogram]",
    "the sub-interface exists (intfStatus), to be programmed in hardware or not (default: "
    "program)",
    groupSubIntf, Kind::run, Needs::subIntfs, 2, 3,
    [](Words const& w, LineContext const&) -> Action {
       bool program = true;
       if (w.size() == 3) {
          if (w[2] != "program" && w[2] != "noprogram") {
             refuse("usage: subintf <id> [program|noprogram]");
          }
          program = w[2] == "program";
       }
       Kestin::IntfId const id = intfOf(w[1]);
       return [id, program](Switch& sw) {
          sw.subIntfStatus_->intfStatusIs(id)->programInHwIs(program);
       };
    }},
   {"nosubintf", "<id>", "the sub-interface removed", groupSubIntf, Kind::run, Needs::subIntfs, 2,
    2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const id = intfOf(w[1]);
       return [id](Switch& sw) { sw.subIntfStatus_->intfStatusDel(id); };
    }},
   {"program", "<id> on|off", "its programInHw changed", groupSubIntf, Kind::run, Needs::subIntfs,
    3, 3,
    [](Words const& w, LineContext const&) -> Action {
       if (w[2] != "on" && w[2] != "off") refuse("usage: program <id> on|off");
       Kestin::IntfId const id = intfOf(w[1]);
       bool const on = w[2] == "on";
       std::string const name = w[1];
       return [id, on, name](Switch& sw) {
          Fen::Ptr<Interface::SubIntfStatus> const status = sw.subIntfStatus_->intfStatus(id);
          if (!status) refuse("no sub-interface '" + name + "'");
          status->programInHwIs(on);
       };
    }},
   {"direct", "<id> success|failed|clear", "what the direct road's hardware says for it",
    groupSubIntf, Kind::run, Needs::subIntfs, 3, 3,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const id = intfOf(w[1]);
       if (w[2] == "success" || w[2] == "failed") {
          bool const success = w[2] == "success";
          return [id, success](Switch& sw) {
             sw.subIntfHwStatusIn_->hardwareStatusIs(id)->hardwareSuccessIs(success);
          };
       }
       if (w[2] != "clear") refuse("bad status '" + w[2] + "' (success, failed or clear)");
       return [id](Switch& sw) { sw.subIntfHwStatusIn_->hardwareStatusDel(id); };
    }},
   {"offer", "<id> <fwdData> [type <n>]",
    "forwarding information offered to the multiplexer for the service road", groupSubIntf,
    Kind::run, Needs::subIntfs, 3, 5,
    [](Words const& w, LineContext const&) -> Action {
       Ulva::ServiceIntfFwdInfo const info =
           fwdInfoOf(w, 2, "usage: offer <id> <fwdData> [type <n>]");
       return [info](Switch& sw) { sw.offered_->fwdInfoIs(info); };
    }},
   {"nooffer", "<id>", "the offer withdrawn", groupSubIntf, Kind::run, Needs::subIntfs, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const id = intfOf(w[1]);
       return [id](Switch& sw) { sw.offered_->fwdInfoDel(id); };
    }},
   {"types", "<n>...",
    "the service types the platform supports (none given: none; 0 1 2 at the start), read at an "
    "id's next event, not heard",
    groupSubIntf, Kind::run, Needs::subIntfs, 1, 64,
    [](Words const& w, LineContext const&) -> Action {
       std::vector<Ulva::ServiceIntfType> types;
       for (std::size_t i = 1; i < w.size(); ++i) types.push_back(serviceTypeOf(w[i]));
       return [types](Switch& sw) {
          sw.types_->encapServiceTypeDelAll();
          for (auto const t : types) sw.types_->encapServiceTypeIs(t);
       };
    }},
   {"proxyport", "<port> single|double",
    "the parent port, its egress single- or double-tagged (proxyIntf, singleTagEgress)",
    groupProxy, Kind::run, Needs::proxy, 3, 3,
    [](Words const& w, LineContext const&) -> Action {
       if (w[2] != "single" && w[2] != "double") refuse("usage: proxyport <port> single|double");
       Kestin::IntfId const port = intfOf(w[1]);
       bool const single = w[2] == "single";
       return [port, single](Switch& sw) {
          sw.proxyStatus_->proxyIntfIs(port)->singleTagEgressIs(single);
       };
    }},
   {"noproxyport", "<port>", "the parent port removed", groupProxy, Kind::run, Needs::proxy, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const port = intfOf(w[1]);
       return [port](Switch& sw) { sw.proxyStatus_->proxyIntfDel(port); };
    }},
   {"proxy", "<proxySubIntf> <patchSubIntf|none> <patchVid> <proxyVid>",
    "a proxy sub-interface's status, published whole in one write (none: no patch yet)",
    groupProxy, Kind::run, Needs::proxy, 5, 5,
    [](Words const& w, LineContext const& at) -> Action {
       Kestin::IntfId const proxy = subIntfOf(w[1]);
       Kestin::IntfId const patch = w[2] == "none" ? Kestin::IntfId() : subIntfOf(w[2]);
       std::uint16_t const patchVid = vidGiven(w[3], at), proxyVid = vidGiven(w[4], at);
       return [proxy, patch, patchVid, proxyVid](Switch& sw) {
          sw.proxyStatus_->proxySubIntfStatusIs(
              MacsecProxy::macsecProxySubIntfStatusFactory(proxy, patch, patchVid, proxyVid));
       };
    }},
   {"noproxy", "<proxySubIntf>", "the proxy's status removed", groupProxy, Kind::run,
    Needs::proxy, 2, 2,
    [](Words const& w, LineContext const&) -> Action {
       Kestin::IntfId const id = intfOf(w[1]);
       return [id](Switch& sw) { sw.proxyStatus_->proxySubIntfStatusDel(id); };
    }},
   {"modules", "", "each module: name, tag, number of types", groupReflect, Kind::reflect,
    Needs::machine, 1, 1, noAction},
   {"types", "<module>", "each type of a module (a module name, not numbers)", groupReflect,
    Kind::reflect, Needs::machine, 2, 2, noAction},
   {"attrs", "<Type>", "each attribute of a type, the bases' first", groupReflect, Kind::reflect,
    Needs::machine, 2, 2, noAction},
   {"show", "<path>", "a value, or a collection's count and members (<root>: every attribute)",
    groupReflect, Kind::reflect, Needs::machine, 2, 2, noAction},
   {"walk", "<path>", "a collection's members through the iterator", groupReflect, Kind::reflect,
    Needs::machine, 2, 2, noAction},
   {"set", "<path>[<key>] <value>", "writes a writable value or a member (its type's string "
    "form; \"...\" groups a word with blanks)", groupReflect, Kind::reflect, Needs::machine, 3, 3,
    noAction},
   {"del", "<path>[<key>]", "deletes a member", groupReflect, Kind::reflect, Needs::machine, 2, 2,
    noAction},
   {"call", "<path> [<arg>...]", "calls a method; prints its result", groupReflect, Kind::reflect,
    Needs::machine, 2, SIZE_MAX, noAction},
   {"dump", "", "every root's state as one JSON document", groupReflect, Kind::reflect,
    Needs::machine, 1, 1, noAction},
};
// clang-format on

// The table row of a line's command; null when there is none.
CommandSpec const* commandOf(Words const& w) {
   bool const reflect = ReflectShell::isCommand(w);
   for (auto const& command : commandTable) {
      if (w[0] == command.name && (command.kind == Kind::reflect) == reflect) return &command;
   }
   return nullptr;
}

Words wordsOf(std::string const& line) {
   std::istringstream is(line.substr(0, line.find('#')));
   Words w;
   for (std::string s; is >> s;)
      w.push_back(s);
   return w;
}

// One line read and parsed.
struct Line {
   int lineNo = 0;
   std::string text;
   Words words;
   CommandSpec const* command = nullptr;
   Action action;
   std::optional<Expectation> expectation;
};

// Parses a non-empty line: throws Fen::RangeException when it is malformed.
void parse(Line& line, LineContext const& at) {
   Words const& w = line.words;
   line.command = commandOf(w);
   if (!line.command) refuse("unknown command '" + w[0] + "'");
   CommandSpec const& command = *line.command;
   if (command.kind == Kind::reflect) return;  // the shell parses its own lines
   if (w.size() < command.minWords || w.size() > command.maxWords) refuse(usageOf(command));
   if (command.kind == Kind::expect) {
      line.expectation = command.parseExpect(w, at);
   } else {
      line.action = command.parse(w, at);
   }
}

// ---- output -----------------------------------------------------------------

// "encap     Ethernet1 100" -> kind "encap", key "Ethernet1 100".
std::string jsonLineFields(std::string const& pictureKey) {
   std::string const kind = pictureKey.substr(0, pictureKey.find(' '));
   std::string const key = pictureKey.size() > 10 ? pictureKey.substr(10) : std::string();
   return "\"kind\":" + jsonString(kind) + ",\"key\":" + jsonString(key);
}

struct Counts {
   std::uint64_t commands = 0, changes = 0, held = 0, failed = 0, refused = 0, notAllowed = 0;
};

class Runner {
public:
   Runner(SimOptions const& options, std::ostream& out, std::ostream& err)
       : options_(options), out_(out), err_(err) {}

   int run(std::vector<ScenarioInput> const& inputs);

private:
   bool jsonl() const { return options_.format == OutputFormat::jsonl; }
   // Whether the run prints what went well (not --quiet).
   bool verbose() const { return !options_.quiet; }
   void runOne(ScenarioInput const& input);
   void report(std::string const& source, int lineNo, std::string const& what) {
      out_.flush();
      err_ << "wexvm-sim: " << source << ":" << lineNo << ": " << what << "\n";
   }
   // One command's record in jsonl: its fields so far, closed by endRecord.
   void beginRecord(std::string const& source, Line const& line) {
      record_ = "{\"file\":" + jsonString(source) + ",\"line\":" + std::to_string(line.lineNo);
      trace_.clear();
      output_.str(std::string());
   }
   void endRecord(bool failure) {
      if (!trace_.empty()) {
         record_ += ",\"trace\":[";
         for (std::size_t i = 0; i < trace_.size(); ++i)
            record_ += (i ? "," : "") + jsonString(trace_[i]);
         record_ += "]";
      }
      if (verbose() || failure) out_ << record_ << "}\n";
   }
   void printChanges(std::vector<Change> const& changes);
   // Prints the restart check's differences after line `lineNo`.
   void restartCheck(Switch const& sw, std::string const& source, int lineNo);
   void progress(std::string const& source, int lineNo, std::size_t total, bool force);

   SimOptions const options_;
   std::ostream& out_;
   std::ostream& err_;
   Counts counts_;
   int status_ = 0;
   std::string record_;
   std::vector<std::string> trace_;
   std::ostringstream output_;
   std::chrono::steady_clock::time_point lastProgress_ = std::chrono::steady_clock::now();
};

void Runner::printChanges(std::vector<Change> const& changes) {
   counts_.changes += changes.size();
   if (jsonl()) {
      record_ += ",\"changes\":[";
      bool first = true;
      for (auto const& c : changes) {
         record_ +=
             std::string(first ? "" : ",") + "{\"op\":\"" + c.op + "\"," + jsonLineFields(c.key);
         if (c.op != '+') record_ += ",\"before\":" + jsonString(c.before);
         if (c.op != '-') record_ += ",\"after\":" + jsonString(c.after);
         record_ += "}";
         first = false;
      }
      record_ += "]";
      return;
   }
   if (!verbose()) return;
   for (auto const& c : changes) {
      if (c.op == '+') {
         out_ << "  + " << c.key << "  " << c.after << "\n";
      } else if (c.op == '~') {
         out_ << "  ~ " << c.key << "  " << c.before << " -> " << c.after << "\n";
      } else {
         out_ << "  - " << c.key << "  " << c.before << "\n";
      }
   }
   if (changes.empty()) out_ << "  (no change)\n";
}

void Runner::restartCheck(Switch const& sw, std::string const& source, int lineNo) {
   std::vector<WexVlanMappingTest::RestartDifference> const diffs = sw.restartDifferences();
   bool notAllowed = false;
   if (jsonl()) record_ += ",\"restartCheck\":[";
   bool first = true;
   for (auto const& d : diffs) {
      notAllowed = notAllowed || !d.allowed;
      if (!d.allowed) ++counts_.notAllowed;
      if (jsonl()) {
         record_ += std::string(first ? "" : ",") + "{\"what\":" + jsonString(d.what) +
                    ",\"allowed\":" + (d.allowed ? "true" : "false");
         if (d.allowed) record_ += ",\"why\":" + jsonString(d.why);
         record_ += "}";
         first = false;
      } else if (verbose() || !d.allowed) {
         out_ << "check-restart: " << source << ":" << lineNo << ": " << d.what;
         if (d.allowed) out_ << " (allowed: " << d.why << ")";
         out_ << "\n";
      }
   }
   if (jsonl()) record_ += "]";
   if (notAllowed && (status_ == 0 || status_ == 4)) status_ = 3;
}

void Runner::progress(std::string const& source, int lineNo, std::size_t total, bool force) {
   if (!options_.progress) return;
   auto const now = std::chrono::steady_clock::now();
   if (!force && now - lastProgress_ < std::chrono::seconds(1)) return;
   lastProgress_ = now;
   err_ << "wexvm-sim: " << source << ": line " << lineNo;
   if (total) err_ << " of " << total;
   err_ << ", " << counts_.commands << " commands, " << counts_.changes << " changes\n";
}

void Runner::runOne(ScenarioInput const& input) {
   bool const interactive = input.stream != nullptr;
   std::string const& source = input.name;
   std::vector<Line> lines;
   bool withRemote = false, withSubIntfs = false, withProxy = false;
   // A file is read and parsed whole, so that a malformed line stops the run
   // before anything runs, and its commands choose the machines beforehand.
   if (!interactive) {
      int lineNo = 0;
      for (auto const& text : input.lines) {
         ++lineNo;
         Words w = wordsOf(text);
         if (w.empty()) continue;
         Line line{lineNo, text, std::move(w), nullptr, nullptr, std::nullopt};
         try {
            parse(line, LineContext{source, lineNo, err_});
         } catch (Fen::RangeException const& e) {
            report(source, lineNo, e.what());
            ++counts_.refused;
            status_ = 1;
            return;
         }
         withRemote = withRemote || line.command->needs == Needs::remote;
         withSubIntfs = withSubIntfs || line.command->needs == Needs::subIntfs;
         withProxy = withProxy || line.command->needs == Needs::proxy;
         lines.push_back(std::move(line));
      }
   }
   // Trace lines interleave with the changes they explain.
   Fen::TraceSink const previousSink =
       Fen::traceSinkIs([this](Fen::String const& facility, int level, Fen::String const& text) {
          if (jsonl()) {
             trace_.push_back("[" + facility.stdString() + "/" + std::to_string(level) + "] " +
                              text.stdString());
          } else if (verbose()) {
             out_ << "    [" << facility << "/" << level << "] " << text << "\n";
          }
       });
   {
      Switch sw(withRemote, withSubIntfs, withProxy);
      ReflectShell shell;
      sw.rootsTo(shell);
      int lastCommand = 0;
      std::size_t next = 0;
      int streamLineNo = 0;
      std::string streamText;
      Line streamLine;
      // The next line to run; null at the end.
      auto const nextLine = [&]() -> Line* {
         if (!interactive) return next < lines.size() ? &lines[next++] : nullptr;
         while (std::getline(*input.stream, streamText)) {
            ++streamLineNo;
            Words w = wordsOf(streamText);
            if (w.empty()) continue;
            streamLine =
                Line{streamLineNo, streamText, std::move(w), nullptr, nullptr, std::nullopt};
            return &streamLine;
         }
         return nullptr;
      };
      while (Line* const linePtr = nextLine()) {
         Line& line = *linePtr;
         int const lineNo = line.lineNo;
         if (!out_) break;
         progress(source, lineNo, input.lines.size(), false);
         if (interactive) {
            try {
               parse(line, LineContext{source, lineNo, err_});
               if (line.command->needs == Needs::faults) {
                  refuse(
                      "'fault' needs every line of the scenario beforehand: give a scenario "
                      "file");
               }
               if (line.command->needs != Needs::machine) {
                  refuse("'" + line.words[0] + "' needs a machine that a run from standard " +
                         "input does not start: give a scenario file");
               }
            } catch (Fen::RangeException const& e) {
               if (jsonl()) {
                  beginRecord(source, line);
                  record_ +=
                      ",\"command\":" + jsonString(line.text.substr(0, line.text.find('#'))) +
                      ",\"error\":" + jsonString(e.what());
                  endRecord(true);
               }
               report(source, lineNo, e.what());
               ++counts_.refused;
               status_ = 1;
               out_.flush();
               continue;
            }
         }
         Kind const kind = line.command->kind;
         if (kind == Kind::step) {
            std::string const heading = line.text.substr(line.text.find("step") + 5);
            if (jsonl()) {
               beginRecord(source, line);
               record_ += ",\"step\":" + jsonString(heading);
               endRecord(false);
            } else if (verbose()) {
               out_ << "\n== " << heading << "\n";
            }
            continue;
         }
         if (kind == Kind::show) {
            if (jsonl()) {
               beginRecord(source, line);
               record_ += ",\"command\":\"show\",\"state\":[";
               bool first = true;
               for (auto const& [k, v] : sw.shown()) {
                  record_ += std::string(first ? "" : ",") + "{" + jsonLineFields(k) +
                             ",\"value\":" + jsonString(v) + "}";
                  first = false;
               }
               record_ += "]";
               endRecord(false);
            } else if (verbose()) {
               out_ << "  state:\n";
               for (auto const& [k, v] : sw.shown())
                  out_ << "    " << k << "  " << v << "\n";
            }
            if (interactive) out_.flush();
            continue;
         }
         std::string const command = kind == Kind::reflect
                                         ? ReflectShell::commandText(line.text)
                                         : line.text.substr(0, line.text.find('#'));
         if (kind == Kind::expect) {
            Expectation const& x = *line.expectation;
            std::optional<std::string> const actual = x.actual(sw);
            bool const held = actual == x.expected;
            ++(held ? counts_.held : counts_.failed);
            if (!held && status_ == 0) status_ = 4;
            auto const lineText = [&](std::optional<std::string> const& v) {
               return x.key + "  " + (v ? *v : std::string("(none)"));
            };
            if (jsonl()) {
               beginRecord(source, line);
               record_ += ",\"command\":" + jsonString(command) +
                          ",\"expect\":{\"held\":" + (held ? "true" : "false") +
                          ",\"expected\":" + jsonString(lineText(x.expected)) +
                          ",\"actual\":" + jsonString(lineText(actual)) + "}";
               endRecord(!held);
            } else if (!held) {
               if (verbose()) {
                  out_ << "> " << command << "\n";
               } else {
                  out_ << source << ":" << lineNo << ": " << command << "\n";
               }
               out_ << "  expected  " << lineText(x.expected) << "\n"
                    << "  actual    " << lineText(actual) << "\n";
            }
            if (interactive) out_.flush();
            continue;
         }
         ++counts_.commands;
         if (jsonl()) {
            beginRecord(source, line);
            record_ += ",\"command\":" + jsonString(command);
         } else if (verbose()) {
            out_ << "> " << command << "\n";
         }
         bool failure = false;
         if (kind == Kind::reflect) {
            // A refused one is reported and the run goes on; what a method
            // changed before it threw is still shown.
            bool refused = false;
            std::ostream& answer = jsonl() ? static_cast<std::ostream&>(output_) : out_;
            std::ostringstream quietAnswer;
            try {
               shell.run(line.text, verbose() ? answer : quietAnswer);
            } catch (Fen::RangeException const& e) {
               report(source, lineNo, e.what());
               if (jsonl()) record_ += ",\"error\":" + jsonString(e.what());
               refused = true;
               failure = true;
               ++counts_.refused;
            }
            if (jsonl() && !output_.str().empty())
               record_ += ",\"output\":" + jsonString(output_.str());
            if (!ReflectShell::changesState(line.words)) {
               if (jsonl()) endRecord(failure);
               if (interactive) out_.flush();
               continue;
            }
            sw.touched().all = true;
            std::vector<Change> const changes = sw.changes(true);
            if (refused && changes.empty()) {
               if (jsonl()) endRecord(failure);
               if (interactive) out_.flush();
               continue;
            }
            printChanges(changes);
         } else {
            try {
               line.action(sw);
            } catch (Fen::RangeException const& e) {
               if (jsonl()) {
                  record_ += ",\"error\":" + jsonString(e.what());
                  endRecord(true);
               }
               report(source, lineNo, e.what());
               ++counts_.refused;
               status_ = 1;
               if (interactive) continue;
               break;
            }
            printChanges(sw.changes(options_.fullCompare));
         }
         lastCommand = lineNo;
         if (options_.restartCheck == RestartCheck::everyCommand) {
            restartCheck(sw, source, lineNo);
         }
         if (jsonl()) endRecord(failure);
         // So that what ran shows, whatever ends the process.
         out_.flush();
      }
      if (options_.restartCheck == RestartCheck::atEnd && lastCommand && out_) {
         if (jsonl()) {
            record_ =
                "{\"file\":" + jsonString(source) + ",\"line\":" + std::to_string(lastCommand);
            trace_.clear();
         }
         restartCheck(sw, source, lastCommand);
         if (jsonl()) endRecord(false);
      }
      progress(source, static_cast<int>(input.lines.size()), input.lines.size(),
               options_.progress && !interactive);
   }
   Fen::traceSinkIs(previousSink);
}

int Runner::run(std::vector<ScenarioInput> const& inputs) {
   for (auto const& input : inputs) {
      if (inputs.size() > 1 && verbose()) {
         if (jsonl()) {
            out_ << "{\"file\":" << jsonString(input.name) << ",\"scenario\":true}\n";
         } else {
            out_ << "=== " << input.name << "\n";
         }
      }
      int const before = status_;
      status_ = 0;
      runOne(input);
      // The first of 1, 3, 4 that applies over every scenario.
      for (int s : {1, 3, 4}) {
         if (before == s || status_ == s) {
            status_ = s;
            break;
         }
      }
   }
   if (options_.summary) {
      if (jsonl()) {
         out_ << "{\"summary\":{\"scenarios\":" << inputs.size()
              << ",\"commands\":" << counts_.commands << ",\"changes\":" << counts_.changes
              << ",\"expectationsHeld\":" << counts_.held
              << ",\"expectationsFailed\":" << counts_.failed
              << ",\"refusedLines\":" << counts_.refused
              << ",\"restartDifferencesNotAllowed\":" << counts_.notAllowed
              << ",\"exitStatus\":" << status_ << "}}\n";
      } else {
         out_ << "summary: " << inputs.size()
              << (inputs.size() == 1 ? " scenario, " : " scenarios, ") << counts_.commands
              << " commands, " << counts_.changes << " changes, " << counts_.held + counts_.failed
              << " expectations (" << counts_.held << " held, " << counts_.failed << " failed), "
              << counts_.refused << " refused lines, " << counts_.notAllowed
              << " restart differences not allowed\n";
      }
   }
   out_.flush();
   if (!out_) {
      err_ << "wexvm-sim: cannot write the output\n";
      return 5;
   }
   return status_;
}

}  // namespace

bool scenarioFileRead(std::string const& path, ScenarioInput& input, std::string& error) {
   std::error_code ec;
   if (std::filesystem::is_directory(path, ec)) {
      error = path + ": is a directory, not a scenario file";
      return false;
   }
   std::ifstream in(path);
   if (!in) {
      error = path + ": cannot read: " + std::generic_category().message(errno);
      return false;
   }
   input.name = path;
   input.stream = nullptr;
   input.lines.clear();
   for (std::string line; std::getline(in, line);)
      input.lines.push_back(line);
   if (in.bad()) {
      error = path + ": cannot read: " + std::generic_category().message(errno);
      return false;
   }
   return true;
}

int scenariosRun(std::vector<ScenarioInput> const& inputs, SimOptions const& options,
                 std::ostream& out, std::ostream& err) {
   Runner runner(options, out, err);
   return runner.run(inputs);
}

int runScenarioText(std::string const& name, std::string const& text, std::ostream& out,
                    std::ostream& err) {
   ScenarioInput input;
   input.name = name;
   std::istringstream in(text);
   for (std::string line; std::getline(in, line);)
      input.lines.push_back(line);
   return scenariosRun({input}, SimOptions(), out, err);
}

void printCommandHelp(std::ostream& out) {
   std::vector<char const*> groups;
   for (auto const& command : commandTable) {
      if (std::find(groups.begin(), groups.end(), command.group) == groups.end())
         groups.push_back(command.group);
   }
   // Words filled into lines of at most 79 columns after `indent`.
   auto const wrapped = [&out](std::string const& text, std::string const& indent) {
      std::istringstream words(text);
      std::string line;
      for (std::string word; words >> word;) {
         if (!line.empty() && indent.size() + line.size() + 1 + word.size() > 79) {
            out << indent << line << "\n";
            line.clear();
         }
         line += (line.empty() ? "" : " ") + word;
      }
      if (!line.empty()) out << indent << line << "\n";
   };
   for (char const* group : groups) {
      out << "\n";
      wrapped(std::string(group) + ":", "");
      for (auto const& command : commandTable) {
         if (command.group != group) continue;
         out << "  " << command.name << (*command.args ? " " : "") << command.args << "\n";
         wrapped(command.help, "      ");
      }
   }
}

std::vector<std::string> const& traceFacilities() {
   // The units whose trace statements a run can reach: the encap machine, the
   // simulated platform, the multiplexer and the dynamic encap machine.
   static std::vector<std::string> const names = {"WexDynamicEncapSm", "WexIntfEncapMuxSm",
                                                  "WexIntfEncapSm", "WexTestIntfEncapSm"};
   return names;
}

}  // namespace WexVlanMappingTool
