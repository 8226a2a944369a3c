// corvix-support renderers: the 3D Renderers view, headless. "list" shows the rows; "pin" and
// "discover" change one renderer as the view's "Specify" and "Discover" do, then write the
// overrides file as its "Apply" does.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "ExternalRenderManager.h"
#include "ExternalRenderer.h"
#include "RenderStrings.h"
#include "RendererOverrideMap.h"
#include "VeskPath.h"

namespace {

struct RenderersOptions {
    std::string _name;
    std::string _path;
    bool _json = false;
    CLI::App* _pin = nullptr;
    CLI::App* _discover = nullptr;
};

const char* modeOf(const ExternalRenderer& row) {
    return row.isOverridden() ? "Specify" : "Discover";
}

const char* statusOf(const ExternalRenderer& row) {
    return row.isValid() ? "Installed" : "Missing";
}

// The one place that writes rows as JSON: an array of objects, one per row, written by the JSON
// library. Names and paths are bytes; every byte that is not part of well-formed UTF-8 becomes
// U+FFFD, so that a strict parser accepts the listing whatever a name holds.
void writeJson(const std::vector<const ExternalRenderer*>& rows, std::ostream& out) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const ExternalRenderer* row : rows) {
        array.push_back({{"name", row->getName()},
                         {"mode", modeOf(*row)},
                         {"status", statusOf(*row)},
                         {"path", row->getPath()},
                         {"controlFile", row->getControlFile()}});
    }
    out << array.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

// One line per renderer, fields separated by tabs: name, mode, status, path, control file. Control
// characters in names and paths are escaped, so that every line is one row.
void printRows(const std::vector<const ExternalRenderer*>& rows, bool json, std::ostream& out) {
    if (json) {
        writeJson(rows, out);
        return;
    }
    for (const ExternalRenderer* row : rows) {
        out << vesk_printablePath(row->getName()) << "\t" << modeOf(*row) << "\t" << statusOf(*row)
            << "\t" << vesk_printablePath(row->getPath()) << "\t"
            << vesk_printablePath(row->getControlFile()) << "\n";
    }
}

// "Apply". Its notice goes to standard error, so that standard output carries only the rows.
void apply(ExternalRenderManager& manager, CliContext& context) {
    if (!manager.commitChanges()) {
        context.err << ExternalRenderManager::kCommitFailedTitle << " "
                    << ExternalRenderManager::kCommitFailedMessage << "\n"
                    << "corvix-support: " << manager.getCommitError() << "\n";
        context.exitCode = kCliFailure;
        return;
    }
    context.err << ExternalRenderManager::kCommitDoneTitle << " "
                << ExternalRenderManager::kCommitDoneMessage << "\n";
    context.exitCode = kCliSuccess;
}

void runRenderers(const RenderersOptions& options, CliContext& context) {
    // Each command reads the overrides file afresh, as the view does when the tool starts.
    RendererOverrideMap::getInstance()->clear();
    bool pinning = options._pin->parsed();
    bool editing = pinning || options._discover->parsed();
    ExternalRenderManager manager(editing ? ExternalRenderManager::kLockForLifetime
                                          : ExternalRenderManager::kLockWhileCommitting);
    const std::vector<ExternalRenderer*>& all = manager.getRenderers();
    if (!editing) {
        if (all.empty() && !options._json) {
            context.err << "No render control files in "
                        << vesk_printablePath(ExternalRenderManager::rendererFolder()) << "\n";
        }
        printRows({all.begin(), all.end()}, options._json, context.out);
        context.exitCode = kCliSuccess;
        return;
    }

    std::vector<const ExternalRenderer*> edited;
    for (size_t row = 0; row < all.size(); ++row) {
        if (all[row]->getName() != options._name) {
            continue;
        }
        // "Specify", then the path typed into the row; or "Discover".
        bool done = pinning ? manager.setMode(row, ExternalRenderManager::kModeSpecify) &&
                                  manager.setPath(row, options._path.c_str())
                            : manager.setMode(row, ExternalRenderManager::kModeDiscover);
        if (!done) {
            context.exitCode = kCliUsage;
            return;
        }
        edited.push_back(all[row]);
    }
    if (edited.empty()) {
        context.err << "corvix-support: no renderer named \"" << vesk_printablePath(options._name)
                    << "\" in " << vesk_printablePath(ExternalRenderManager::rendererFolder())
                    << "\n";
        context.exitCode = kCliFailure;
        return;
    }
    printRows(edited, options._json, context.out);
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
    renderers->add_flag("--json", options->_json,
                        "Print the rows as JSON (bytes that are not UTF-8 become U+FFFD)");

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

    renderers->footer(
        cliExitCodes({{"0", "Listed, or the change was saved to overrides.xml"},
                      {"1", "No renderer of that name, or overrides.xml could not be written"},
                      {"2", "Refused: a path too long to use, or a missing argument"}}));
    renderers->callback([options, &context] { runRenderers(*options, context); });
}
