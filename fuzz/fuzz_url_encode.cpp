// The manifest's comment escaping (SupportPackage::urlEncodeString and escapedWhole): the output
// never passes the limit, a cut output is a prefix of the whole escape at an escape's boundary,
// and the whole escape decodes to the input less its tabs and carriage returns.
#include <cstdlib>
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "SupportPackage.h"

using namespace std::string_literals;

namespace {

std::string decoded(const std::string& text) {
    static const char* const kNamed[][2] = {
        {"<br />", "\n"}, {"&quot;", "\""}, {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}};
    std::string out;
    for (size_t i = 0; i < text.size();) {
        bool named = false;
        for (const auto& entity : kNamed) {
            if (text.compare(i, strlen(entity[0]), entity[0]) == 0) {
                out += entity[1];
                i += strlen(entity[0]);
                named = true;
                break;
            }
        }
        if (named) {
            continue;
        }
        if (text.compare(i, 2, "&#") == 0) {
            size_t end = text.find(';', i);
            fuzz_check(end != std::string::npos, "a numeric reference without ';'");
            out += static_cast<char>(atoi(text.substr(i + 2, end - i - 2).c_str()));
            i = end + 1;
            continue;
        }
        fuzz_check(strchr("\t\r\n\"&<>!#$%*+,-/:;=?@{|}~", text[i]) == nullptr || text[i] == '\0',
                   "a character that must be escaped stands as it is");
        out += text[i++];
    }
    return out;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "comment", "\x10\0Line one\r\nLine two & more (x.y) a-b/c\t@~"s);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    unsigned long limit = data[0] | (static_cast<unsigned long>(data[1]) << 8);
    std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    text.resize(strlen(text.c_str()));
    std::string whole = SupportPackage::escapedWhole(text.c_str());

    std::string plain;
    for (char c : text) {
        if (c != '\t' && c != '\r') {
            plain += c;
        }
    }
    fuzz_check(decoded(whole) == plain, "the escape does not decode to the input");

    // Exactly limit bytes, so that AddressSanitizer sees any write past them.
    char* output = static_cast<char*>(malloc(limit > 0 ? limit : 1));
    SupportPackage::urlEncodeString(&text[0], output, limit);
    if (limit > 0) {
        size_t length = strnlen(output, limit);
        fuzz_check(length < limit, "the output is not terminated inside the limit");
        fuzz_check(whole.compare(0, length, output) == 0, "a cut output is no prefix");
        fuzz_check(plain.rfind(decoded(output), 0) == 0,
                   "a cut output is not the escape of a prefix of the input");
    }
    free(output);
    return 0;
}
