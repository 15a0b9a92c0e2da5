// wexvm-sim: runs a small switch on the simulated platform from scenario files
// and prints, after each command, what changed in the simulated hardware and in
// the published status collections.
//
// usage: wexvm-sim [options] <scenario>... | -
//
//   -                  reads the scenario from standard input, a line at a time,
//                      and runs each line as it comes, so that an engineer can
//                      type commands (see "Standard input" below)
//   --trace <f>/<l>    text trace levels per facility, printed among the changes
//   --lintel <file>    records the ring-buffer trace into <file> (see lintel-dump)
//   --check-restart    after each command, builds beside the running machine the
//                      one a restart would build on the same inputs (with the same
//                      ports down), prints each difference between the two as
//                      "check-restart: <scenario>:<line>: <what>", followed by
//                      " (allowed: <why>)" for one of the two kinds a restart may
//                      show (a dynamic leftover, a direct report), and drops it.
//                      With =end, only once after the last command. A difference
//                      that is not allowed makes the exit status 3.
//   --hash-seed <n>    the process hash seed (decimal or 0x hexadecimal), which
//                      fixes the order of every map walk so that a run repeats;
//                      without it, the environment variable WEXVM_HASH_SEED, and
//                      without that a seed chosen afresh.
//   --format text|jsonl, --quiet, --summary, --progress, --version, --help:
//                      see usage() below.
//
// Scenario commands, one per line ('#' starts a comment), are listed with their
// arguments by `wexvm-sim --help`, from the table that parses them
// (tools/SimScenario.cpp). An encap is an interface and its tags: "Ethernet1 100"
// (one tag) or "Ethernet1 100.200" (outer.inner). Every line of a file is parsed
// before anything runs: a malformed one stops the run with its line number and
// what was wrong, exit status 1. A VLAN id outside 1 to 4094 is warned about on
// standard error and programmed all the same. `expect` lines check the state
// where they stand: one that holds prints nothing; one that does not prints the
// expected and the actual line, the run goes on, and the exit status is 4.
//
// Sub-interfaces. A scenario that uses a sub-interface command also runs the
// sub-interface multiplexer, joined to the machine as an agent joins them: the
// multiplexer's forwarding information in force is the machine's
// serviceIntfFwdInfo, and the machine's service statuses are the multiplexer's
// service road. The multiplexer then owns serviceIntfFwdInfo, so such a scenario
// offers forwarding information with `offer`, and `fwd` is refused. The id of a
// sub-interface (Ethernet1.100) is also its service interface, under which
// `want` puts encaps. Beside the machine's changes, such a scenario prints those
// of the multiplexer's outputs: "fwdinfo" (the forwarding information in force),
// "multi" (multiEncapIntf) and "subintf" (the merged hardwareSuccess).
//
// MACsec proxy. A scenario that uses a proxy command also runs the dynamic encap
// machine (WexDynamicEncapSm) over a MacsecProxy::Status. It writes into the same
// dynamicIntfEncap the machine hears, so that its two crossed entries per proxy
// (on the proxy's parent port, the sub-interfaces as their service interfaces)
// get programmed like any dynamic encap; a `dynamic` entry of the same key is
// overwritten by it, and withdrawn with the proxy. The parent port is read only
// when a proxy is added: after `proxyport`, send the proxy again. Such a scenario
// prints the changes of dynamicIntfEncap as "dynamic" lines. A VLAN id the
// machine refuses (above 4097) stops the run like a malformed line.
//
// Seeing the switch by name. The reflection commands (tools/ReflectShell.h) go
// through reflection alone. Their roots are the live machines: IntfEncapSm (also
// named WexIntfEncapSm), and WexIntfEncapMuxSm and WexDynamicEncapSm in a
// scenario that runs them. set, del and call are followed by the changes they
// made, as any command. A refused reflection command prints its line number and
// what was wrong on standard error, and the run goes on: the exit status does
// not change.
//
// Standard input. With '-' as the scenario, lines are run as they are read and
// named "stdin:<line>" in messages; a malformed line is reported and the run
// goes on (the exit status is then 1). Not knowing the lines ahead, such a run
// starts the machine alone: remote, the sub-interface and the MACsec proxy
// commands are refused; give a scenario file to use them.
//
// Files. Every scenario file is read, and the --lintel file opened for writing,
// before anything runs; one that cannot be is an error (exit status 2). A failed
// write of the output is an error too (exit status 5).
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/Hash.h"
#include "Fen/Trace.h"
#include "Lintel/TraceHandle.h"
#include "SimScenario.h"

