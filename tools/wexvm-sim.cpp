// wexvm-sim: runs a small switch on the simulated platform from a scenario file
// and prints, after each command, what changed in the simulated hardware and in
// the published status collections.
//
// usage: wexvm-sim [--trace <facility>/<levels>[;...]] [--lintel <file>]
//                  [--check-restart[=end]] [--hash-seed <n>] <scenario>|-
//
//   -                reads the scenario from standard input, a line at a time,
//                    and runs each line as it comes, so that an engineer can
//                    type commands (see "Standard input" below)
//   --trace          text trace levels per facility, printed among the changes
//   --lintel <file>  records the ring-buffer trace into <file> (see lintel-dump)
//   --check-restart  after each command, builds beside the running machine the
//                    one a restart would build on the same inputs (with the same
//                    ports down), prints each difference between the two as
//                    "check-restart: <scenario>:<line>: <what>", followed by
//                    " (allowed: <why>)" for one of the two kinds a restart may
//                    show (a dynamic leftover, a direct report), and drops it.
//                    With =end, only once after the last command. A difference
//                    that is not allowed makes the exit status 3.
//   --hash-seed <n>  the process hash seed (decimal or 0x hexadecimal), which
//                    fixes the order of every map walk so that a run repeats;
//                    without it, the environment variable WEXVM_HASH_SEED, and
//                    without that a seed chosen afresh.
//
// Scenario commands, one per line ('#' starts a comment). An encap is an
// interface and its tags: "Ethernet1 100" (one tag) or "Ethernet1 100.200"
// (outer.inner).
//
//   step <text>                        prints a heading
//   lag <lag> <port>...                a LAG and its members (lagToPort, portToLag)
//   join <port> <lag>                  a port joins a LAG
//   leave <port>                       a port leaves its LAG
//   fwd <svcIntf> <fwdData> [type <n>] forwarding information of a service interface
//   nofwd <svcIntf>                    forwarding information removed
//   want <intf> <tags> <svcIntf>       a static encap for a service interface
//   unwant <intf> <tags>               the static encap removed
//   dynamic <intf> <tags> <svcIntf> [egress <tags>] [proxy]
//                                      a dynamic encap (proxy: made for the MACsec proxy)
//   undynamic <intf> <tags>            the dynamic encap removed
//   hw <intf> <tags> success|notready|failed|clear
//                                      what the simulated hardware says for an encap
//   remote <intf> <tags> success|notready|failed|clear
//                                      the remote status of an encap. A scenario
//                                      that uses it runs a machine that reads
//                                      remote statuses as a ceiling: an encap
//                                      without one is published as failed
//   retry                              the platform asks for a retry pass
//   down <port> / up <port>            the platform reports a port down or up
//   reinit                             the platform reprograms everything
//   show                               prints the whole state
//
// Sub-interfaces. A scenario that uses any of the commands below also runs the
// sub-interface multiplexer, joined to the machine as an agent joins them: the
// multiplexer's forwarding information in force is the machine's
// serviceIntfFwdInfo, and the machine's service statuses are the multiplexer's
// service road. The multiplexer then owns serviceIntfFwdInfo, so such a scenario
// offers forwarding information with `offer`, and `fwd` is refused. The id of a
// sub-interface (Ethernet1.100) is also its service interface, under which
// `want` puts encaps.
//
//   subintf <id> [program|noprogram]   the sub-interface exists (intfStatus), to be
//                                      programmed in hardware or not (default:
//                                      program)
//   nosubintf <id>                     the sub-interface removed
//   program <id> on|off                its programInHw changed
//   direct <id> success|failed|clear   what the direct road's hardware says for it
//   offer <id> <fwdData> [type <n>]    forwarding information offered to the
//                                      multiplexer for the service road
//   nooffer <id>                       the offer withdrawn
//   types <n>...                       the service types the platform supports
//                                      (none given: none; 0 1 2 at the start).
//                                      Read at an id's next event, not heard
//
// Beside the machine's changes, such a scenario prints those of the
// multiplexer's outputs: "fwdinfo" (the forwarding information in force),
// "multi" (multiEncapIntf) and "subintf" (the merged hardwareSuccess).
//
// MACsec proxy. A scenario that uses any of the commands below also runs the
// dynamic encap machine (WexDynamicEncapSm) over a MacsecProxy::Status. It
// writes into the same dynamicIntfEncap the machine hears, so that its two
// crossed entries per proxy (on the proxy's parent port, the sub-interfaces as
// their service interfaces) get programmed like any dynamic encap; a `dynamic`
// entry of the same key is overwritten by it, and withdrawn with the proxy.
// The parent port is read only when a proxy is added: after `proxyport`, send
// the proxy again.
//
//   proxyport <port> single|double     the parent port, its egress single- or
//                                      double-tagged (proxyIntf, singleTagEgress)
//   noproxyport <port>                 the parent port removed
//   proxy <proxySubIntf> <patchSubIntf|none> <patchVid> <proxyVid>
//                                      a proxy sub-interface's status, published
//                                      whole in one write (none: no patch yet)
//   noproxy <proxySubIntf>             the proxy's status removed
//
// Beside the machine's changes, such a scenario prints those of
// dynamicIntfEncap: "dynamic" lines with each entry's egress tags, service
// interface and source. A VLAN id the machine refuses (above 4097) stops the
// run like a malformed line.
//
// Seeing the switch by name. These commands (tools/ReflectShell.h) go through
// reflection alone. Their roots are the live machines: IntfEncapSm (also named
// WexIntfEncapSm), and WexIntfEncapMuxSm and WexDynamicEncapSm in a scenario that
// runs them. A path is <root>.<attr>, each .<attr> following the object or value
// before it, any collection step taking a [<key>] in its key type's string form
// (IntfEncapSm.lagHwStatusDecoder[<key>].failedCount). Members print sorted by
// key text. A word keeps its blanks inside (), [], {} or single quotes, so that a
// record's string form is one word as printed; double quotes group any word.
// Where a type's form is a quoted name, the bare name is taken: Ethernet1.
//
//   modules                            each module: name, tag, number of types
//   types <module>                     each type of a module (a module name, not
//                                      numbers: those set the service types)
//   attrs <Type>                       each attribute of a type, the bases' first
//   show <path>                        a value, or a collection's count and members;
//                                      show <root>: every attribute but methods
//   walk <path>                        a collection's members through the iterator
//   set <path>[<key>] <value>          writes a writable value or a member
//   del <path>[<key>]                  deletes a member
//   call <path> [<arg>...]             calls a method; prints its result
//   dump                               every root's state as one JSON document
//
// set, del and call are followed by the changes they made, as any command. A
// refused reflection command prints its line number and what was wrong on
// standard error, and the run goes on: the exit status does not change.
//
// A malformed line of any other command stops the run with its line number and
// what was wrong.
//
// Standard input. With '-' as the scenario, lines are run as they are read and
// named "stdin:<line>" in messages; a malformed line is reported and the run
// goes on (the exit status is then 1). Not knowing the lines ahead, such a run
// starts the machine alone: remote, the sub-interface and the MACsec proxy
// commands are refused; give a scenario file to use them.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/Hash.h"
#include "Fen/Trace.h"
#include "Lintel/TraceFile.h"
#include "Lintel/TraceHandle.h"
#include "MacsecProxy/Status.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"
#include "ReflectShell.h"

