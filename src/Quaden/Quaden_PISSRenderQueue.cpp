#include "Quaden_PISSRenderQueue.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>

#include "Quaden_PISSConfig.h"
#include "Quaden_PISSUtilities.h"
#include "VeskFile.h"
#include "VeskLog.h"
#include "VeskPath.h"

namespace {

const int kOpenAttempts = 21;
const char* const kProductName = "Corvix Pro";
const char* const kHistoryFileName = "RQ-History.txt";
// The longest name the queue puts after its folder: every path built from the folder must fit.
const char* const kLongestName = "RQProjects/CPro2BGRQProject_-2147483648.aep";

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

void destroyNode(void* record) {
    auto* node = static_cast<sRenderQueueNode*>(record);
    delete node->_item;
    delete node;
}

const sPISSEntryLayout kNodeLayout =
    PISSLinkedLayout(offsetof(sRenderQueueNode, _next), destroyNode);

std::string backupProjectName(const char* folder, int counter) {
    return folder + ("CPro2BGRQProject_" + std::to_string(counter) + ".aep");
}

}  // namespace

QuadenPISSRenderQueue::QuadenPISSRenderQueue()
    : _queuePath(nullptr),
      _lock(nullptr),
      _nodes(kNodeLayout),
      _shadowPath(nullptr),
      _projectsPath(nullptr),
      _separators(" \t"),
      _queueRefused(false) {
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
            char buffer[kVeskPathBufferSize];
            assignCorvixProRenderQueueDefaultDirectoryPath(buffer, sizeof buffer);
            folder = buffer;
        }
        free(value);
    }
    if (folder.empty()) {
        return;  // the default folder did not fit a path: said so
    }
    if (folder.back() != '/') {
        folder += '/';
    }
    // Checked before anything is created: a folder whose files could not be named whole is not
    // used at all.
    if (!vesk_pathFits(folder + kLongestName)) {
        PISSLogPathTooLong("RenderQueue::RenderQueue", folder + kLongestName, kVeskPathMaxLength);
        return;
    }
    PISSCreateDirectoryPath(folder.c_str());
    PISSCreateDirectoryPath((folder + "RQProjects").c_str());
    _queuePath = strdup((folder + "RQ.txt").c_str());
    _shadowPath = strdup((folder + "ShadowRQ.txt").c_str());
    _projectsPath = strdup((folder + "RQProjects/").c_str());
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
    free(_queuePath);
    free(_shadowPath);
    free(_projectsPath);
}

// ---- loading ----------------------------------------------------------------------------------

