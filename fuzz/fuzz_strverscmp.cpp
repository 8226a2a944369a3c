// The renderers' version ordering (corvix::strverscmp) over three strings: it is antisymmetric,
// gives 0 for equal text and is transitive, except for the designed pair of two empty strings,
// each of which is less than the other.
#include <string>
#include <vector>

#include "FuzzSandbox.h"
#include "VersionCompare.h"

using namespace std::string_literals;

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "versions",
              "2.10\0"
              "2.9\0"
              "R10"s);
    fuzz_seed(folder, "zeros",
              "1.01a\0"
              "1.1\0"
              "1.0010"s);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts =
        fuzz_split(std::string(reinterpret_cast<const char*>(data), size), '\0', 3);
    const std::string& a = parts[0];
    const std::string& b = parts[1];
    const std::string& c = parts[2];
    auto cmp = [](const std::string& x, const std::string& y) {
        return corvix::strverscmp(x.c_str(), y.c_str());
    };
    std::string copy = a;
    fuzz_check(corvix::strverscmp(a.c_str(), a.c_str()) == 0, "a string differs from itself");
    fuzz_check(a.empty() || cmp(a, copy) == 0, "equal strings differ");
    fuzz_check(corvix::strverscmp(nullptr, a.c_str()) == (a.empty() ? -1 : cmp("", a)),
               "null does not read as empty");
    if ((a.empty() && b.empty()) || (b.empty() && c.empty()) || (a.empty() && c.empty())) {
        return 0;
    }
    fuzz_check(cmp(a, b) == -cmp(b, a), "not antisymmetric");
    if (cmp(a, b) <= 0 && cmp(b, c) <= 0) {
        fuzz_check(cmp(a, c) <= 0, "not transitive");
    }
    return 0;
}
