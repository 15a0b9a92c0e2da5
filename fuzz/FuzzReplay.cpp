#include "FuzzReplay.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
   std::vector<std::filesystem::path> files;
   for (int i = 1; i < argc; ++i) {
      std::filesystem::path const arg(argv[i]);
      if (std::filesystem::is_directory(arg)) {
         for (auto const& entry : std::filesystem::directory_iterator(arg)) {
            if (entry.is_regular_file()) files.push_back(entry.path());
         }
      } else {
         files.push_back(arg);
      }
   }
   std::sort(files.begin(), files.end());
   for (auto const& file : files) {
      std::ifstream in(file, std::ios::binary);
      if (!in) {
         std::fprintf(stderr, "cannot read %s\n", file.c_str());
         return 1;
      }
      std::string const bytes((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
   }
   std::printf("replayed %zu inputs%s\n", files.size(), fuzzReplayTail().c_str());
   return files.empty() ? 1 : 0;
}
