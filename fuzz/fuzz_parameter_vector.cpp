// RenderController::deserializeParameterVector over the input's lines: the command line always
// fits the output and is terminated in it, and a smaller output holds a prefix of a larger one.
#include <cstring>
#include <string>
#include <vector>

#include "FuzzSandbox.h"
#include "RenderController.h"

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "lines",
              "\x20"
              "ext.a render ($END) leader\next.x -o out ($END) 2\next.y $placeholder ($END) 1\n"
              "ext.z  v  ($END) 1\next.t done ($END) trailer\nno match\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    fuzz_begin();
    unsigned long small = data[0];
    std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::vector<std::string> lines = fuzz_split(text, '\n');
    std::vector<char> large(text.size() * 2 + 16, 'x');
    fuzz_check(RenderController::deserializeParameterVector(&lines, large.data(), large.size()),
               "the line expression did not compile");
    std::string whole(large.data(), strnlen(large.data(), large.size()));
    fuzz_check(whole.size() < large.size(), "the command line is not terminated");
    // Exactly small bytes, so that AddressSanitizer sees any write past them.
    std::vector<char> cut(small, 'x');
    RenderController::deserializeParameterVector(&lines, cut.data(), cut.size());
    if (small > 0) {
        std::string prefix(cut.data(), strnlen(cut.data(), small));
        fuzz_check(prefix.size() < small && whole.rfind(prefix, 0) == 0,
                   "a small output is no terminated prefix");
    }
    return 0;
}
