// Feeds arbitrary scenario text to the scenario reader and runner of wexvm-sim,
// in process. Whatever the text, a run:
//  - returns, with nothing thrown, and with an exit status the tool documents
//    for its options (0, 1 or 4: no restart check runs, and a string stream
//    does not fail);
//  - reports on the error stream only lines that name the scenario and a line
//    ("fuzz.scn:<n>: ..."), and at least one when a line was refused (status 1);
//  - prints the same, with the same status, when it rebuilds and compares the
//    whole picture after each command instead of following the notifications:
//    the changes printed do not depend on how they were found, and nothing is
//    kept from one run to the next;
//  - leaves no counted object alive when it is done.
// Anything else aborts. With SCENARIO_FUZZ_RESTART set, a run also checks after
// every command that a machine restarted on the same inputs agrees with the
// running one, and a difference that a restart may not show aborts too.
//
// The reflection commands that write or call (set, del, call) are blanked
// before the run, line numbers kept: they reach any attribute of any machine,
// including steps that trust their caller, and ReflectFuzz covers that surface
// with its own list of calls to leave out.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target; built plain (with
// WEXVM_FUZZ_REPLAY) it replays the files and folders named on its command line,
// as ctest does with the seed corpus.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/String.h"
#include "SimScenario.h"

namespace {

char const scenarioName[] = "fuzz.scn";

[[noreturn]] void fail(char const* what, std::string const& text, std::string const& detail) {
   std::fprintf(stderr, "%s\n  scenario:\n%s\n  detail:\n%s\n", what, text.c_str(), detail.c_str());
   std::abort();
}

// Runs that refused a line, for the replay's report.
std::size_t refusedRuns = 0;

bool const restartOracle = std::getenv("SCENARIO_FUZZ_RESTART") != nullptr;

bool isBlank(char c) {
   return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == '\r';
}

// `text` with every line whose first word is set, del or call made empty.
std::string withoutWrites(std::string const& text) {
   std::string out;
   out.reserve(text.size());
   std::size_t start = 0;
   while (start <= text.size()) {
      std::size_t end = text.find('\n', start);
      bool const last = end == std::string::npos;
      if (last) end = text.size();
      std::size_t w = start;
      while (w < end && isBlank(text[w]))
         ++w;
      std::size_t we = w;
      while (we < end && !isBlank(text[we]))
         ++we;
      std::string const first = text.substr(w, we - w);
      if (first != "set" && first != "del" && first != "call") out.append(text, start, end - start);
      if (last) break;
      out += '\n';
      start = end + 1;
   }
   return out;
}

// Whether `line` names the scenario and a line number: "...fuzz.scn:<n>: ...".
bool namesALine(std::string const& line) {
   std::string const prefix = std::string(scenarioName) + ":";
   for (std::size_t at = line.find(prefix); at != std::string::npos;
        at = line.find(prefix, at + 1)) {
      std::size_t i = at + prefix.size();
      std::size_t const digits = i;
      while (i < line.size() && line[i] >= '0' && line[i] <= '9')
         ++i;
      if (i > digits && line.compare(i, 2, ": ") == 0) return true;
   }
   return false;
}

struct Outcome {
   int status = 0;
   std::string out;
   std::string err;
};

Outcome runText(std::string const& text) {
   std::ostringstream out, err;
   Outcome o;
   try {
      o.status = WexVlanMappingTool::runScenarioText(scenarioName, text, out, err);
   } catch (std::exception const& e) {
      fail("an exception escaped the run", text, e.what());
   } catch (...) {
      fail("an exception escaped the run", text, "(not a std::exception)");
   }
   o.out = out.str();
   o.err = err.str();
   return o;
}

Outcome runWith(std::string const& text, WexVlanMappingTool::SimOptions const& options) {
   WexVlanMappingTool::ScenarioInput input;
   input.name = scenarioName;
   std::istringstream lines(text);
   for (std::string line; std::getline(lines, line);)
      input.lines.push_back(line);
   std::ostringstream out, err;
   Outcome o;
   try {
      o.status = WexVlanMappingTool::scenariosRun({input}, options, out, err);
   } catch (std::exception const& e) {
      fail("an exception escaped the run (options)", text, e.what());
   } catch (...) {
      fail("an exception escaped the run (options)", text, "(not a std::exception)");
   }
   o.out = out.str();
   o.err = err.str();
   return o;
}

// The first line where `a` and `b` differ, with both versions.
std::string firstDifference(std::string const& a, std::string const& b) {
   std::istringstream sa(a), sb(b);
   std::string la, lb;
   for (int n = 1;; ++n) {
      bool const ha = static_cast<bool>(std::getline(sa, la));
      bool const hb = static_cast<bool>(std::getline(sb, lb));
      if (!ha && !hb) return "(no difference)";
      if (!ha || !hb || la != lb) {
         return "line " + std::to_string(n) + ":\n    notified: " + (ha ? la : "(end)") +
                "\n    full:     " + (hb ? lb : "(end)");
      }
   }
}

void check(std::string const& text) {
   Fen::AllocSnapshot const before = Fen::AllocSnapshot::now();
   {
      Outcome const run = runText(text);
      if (run.status != 0 && run.status != 1 && run.status != 4) {
         fail("an exit status the options do not allow", text, std::to_string(run.status));
      }
      std::istringstream errLines(run.err);
      for (std::string line; std::getline(errLines, line);) {
         if (!namesALine(line)) fail("an error line that names no line", text, run.err);
      }
      if (run.status == 1) {
         ++refusedRuns;
         if (run.err.empty()) fail("a refused line without a message", text, run.out);
      }
      WexVlanMappingTool::SimOptions fullCompare;
      fullCompare.fullCompare = true;
      Outcome const full = runWith(text, fullCompare);
      if (full.status != run.status) {
         fail("the full picture gives another exit status", text,
              std::to_string(run.status) + " notified, " + std::to_string(full.status) + " full\n" +
                  run.err + full.err);
      }
      if (full.out != run.out) {
         fail("the full picture prints other changes", text, firstDifference(run.out, full.out));
      }
      if (full.err != run.err) {
         fail("the full picture reports otherwise", text, firstDifference(run.err, full.err));
      }
      if (restartOracle) {
         WexVlanMappingTool::SimOptions restart;
         restart.restartCheck = WexVlanMappingTool::RestartCheck::everyCommand;
         restart.quiet = true;
         Outcome const checked = runWith(text, restart);
         // The status says 3 only when no line was refused: read the lines too.
         bool differs = checked.status == 3;
         std::istringstream lines(checked.out);
         for (std::string line; std::getline(lines, line);) {
            if (line.rfind("check-restart: ", 0) == 0 &&
                line.find("(allowed: ") == std::string::npos)
               differs = true;
         }
         if (differs) fail("a restart differs where it may not", text, checked.out);
      }
   }
   Fen::String const leaked = Fen::AllocSnapshot::now().differencesFrom(before);
   if (!leaked.empty()) fail("objects outlive the run", text, leaked.stdString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   check(withoutWrites(std::string(reinterpret_cast<char const*>(data), size)));
   return 0;
}

#ifdef WEXVM_FUZZ_REPLAY

#include "FuzzReplay.h"

std::string fuzzReplayTail() {
   return ", " + std::to_string(refusedRuns) + " of them with a refused line";
}

#endif
