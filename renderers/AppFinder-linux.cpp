// The platform part of discovery on Linux: the system's application registry is GIO's. A probe
// document's content type comes from its name; applications are desktop entries, and each one's
// program is resolved through PATH and symbolic links to the file that discovery searches.
#include <gio/gio.h>
#include <limits.h>
#include <stdlib.h>

#include "AppFinder.h"

namespace {

// The program an application runs: the first word of its command line as a shell splits it, so
// that a quoted program path holding spaces comes whole (the registry's own "executable" is the
// raw first word, quotes and all). A command line that does not split falls back to that word.
std::string programOf(GAppInfo* info) {
    std::string program;
    const char* commandLine = g_app_info_get_commandline(info);
    gint argc = 0;
    gchar** argv = nullptr;
    if (commandLine && g_shell_parse_argv(commandLine, &argc, &argv, nullptr) && argc > 0) {
        program = argv[0];
    }
    g_strfreev(argv);
    if (program.empty()) {
        const char* executable = g_app_info_get_executable(info);
        program = executable ? executable : "";
    }
    return program;
}

std::string resolveExecutable(GAppInfo* info) {
    std::string command = info ? programOf(info) : std::string();
    if (command.empty()) {
        return std::string();
    }
    const char* program = command.c_str();
    gchar* found = g_find_program_in_path(program);
    // An entry may name a bundle folder itself; that is no program, but discovery can search it.
    const char* candidate = found ? found : (program[0] == '/' ? program : nullptr);
    std::string path;
    if (candidate) {
        char resolved[PATH_MAX];
        if (realpath(candidate, resolved)) {
            path = resolved;
        } else if (found) {
            path = found;
        }
    }
    g_free(found);
    return path;
}

// Null when the name does not tell a type; the caller frees the result with g_free.
gchar* contentTypeOf(const char* probePath) {
    gboolean uncertain = FALSE;
    gchar* type = g_content_type_guess(probePath, nullptr, 0, &uncertain);
    if (type && g_content_type_is_unknown(type)) {
        g_free(type);
        return nullptr;
    }
    return type;
}

}  // namespace

bool AppFinder::defaultApplicationFor(const char* probePath, std::string* application) {
    gchar* type = contentTypeOf(probePath);
    if (!type) {
        return false;
    }
    GAppInfo* info = g_app_info_get_default_for_type(type, FALSE);
    g_free(type);
    if (!info) {
        return false;
    }
    std::string path = resolveExecutable(info);
    g_object_unref(info);
    if (path.empty()) {
        return false;
    }
    *application = path;
    return true;
}

std::vector<std::string> AppFinder::applicationsFor(const char* probePath) {
    std::vector<std::string> applications;
    gchar* type = contentTypeOf(probePath);
    if (!type) {
        return applications;
    }
    GList* all = g_app_info_get_all_for_type(type);
    g_free(type);
    for (GList* item = all; item; item = item->next) {
        std::string path = resolveExecutable(G_APP_INFO(item->data));
        if (!path.empty()) {
            applications.push_back(path);
        }
    }
    g_list_free_full(all, g_object_unref);
    return applications;
}