namespace {

using WexVlanMapping::WexIntfEncapHwConfig;

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

// "100" or "100.200".
Ulva::VlanTagEncap tagsOf(std::string const& text) {
   auto const dot = text.find('.');
   Ulva::VlanTag outer = Ulva::vlanTag(numberOf(text.substr(0, dot), "vlan id"));
   Ulva::VlanTag inner;
   if (dot != std::string::npos) inner = Ulva::vlanTag(numberOf(text.substr(dot + 1), "vlan id"));
   return Ulva::VlanTagEncap(outer, inner);
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

// The commands that bring the sub-interface multiplexer into a scenario.
bool isSubIntfCommand(std::string const& cmd) {
   return cmd == "subintf" || cmd == "nosubintf" || cmd == "program" || cmd == "direct" ||
          cmd == "offer" || cmd == "nooffer" || cmd == "types";
}

// The commands that bring the MACsec proxy's dynamic encap machine into a scenario.
bool isProxyCommand(std::string const& cmd) {
   return cmd == "proxyport" || cmd == "noproxyport" || cmd == "proxy" || cmd == "noproxy";
}

// What one run shows: a flat, sorted picture of the state, compared line by line
// between two commands.
using Picture = std::map<std::string, std::string>;

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
      if (!withSubIntfs) return;
      // Joined as an agent joins them: the forwarding information in force is
      // the machine's input, the machine's service statuses the service road.
      mux_ = WexVlanMapping::wexIntfEncapMuxSmFactory({.wcsd = wcsd_,
                                                       .subIntfStatus = subIntfStatus_,
                                                       .subIntfHwStatusIn = subIntfHwStatusIn_,
                                                       .subIntfHwStatusOut = subIntfHwStatusOut_,
                                                       .serviceIntfFwdInfoIn = offered_,
                                                       .serviceIntfFwdInfoOut = fwd_,
                                                       .serviceIntfHwStatusIn = svcStatus_,
                                                       .supportedServiceTypes = types_});
   }