// Opens "RQ.txt" as the lock: the existing file for reading (up to kOpenAttempts tries, 1 ms
// apart), else a new one. Opened for appending and reading, a new file is created without cutting
// off a queue that another process wrote in the meantime, and what it holds is read.
int QuadenPISSRenderQueue::openQueueFile() {
    // A handle still held from an earlier load is opened afresh: rewinding it could hand back
    // the stream's stale buffer instead of what another process has committed since.
    CloseFileIfOpen();
    bool missing = false;
    std::string why;
    for (int attempt = 0; attempt < kOpenAttempts && _lock == nullptr && !missing; ++attempt) {
        _lock = PISSOpenStoreFile(_queuePath, kPISSRenderQueueFileMaxBytes, &missing, &why);
        if (_lock == nullptr && !missing) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    _queueRefused = _lock == nullptr && !missing;
    if (_queueRefused) {
        vesk_logWarning("RenderQueue: %s\n", why.c_str());
        return 0;
    }
    if (_lock == nullptr && (_lock = vesk_fopenRegular(_queuePath, "a+", &why)) == nullptr) {
        vesk_logWarning("Cannot create file '%s' for creation and locking\n", _queuePath);
        vesk_logWarning("RenderQueue: '%s' %s\n", vesk_printablePath(_queuePath).c_str(),
                        why.c_str());
        return 0;
    }
    return 1;
}

int QuadenPISSRenderQueue::StartTransaction() {
    DeleteAllRenderQueueItems();
    if (_queuePath == nullptr || !openQueueFile()) {
        return 0;
    }
    char line[kPISSLineBufferSize];
    while (PISSReadStoreLine(_lock, line, sizeof line)) {
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
    char line[kPISSLineBufferSize];
    while (PISSReadStoreLine(file, line, sizeof line)) {
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
    char line[kPISSLineBufferSize];
    while (PISSReadStoreLine(file, line, sizeof line)) {
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
    if (_queueRefused) {
        vesk_logError("Commit: '%s' could not be read, so it is not written over\n", _queuePath);
        return 0;
    }
    for (auto* node = static_cast<sRenderQueueNode*>(_nodes.First()); node != nullptr;
         node = node->_next) {
        if (!node->_item->LinesReadBackWhole()) {
            vesk_logError(
                "Commit: '%s' not written: job %d has a line longer than %zu characters, "
                "which would read back as other lines\n",
                _queuePath, node->_id, kPISSLongestLine);
            return 0;
        }
    }
    std::string why;
    FILE* shadow = vesk_fopenRegular(_shadowPath, "w", &why);
    if (shadow == nullptr) {
        vesk_logError("Commit: Unable to open file '%s' for writing\n", _shadowPath);
        vesk_logError("RenderQueue: '%s' %s\n", vesk_printablePath(_shadowPath).c_str(),
                      why.c_str());
        return 0;
    }
    for (auto* node = static_cast<sRenderQueueNode*>(_nodes.First()); node != nullptr;
         node = node->_next) {
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
    FILE* source = vesk_fopenRegular(_shadowPath, "rb");
    if (source == nullptr) {
        vesk_logError("Unable to find the src file: %s", _shadowPath);
        return 0;
    }
    FILE* destination = vesk_fopenRegular(_queuePath, "wb");
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
    return _nodes.Prepare();
}

QuadenPISSRenderQueueItem* QuadenPISSRenderQueue::GetNextRenderQueueItemInList() {
    auto* node = static_cast<sRenderQueueNode*>(_nodes.Next());
    return node != nullptr ? node->_item : nullptr;
}

// The first node with that id (null for an id below 1 or none); *previous is the node before it.
sRenderQueueNode* QuadenPISSRenderQueue::findNode(int id, sRenderQueueNode** previous) const {
    *previous = nullptr;
    auto* node = id >= 1 ? static_cast<sRenderQueueNode*>(_nodes.First()) : nullptr;
    for (; node != nullptr && node->_id != id; node = node->_next) {
        *previous = node;
    }
    return node;
}

QuadenPISSRenderQueueItem* QuadenPISSRenderQueue::GetSpecificRenderQueueItemInList(int id) {
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = findNode(id, &previous);
    return node != nullptr ? node->_item : nullptr;
}

int QuadenPISSRenderQueue::AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item) {
    int id = static_cast<int>(_nodes.Count()) + 1;
    return _nodes.AppendRecord(
        item != nullptr ? new (std::nothrow) sRenderQueueNode{item, id, nullptr} : nullptr);
}

int QuadenPISSRenderQueue::AddNewRenderQueueItem(QuadenPISSRenderQueueItem* item,
                                                 const char* group) {
    if (item == nullptr || group == nullptr) {
        return 0;
    }
    for (auto* node = static_cast<sRenderQueueNode*>(_nodes.First()); node != nullptr;
         node = node->_next) {
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
        const sRenderQueueItemKVPEntry* other = existing->FindEntry(entry->_group, entry->_key);
        if (other == nullptr || !sameValue(entry, other)) {
            return 0;
        }
    }
    return 1;
}

int QuadenPISSRenderQueue::DeleteRenderQueueItem(int id) {
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = findNode(id, &previous);
    if (node != nullptr) {
        _nodes.Remove(node, previous);
    }
    return node != nullptr ? 1 : 0;
}

int QuadenPISSRenderQueue::DeleteRenderQueueItemAtIndex(int index) {
    sRenderQueueNode* previous = nullptr;
    auto* node = index >= 0 ? static_cast<sRenderQueueNode*>(_nodes.First()) : nullptr;
    for (int position = 0; node != nullptr && position < index; ++position) {
        previous = node;
        node = node->_next;
    }
    if (node != nullptr) {
        _nodes.Remove(node, previous);
    }
    return node != nullptr ? 1 : 0;
}

int QuadenPISSRenderQueue::DeleteAllRenderQueueItems() {
    _nodes.Clear();
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
    _nodes.Unlink(node, previous);
    // Before the node with id to, or at the end when there is none. Ids travel with their nodes.
    sRenderQueueNode* beforeTarget = nullptr;
    _nodes.InsertAfter(node, findNode(to, &beforeTarget) != nullptr ? beforeTarget : _nodes.Last());
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
    FILE* file = vesk_fopenRegular(history.c_str(), "a");
    if (file == nullptr) {
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to open file for "
            "writing : %s",
            kHistoryFileName);
        return 0;
    }
    sRenderQueueNode* previous = nullptr;
    sRenderQueueNode* node = findNode(id, &previous);
    if (node == nullptr) {
        fclose(file);
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to find item [%d] to "
            "move to history.",
            id);
        // Nothing went to the history, so nothing is taken off the queue.
        return 0;
    }
    if (!node->_item->LinesReadBackWhole()) {
        fclose(file);
        vesk_logError(
            "QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- item [%d] has a line longer "
            "than %zu characters; it stays in the queue",
            id, kPISSLongestLine);
        return 0;
    }
    node->_item->WriteToFile(file);
    bool failed = ferror(file) != 0;
    if (fclose(file) != 0 || failed) {
        vesk_logError("QuadenPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to write %s",
                      kHistoryFileName);
        return 0;
    }
    // The item written is the one removed. Taken by position (id - 1), as the product once did,
    // it would be another job as soon as an earlier one was deleted, and that job would be lost.
    _nodes.Remove(node, previous);
    return 1;
}

int QuadenPISSRenderQueue::CreateBackupProjectName(char* dst, int size) {
    if (_projectsPath == nullptr || dst == nullptr || size < 1) {
        return 0;
    }
    memset(dst, 0, static_cast<size_t>(size));
    const std::string counterPath = std::string(_projectsPath) + "cpro2-count.cpr";
    int counter = 1;
    std::string why;
    FILE* file = vesk_fopenRegular(counterPath.c_str(), "r", &why);
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
    } else if (errno != ENOENT) {
        vesk_logWarning("CreateBackupProjectName: '%s' %s", counterPath.c_str(), why.c_str());
    }
    // A number handed out while the counter could not be stored may come round again; the backup
    // project written under it is passed over, never overwritten.
    std::string name = backupProjectName(_projectsPath, counter);
    struct stat status;
    while (lstat(name.c_str(), &status) == 0 && counter < INT_MAX) {
        name = backupProjectName(_projectsPath, ++counter);
    }
    if (name.size() > static_cast<size_t>(size) - 1) {
        PISSLogPathTooLong("CreateBackupProjectName", name, static_cast<size_t>(size) - 1);
        return 0;
    }
    VeskAtomicFile counterFile(counterPath);
    if (!counterFile.open() || fprintf(counterFile.stream(), "%d\n", counter) < 0 ||
        !counterFile.commit()) {
        vesk_logError("CreateBackupProjectName: Unable to store the counter in %s: %s",
                      counterPath.c_str(), counterFile.error().c_str());
    }
    memcpy(dst, name.data(), name.size());
    return 1;
}
