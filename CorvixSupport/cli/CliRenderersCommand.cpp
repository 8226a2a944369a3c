// corvix-support renderers: the 3D Renderers view, headless. "list" shows the rows; "pin" and
// "discover" change one renderer as the view's "Specify" and "Discover" do, then write the
// overrides file as its "Apply" does.
#include <strings.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "CliCommands.h"
#include "CliContext.h"
#include "ExternalRenderManager.h"
#include "ExternalRenderer.h"
#include "RendererOverrideMap.h"

namespace {

struct RenderersOptions {
    std::string _name;
    std::string _path;
    bool _json = false;
    CLI::App* _pin = nullptr;
    CLI::App* _discover = nullptr;
};

// The view counts a path as present when anything exists there.
bool pathExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

const char* modeOf(const ExternalRenderer& row) {
    return row.isOverridden() ? "Specify" : "Discover";
}

const char* statusOf(const ExternalRenderer& row) {
    return row.isValid() ? "Installed" : "Missing";
}

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char escaped[8];
                    snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out += escaped;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

// One line per renderer, fields separated by tabs: name, mode, status, path, control file.
void printRows(const std::vector<ExternalRenderer*>& rows, bool json, std::ostream& out) {
    if (!json) {
        for (const ExternalRenderer* row : rows) {
            out << row->getName() << "\t" << modeOf(*row) << "\t" << statusOf(*row) << "\t"
                << row->getPath() << "\t" << row->getControlFile() << "\n";
        }
        return;
    }
    out << "[";
    const char* separator = "\n";
    for (const ExternalRenderer* row : rows) {
        out << separator << "  {\"name\": " << jsonString(row->getName())
            << ", \"mode\": " << jsonString(modeOf(*row))
            << ", \"status\": " << jsonString(statusOf(*row))
            << ", \"path\": " << jsonString(row->getPath())
            << ", \"controlFile\": " << jsonString(row->getControlFile()) << "}";
        separator = ",\n";
    }
    out << (rows.empty() ? "]\n" : "\n]\n");
}

// "Specify", then the path typed into the row. A path that differs from the current one only in
// letter case leaves the row's text as it was, as the view does.
void pin(ExternalRenderer* row, const std::string& path) {
    row->setOverridden(true);
    row->setValid(pathExists(row->getPath()));
    if (strcasecmp(path.c_str(), row->getPath().c_str()) != 0) {
        row->setPath(path);
        row->setValid(pathExists(path));
    }
}

// "Apply". Its notice goes to standard error, so that standard output carries only the rows.
void apply(ExternalRenderManager& manager, CliContext& context) {
    if (!manager.commitChanges()) {
        context.err << "Could not update 3d render settings. "
                       "There was trouble modifying the overrides file.\n";
        context.exitCode = kCliFailure;
        return;
    }
    context.err << "You have successfully updated your 3D renderer settings. "
                   "Please restart After Effects for the settings to take effect.\n";
    context.exitCode = kCliSuccess;
}

void runRenderers(const RenderersOptions& options, CliContext& context) {
    // Each command reads the overrides file afresh, as the view does when the tool starts.
    RendererOverrideMap::getInstance()->clear();
    ExternalRenderManager manager;
    bool pinning = options._pin->parsed();
    if (!pinning && !options._discover->parsed()) {
        if (manager.getRenderers().empty() && !options._json) {
            context.err << "No render control files in " << ExternalRenderManager::rendererFolder()
                        << "\n";
        }
        printRows(manager.getRenderers(), options._json, context.out);
        context.exitCode = kCliSuccess;
        return;
    }

    std::vector<ExternalRenderer*> rows;
    for (ExternalRenderer* row : manager.getRenderers()) {
        if (row->getName() == options._name) {
            rows.push_back(row);
        }
    }
    if (rows.empty()) {
        context.err << "corvix-support: no renderer named \"" << options._name << "\" in "
                    << ExternalRenderManager::rendererFolder() << "\n";
        context.exitCode = kCliFailure;
        return;
    }
    for (ExternalRenderer* row : rows) {
        if (pinning) {
            pin(row, options._path);
        } else {
            row->setOverridden(false);
            manager.parseXmlFile(row->getControlFile().c_str(), true, row);
        }
    }
    printRows(rows, options._json, context.out);
    apply(manager, context);
}

}  // namespace

void registerRenderersCommand(CLI::App& app, CliContext& context) {
    auto options = std::make_shared<RenderersOptions>();
    CLI::App* renderers = app.add_subcommand(
        "renderers",
        "List the external 3D renderers of the renderers folder (name, mode, status, path, "
        "control file), or pin one to a path of your own or return it to discovery; pin and "
        "discover rewrite overrides.xml");
    renderers->require_subcommand(0, 1);
    renderers->add_flag("--json", options->_json, "Print the rows as JSON");

    CLI::App* list = renderers->add_subcommand("list", "List the renderers (the default)");
    list->fallthrough();

    options->_pin = renderers->add_subcommand(
        "pin", "Use PATH as renderer NAME's executable (\"Specify\") and save the overrides");
    options->_pin->fallthrough();
    options->_pin->add_option("NAME", options->_name, "The renderer's name")->required();
    options->_pin->add_option("PATH", options->_path, "The executable to use")->required();

    options->_discover = renderers->add_subcommand(
        "discover", "Find renderer NAME's executable again (\"Discover\") and remove its override");
    options->_discover->fallthrough();
    options->_discover->add_option("NAME", options->_name, "The renderer's name")->required();

    renderers->callback([options, &context] { runRenderers(*options, context); });
}
