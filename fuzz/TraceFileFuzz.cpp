// Feeds arbitrary bytes to the loader and the renderer of saved Lintel trace
// files, as lintel-dump reads them.
//
// The loader may refuse the bytes, with Fen::RangeException saying "bad Lintel
// trace file: ..." and nothing else. What it accepts renders one line per
// record kept, with and without filters. A file whose rings are small enough to
// be made is also loaded as a writable TraceFile: it renders the same, and
// saved again and read back, the same once more. The loader never allocates
// ahead of the bytes there (libFuzzer's malloc limit would report it), whatever
// sizes the file claims.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target; built plain (with
// WEXVM_FUZZ_REPLAY) it replays the files and folders named on its command line,
// as ctest does with the seed corpus.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/Exception.h"
#include "Lintel/TraceFile.h"

namespace {

[[noreturn]] void fail(char const* what, std::string const& detail) {
   std::fprintf(stderr, "%s\n  %s\n", what, detail.c_str());
   std::abort();
}

// Inputs that loaded, for the replay's report.
std::size_t loadedInputs = 0;

// Rings of a file that a writable TraceFile may be given in a test: their
// buffers are made whole.
constexpr std::uint64_t ringBytesToMake = std::uint64_t{4} << 20;

std::string rendered(Lintel::SavedTraceFile const& f, Lintel::RenderFilter const& filter = {}) {
   std::ostringstream out;
   f.render(out, filter);
   return out.str();
}

std::string rendered(Lintel::TraceFile const& f) {
   std::ostringstream out;
   f.render(out);
   return out.str();
}

std::size_t lines(std::string const& text) {
   std::size_t n = 0;
   for (char const c : text)
      n += c == '\n';
   return n;
}

// Every file's rendering with a filter of levels and facilities chosen by the
// input: exactly the records the filter keeps.
void checkFilter(Lintel::SavedTraceFile const& f, std::uint32_t levels) {
   Lintel::RenderFilter filter;
   filter.levels = levels;
   if (!f.msgDescs().empty()) {
      filter.facilities.emplace_back(
          Lintel::msgFacility(f.msgDescs()[levels % f.msgDescs().size()]));
   }
   std::size_t kept = 0;
   for (int level = 0; level < Lintel::levelCount; ++level) {
      std::string_view records = f.level(level).records;
      while (!records.empty()) {
         std::uint32_t size;
         std::uint32_t msgId;
         std::memcpy(&size, records.data(), 4);
         std::memcpy(&msgId, records.data() + 4, 4);
         kept += filter.keeps(level, f.msgDesc(static_cast<int>(msgId)));
         records.remove_prefix(size);
      }
   }
   std::string const text = rendered(f, filter);
   if (lines(text) != kept) {
      fail("the filtered rendering does not have a line per record kept", text.substr(0, 200));
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   std::string const bytes(reinterpret_cast<char const*>(data), size);
   std::vector<std::unique_ptr<Lintel::SavedTraceFile>> files;
   {
      std::istringstream in(bytes);
      try {
         files = Lintel::loadTraceFiles(in);
      } catch (Fen::RangeException const& e) {
         if (std::string_view(e.what()).rfind("bad Lintel trace file: ", 0) != 0) {
            fail("a refusal that does not say the file is bad", e.what());
         }
         return 0;
      }
   }
   ++loadedInputs;
   std::uint32_t const levels =
       size >= 4 ? static_cast<std::uint32_t>(data[size - 1] | data[size - 2] << 8 |
                                              data[size - 3] << 16 |
                                              static_cast<std::uint32_t>(data[size - 4]) << 24)
                 : 0u;
   std::ostringstream all;
   Lintel::renderTraceFiles(files, all);
   std::string const text = all.str();
   for (auto const& f : files) {
      std::string const one = rendered(*f);
      if (text.find(one) == std::string::npos)
         fail("a file's rendering is not in the stream's", one);
      checkFilter(*f, levels);
   }

   // As writable files, when their rings are small enough to make.
   for (auto const& f : files) {
      for (int level = 0; level < Lintel::levelCount; ++level) {
         if (!f->level(level).records.empty() && f->level(level).capacity > ringBytesToMake) {
            return 0;
         }
      }
   }
   std::istringstream in(bytes);
   for (auto const& f : files) {
      std::unique_ptr<Lintel::TraceFile> writable;
      try {
         writable = Lintel::TraceFile::load(in);
      } catch (Fen::RangeException const& e) {
         fail("a file read for printing is refused as a writable file", e.what());
      }
      std::string const expected = rendered(*f);
      if (rendered(*writable) != expected) {
         fail("the writable file renders otherwise", rendered(*writable).substr(0, 200));
      }
      std::stringstream saved;
      writable->save(saved);
      std::unique_ptr<Lintel::SavedTraceFile> again;
      try {
         again = Lintel::SavedTraceFile::load(saved);
      } catch (Fen::RangeException const& e) {
         fail("a saved file is refused", e.what());
      }
      if (rendered(*again) != expected) fail("the saved file renders otherwise", expected);
      if (saved.peek() != std::char_traits<char>::eof()) fail("bytes after a saved file", "");
   }
   return 0;
}

#ifdef WEXVM_FUZZ_REPLAY

#include "FuzzReplay.h"

std::string fuzzReplayTail() {
   return ", " + std::to_string(loadedInputs) + " of them whole trace files";
}

#endif
