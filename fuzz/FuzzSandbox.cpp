#include "FuzzSandbox.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "RendererOverrideMap.h"
#include "VeskDiagnostics.h"
#include "VeskLog.h"
#include "VeskPlatform.h"

namespace {

// The readers' messages are part of what they do, not of what is checked: formatted and
// dropped, so that a run does not spend its time on the terminal.
class DiscardingSink : public VeskDiagnosticSink {
  public:
    void write(const std::string&) override {}
};

DiscardingSink g_sink;

// Made once per process and removed when the process ends normally: in memory (/dev/shm) where
// there is such a folder, since the writers sync every file they replace and a disk's sync costs
// more than the rest of a run; else below TMPDIR. CORVIX_FUZZ_TMPDIR chooses another place.
std::string makeFolder() {
    const char* chosen = getenv("CORVIX_FUZZ_TMPDIR");
    const char* base = chosen != nullptr               ? chosen
                       : access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                       : getenv("TMPDIR");
    std::string pattern = std::string(base && *base == '/' ? base : "/tmp") + "/corvix-fuzz-XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        perror("corvix fuzz: mkdtemp");
        abort();
    }
    static std::string folder = pattern;
    atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    });
    setenv("HOME", (folder + "/home").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (folder + "/home/.config").c_str(), 1);
    // Discovery asks GIO for applications: none but the sandbox's own.
    setenv("XDG_DATA_HOME", (folder + "/home/.local/share").c_str(), 1);
    setenv("XDG_DATA_DIRS", (folder + "/share").c_str(), 1);
    unsetenv("CORVIX_ROOT");
    // The product log takes every level, so that the readers' messages are formatted too; it
    // lives beside the emptied folders and starts afresh with every input (fuzz_begin).
    static std::string log = folder + "/product.log";
    initializeVeskLogging(&log[0]);
    VeskLoggingEnabled = 1;
    VeskDevLoggingEnabled = 1;
    return folder;
}

}  // namespace

const std::string& fuzz_begin() {
    static const std::string folder = makeFolder();
    std::error_code ignored;
    for (const char* part : {"root", "home", "tmp", "work"}) {
        std::filesystem::remove_all(folder + "/" + part, ignored);
        std::filesystem::create_directories(folder + "/" + part, ignored);
    }
    std::filesystem::create_directories(folder + "/home/.config", ignored);
    std::filesystem::remove(veskLogFile, ignored);
    lineCount = 0;
    fileCount = 0;
    setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
    vesk_setMachineRoot(folder + "/root");
    vesk_setDiagnosticSink(&g_sink);
    RendererOverrideMap::getInstance()->clear();
    return folder;
}

std::string fuzz_root() {
    return vesk_machineRoot();
}

std::string fuzz_home() {
    const char* home = getenv("HOME");
    return home ? home : "";
}

std::string fuzz_productFolder() {
    return vesk_productFolder(2);
}

bool fuzz_writeFile(const std::string& path, const uint8_t* data, size_t size) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    return static_cast<bool>(out);
}

bool fuzz_writeFile(const std::string& path, const std::string& text) {
    return fuzz_writeFile(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

std::string fuzz_readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> fuzz_split(const std::string& text, char separator, size_t count) {
    std::vector<std::string> pieces;
    for (size_t start = 0; start <= text.size() && (count == 0 || pieces.size() < count);) {
        size_t end = text.find(separator, start);
        pieces.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = end == std::string::npos ? text.size() + 1 : end + 1;
    }
    pieces.resize(count == 0 ? pieces.size() : count);
    return pieces;
}

void fuzz_check(bool condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "corvix fuzz: check failed: %s\n", what);
        abort();
    }
}

void fuzz_seed(const std::string& folder, const std::string& name, const std::string& bytes) {
    fuzz_check(fuzz_writeFile(folder + "/" + name, bytes), "a seed could not be written");
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* seeds = getenv("CORVIX_FUZZ_SEEDS");
    if (seeds != nullptr && *seeds != '\0') {
        fuzz_begin();
        fuzz_writeSeeds(seeds);
        exit(0);
    }
    return 0;
}