#ifndef WEXVM_VERSION
#define WEXVM_VERSION "unknown"
#endif

namespace {

using WexVlanMappingTool::OutputFormat;
using WexVlanMappingTool::RestartCheck;

char const* const usageLines =
    "usage: wexvm-sim [options] <scenario>... | -\n"
    "  <scenario>...          scenario files, each run on a switch of its own\n"
    "  -                      the scenario from standard input, each line run as it\n"
    "                         comes (the machine alone: no remote, sub-interface or\n"
    "                         proxy commands; a bad line does not stop the run)\n"
    "options:\n"
    "  --trace <facility>/<levels>[;...]\n"
    "                         text trace levels (0 to 15, a,b or a-b) per facility,\n"
    "                         printed among the changes\n"
    "  --lintel <file>        records the ring-buffer trace into <file>\n"
    "  --check-restart[=end]  after each command (or only the last), the differences\n"
    "                         from a machine restarted on the same inputs; exit\n"
    "                         status 3 when one is not allowed\n"
    "  --hash-seed <n>        the process hash seed, decimal or 0x hexadecimal\n"
    "                         (default: WEXVM_HASH_SEED, else chosen afresh)\n"
    "  --format text|jsonl    text (default), or one JSON object a line per command:\n"
    "                         file, line, command, changes, expectation, errors\n"
    "  --quiet                only failed expectations, differences a restart may\n"
    "                         not show, and errors\n"
    "  --summary              counts at the end\n"
    "  --progress             a line on standard error every second or so\n"
    "  --version              the version, then exits\n"
    "  --help                 this text, then exits\n"
    "exit status: 0 all held; 1 a line refused; 2 bad options or files; 3 a restart\n"
    "difference not allowed; 4 an expectation failed; 5 the output not written.\n"
    "scenario commands, one a line ('#' starts a comment; <tags> is 100 or 100.200):\n";

int usage(int code) {
   if (code) {
      std::cerr << usageLines;
      std::cerr << "(wexvm-sim --help lists the scenario commands)\n";
      return code;
   }
   std::cout << usageLines;
   WexVlanMappingTool::printCommandHelp(std::cout);
   std::cout.flush();
   return std::cout ? 0 : 5;
}

int refuseOption(std::string const& what) {
   std::cerr << "wexvm-sim: " << what << "\n";
   return 2;
}

// Each facility of a --trace value must be one of the units a run traces.
bool facilitiesKnown(Fen::TraceMasks const& masks, std::string& unknown) {
   auto const& known = WexVlanMappingTool::traceFacilities();
   for (auto const& [facility, mask] : masks) {
      if (std::find(known.begin(), known.end(), facility.stdString()) == known.end()) {
         unknown = facility.stdString();
         return false;
      }
   }
   return true;
}

}  // namespace

