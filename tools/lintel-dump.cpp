// lintel-dump: prints a saved binary trace in readable form.
//
//   lintel-dump [--facility <name>]... [--level <levels>]... <file>
//
// <file> is a saved Lintel trace, or "-" for standard input. Each record becomes
// one line "<level> <sequence> <message>", in sequence order; a stream holding
// the files of several threads prints each after a line "== <name> ==".
// Statuses and other enumerators print by name ("hwStatus hwStatusSuccess")
// where the statement's description names a reflected enumeration that this
// build knows; otherwise, and for a byte that is no enumerator, as a number.
// Files of the previous format version (without enumeration names) print too.
//
// Filters, which may be repeated and add up:
//   --facility <name>  only the statements of that facility. A description
//                      carries its source file, not its facility: the facility
//                      is the file's name without folders and extension, which
//                      is how the library's units name theirs
//                      (WexIntfEncapSm.cpp traces as "WexIntfEncapSm"). A name
//                      that no description of the stream has is refused.
//   --level <levels>   only those levels (0 to 31): numbers and ranges separated
//                      by commas ("7,8", "0-8"), or a mask of one bit per level
//                      in hexadecimal ("0x180" is 7 and 8).
//
// Every bad input ends in one line "lintel-dump: <file>: what was wrong" on
// standard error: a file that cannot be opened or is a directory, a file that
// is not a whole, consistent Lintel trace (cut short, a size out of bounds, a
// record of a message not described...), a facility not in the file; exit
// status 1, and nothing printed for a bad file. A failed write to standard
// output is an error too ("lintel-dump: standard output: write failed", status
// 1). A bad command line ends in one line and exit status 2.
//
// Reading costs time and memory in proportion to the file's bytes, whatever the
// order of its descriptions and whatever sizes it claims (see
// Lintel/TraceFile.h).
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/Exception.h"
#include "Lintel/TraceFile.h"

namespace {

constexpr char usageText[] =
    "usage: lintel-dump [--facility <name>]... [--level <levels>]... <file>\n"
    "Prints the records of a saved Lintel trace file (\"-\" reads standard input),\n"
    "one line \"<level> <sequence> <message>\" each, in sequence order.\n"
    "Statuses and other enumerators print by name where the trace names their type.\n"
    "\n"
    "  --facility <name>  only the statements of that facility: the name of their\n"
    "                     source file without folders and extension\n"
    "                     (\"WexIntfEncapSm\"); repeat for several\n"
    "  --level <levels>   only those levels, 0 to 31: numbers and ranges separated\n"
    "                     by commas (\"7,8\", \"0-8\"), or a hexadecimal mask of one\n"
    "                     bit per level (\"0x180\"); repeat to add\n"
    "  -h, --help         this text\n"
    "\n"
    "A bad file ends in one line \"lintel-dump: <file>: what was wrong\" and exit\n"
    "status 1; so does a failed write to standard output. A bad command line exits 2.\n";

int usageError(std::string const& what) {
   std::cerr << "lintel-dump: " << what << " (see lintel-dump --help)\n";
   return 2;
}

bool decimal(std::string_view s, unsigned& out) {
   if (s.empty() || s.size() > 2) return false;
   out = 0;
   for (char const c : s) {
      if (c < '0' || c > '9') return false;
      out = out * 10 + static_cast<unsigned>(c - '0');
   }
   return true;
}

// The levels of one --level value as a mask; false when it is not one.
bool levelMask(std::string_view value, std::uint32_t& mask) {
   mask = 0;
   if (value.size() > 2 && value[0] == '0' && (value[1] == 'x' || value[1] == 'X')) {
      std::string_view const digits = value.substr(2);
      if (digits.empty() || digits.size() > 8) return false;
      for (char const c : digits) {
         unsigned d;
         if (c >= '0' && c <= '9') {
            d = static_cast<unsigned>(c - '0');
         } else if (c >= 'a' && c <= 'f') {
            d = static_cast<unsigned>(c - 'a' + 10);
         } else if (c >= 'A' && c <= 'F') {
            d = static_cast<unsigned>(c - 'A' + 10);
         } else {
            return false;
         }
         mask = mask << 4 | d;
      }
      return true;
   }
   while (true) {
      std::size_t const comma = value.find(',');
      std::string_view const item = value.substr(0, comma);
      std::size_t const dash = item.find('-');
      unsigned first;
      unsigned last;
      if (dash == std::string_view::npos) {
         if (!decimal(item, first)) return false;
         last = first;
      } else if (!decimal(item.substr(0, dash), first) || !decimal(item.substr(dash + 1), last)) {
         return false;
      }
      if (first > last || last >= static_cast<unsigned>(Lintel::levelCount)) return false;
      for (unsigned l = first; l <= last; ++l)
         mask |= std::uint32_t{1} << l;
      if (comma == std::string_view::npos) return true;
      value.remove_prefix(comma + 1);
   }
}

}  // namespace

