// QuadenPISSConfigHelper: static operations over the settings stores, for callers that think in
// settings rather than files. Settings live at three levels: per composition and per project
// (both in the project's settings file, under the name hash of the composition or project) and
// globally ("Config.txt", group "default" for the product's own keys). Lookups try the
// composition, then the project, then the global level, each only when its argument is given.
//
// Each call builds the stores it needs, does one add-or-update (its own transaction and commit)
// or one lookup, and destroys them again: the helper keeps no state. An add-or-update holds the
// file's lock from its lookup to its commit (the store's transaction), so two processes updating
// the same file at once never lose each other's updates.
//
// Threads: any thread may call; stores built by one call are not shared with another.
// Failures are logged through the product log and reported as 0; nothing throws.
#ifndef QUADEN_PISSCONFIGHELPER_H
#define QUADEN_PISSCONFIGHELPER_H

#include <cstdint>

#include "Quaden_PISSConfigKeys.h"

class QuadenPISSFrameCacheRegistry;

class QuadenPISSConfigHelper {
  public:
    // Add-or-update: change the first entry with that key (in "default", or under the project or
    // composition name), or append one; then commit. 1 on success; 0 when the store cannot be
    // used, the change or addition fails (the store is committed all the same) or the commit
    // fails. A global store whose file cannot be read whole is never committed, so a damaged
    // "Config.txt" is not cut short.
    static int addOrUpdateGlobalStringSetting(const char* key, const char* value);
    static int addOrUpdateGlobalIntegerSetting(const char* key, int value);
    static int addOrUpdateProjectStringSetting(const QuadenPISSProjectKeys* project,
                                               const char* key, const char* value);
    static int addOrUpdateProjectIntegerSetting(const QuadenPISSProjectKeys* project,
                                                const char* key, int value);
    static int addOrUpdateCompStringSetting(const QuadenPISSCompKeys* comp, const char* key,
                                            const char* value);
    static int addOrUpdateCompIntegerSetting(const QuadenPISSCompKeys* comp, const char* key,
                                             int value);
    // The same on the frame cache registry, under the project name.
    static int addOrUpdateRegistryStringSetting(const char* projectName, const char* key,
                                                const char* value);

    // Clears size bytes of out and copies the first non-empty value found (composition, project,
    // then global under globalGroup), cut to size - 1 characters: 1; nothing found: 0.
    static int queryStringSetting(char* out, int size, const char* key, const char* globalGroup,
                                  const QuadenPISSProjectKeys* project,
                                  const QuadenPISSCompKeys* comp);
    // The first int value found, in the same order: *out and 1; nothing found: 0 with *out
    // unchanged, so a caller's default stays. The bounded form passes over values outside
    // min..max (inclusive) with a warning and goes on to the next level.
    static int queryIntegerSetting(int* out, const char* key, const char* globalGroup,
                                   const QuadenPISSProjectKeys* project,
                                   const QuadenPISSCompKeys* comp);
    static int queryIntegerSettingBounded(int* out, const char* key, int min, int max,
                                          const char* globalGroup,
                                          const QuadenPISSProjectKeys* project,
                                          const QuadenPISSCompKeys* comp);

    // Whether cache management warnings apply: the global "ShowCacheManagementWarnings" (missing
    // counts as on, present as on when above 0) and projectCacheWarnings, the project settings'
    // own cache-warning flag (the caller passes the field of its project settings record; non-zero
    // is on). 1 only when both are on.
    static int isCacheCheckingMode(int projectCacheWarnings);

    // 1 when frames of bytesPerFrame bytes each would push the frame caches over
    // "SizeOfFrameCacheInMB" (missing: 20000; -1: no limit). 0 for no frames, no limit, an invalid
    // limit, or an empty cache (an empty cache is never reported as overflowing).
    static int determineIfCacheWillOverflow(int frames, unsigned long long bytesPerFrame);

    // Total bytes of every frame cache folder registered under "PathToCache" in the frame cache
    // registry, each folder counted once.
    static uint64_t _calculateSizeOfAllFrameCaches();
    // Whether path is among the first processedPaths "PathToCache" values of registry (whose
    // iteration cursor it moves). The name has always been spelt so.
    static int _hasFrameCacheRegistryDirectoryAlreadBeenProcessed(
        QuadenPISSFrameCacheRegistry* registry, const char* path, int processedPaths);

  private:
    static int _queryIntegerSettingBounded(int* out, const char* key, bool bounded, int min,
                                           int max, const char* globalGroup,
                                           const QuadenPISSProjectKeys* project,
                                           const QuadenPISSCompKeys* comp);
};

#endif
