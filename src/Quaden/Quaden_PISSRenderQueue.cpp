#include "Quaden_PISSRenderQueue.h"

#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "Quaden_PISSConfig.h"
#include "Quaden_PISSUtilities.h"
#include "VeskLog.h"

namespace {

const int kLineSize = 1024;
const int kPathLimit = 1024;  // paths are cut here, never refused
const int kOpenAttempts = 21;
const char* const kProductName = "Corvix Pro";
const char* const kHistoryFileName = "RQ-History.txt";

char* copyPath(const std::string& path) {
    return strdup(path.substr(0, kPathLimit).c_str());
}

bool sameValue(const sRenderQueueItemKVPEntry* a, const sRenderQueueItemKVPEntry* b) {
    if (a->_type != b->_type) {
        return false;
    }
    if (a->_type != 0) {
        return a->_intValue == b->_intValue;
    }
    const char* left = a->_stringValue != nullptr ? a->_stringValue : "";
    const char* right = b->_stringValue != nullptr ? b->_stringValue : "";
    return strcmp(left, right) == 0;
}

}  // namespace

QuadenPISSRenderQueue::QuadenPISSRenderQueue()
    : _queuePath(nullptr),
      _count(0),
      _lock(nullptr),
      _first(nullptr),
      _last(nullptr),
      _cursor(nullptr),
      _shadowPath(nullptr),
      _projectsPath(nullptr),
      _separators(" \t") {
    std::string folder;
    {
        QuadenPISSConfig settings;
        char* value = nullptr;
        // An entry without text (or an int entry) names no folder either.
        if (settings.GetItem(&value, "default", "DirectoryLocationOfRenderQueue") &&
            value != nullptr && *value != '\0') {
            folder = value;
        } else {
            vesk_logError(
                "RenderQueue::RenderQueue : Could not get General Config item default:%s\n",
                "DirectoryLocationOfRenderQueue");
            vesk_logError("Installation of Orvanta %s could be corrupt.", kProductName);
            char buffer[kPathLimit + 1];
            assignCorvixProRenderQueueDefaultDirectoryPath(buffer, sizeof buffer);
            folder = buffer;
        }
        free(value);
    }
    if (folder.empty() || folder.back() != '/') {
        folder += '/';
    }
    PISSCreateDirectoryPath(folder.c_str());
    std::string projects = folder + "RQProjects";
    PISSCreateDirectoryPath(projects.c_str());

    _queuePath = copyPath(folder + "RQ.txt");
    _shadowPath = copyPath(folder + "ShadowRQ.txt");
    _projectsPath = copyPath(projects + "/");
    if (_queuePath == nullptr || _shadowPath == nullptr || _projectsPath == nullptr) {
        vesk_logError("RenderQueue::RenderQueue : Could not malloc\n");
        free(_queuePath);
        free(_shadowPath);
        free(_projectsPath);
        _queuePath = _shadowPath = _projectsPath = nullptr;
    }
}

QuadenPISSRenderQueue::~QuadenPISSRenderQueue() {
    CloseFileIfOpen();
    DeleteAllRenderQueueItems();
    free(_queuePath);
    free(_shadowPath);
    free(_projectsPath);
}

// ---- loading ----------------------------------------------------------------------------------

