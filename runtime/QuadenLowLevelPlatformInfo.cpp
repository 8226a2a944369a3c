#include "QuadenLowLevelPlatformInfo.h"

#include "VeskLog.h"
#include "VeskPlatform.h"

namespace {

QuadenLowLevelPlatformInfo::ProcessorCountSource g_processorCount = vesk_processorCount;
QuadenLowLevelPlatformInfo::MemorySizeSource g_memorySize = vesk_memorySize;

}  // namespace

int QuadenLowLevelPlatformInfo::getNumberOfCPUs() {
    int count = 1;
    if (!g_processorCount(&count)) {
        count = 1;
        vesk_logError(
            "PlatformUtilities::getNumberOfCPUs() sysctlbynameX() failed. assuming number of "
            "CPUs=1");
    }
    vesk_logDev("PlatformUtilities::getNumberOfCPUs() = %i", count);
    return count;
}

unsigned long QuadenLowLevelPlatformInfo::getTotalRAM() {
    // The seam always answers in a 64-bit quantity, so that is the size the log line reports.
    vesk_logDev("sizeof hw.memsize = %i bytes", static_cast<int>(sizeof(uint64_t)));
    unsigned long megabytes = 0;
    uint64_t bytes = 0;
    if (g_memorySize(&bytes)) {
        megabytes = static_cast<unsigned long>(bytes >> 20);
    } else {
        vesk_logError("PlatformUtilities::getTotalRAM() sysctlbynameX() failed. Unknown RAM size.");
    }
    vesk_logDev("PlatformUtilities::getTotalRAM() = %ld MB", static_cast<long>(megabytes));
    return megabytes;
}

int QuadenLowLevelPlatformInfo::createDirectory(const char* path, int* error) {
    return createDirectoryForPlatform(path, error);
}

void QuadenLowLevelPlatformInfo::setPlatformSources(ProcessorCountSource processors,
                                                    MemorySizeSource memory) {
    g_processorCount = processors ? processors : vesk_processorCount;
    g_memorySize = memory ? memory : vesk_memorySize;
}