   void run(std::vector<std::string> const& words);
   Picture picture() const;
   // Names the running machines as the roots of the reflection commands.
   void rootsTo(WexVlanMappingTool::ReflectShell& shell) const {
      shell.rootIs("IntfEncapSm", sm_);
      shell.rootIs("WexIntfEncapSm", sm_);
      if (mux_) shell.rootIs("WexIntfEncapMuxSm", mux_);
      if (dynSm_) shell.rootIs("WexDynamicEncapSm", dynSm_);
   }
   // Where a machine restarted now on the same inputs would differ from this one.
   // The restarted machine is gone when this returns, and its trace lines are
   // kept out of both trace channels.
   std::vector<WexVlanMappingTest::RestartDifference> restartDifferences() const;

private:
   void need(std::vector<std::string> const& w, std::size_t min, std::size_t max,
             char const* usage) const {
      if (w.size() < min || w.size() > max) refuse(std::string("usage: ") + usage);
   }
   // "<fwdData> [type <n>]" from w[first] on, into `info`.
   void fwdInfoOf(std::vector<std::string> const& w, std::size_t first, char const* usage,
                  Ulva::ServiceIntfFwdInfo& info) const {
      std::uint32_t const data = numberOf(w[first], "fwdData");
      if (data > 0xFFFF) refuse("fwdData " + w[first] + " above 65535");
      info.fwdDataIs(static_cast<std::uint16_t>(data));
      if (w.size() == first + 3) {
         if (w[first + 1] != "type") refuse(std::string("usage: ") + usage);
         info.serviceTypeIs(serviceTypeOf(w[first + 2]));
      } else if (w.size() == first + 2) {
         refuse(std::string("usage: ") + usage);
      }
   }
   static std::uint16_t vidOf(std::string const& text) {
      std::uint32_t const vid = numberOf(text, "vlan id");
      if (vid > 0xFFFF) refuse("vlan id " + text + " above 65535");
      return static_cast<std::uint16_t>(vid);
   }
   static Kestin::IntfId subIntfOf(std::string const& text) {
      Kestin::IntfId const id = intfOf(text);
      if (!Kestin::SubIntfId::isSubIntfId(id)) refuse("'" + text + "' is no sub-interface");
      return id;
   }
   static Ulva::ServiceIntfType serviceTypeOf(std::string const& text) {
      std::uint32_t const type = numberOf(text, "service type");
      if (type > 255) refuse("service type " + text + " above 255");
      return static_cast<Ulva::ServiceIntfType>(type);
   }
   Ulva::IntfEncap encapOf(std::string const& intf, std::string const& tags) const {
      return Ulva::IntfEncap(intfOf(intf), tagsOf(tags));
   }
   void statusIs(Ulva::IntfEncapHwStatusColl& coll, Ulva::IntfEncap const& e,
                 std::string const& word) {
      if (word == "success") {
         coll.hwStatusIs(e, Ulva::hwStatusSuccess);
      } else if (word == "notready") {
         coll.hwStatusIs(e, Ulva::hwStatusNotReady);
      } else if (word == "failed") {
         coll.hwStatusIs(e, Ulva::hwStatusFailed);
      } else if (word == "clear") {
         coll.hwStatusDel(e);
      } else {
         refuse("bad status '" + word + "' (success, notready, failed or clear)");
      }
   }
   void memberIs(Kestin::IntfId lag, Kestin::IntfId port, bool member) {
      Wex::WexLagPortList list = wcsd_->lagToPort(lag);
      if (member) {
         list.portIs(port, Wex::WexLagPort());
      } else {
         list.portDel(port);
      }
      if (list.ports()) {
         wcsd_->lagToPortIs(lag, list);
      } else {
         wcsd_->lagToPortDel(lag);
      }
   }

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
};