int QuadenPISSRenderQueue::StartTransaction() {
    DeleteAllRenderQueueItems();
    if (_queuePath == nullptr) {
        return 0;
    }
    FILE* probe = fopen(_queuePath, "r");
    if (probe == nullptr) {
        CloseFileIfOpen();
        // Opened for appending, the file is created without cutting off a queue that another
        // process wrote in the meantime.
        _lock = fopen(_queuePath, "a+");
        if (_lock == nullptr) {
            vesk_logWarning("Cannot create file '%s' for creation and locking\n", _queuePath);
            return 0;
        }
        return 1;
    }
    fclose(probe);
    // A handle still held from an earlier load is opened afresh: rewinding it could hand back
    // the stream's stale buffer instead of what another process has committed since.
    CloseFileIfOpen();
    for (int attempt = 0; attempt < kOpenAttempts && _lock == nullptr; ++attempt) {
        _lock = fopen(_queuePath, "r");
        if (_lock == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    if (_lock == nullptr) {
        return 0;
    }

    char line[kLineSize];
    while (PISSReadStoreLine(_lock, line, kLineSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            continue;
        }
        if (strcmp(fields._group, "{") != 0) {
            vesk_logWarning(
                "StartTransaction: Invalid start to Render Queue item: No opening '{', instead "
                "'%s'\n",
                fields._group);
            return 0;
        }
        int complete = 0;
        if (!readItem(_lock, &complete)) {
            return 0;
        }
        if (!complete) {
            break;
        }
    }
    return 1;
}

// Reads one item after its "{". *complete tells whether its "}" was reached: at the end of the
// file an unfinished item is dropped and the load still succeeds.
int QuadenPISSRenderQueue::readItem(FILE* file, int* complete) {
    *complete = 0;
    auto* item = new QuadenPISSRenderQueueItem();
    char line[kLineSize];
    while (PISSReadStoreLine(file, line, kLineSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            vesk_logWarning(
                "ProcessRenderQueueItem: EOF reached prematurely in Render Queue item\n");
            delete item;
            return 0;
        }
        if (strcmp(fields._group, "}") == 0) {
            AddNewRenderQueueItem(item);
            *complete = 1;
            return 1;
        }
        if (strcmp(fields._group, "{") == 0) {
            // Its result is not looked at: the item goes on after the list in any case.
            readOutputModuleList(file, item);
            continue;
        }
        if (fields._key == nullptr) {
            vesk_logWarning("ProcessRenderQueueItem: entry '%s' without a key skipped\n",
                            fields._group);
            continue;
        }
        if (fields._type != nullptr && strcmp(fields._type, "string") == 0) {
            item->Add(fields._group, fields._key, fields._value);
        } else {
            item->Add(fields._group, fields._key, PISSParseInt(fields._value));
        }
    }
    delete item;
    return 1;
}

// Reads an output module list after its "{": 1 when it ended with a second "}" in a row, 0 on a
// fault. A "}" without an open module adds an empty one, which is how an item written without
// modules comes back.
int QuadenPISSRenderQueue::readOutputModuleList(FILE* file, QuadenPISSRenderQueueItem* item) {
    QuadenPISSRenderQueueItemOutputModule* module = nullptr;
    bool afterClose = false;
    char line[kLineSize];
    while (PISSReadStoreLine(file, line, kLineSize)) {
        sPISSStoreLine fields;
        if (!PISSSplitStoreLine(line, &fields)) {
            vesk_logWarning("ProcessOutputModuleItem: EOF reached prematurely in output module\n");
            delete module;
            return 0;
        }
        if (strcmp(fields._group, "{") == 0) {
            if (module != nullptr) {
                vesk_logWarning(
                    "ProcessOutputModuleItem: { reached while an output module was actively being "
                    "processed\n");
                delete module;
            }
            module = new QuadenPISSRenderQueueItemOutputModule();
            afterClose = false;
        } else if (strcmp(fields._group, "}") == 0) {
            if (afterClose) {
                return 1;
            }
            if (module == nullptr) {
                vesk_logWarning(
                    "ProcessOutputModuleItem: } reached without a corresponding { token\n");
                module = new QuadenPISSRenderQueueItemOutputModule();
            }
            item->AddNewOutputModule(module);
            module = nullptr;
            afterClose = true;
        } else {
            if (module == nullptr) {
                vesk_logWarning(
                    "ProcessOutputModuleItem: Key Value reached without a corresponding { "
                    "token\n");
                module = new QuadenPISSRenderQueueItemOutputModule();
            }
            if (fields._type == nullptr || strcmp(fields._type, "string") != 0 ||
                fields._key == nullptr) {
                vesk_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
                delete module;
                return 0;
            }
            module->Add(fields._group, fields._key, fields._value);
            afterClose = false;
        }
    }
    if (module != nullptr) {
        vesk_logWarning("ProcessOutputModuleItem: incompletely processed an active module\n");
        delete module;
    }
    return 0;
}

// ---- writing ----------------------------------------------------------------------------------

int QuadenPISSRenderQueue::Commit() {
    if (_queuePath == nullptr || _shadowPath == nullptr) {
        return 0;
    }
    FILE* shadow = fopen(_shadowPath, "w");
    if (shadow == nullptr) {
        vesk_logError("Commit: Unable to open file '%s' for writing\n", _shadowPath);
        return 0;
    }
    for (sRenderQueueNode* node = _first; node != nullptr; node = node->_next) {
        node->_item->WriteToFile(shadow);
    }
    bool failed = ferror(shadow) != 0;
    if (fclose(shadow) != 0 || failed) {
        // A short shadow must never replace the queue.
        vesk_logError("Commit: Unable to write file '%s'\n", _shadowPath);
        return 0;
    }
    vesk_log("RenderQueue::Commit - copying %s to %s.", _shadowPath, _queuePath);
    CloseFileIfOpen();
    return copyShadowOverQueue();
}

int QuadenPISSRenderQueue::copyShadowOverQueue() {
    FILE* source = fopen(_shadowPath, "rb");
    if (source == nullptr) {
        vesk_logError("Unable to find the src file: %s", _shadowPath);
        return 0;
    }
    FILE* destination = fopen(_queuePath, "wb");
    if (destination == nullptr) {
        vesk_logError("Unable to find the dest file: %s", _queuePath);
        fclose(source);
        return 0;
    }
    int result = 1;
    char chunk[1024];
    size_t read = 0;
    while ((read = fread(chunk, 1, sizeof chunk, source)) > 0) {
        if (fwrite(chunk, 1, read, destination) != read) {
            result = 0;
            break;
        }
    }
    if (ferror(source) != 0) {
        result = 0;
    }
    fclose(source);
    if (fclose(destination) != 0) {
        result = 0;
    }
    if (!result) {
        vesk_logError("Commit: copying %s to %s broke off", _shadowPath, _queuePath);
    }
    return result;
}

int QuadenPISSRenderQueue::CloseFileIfOpen() {
    if (_lock == nullptr) {
        return 0;
    }
    fclose(_lock);
    _lock = nullptr;
    return 1;
}

// ---- the list ---------------------------------------------------------------------------------

int QuadenPISSRenderQueue::PrepareRenderQueueList() {
    _cursor = _first;
    return _first != nullptr ? 1 : 0;
}

QuadenPISSRenderQueueItem* QuadenPISSRenderQueue::GetNextRenderQueueItemInList() {
    sRenderQueueNode* node = _cursor;
    if (node == nullptr) {
        return nullptr;
    }
    _cursor = node->_next;
    return node->_item;
}

QuadenPISSRenderQueueItem* QuadenPISSRenderQueue::GetSpecificRenderQueueItemInList(int id) {
    sRenderQueueNode* node = findNode(id, nullptr);
    return node != nullptr ? node->_item : nullptr;
}

QuadenPISSRenderQueue::sRenderQueueNode* QuadenPISSRenderQueue::findNode(
    int id, sRenderQueueNode** previous) {
    if (previous != nullptr) {
        *previous = nullptr;
    }
    if (id < 1) {
        return nullptr;
    }
    for (sRenderQueueNode* node = _first; node != nullptr; node = node->_next) {
        if (node->_id == id) {
            return node;
        }
        if (previous != nullptr) {
            *previous = node;
        }
    }
    return nullptr;
}

void QuadenPISSRenderQueue::unlinkNode(sRenderQueueNode* node, sRenderQueueNode* previous) {
    if (previous != nullptr) {
        previous->_next = node->_next;
    } else {
        _first = node->_next;
    }
    if (_last == node) {
        _last = previous;
    }
    if (_cursor == node) {
        _cursor = node->_next;
    }
    node->_next = nullptr;
}

int QuadenPISSRenderQueue::AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item) {
    if (item == nullptr) {
        return 0;
    }
    auto* node = new sRenderQueueNode{item, ++_count, nullptr};
    if (_last == nullptr) {
        _first = node;
    } else {
        _last->_next = node;
    }
    _last = node;
    return 1;
}

int QuadenPISSRenderQueue::AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item,
                                                 const char* group) {
    if (item == nullptr || group == nullptr) {
        return 0;
    }
    for (sRenderQueueNode* node = _first; node != nullptr; node = node->_next) {
        if (isDuplicate(item, node->_item, group)) {
            return 0;
        }
    }
    return AddNewRenderQueueItem(item);
}

