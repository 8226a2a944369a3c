// What every harness shares: a private folder that stands in for the machine root, HOME, the
// configuration folder and the temporary folder, emptied before each input, and the process-wide
// state the readers keep (the machine root, the override map, the diagnostics sink, the product
// log and its line count) put back, so that an input found by the fuzzer does the same when it is
// run again on its own.
//
// A harness calls fuzz_begin() first in LLVMFuzzerTestOneInput and fuzz_check() for its oracles:
// a failed check aborts, which libFuzzer reports as a crash with the input that caused it.
//
// Seeds: every harness defines fuzz_writeSeeds(), which writes a small corpus made by the
// project's own writers (or, for files the project only reads, by the tests' fixture texts). Run
// with CORVIX_FUZZ_SEEDS=<folder>, a harness writes its seeds there and exits instead of fuzzing.
#ifndef CORVIX_FUZZ_FUZZSANDBOX_H
#define CORVIX_FUZZ_FUZZSANDBOX_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Empties the sandbox and restores the process-wide state; returns the sandbox folder.
const std::string& fuzz_begin();

// The sandbox's machine root and HOME (whose ".config" is the configuration folder).
std::string fuzz_root();
std::string fuzz_home();

// Writes bytes to path, making the folders above it. False when it cannot.
bool fuzz_writeFile(const std::string& path, const uint8_t* data, size_t size);
bool fuzz_writeFile(const std::string& path, const std::string& text);
// The file's bytes; empty when it cannot be read.
std::string fuzz_readFile(const std::string& path);

// text cut at every separator (count 0), or into exactly count pieces (the last ones empty when
// there are fewer, the rest after the last dropped).
std::vector<std::string> fuzz_split(const std::string& text, char separator, size_t count = 0);

// Aborts with what when condition is false.
void fuzz_check(bool condition, const char* what);

// Defined by each harness: writes its seed inputs into folder with fuzz_seed().
void fuzz_writeSeeds(const std::string& folder);
// Writes one seed input into folder under name.
void fuzz_seed(const std::string& folder, const std::string& name, const std::string& bytes);

// The product folder of generation 2 below the sandbox's machine root, ending in "/".
std::string fuzz_productFolder();

#endif