void Switch::run(std::vector<std::string> const& w) {
   std::string const& cmd = w[0];
   if (cmd == "lag") {
      need(w, 2, 64, "lag <lag> <port>...");
      Kestin::IntfId const lag = intfOf(w[1]);
      if (!Kestin::PortChannelIntfId::isPortChannelIntfId(lag)) refuse("'" + w[1] + "' is no LAG");
      for (std::size_t i = 2; i < w.size(); ++i)
         memberIs(lag, intfOf(w[i]), true);
      for (std::size_t i = 2; i < w.size(); ++i)
         wcsd_->portToLagIs(intfOf(w[i]), lag);
   } else if (cmd == "join") {
      need(w, 3, 3, "join <port> <lag>");
      Kestin::IntfId const port = intfOf(w[1]), lag = intfOf(w[2]);
      if (!Kestin::PortChannelIntfId::isPortChannelIntfId(lag)) refuse("'" + w[2] + "' is no LAG");
      Kestin::IntfId const former = wcsd_->portToLag(port);
      if (former != Kestin::IntfId()) memberIs(former, port, false);
      memberIs(lag, port, true);
      wcsd_->portToLagIs(port, lag);
   } else if (cmd == "leave") {
      need(w, 2, 2, "leave <port>");
      Kestin::IntfId const port = intfOf(w[1]);
      Kestin::IntfId const lag = wcsd_->portToLag(port);
      if (lag == Kestin::IntfId()) refuse("'" + w[1] + "' is in no LAG");
      memberIs(lag, port, false);
      wcsd_->portToLagDel(port);
   } else if (cmd == "fwd") {
      need(w, 3, 5, "fwd <svcIntf> <fwdData> [type <n>]");
      // The multiplexer takes back what it does not offer at the id's next
      // event, and the machine's service status for the record is one at once.
      if (mux_) refuse("the sub-interface multiplexer owns serviceIntfFwdInfo: use offer");
      Ulva::ServiceIntfFwdInfo info(intfOf(w[1]));
      fwdInfoOf(w, 2, "fwd <svcIntf> <fwdData> [type <n>]", info);
      fwd_->fwdInfoIs(info);
   } else if (cmd == "nofwd") {
      need(w, 2, 2, "nofwd <svcIntf>");
      if (mux_) refuse("the sub-interface multiplexer owns serviceIntfFwdInfo: use nooffer");
      fwd_->fwdInfoDel(intfOf(w[1]));
   } else if (cmd == "subintf") {
      need(w, 2, 3, "subintf <id> [program|noprogram]");
      bool program = true;
      if (w.size() == 3) {
         if (w[2] != "program" && w[2] != "noprogram") {
            refuse("usage: subintf <id> [program|noprogram]");
         }
         program = w[2] == "program";
      }
      subIntfStatus_->intfStatusIs(intfOf(w[1]))->programInHwIs(program);
   } else if (cmd == "nosubintf") {
      need(w, 2, 2, "nosubintf <id>");
      subIntfStatus_->intfStatusDel(intfOf(w[1]));
   } else if (cmd == "program") {
      need(w, 3, 3, "program <id> on|off");
      if (w[2] != "on" && w[2] != "off") refuse("usage: program <id> on|off");
      Fen::Ptr<Interface::SubIntfStatus> const status = subIntfStatus_->intfStatus(intfOf(w[1]));
      if (!status) refuse("no sub-interface '" + w[1] + "'");
      status->programInHwIs(w[2] == "on");
   } else if (cmd == "direct") {
      need(w, 3, 3, "direct <id> success|failed|clear");
      Kestin::IntfId const id = intfOf(w[1]);
      if (w[2] == "success" || w[2] == "failed") {
         subIntfHwStatusIn_->hardwareStatusIs(id)->hardwareSuccessIs(w[2] == "success");
      } else if (w[2] == "clear") {
         subIntfHwStatusIn_->hardwareStatusDel(id);
      } else {
         refuse("bad status '" + w[2] + "' (success, failed or clear)");
      }
   } else if (cmd == "offer") {
      need(w, 3, 5, "offer <id> <fwdData> [type <n>]");
      Ulva::ServiceIntfFwdInfo info(intfOf(w[1]));
      fwdInfoOf(w, 2, "offer <id> <fwdData> [type <n>]", info);
      offered_->fwdInfoIs(info);
   } else if (cmd == "nooffer") {
      need(w, 2, 2, "nooffer <id>");
      offered_->fwdInfoDel(intfOf(w[1]));
   } else if (cmd == "types") {
      need(w, 1, 64, "types <n>...");
      std::vector<Ulva::ServiceIntfType> types;
      for (std::size_t i = 1; i < w.size(); ++i)
         types.push_back(serviceTypeOf(w[i]));
      types_->encapServiceTypeDelAll();
      for (auto const t : types)
         types_->encapServiceTypeIs(t);
   } else if (cmd == "want") {
      need(w, 4, 4, "want <intf> <tags> <svcIntf>");
      wanted_->serviceIntfIs(encapOf(w[1], w[2]), intfOf(w[3]));
   } else if (cmd == "unwant") {
      need(w, 3, 3, "unwant <intf> <tags>");
      wanted_->serviceIntfDel(encapOf(w[1], w[2]));
   } else if (cmd == "dynamic") {
      need(w, 4, 7, "dynamic <intf> <tags> <svcIntf> [egress <tags>] [proxy]");
      WexVlanMapping::WexDynamicIntfEncapInfo info(encapOf(w[1], w[2]));
      info.serviceIntfIs(intfOf(w[3]));
      info.egressEncapIs(tagsOf(w[2]));
      for (std::size_t i = 4; i < w.size(); ++i) {
         if (w[i] == "egress" && i + 1 < w.size()) {
            info.egressEncapIs(tagsOf(w[++i]));
         } else if (w[i] == "proxy") {
            info.sourceIs(WexVlanMapping::macsecProxy);
         } else {
            refuse("usage: dynamic <intf> <tags> <svcIntf> [egress <tags>] [proxy]");
         }
      }
      dynamic_->entryIs(info);
   } else if (cmd == "undynamic") {
      need(w, 3, 3, "undynamic <intf> <tags>");
      dynamic_->entryDel(encapOf(w[1], w[2]));
   } else if (cmd == "proxyport") {
      need(w, 3, 3, "proxyport <port> single|double");
      if (w[2] != "single" && w[2] != "double") refuse("usage: proxyport <port> single|double");
      proxyStatus_->proxyIntfIs(intfOf(w[1]))->singleTagEgressIs(w[2] == "single");
   } else if (cmd == "noproxyport") {
      need(w, 2, 2, "noproxyport <port>");
      proxyStatus_->proxyIntfDel(intfOf(w[1]));
   } else if (cmd == "proxy") {
      need(w, 5, 5, "proxy <proxySubIntf> <patchSubIntf|none> <patchVid> <proxyVid>");
      Kestin::IntfId const proxy = subIntfOf(w[1]);
      Kestin::IntfId const patch = w[2] == "none" ? Kestin::IntfId() : subIntfOf(w[2]);
      proxyStatus_->proxySubIntfStatusIs(
          MacsecProxy::macsecProxySubIntfStatusFactory(proxy, patch, vidOf(w[3]), vidOf(w[4])));
   } else if (cmd == "noproxy") {
      need(w, 2, 2, "noproxy <proxySubIntf>");
      proxyStatus_->proxySubIntfStatusDel(intfOf(w[1]));
   } else if (cmd == "hw") {
      need(w, 4, 4, "hw <intf> <tags> success|notready|failed|clear");
      statusIs(*hw_, encapOf(w[1], w[2]), w[3]);
   } else if (cmd == "remote") {
      need(w, 4, 4, "remote <intf> <tags> success|notready|failed|clear");
      statusIs(*remote_, encapOf(w[1], w[2]), w[3]);
   } else if (cmd == "retry") {
      need(w, 1, 1, "retry");
      sm_->handleHwConfigRetry();
   } else if (cmd == "down" || cmd == "up") {
      need(w, 2, 2, "down|up <port>");
      sm_->platformPortDownIs(intfOf(w[1]), cmd == "down");
   } else if (cmd == "reinit") {
      need(w, 1, 1, "reinit");
      sm_->reinitAllHwConfig();
   } else {
      refuse("unknown command '" + cmd + "'");
   }
}

