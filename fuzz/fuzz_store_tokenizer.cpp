// The store's line tokenizer (QuadenPISSstrtok_r, QuadenPISSClipPrefixedWhiteSpace and the store
// line split) against a plain split: the input's first byte tells how many of the next bytes are
// separators, the rest is the line.
#include <cstring>
#include <string>
#include <vector>

#include "FuzzSandbox.h"
#include "Quaden_PISSUtilities.h"

namespace {

std::vector<std::string> split(const std::string& line, const std::string& separators,
                               std::vector<std::string>* rests) {
    std::vector<std::string> tokens;
    size_t at = line.find_first_not_of(separators);
    while (at != std::string::npos) {
        size_t end = line.find_first_of(separators, at);
        tokens.push_back(line.substr(at, end == std::string::npos ? end : end - at));
        std::string rest = end == std::string::npos ? "" : line.substr(end + 1);
        size_t kept = rest.find_first_not_of(separators);
        rests->push_back(kept == std::string::npos ? std::string("\1") : rest.substr(kept));
        at = end == std::string::npos ? end : line.find_first_not_of(separators, end);
    }
    return tokens;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "line", "\x02 \tdefault int\tSizeOfFrameCacheInMB 20000");
    fuzz_seed(folder, "no-value", "\x02 \tdefault string\tKey  \t ");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || data[0] + 1u > size) {
        return 0;
    }
    std::string separators(reinterpret_cast<const char*>(data) + 1, data[0]);
    separators.resize(strlen(separators.c_str()));
    std::string line(reinterpret_cast<const char*>(data) + 1 + data[0], size - 1 - data[0]);
    line.resize(strlen(line.c_str()));

    std::vector<std::string> rests;
    std::vector<std::string> tokens = split(line, separators, &rests);
    std::string buffer = line;
    char* save = nullptr;
    size_t count = 0;
    for (char* token = QuadenPISSstrtok_r(&buffer[0], separators.c_str(), &save); token;
         token = QuadenPISSstrtok_r(nullptr, separators.c_str(), &save), ++count) {
        fuzz_check(count < tokens.size() && tokens[count] == token, "another token");
        char* rest = QuadenPISSClipPrefixedWhiteSpace(save, separators.c_str());
        fuzz_check(rest ? rests[count] == rest : rests[count] == "\1", "another remainder");
    }
    fuzz_check(count == tokens.size(), "tokens missing");

    std::string storeLine = line + "\n";
    sPISSStoreLine fields;
    std::vector<std::string> blanks;
    std::vector<std::string> words = split(line, " \t", &blanks);
    int split = PISSSplitStoreLine(&storeLine[0], &fields);
    fuzz_check(split == (words.empty() ? 0 : 1), "a line with tokens does not split");
    const char* parts[] = {fields._group, fields._type, fields._key};
    for (size_t i = 0; i < 3; ++i) {
        fuzz_check(i < words.size() ? parts[i] && words[i] == parts[i] : parts[i] == nullptr,
                   "another field");
    }
    fuzz_check(words.size() < 3 ? fields._value == nullptr
                                : (fields._value ? blanks[2] == fields._value : blanks[2] == "\1"),
               "another value");
    return 0;
}