int main(int argc, char** argv) {
   std::ios::sync_with_stdio(false);
   Lintel::RenderFilter filter;
   std::uint32_t levels = 0;
   bool levelGiven = false;
   std::vector<char const*> paths;
   for (int i = 1; i < argc; ++i) {
      std::string_view arg(argv[i]);
      if (arg == "--help" || arg == "-h") {
         std::cout << usageText;
         return std::cout.flush() ? 0 : 1;
      }
      std::string_view option;
      std::string_view value;
      bool valueGiven = false;
      if (arg.starts_with("--")) {
         std::size_t const eq = arg.find('=');
         option = arg.substr(0, eq);
         if (eq != std::string_view::npos) {
            value = arg.substr(eq + 1);
            valueGiven = true;
         }
      } else {
         paths.push_back(argv[i]);
         continue;
      }
      if (option != "--facility" && option != "--level") {
         return usageError("unknown option " + std::string(option));
      }
      if (!valueGiven) {
         if (i + 1 == argc) return usageError(std::string(option) + " needs a value");
         value = argv[++i];
      }
      if (option == "--facility") {
         if (value.empty()) return usageError("--facility: the name is empty");
         filter.facilities.emplace_back(value);
      } else {
         std::uint32_t mask;
         if (!levelMask(value, mask)) {
            return usageError("--level: '" + std::string(value) +
                              "' is not a list of levels from 0 to 31 nor a mask such as 0x180");
         }
         levels |= mask;
         levelGiven = true;
      }
   }
   if (paths.size() != 1) return usageError("give one trace file, or - for standard input");
   if (levelGiven) filter.levels = levels;

   char const* const path = paths[0];
   bool const fromStdin = std::strcmp(path, "-") == 0;
   std::string const name = fromStdin ? "standard input" : path;
   auto fail = [&](std::string const& what) {
      std::cerr << "lintel-dump: " << name << ": " << what << "\n";
      return 1;
   };
   std::ifstream file;
   std::istream* in = &std::cin;
   if (!fromStdin) {
      struct stat st;
      if (::stat(path, &st) == 0 && S_ISDIR(st.st_mode)) return fail("is a directory");
      errno = 0;
      file.open(path, std::ios::binary);
      if (!file) return fail(std::string("cannot open: ") + std::strerror(errno ? errno : ENOENT));
      in = &file;
   }
   std::vector<std::unique_ptr<Lintel::SavedTraceFile>> files;
   try {
      files = Lintel::loadTraceFiles(*in);
   } catch (Fen::RangeException const& e) {
      if (in->bad()) return fail(std::string("cannot read: ") + std::strerror(errno));
      return fail(e.what());
   }
   for (Fen::String const& facility : filter.facilities) {
      bool found = false;
      for (auto const& f : files) {
         for (Lintel::MsgDescription const& d : f->msgDescs()) {
            if (Lintel::msgFacility(d) == facility.view()) {
               found = true;
               break;
            }
         }
         if (found) break;
      }
      if (!found) return fail("no message of facility '" + facility.stdString() + "' in the file");
   }
   Lintel::renderTraceFiles(files, std::cout, filter);
   if (!std::cout.flush()) {
      std::cerr << "lintel-dump: standard output: write failed\n";
      return 1;
   }
   return 0;
}