Picture Switch::picture() const {
   Picture p;
   auto const& configs = sm_->hwConfigColl()->configMap();
   for (auto it = configs.begin(); it; it.advance()) {
      WexIntfEncapHwConfig const& c = *it.currNodeNonStale();
      std::ostringstream os;
      os << "egress " << tagsText(c.egressEncap()) << ", fwd " << c.fwdInfo().fwdData();
      if (c.isLag()) os << ", LAG";
      if (c.isLagMember()) os << ", member of " << c.lagId();
      if (c.source() == WexVlanMapping::macsecProxy) os << ", MACsec proxy";
      if (c.retryCnt()) os << ", retry " << c.retryCnt();
      os << ": " << statusText(sm_->hwStatusColl()->hwStatus(c.intfEncap()));
      p["hardware  " + encapText(c.intfEncap())] = os.str();
   }
   for (auto it = published_->hwStatusMap().begin(); it; it.advance()) {
      p["encap     " + encapText(it.key())] = statusText(it.currNodeNonStale()->value);
   }
   for (auto it = svcStatus_->hwStatusMap().begin(); it; it.advance()) {
      p["service   " + it.key().stringValue().stdString()] =
          statusText(it.currNodeNonStale()->value);
   }
   for (auto it = sm_->retryNeededMap().begin(); it; it.advance()) {
      p["retrying  " + encapText(it.key())] = "waiting";
   }
   for (auto it = sm_->portDownMap().begin(); it; it.advance()) {
      if (it.currNodeNonStale()->value)
         p["port      " + it.key().stringValue().stdString()] = "down";
   }
   if (dynSm_) {
      for (auto it = dynamic_->entryMap().begin(); it; it.advance()) {
         WexVlanMapping::WexDynamicIntfEncapInfo const& e = *it.currNodeNonStale();
         p["dynamic   " + encapText(e.intfEncap())] =
             "egress " + tagsText(e.egressEncap()) + ", service " +
             e.serviceIntf().stringValue().stdString() + ", source " +
             WexVlanMapping::stringValue(e.source()).stdString();
      }
   }
   if (!mux_) return p;
   for (auto it = fwd_->fwdInfoMap().begin(); it; it.advance()) {
      Ulva::ServiceIntfFwdInfo const& info = *it.currNodeNonStale();
      std::string text = "fwd " + std::to_string(info.fwdData());
      if (info.serviceType() != Ulva::serviceIntfTypeDefault)
         text += ", type " + std::to_string(unsigned{info.serviceType()});
      p["fwdinfo   " + it.key().stringValue().stdString()] = text;
   }
   Fen::forEachKey(wcsd_->multiEncapIntfMap(), [&p](Kestin::IntfId id) {
      p["multi     " + id.stringValue().stdString()] = "member";
   });
   for (auto it = subIntfHwStatusOut_->hardwareStatusMap().begin(); it; it.advance()) {
      Fen::Ptr<Interface::Hardware::SubIntfStatus> const& status = it.currNodeNonStale()->value;
      char const* text = "null";
      if (status) text = status->hardwareSuccess() ? "success" : "no success";
      p["subintf   " + it.key().stringValue().stdString()] = text;
   }
   return p;
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

// Prints the differences of a restart check after line `lineNo`; true when one
// of them is not allowed.
bool printRestartCheck(Switch const& sw, std::string const& scenario, int lineNo) {
   bool notAllowed = false;
   for (auto const& d : sw.restartDifferences()) {
      std::cout << "check-restart: " << scenario << ":" << lineNo << ": " << d.what;
      if (d.allowed) std::cout << " (allowed: " << d.why << ")";
      std::cout << "\n";
      notAllowed = notAllowed || !d.allowed;
   }
   return notAllowed;
}

void printChanges(Picture const& before, Picture const& after) {
   bool any = false;
   for (auto const& [k, v] : after) {
      auto it = before.find(k);
      if (it == before.end()) {
         std::cout << "  + " << k << "  " << v << "\n";
         any = true;
      } else if (it->second != v) {
         std::cout << "  ~ " << k << "  " << it->second << " -> " << v << "\n";
         any = true;
      }
   }
   for (auto const& [k, v] : before) {
      if (!after.count(k)) {
         std::cout << "  - " << k << "  " << v << "\n";
         any = true;
      }
   }
   if (!any) std::cout << "  (no change)\n";
}

std::vector<std::string> wordsOf(std::string const& line) {
   std::istringstream is(line.substr(0, line.find('#')));
   std::vector<std::string> w;
   for (std::string s; is >> s;)
      w.push_back(s);
   return w;
}

int usage(int code) {
   (code ? std::cerr : std::cout)
       << "usage: wexvm-sim [--trace <facility>/<levels>[;...]] [--lintel <file>]\n"
          "                 [--check-restart[=end]] [--hash-seed <n>] <scenario>|-\n"
          "  -                      the scenario from standard input, each line run as it\n"
          "                         comes (the machine alone: no remote, sub-interface or\n"
          "                         proxy commands; a bad line does not stop the run)\n"
          "  --check-restart[=end]  after each command (or only the last), the differences\n"
          "                         from a machine restarted on the same inputs; exit\n"
          "                         status 3 when one is not allowed\n"
          "  --hash-seed <n>        the process hash seed, decimal or 0x hexadecimal\n"
          "                         (default: WEXVM_HASH_SEED, else chosen afresh)\n"
          "scenario commands (one a line, '#' starts a comment; <tags> is 100 or 100.200):\n"
          "  step <text> | show | retry | reinit | down <port> | up <port>\n"
          "  lag <lag> <port>... | join <port> <lag> | leave <port>\n"
          "  fwd <svcIntf> <fwdData> [type <n>] | nofwd <svcIntf>\n"
          "  want <intf> <tags> <svcIntf> | unwant <intf> <tags>\n"
          "  dynamic <intf> <tags> <svcIntf> [egress <tags>] [proxy] | undynamic <intf> <tags>\n"
          "  hw <intf> <tags> success|notready|failed|clear\n"
          "  remote <intf> <tags> success|notready|failed|clear\n"
          "sub-interface commands (they run the sub-interface multiplexer, which then owns\n"
          "the forwarding information: fwd and nofwd are refused):\n"
          "  subintf <id> [program|noprogram] | nosubintf <id> | program <id> on|off\n"
          "  direct <id> success|failed|clear     the direct road's hardware status\n"
          "  offer <id> <fwdData> [type <n>] | nooffer <id>\n"
          "                                       forwarding information on offer\n"
          "  types <n>...                         supported service types (start: 0 1 2)\n"
          "MACsec proxy commands (they run the dynamic encap machine, which writes into\n"
          "dynamicIntfEncap; the parent port is read when a proxy is added):\n"
          "  proxyport <port> single|double | noproxyport <port>\n"
          "                                       the parent port's singleTagEgress\n"
          "  proxy <proxySubIntf> <patchSubIntf|none> <patchVid> <proxyVid>\n"
          "  noproxy <proxySubIntf>               a proxy's status published, removed\n"
          "reflection commands (roots: IntfEncapSm or WexIntfEncapSm, WexIntfEncapMuxSm,\n"
          "WexDynamicEncapSm; <path> is <root>.<attr>[<key>].<attr>...; a refused one is\n"
          "reported and the run goes on):\n"
          "  modules | types <module> | attrs <Type> | dump\n"
          "  show <path> | walk <path>            a value, a collection's members\n"
          "  set <path> <value> | del <path>[<key>] | call <path> [<arg>...]\n"
          "                                       values in their type's string form;\n"
          "                                       \"...\" groups a value with blanks\n";
   return code;
}

// When the restart check runs.
enum class RestartCheck { never, everyCommand, atEnd };

}  // namespace