int main(int argc, char** argv) {
   std::vector<std::string> scenarios;
   std::string lintelFile;
   bool lintelGiven = false;
   char const* hashSeed = nullptr;
   WexVlanMappingTool::SimOptions options;
   Fen::TraceMasks masks;
   try {
      for (int i = 1; i < argc; ++i) {
         std::string const arg = argv[i];
         bool const hasValue = i + 1 < argc;
         if (arg == "--help") return usage(0);
         if (arg == "--version") {
            std::cout << "wexvm-sim " << WEXVM_VERSION << "\n";
            std::cout.flush();
            return std::cout ? 0 : 5;
         }
         if (arg == "--trace" && hasValue) {
            Fen::traceMasksAdd(masks, argv[++i]);
         } else if (arg == "--lintel" && hasValue) {
            lintelFile = argv[++i];
            lintelGiven = true;
         } else if (arg == "--check-restart") {
            options.restartCheck = RestartCheck::everyCommand;
         } else if (arg == "--check-restart=end") {
            options.restartCheck = RestartCheck::atEnd;
         } else if (arg == "--hash-seed" && hasValue) {
            hashSeed = argv[++i];
         } else if (arg == "--format" && hasValue) {
            std::string const format = argv[++i];
            if (format == "text") {
               options.format = OutputFormat::text;
            } else if (format == "jsonl") {
               options.format = OutputFormat::jsonl;
            } else {
               return refuseOption("--format: '" + format + "' is neither text nor jsonl");
            }
         } else if (arg == "--quiet") {
            options.quiet = true;
         } else if (arg == "--summary") {
            options.summary = true;
         } else if (arg == "--progress") {
            options.progress = true;
         } else if (arg == "--full-compare") {
            // Rebuilds and compares the whole picture after every command: the
            // tests check that it prints what the tracked changes print.
            options.fullCompare = true;
         } else if (arg.size() > 1 && arg[0] == '-') {
            if (arg == "--trace" || arg == "--lintel" || arg == "--hash-seed" ||
                arg == "--format") {
               return refuseOption(arg + ": missing value");
            }
            return refuseOption("unknown option '" + arg + "'");
         } else {
            scenarios.push_back(arg);
         }
      }
   } catch (Fen::RangeException const& e) {
      return refuseOption(e.what());
   }
   if (scenarios.empty()) return usage(2);
   if (std::count(scenarios.begin(), scenarios.end(), "-") && scenarios.size() > 1) {
      return refuseOption("- (standard input) is the only scenario of a run");
   }
   if (std::string unknown; !facilitiesKnown(masks, unknown)) {
      std::string known;
      for (auto const& f : WexVlanMappingTool::traceFacilities())
         known += (known.empty() ? "" : ", ") + f;
      return refuseOption("--trace: unknown facility '" + unknown + "' (known: " + known + ")");
   }
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
         return refuseOption(std::string(seedSource) + ": " + e.what());
      }
   }
   // Every file is read, and the trace file opened, before anything runs.
   std::vector<WexVlanMappingTool::ScenarioInput> inputs(scenarios.size());
   for (std::size_t i = 0; i < scenarios.size(); ++i) {
      if (scenarios[i] == "-") {
         inputs[i].name = "stdin";
         inputs[i].stream = &std::cin;
         continue;
      }
      std::string error;
      if (!WexVlanMappingTool::scenarioFileRead(scenarios[i], inputs[i], error)) {
         return refuseOption(error);
      }
   }
   std::ofstream lintelOut;
   if (lintelGiven) {
      lintelOut.open(lintelFile, std::ios::binary | std::ios::trunc);
      if (!lintelOut) {
         return refuseOption(lintelFile +
                             ": cannot write: " + std::generic_category().message(errno));
      }
   }
   Fen::traceMasksApply(masks);
   std::unique_ptr<Lintel::TraceHandle> lintel;
   if (lintelGiven) {
      lintel = std::make_unique<Lintel::TraceHandle>();
      Lintel::defaultLintelHandle = lintel.get();
   }
   int status = WexVlanMappingTool::scenariosRun(inputs, options, std::cout, std::cerr);
   if (lintel) {
      Lintel::defaultLintelHandle = nullptr;
      lintel->save(lintelOut);
      lintelOut.close();
      if (!lintelOut) {
         std::cerr << "wexvm-sim: " << lintelFile << ": cannot write\n";
         if (status == 0) status = 5;
      }
   }
   return status;
}
