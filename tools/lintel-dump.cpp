// lintel-dump: prints a saved binary trace in readable form.
//
//   lintel-dump <file>     (or "-" for standard input)
//
// Each record becomes one line "<level> <sequence> <message>", in sequence
// order; a stream holding the files of several threads prints each after a
// line "== <name> ==". A file that is not a whole Lintel trace is refused with a
// message saying what is wrong, and exit status 1.
#include <cstring>
#include <fstream>
#include <iostream>

#include "Fen/Exception.h"
#include "Lintel/TraceFile.h"

namespace {

int usage(std::ostream& os, int status) {
   os << "usage: lintel-dump <file>\n"
         "Prints the records of a saved Lintel trace file (\"-\" reads standard input).\n";
   return status;
}

}  // namespace

int main(int argc, char** argv) {
   if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
      return usage(std::cout, 0);
   }
   if (argc != 2) return usage(std::cerr, 2);
   char const* const path = argv[1];
   std::ifstream file;
   std::istream* in = &std::cin;
   if (std::strcmp(path, "-") != 0) {
      file.open(path, std::ios::binary);
      if (!file) {
         std::cerr << "lintel-dump: " << path << ": cannot open: " << std::strerror(errno) << "\n";
         return 1;
      }
      in = &file;
   }
   try {
      Lintel::renderTraceFiles(*in, std::cout);
   } catch (Fen::RangeException const& e) {
      std::cout.flush();
      std::cerr << "lintel-dump: " << path << ": " << e.what() << "\n";
      return 1;
   }
   return std::cout.flush() ? 0 : 1;
}