int main(int argc, char** argv) {
   std::string scenario, lintelFile;
   char const* hashSeed = nullptr;
   RestartCheck check = RestartCheck::never;
   Fen::TraceMasks masks;
   try {
      for (int i = 1; i < argc; ++i) {
         if (!std::strcmp(argv[i], "--help")) return usage(0);
         if (!std::strcmp(argv[i], "--trace") && i + 1 < argc) {
            Fen::traceMasksAdd(masks, argv[++i]);
         } else if (!std::strcmp(argv[i], "--lintel") && i + 1 < argc) {
            lintelFile = argv[++i];
         } else if (!std::strcmp(argv[i], "--check-restart")) {
            check = RestartCheck::everyCommand;
         } else if (!std::strcmp(argv[i], "--check-restart=end")) {
            check = RestartCheck::atEnd;
         } else if (!std::strcmp(argv[i], "--hash-seed") && i + 1 < argc) {
            hashSeed = argv[++i];
         } else if ((argv[i][0] == '-' && argv[i][1]) || !scenario.empty()) {
            return usage(2);
         } else {
            scenario = argv[i];
         }
      }
   } catch (Fen::RangeException const& e) {
      std::cerr << "wexvm-sim: " << e.what() << "\n";
      return 2;
   }
   if (scenario.empty()) return usage(2);
   // Before anything makes a keyed map: their members are placed by this seed.
   char const* seedSource = "--hash-seed";
   if (!hashSeed) {
      hashSeed = std::getenv("WEXVM_HASH_SEED");
      seedSource = "WEXVM_HASH_SEED";
   }
   if (hashSeed) {
      try {
         Fen::hashSeed32Is(Fen::hashSeed32FromText(hashSeed));
      } catch (Fen::RangeException const& e) {
         std::cerr << "wexvm-sim: " << seedSource << ": " << e.what() << "\n";
         return 2;
      }
   }
   // A scenario file is read whole, so that its commands choose the machines
   // beforehand; standard input is read a line at a time.
   bool const fromStdin = scenario == "-";
   std::string const source = fromStdin ? std::string("stdin") : scenario;
   std::vector<std::string> lines;
   if (!fromStdin) {
      std::ifstream in(scenario);
      if (!in) {
         std::cerr << "wexvm-sim: cannot read " << scenario << "\n";
         return 2;
      }
      for (std::string line; std::getline(in, line);)
         lines.push_back(line);
   }
   Fen::traceMasksApply(masks);
   // Trace lines interleave with the changes they explain.
   Fen::TraceSink const previousSink =
       Fen::traceSinkIs([](Fen::String const& facility, int level, Fen::String const& text) {
          std::cout << "    [" << facility << "/" << level << "] " << text << "\n";
       });
   std::unique_ptr<Lintel::TraceHandle> lintel;
   if (!lintelFile.empty()) {
      lintel = std::make_unique<Lintel::TraceHandle>();
      Lintel::defaultLintelHandle = lintel.get();
   }
   bool withRemote = false, withSubIntfs = false, withProxy = false;
   for (auto const& line : lines) {
      std::vector<std::string> const w = wordsOf(line);
      if (w.empty()) continue;
      if (w[0] == "remote") withRemote = true;
      if (isSubIntfCommand(w[0]) && !WexVlanMappingTool::ReflectShell::isCommand(w))
         withSubIntfs = true;
      if (isProxyCommand(w[0])) withProxy = true;
   }
   int status = 0;
   bool notAllowed = false;
   {
      Switch sw(withRemote, withSubIntfs, withProxy);
      WexVlanMappingTool::ReflectShell shell;
      sw.rootsTo(shell);
      Picture before = sw.picture();
      int lastCommand = 0;
      std::string line;
      auto const nextLine = [&](int lineNo) {
         if (fromStdin) return static_cast<bool>(std::getline(std::cin, line));
         if (lineNo > static_cast<int>(lines.size())) return false;
         line = lines[static_cast<std::size_t>(lineNo - 1)];
         return true;
      };
      for (int lineNo = 1; nextLine(lineNo); ++lineNo) {
         std::vector<std::string> const w = wordsOf(line);
         if (w.empty()) continue;
         if (w[0] == "step") {
            std::cout << "\n== " << line.substr(line.find("step") + 5) << "\n";
            continue;
         }
         if (w[0] == "show" && w.size() == 1) {
            std::cout << "  state:\n";
            for (auto const& [k, v] : before)
               std::cout << "    " << k << "  " << v << "\n";
            std::cout.flush();
            continue;
         }
         auto const report = [&](Fen::RangeException const& e) {
            std::cout.flush();
            std::cerr << "wexvm-sim: " << source << ":" << lineNo << ": " << e.what() << "\n";
         };
         if (WexVlanMappingTool::ReflectShell::isCommand(w)) {
            // A refused one is reported and the run goes on; what a method
            // changed before it threw is still shown.
            std::cout << "> " << WexVlanMappingTool::ReflectShell::commandText(line) << "\n";
            bool refused = false;
            try {
               shell.run(line, std::cout);
            } catch (Fen::RangeException const& e) {
               report(e);
               refused = true;
            }
            if (!WexVlanMappingTool::ReflectShell::changesState(w) ||
                (refused && sw.picture() == before)) {
               std::cout.flush();
               continue;
            }
         } else {
            std::cout << "> " << line.substr(0, line.find('#')) << "\n";
            try {
               if (fromStdin &&
                   (w[0] == "remote" || isSubIntfCommand(w[0]) || isProxyCommand(w[0]))) {
                  refuse("'" + w[0] + "' needs a machine that a run from standard input does " +
                         "not start: give a scenario file");
               }
               sw.run(w);
            } catch (Fen::RangeException const& e) {
               report(e);
               status = 1;
               if (fromStdin) continue;
               break;
            }
         }
         Picture after = sw.picture();
         printChanges(before, after);
         before = std::move(after);
         lastCommand = lineNo;
         if (check == RestartCheck::everyCommand) {
            notAllowed = printRestartCheck(sw, source, lineNo) || notAllowed;
         }
         std::cout.flush();
      }
      if (check == RestartCheck::atEnd && lastCommand) {
         notAllowed = printRestartCheck(sw, source, lastCommand) || notAllowed;
      }
   }
   if (lintel) {
      Lintel::defaultLintelHandle = nullptr;
      std::ofstream out(lintelFile, std::ios::binary);
      lintel->save(out);
      if (!out) {
         std::cerr << "wexvm-sim: cannot write " << lintelFile << "\n";
         status = 1;
      }
   }
   Fen::traceSinkIs(previousSink);
   if (status == 0 && notAllowed) status = 3;
   return status;
}
