// The replay of a fuzz target built without libFuzzer (WEXVM_FUZZ_REPLAY): a main
// (FuzzReplay.cpp) that feeds every file named on its command line, or found in
// a folder named there, to LLVMFuzzerTestOneInput in name order, then prints
// "replayed <n> inputs" and what the target adds, and fails when it found no
// input or could not read one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

// What the target adds to the last line, e.g. ", 12 of them whole trace files";
// each target defines it.
std::string fuzzReplayTail();
