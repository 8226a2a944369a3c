#include "XmlFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <tinyxml.h>
#include <unistd.h>

#include <cstdio>

bool render_loadXmlFile(TiXmlDocument& document, const char* path) {
    if (!path) {
        return false;
    }
    // Opened without blocking, so that a FIFO is refused rather than waited on.
    int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    struct stat st;
    if (fstat(descriptor, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(descriptor);
        return false;
    }
    FILE* file = fdopen(descriptor, "rb");
    if (!file) {
        close(descriptor);
        return false;
    }
    bool loaded = document.LoadFile(file);
    fclose(file);
    return loaded;
}
