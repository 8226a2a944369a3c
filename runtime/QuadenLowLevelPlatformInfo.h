// The processor count, memory size and folder creation that the product configuration needs,
// over the platform seam. Each query writes its developer-level log line (and an error line when
// the platform has no answer) through the product log; nothing prints or throws.
//
// Any thread may call the queries. setPlatformSources() is for tests: it must be called while no
// other thread uses this class.
#ifndef CORVIX_RUNTIME_QUADENLOWLEVELPLATFORMINFO_H
#define CORVIX_RUNTIME_QUADENLOWLEVELPLATFORMINFO_H

#include <cstdint>

class QuadenLowLevelPlatformInfo {
  public:
    using ProcessorCountSource = bool (*)(int* out);
    using MemorySizeSource = bool (*)(uint64_t* bytes);

    // Processors online; 1 when the platform does not say.
    static int getNumberOfCPUs();
    // Physical memory in megabytes (bytes shifted right by 20); 0 when the platform does not say.
    static unsigned long getTotalRAM();
    // mkdir(path, 0777); 1 when the folder exists afterwards (an existing folder counts), else 0
    // with the mkdir result (-1) stored through error when it is not null.
    static int createDirectory(const char* path, int* error);

    // Replaces the seam's vesk_processorCount / vesk_memorySize; null restores the seam's own.
    static void setPlatformSources(ProcessorCountSource processors, MemorySizeSource memory);
};

#endif
