// WexVlanMappingTool scenario runner: the reader and runner behind wexvm-sim, a
// small switch on the simulated platform driven by scenario text, usable in
// process (a fuzz target, a test) as well as from the tool's main.
//
// A run reads every line of a scenario file before anything runs: a malformed
// line stops it there, with "<scenario>:<line>: <what was wrong>" on the error
// stream, before the machines start. Standard input is read and run a line at a
// time. The commands, their arguments and their help are one table
// (SimScenario.cpp); printCommandHelp prints it.
//
// After each command the runner prints what changed in the collections it
// shows. It learns which members may have changed from the notifications of
// those collections (and, for the machine's own sets that notify nobody, from
// the keys the command and the notifications named), so that a command costs
// what it changes, not what the switch holds. SimOptions::fullCompare rebuilds
// and compares the whole picture after each command instead, which prints the
// same: the tests run both.
//
// Nothing here calls exit(), keeps state between runs or leaves a trace sink
// installed: a run installs its own sink and puts the previous one back. The
// process hash seed, the trace masks and the ring-buffer trace handle are the
// caller's (wexvm-sim sets them from its options).
//
// Thread safety: none; a run uses the text trace sink of the process.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace WexVlanMappingTool {

// When the restart check runs.
enum class RestartCheck { never, everyCommand, atEnd };

enum class OutputFormat { text, jsonl };

struct SimOptions {
   OutputFormat format = OutputFormat::text;
   RestartCheck restartCheck = RestartCheck::never;
   // Only failed expectations, differences a restart may not show and errors.
   bool quiet = false;
   // Counts at the end of the run.
   bool summary = false;
   // A line on the error stream now and then while a long scenario runs.
   bool progress = false;
   // The whole picture rebuilt and compared after every command.
   bool fullCompare = false;
};

// One scenario of a run: a file read whole, or a stream run a line at a time.
struct ScenarioInput {
   // The name in messages: the path, or "stdin".
   std::string name;
   std::vector<std::string> lines;
   // When set, lines come from here as they are read (interactive), and `lines`
   // is not used.
   std::istream* stream = nullptr;
};

// Reads the scenario file `path` whole into `input`; false, with `error` saying
// why ("<path>: is a directory"), when it cannot.
bool scenarioFileRead(std::string const& path, ScenarioInput& input, std::string& error);

// Runs each scenario on a switch of its own, one after the other, printing on
// `out` and reporting on `err`. The exit status of the tool: 0 when all went
// well; 1 when a line was refused; 3 when a restart check found a difference
// that a restart may not show; 4 when an expectation did not hold (the first of
// 1, 3, 4 that applies). 5 when writing to `out` failed.
int scenariosRun(std::vector<ScenarioInput> const& inputs, SimOptions const& options,
                 std::ostream& out, std::ostream& err);

// Runs the scenario `text` (lines separated by '\n'), named `name` in messages,
// with default options, and returns the exit status the tool would.
int runScenarioText(std::string const& name, std::string const& text, std::ostream& out,
                    std::ostream& err);

// Every scenario command with its arguments and what it does, by group.
void printCommandHelp(std::ostream& out);

// The trace facilities of the units the switch runs, sorted; `--trace` takes
// these names only.
std::vector<std::string> const& traceFacilities();

}  // namespace WexVlanMappingTool
