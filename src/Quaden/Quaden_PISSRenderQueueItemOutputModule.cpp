#include "Quaden_PISSRenderQueueItemOutputModule.h"

#include <cstddef>

#include "VeskLog.h"

namespace {

void destroyModule(void* module) {
    delete static_cast<QuadenPISSRenderQueueItemOutputModule*>(module);
}

}  // namespace

const sPISSEntryLayout QuadenPISSRenderQueueItemOutputModule::kListLayout =
    PISSLinkedLayout(offsetof(QuadenPISSRenderQueueItemOutputModule, _next), destroyModule);

int QuadenPISSRenderQueueItemOutputModule::Add(const char* group, const char* key,
                                               const char* value) {
    if (!_entries.Append(group, key, kPISSStringEntry, value, 0)) {
        vesk_logError("RenderQueueItemOutputModule::Add could not add key: %s\n",
                      key != nullptr ? key : "(null)");
        return 0;
    }
    return 1;
}

int QuadenPISSRenderQueueItemOutputModule::GetItem(char** out, const char* group, const char* key) {
    return out != nullptr ? _entries.GetString(out, group, key) : 0;
}

void QuadenPISSRenderQueueItemOutputModule::WriteToFile(FILE* file) const {
    fputs("\t\t{\n", file);
    _entries.WriteTo(file, "\t\t\t");
    fputs("\t\t}\n", file);
}
