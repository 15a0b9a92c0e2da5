// Message descriptions of the binary trace.
//
// Lintel::MsgDescription  what a record's message number means: where the
//                         statement is, the types of its arguments and its text
// Lintel::MsgFormatString collects the type letters of a statement's arguments
// Lintel::MsgDesc         builds a description and registers it in a trace file
//
// A statement keeps its message number in a static int, zero at first. The
// first time it reaches a trace file that does not know that number, it
// describes itself through MsgDesc; finish() gives the statement a number (once
// per process, shared by every trace file) and enters the description in the
// file's table. Records then carry only the number and the raw arguments.
//
// Type letters, one per argument: "p" a string written inline, "b" a bool of one
// byte, "s" 16 bits, "i" 32 bits, "l" 64 bits, "e" a reflected enumeration of
// one byte. Each argument also has a style, which only says how a dump prints
// the number: 'u' unsigned decimal, 'd' signed decimal, 'x' hexadecimal with
// four digits at least ("0x8100"), and '-' for strings and bools. An "e"
// argument also names its enumeration's type ("Ulva::IntfEncapHwStatus"), so
// that a dump prints the enumerator's name, looked up through reflection.
#pragma once

#include <string>
#include <vector>

#include "Fen/String.h"

namespace Lintel {

class TraceFile;

struct MsgDescription {
   int msgId = 0;
   Fen::String sourceFile;
   int line = 0;
   // One type letter per argument.
   Fen::String types;
   // One style per argument.
   Fen::String styles;
   // The type name of each "e" argument, empty for the others: one per argument,
   // or none at all in a description read from a file of format version 1.
   std::vector<Fen::String> typeNames;
   // The message text in pieces: literals and "%s", one "%s" per argument.
   std::vector<Fen::String> pieces;

   // The pieces joined.
   Fen::String format() const;
   // The text with each "%s" replaced by the next of `args`.
   Fen::String rendered(std::vector<std::string> const& args) const;
};

class MsgFormatString {
public:
   // Appends one argument: its type letter and its style.
   void put(char const* typeLetter, char style = '-');
   // Appends an "e" argument of the enumeration named `typeName`; the style
   // says how a dump prints the byte when it does not know the name.
   void putEnum(Fen::String const& typeName, char style = 'u');
   Fen::String const& types() const { return types_; }
   Fen::String const& styles() const { return styles_; }
   // One per argument; empty for all but the "e" ones.
   std::vector<Fen::String> const& typeNames() const { return typeNames_; }

private:
   Fen::String types_;
   Fen::String styles_;
   std::vector<Fen::String> typeNames_;
};

class MsgDesc {
public:
   // Starts describing the statement whose number lives in `*msgId`, at `line`
   // of `sourceFile`, for `file`.
   MsgDesc(TraceFile* file, int* msgId, char const* sourceFile, int line);
   MsgDesc(MsgDesc const&) = delete;
   MsgDesc& operator=(MsgDesc const&) = delete;

   // Appends a piece of the message text.
   MsgDesc& operator<<(char const* piece);
   MsgDesc& operator<<(Fen::String const& piece);
   // Sets the argument types.
   MsgDesc& operator<<(MsgFormatString const& format);
   // Numbers the statement if it has no number yet, and enters the description
   // in the file. Returns the number. Safe to call from several threads at once
   // for one statement: they all get the same number.
   int finish();

private:
   TraceFile* file_;
   int* msgId_;
   MsgDescription desc_;
};

}  // namespace Lintel
