// WexVlanMappingTool::ReflectShell: the commands of wexvm-sim that see a running
// switch by name, through reflection alone (Fen/GenericIf.h). The shell knows no
// class of a state machine, a collection or a record: the tool gives it named
// roots (the live machines), and every attribute, key, value and argument is
// found, parsed and printed through the published modules.
//
// Commands
// --------
//   modules                     each published module: name, tag, number of types
//   types <module>              each type: index, name, family, attributes,
//                               constructor arguments
//   attrs <Type>                each attribute, the bases' first (Type by full or
//                               last name)
//   show <path>                 a value, pointer or constant; a collection's count
//                               and members; with [<key>] one member
//   walk <path>                 a collection's members through the generic iterator
//   set <path> <value>          op set on a writable value or a member
//   del <path>[<key>]           op del on a member (or an owned object)
//   call <path> [<arg>...]      op call on a method; prints its result
//   dump                        every root as one JSON document
//
// A path is <root>.<attr>, each further .<attr> following the object or value
// the previous step names, and any step of a collection may carry [<key text>]:
//   IntfEncapSm.lagHwStatusDecoder[<key>].failedCount
// An answer names the last step: "failedCount = 1", "portDown['Ethernet1'] =
// true" (the key in its canonical form), "portDown: 2 members" followed by one
// line "<key> = <value>" per member, sorted by the key's text so that the output
// does not depend on the order of a map walk.
//
// Words
// -----
// Words are separated by blanks. A blank inside (), [] or {}, or inside single
// quotes, does not separate: the string form of a record, Value('Ns::T', ** {...}),
// is one word as printed. Double quotes group a word and are dropped; inside
// them, \" stands for " and \\ for \. '#' outside all of these starts a comment.
// A value, a key or an argument is parsed by its type's string form; where that
// form is a quoted name (an interface: 'Ethernet1'), the bare name is taken too.
//
// Failures
// --------
// Every refusal is a Fen::RangeException with one line that names what was
// wrong: an unknown root, module, type or attribute, a step of the wrong kind, a
// text that does not parse, an operation the attribute refuses. A command
// refused before its operation changes nothing, and prints nothing; a method
// that throws half way keeps what it did.
//
// Thread safety: none; the shell runs on the thread that runs the machines.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Fen/Ptr.h"

namespace WexVlanMappingTool {

class ReflectShell {
public:
   // A root: a live object named for paths and for dump. A second name of the
   // same object is an alias: dump shows it as such, once.
   void rootIs(std::string const& name, Fen::Ptr<Fen::PtrInterface> const& object);

   // Whether `words` (a line split at blanks) is a command of the shell. `show`
   // without argument and `types` followed by numbers (or nothing) are not: they
   // belong to the scenario.
   static bool isCommand(std::vector<std::string> const& words);
   // Whether the command may change a root's state (set, del, call).
   static bool changesState(std::vector<std::string> const& words);
   // The line without its comment and its trailing blanks.
   static std::string commandText(std::string const& line);

   // Runs one command line and prints its answer on `out`, each line indented by
   // two blanks (dump: the JSON document). Throws Fen::RangeException, one line,
   // when the command is refused.
   void run(std::string const& line, std::ostream& out) const;

private:
   std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> roots_;
};

}  // namespace WexVlanMappingTool