int QuadenPISSRenderQueue::isDuplicate(QuadenPISSRenderQueueItem* item,
                                       QuadenPISSRenderQueueItem* existing, const char* group) {
    for (sRenderQueueItemKVPEntry* entry = item->getHeadItem(); entry != nullptr;
         entry = entry->_next) {
        if (strcmp(entry->_group, group) != 0) {
            continue;
        }
        if (entry->_type != 0) {
            // The product has always flagged int comparisons here; log readers expect the line.
            vesk_logError("Developer Error!!! %s  %d", "Quaden_PISSRenderQueue", __LINE__);
        }
        sRenderQueueItemKVPEntry* other =
            PISSFindRenderQueueEntry(existing->getHeadItem(), entry->_group, entry->_key);
        if (other == nullptr || !sameValue(entry, other)) {
            return 0;
        }
    }
    return 1;
}

void QuadenPISSRenderQueue::destroyNode(sRenderQueueNode* node, sRenderQueueNode* previous) {
    unlinkNode(node, previous);
    delete node->_item;
    delete node;
    --_count;
}

int QuadenPISSRenderQueue::DeleteRenderQueueItem(int id) {
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = findNode(id, &previous);
    if (node == nullptr) {
        return 0;
    }
    destroyNode(node, previous);
    return 1;
}

int QuadenPISSRenderQueue::DeleteRenderQueueItemAtIndex(int index) {
    if (index < 0) {
        return 0;
    }
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = _first;
    for (int position = 0; node != nullptr && position < index; ++position) {
        previous = node;
        node = node->_next;
    }
    if (node == nullptr) {
        return 0;
    }
    destroyNode(node, previous);
    return 1;
}

int QuadenPISSRenderQueue::DeleteAllRenderQueueItems() {
    while (DeleteRenderQueueItemAtIndex(0)) {
    }
    return 1;
}

int QuadenPISSRenderQueue::MoveRenderQueueItem(int from, int to) {
    if (from == to || to == from + 1) {
        return 1;
    }
    if (from < 1 || to < 1) {
        return 0;
    }
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = findNode(from, &previous);
    if (node == nullptr) {
        return 0;
    }
    unlinkNode(node, previous);
    sRenderQueueNode* beforeTarget = nullptr;
    sRenderQueueNode* target = findNode(to, &beforeTarget);
    if (target == nullptr) {
        if (_last == nullptr) {
            _first = node;
        } else {
            _last->_next = node;
        }
        _last = node;
        return 1;
    }
    node->_next = target;
    if (beforeTarget != nullptr) {
        beforeTarget->_next = node;
    } else {
        _first = node;
    }
    return 1;
}

// ---- history and backup names -----------------------------------------------------------------

int QuadenPISSRenderQueue::MoveRenderQueueItemToHistory(int id) {
    std::string history = _queuePath != nullptr ? _queuePath : "";
    size_t position = history.rfind("RQ.txt");
    if (position == std::string::npos) {
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to determine path to "
            "%s file.",
            kHistoryFileName);
        return 0;
    }
    history.replace(position, strlen("RQ.txt"), kHistoryFileName);
    FILE* file = fopen(history.c_str(), "a");
    if (file == nullptr) {
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to open file for "
            "writing : %s",
            kHistoryFileName);
        return 0;
    }
    sRenderQueueNode* node = findNode(id, nullptr);
    if (node == nullptr) {
        fclose(file);
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to find item [%d] to "
            "move to history.",
            id);
        // Nothing went to the history, so nothing is taken off the queue.
        return 0;
    }
    node->_item->WriteToFile(file);
    fclose(file);
    // By position, not by id: the product has always retired items so.
    if (!DeleteRenderQueueItemAtIndex(id - 1)) {
        vesk_logWarning(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to delete item [%d] "
            "from RQ.txt.",
            id);
    }
    return 1;
}

int QuadenPISSRenderQueue::CreateBackupProjectName(char* dst, int size) {
    if (_projectsPath == nullptr || dst == nullptr || size < 1) {
        return 0;
    }
    std::string counterPath = std::string(_projectsPath) + "cpro2-count.cpr";
    int counter = 1;
    FILE* file = fopen(counterPath.c_str(), "r");
    if (file != nullptr) {
        char line[32];
        if (fgets(line, sizeof line, file) != nullptr) {
            int stored = 0;
            if (sscanf(line, "%i", &stored) == 1) {
                counter = stored;
            }
            counter = counter < INT_MAX ? counter + 1 : INT_MAX;
        }
        fclose(file);
        PISSDeleteFile(counterPath.c_str());
    }
    file = fopen(counterPath.c_str(), "w");
    bool stored = file != nullptr && fprintf(file, "%d\n", counter) > 0;
    if (file != nullptr && fclose(file) != 0) {
        stored = false;
    }
    if (!stored) {
        vesk_logError("CreateBackupProjectName: Unable to store the counter in %s",
                      counterPath.c_str());
        return 0;
    }
    snprintf(dst, static_cast<size_t>(size), "%sCPro2BGRQProject_%d.aep", _projectsPath, counter);
    return 1;
}
