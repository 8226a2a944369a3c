// corvix-support package: the support package job, headless. The verb parses, hands the request
// to PackageJob and prints its result; SIGINT and SIGTERM during the job raise the job's cancel
// flag, and the verb then exits 128 + the signal's number.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "CliProgressPrinter.h"
#include "PackageJob.h"
#include "SupportPackage.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "VeskPlatform.h"

namespace {

// A comment file is text someone wrote: 4 MiB is far beyond any, and bounds the manifest.
const size_t kCommentFileLimit = 4u << 20;

struct PackageOptions {
    std::string _output;
    std::string _name;
    std::string _company;
    std::string _email;
    std::string _comment;
    std::string _commentFile;
    std::vector<std::string> _attachments;
    int _commandTimeout = SupportPackage::kDefaultCommandTimeout;
    std::vector<std::string> _excluded;
    bool _redact = false;
    std::string _redactMap;
    bool _json = false;
    bool _dryRun = false;
    bool _force = false;
    bool _quiet = false;
    bool _liveCommands = false;
    bool _keepStaging = false;
    int _logSize = 0;
    std::string _since;

    CLI::Option* _outputOption = nullptr;
    CLI::Option* _nameOption = nullptr;
    CLI::Option* _companyOption = nullptr;
    CLI::Option* _commentOption = nullptr;
};

std::atomic<PackageCancelFlag*> gInterruptFlag{nullptr};

void raiseCancelFlag(int signal) {
    if (PackageCancelFlag* flag = gInterruptFlag.load()) {
        flag->request(signal);
    }
}

// SIGINT and SIGTERM raise flag while the object lives; the previous handlers come back after.
// A signal that was ignored when the tool started (a background job of a script) stays ignored.
class InterruptHandlers {
  public:
    explicit InterruptHandlers(PackageCancelFlag* flag) {
        gInterruptFlag.store(flag);
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_handler = raiseCancelFlag;
        sigemptyset(&action.sa_mask);
        for (int i = 0; i < 2; ++i) {
            sigaction(kSignals[i], nullptr, &_previous[i]);
            if (_previous[i].sa_handler != SIG_IGN) {
                sigaction(kSignals[i], &action, nullptr);
            }
        }
    }
    ~InterruptHandlers() {
        for (int i = 0; i < 2; ++i) {
            sigaction(kSignals[i], &_previous[i], nullptr);
        }
        gInterruptFlag.store(nullptr);
    }
    InterruptHandlers(const InterruptHandlers&) = delete;
    InterruptHandlers& operator=(const InterruptHandlers&) = delete;

  private:
    static constexpr int kSignals[2] = {SIGINT, SIGTERM};
    struct sigaction _previous[2];
};

// Whether the regular file at path begins as a ZIP archive does (a local header, or the end
// record of an empty archive). Anything else there is someone's data.
bool isZipArchive(const std::string& path) {
    int fd = vesk_openRegular(path.c_str(), O_RDONLY);
    if (fd < 0) {
        return false;
    }
    char magic[4] = {0};
    bool zip = read(fd, magic, sizeof magic) == static_cast<ssize_t>(sizeof magic) &&
               (memcmp(magic, "PK\3\4", 4) == 0 || memcmp(magic, "PK\5\6", 4) == 0);
    close(fd);
    return zip;
}

// An archive replaces an older archive; any other file in its place is kept unless --force.
bool mayReplace(const PackageOptions& options, const std::string& archive, CliContext& context) {
    struct stat st;
    if (options._force || stat(archive.c_str(), &st) != 0 || !S_ISREG(st.st_mode) ||
        isZipArchive(archive)) {
        return true;
    }
    context.err << "corvix-support package: \"" << vesk_printablePath(archive)
                << "\" exists and is not a ZIP archive; pass --force to replace it.\n";
    return false;
}

bool isDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Where the archive goes: the given path, else "CorvixSupport.zip" on the Desktop, which is made
// when missing unless this is a dry run. False, with a message, when there is no such place.
bool resolveOutput(const PackageOptions& options, std::string* archive, CliContext& context,
                   int* failure) {
    if (options._outputOption->count() > 0) {
        if (options._output.empty()) {
            context.err << "corvix-support package: -o needs the path of the archive.\n";
            return false;
        }
        *archive = options._output;
        return true;
    }
    std::string desktop;
    if (!vesk_desktopFolder(&desktop)) {
        context.err << "corvix-support package: there is no Desktop folder (HOME is not set); "
                       "name the archive with -o PATH.\n";
        *failure = kCliFailure;
        return false;
    }
    if (!options._dryRun && !isDirectory(desktop) && mkdir(desktop.c_str(), 0777) != 0) {
        context.err << "corvix-support package: cannot make the Desktop folder \"" << desktop
                    << "\": " << strerror(errno) << "\n";
        *failure = kCliFailure;
        return false;
    }
    *archive = desktop + "/" + PackageJob::kDefaultArchiveName;
    return true;
}

// Fills the request from the options; false (with a message) for a comment file that cannot be
// read. Everything else the user typed is judged by PackageJob::checkRequest.
bool buildRequest(const PackageOptions& options, PackageRequest* request, CliContext& context) {
    if (!options._email.empty()) {
        request->_email = options._email;
    }
    if (options._nameOption->count() > 0) {
        request->_userName = options._name;
    } else {
        std::string fullName;
        if (vesk_userFullName(&fullName)) {
            request->_userName = fullName;
        }
    }
    if (options._companyOption->count() > 0) {
        request->_company = options._company;
    }
    if (options._commentOption->count() > 0) {
        request->_comment = options._comment;
    } else if (!options._commentFile.empty()) {
        std::string text, why;
        if (!vesk_readRegularFile(options._commentFile.c_str(), kCommentFileLimit, &text, &why)) {
            context.err << "corvix-support package: cannot read the comment file \""
                        << options._commentFile << "\": " << why << "\n";
            return false;
        }
        request->_comment = text;
    }
    request->_excludedRows = options._excluded;
    request->_redact = options._redact;
    request->_redactMap = options._redactMap;
    request->_fileAttachments = options._attachments;
    request->_commandTimeout = options._commandTimeout;
    request->_liveCommands = options._liveCommands;
    request->_keepStaging = options._keepStaging;
    request->_logSizeLimit = static_cast<uint64_t>(options._logSize) << 20;
    request->_since = options._since;
    return true;
}

// The dry run as JSON: the archive, and each row with its name, label, whether it is left out,
// and its items (a command line or a path, with its size or the reason it is skipped). Bytes that
// are not UTF-8 become U+FFFD.
void printPlanJson(const std::vector<PackagePlanRow>& plan, const std::string& archive, bool redact,
                   CliContext& context) {
    nlohmann::json rows = nlohmann::json::array();
    for (const PackagePlanRow& row : plan) {
        nlohmann::json items = nlohmann::json::array();
        for (const PackagePlanItem& item : row._items) {
            const bool command = row._row->_operation == PackageOperation::Capture;
            nlohmann::json entry = {{command ? "command" : "path", item._what}};
            if (item._size >= 0) {
                entry["size"] = item._size;
            }
            if (!item._skipped.empty()) {
                entry["skipped"] = item._skipped;
            }
            items.push_back(entry);
        }
        rows.push_back({{"index", row._index},
                        {"name", row._name},
                        {"label", row._row->_label},
                        {"excluded", row._excluded},
                        {"items", items}});
    }
    nlohmann::json document = {{"archive", archive}, {"redact", redact}, {"rows", rows}};
    context.out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void printPlan(const PackageRequest& request, const std::string& archive, bool json,
               CliContext& context) {
    const std::vector<PackagePlanRow> plan = PackageJob::plan(request);
    if (json) {
        printPlanJson(plan, archive, request.redacts(), context);
        return;
    }
    for (const PackagePlanRow& row : plan) {
        char prefix[32];
        snprintf(prefix, sizeof prefix, "[%2d/%zu] ", row._index, plan.size());
        context.out << prefix << row._row->_label << " (" << row._name << ")"
                    << (row._excluded ? ": left out" : "") << "\n";
        if (row._items.empty()) {
            context.out << "        (nothing)\n";
        }
        for (const PackagePlanItem& item : row._items) {
            const char* mark = row._row->_operation == PackageOperation::Capture ? "$ " : "";
            if (!item._skipped.empty()) {
                context.out << "        " << mark << item._what << "  skipped: " << item._skipped
                            << "\n";
            } else if (*mark) {
                context.out << "        $ " << item._what << "\n";
            } else if (item._size < 0) {
                context.out << "        " << item._what << "\n";
            } else {
                context.out << "        " << item._what << "  " << item._size << " bytes\n";
            }
        }
    }
    context.out << "archive: " << archive << " (not written: dry run)\n";
    if (request.redacts()) {
        context.out << "names and addresses: hidden, the map would be "
                    << PackageJob::mapPath(archive) << "\n";
    }
}

int printResult(const PackageJobResult& result, const PackageCancelFlag& cancel, bool quiet,
                bool keepStaging, CliContext& context) {
    switch (result._status) {
        case PackageJobStatus::Created:
            if (!result._stagingRemoved && !keepStaging) {
                context.err << "corvix-support package: the staging folder "
                            << result._stagingFolder << " could not be removed\n";
            }
            if (quiet) {
                return kCliSuccess;
            }
            context.out << result._message << "\n\n"
                        << "archive: " << result._archivePath << "\n"
                        << "size: " << result._archiveSize << " bytes\n"
                        << "sha256: " << result._sha256 << "\n";
            if (keepStaging) {
                context.out << "staging folder: " << result._stagingFolder << "\n";
            }
            if (!result._mapPath.empty()) {
                context.out << "map: " << result._mapPath << "\n";
            }
            return kCliSuccess;
        case PackageJobStatus::Cancelled:
            context.err << "corvix-support package: interrupted; no archive was written"
                        << (result._stagingRemoved ? " and the staging folder was removed" : "")
                        << ".\n";
            return 128 + (cancel.signal() ? cancel.signal() : SIGINT);
        case PackageJobStatus::Failed:
            break;
    }
    context.err << "corvix-support package: " << result._error;
    if (!result._stagingFolder.empty()) {
        context.err << "; the collected files stay in " << result._stagingFolder;
    }
    context.err << "\n";
    return kCliFailure;
}

int runPackage(const PackageOptions& options, CliContext& context) {
    if (options._json && !options._dryRun) {
        context.err << "corvix-support package: --json lists what --dry-run finds; give both.\n";
        return kCliUsage;
    }
    // Everything the user typed is checked before the Desktop is made or anything collected.
    PackageRequest request;
    std::string why;
    if (!buildRequest(options, &request, context) || !PackageJob::checkRequest(request, &why)) {
        if (!why.empty()) {
            context.err << "corvix-support package: " << why << "\n";
        }
        return kCliUsage;
    }
    std::string archive;
    int failure = kCliUsage;
    if (!resolveOutput(options, &archive, context, &failure)) {
        return failure;
    }
    // A dry run on the default Desktop may find it missing: the real run makes it.
    bool defaulted = options._outputOption->count() == 0;
    if (!(options._dryRun && defaulted) && !PackageJob::checkArchivePath(archive, &why)) {
        context.err << "corvix-support package: " << why << "\n";
        return kCliUsage;
    }
    if (!mayReplace(options, archive, context)) {
        return kCliUsage;
    }
    request._fileName = archive;
    if (options._dryRun) {
        printPlan(request, archive, options._json, context);
        return kCliSuccess;
    }

    CliProgressPrinter progress(context.err, context.terminal.errorIsTerminal,
                                context.terminal.errorColumns);
    PackageCancelFlag cancel;
    PackageJobResult result;
    {
        InterruptHandlers handlers(&cancel);
        result = PackageJob::run(request, options._quiet ? nullptr : &progress, &cancel);
    }
    progress.endLine();
    return printResult(result, cancel, options._quiet, options._keepStaging, context);
}

}  // namespace

void registerPackageCommand(CLI::App& app, CliContext& context) {
    auto options = std::make_shared<PackageOptions>();
    CLI::App* command = app.add_subcommand(
        "package",
        "Collect a support package (system report, command outputs, logs, preferences, "
        "product files, attachments) and save it as one ZIP archive");
    options->_outputOption =
        command
            ->add_option("-o,--output", options->_output,
                         "Archive path (default: CorvixSupport.zip on the Desktop)")
            ->type_name("PATH");
    options->_nameOption =
        command->add_option("--name", options->_name, "Your name (default: your full name)")
            ->type_name("TEXT");
    options->_companyOption =
        command->add_option("--company", options->_company, "Your company")->type_name("TEXT");
    command->add_option("--email", options->_email, "Your e-mail address")->type_name("ADDR");
    options->_commentOption =
        command->add_option("--comment", options->_comment, "What went wrong")->type_name("TEXT");
    command->add_option("--comment-file", options->_commentFile, "Read the comment from FILE")
        ->type_name("FILE")
        ->excludes(options->_commentOption);
    command
        ->add_option("--attach", options->_attachments,
                     "Attach a file (repeat for more; kept in order)")
        ->type_name("FILE");
    command
        ->add_option("--exclude", options->_excluded,
                     "Leave out ROW: not collected, not in the manifest (repeat for more; the "
                     "names --dry-run prints; not system-report)")
        ->type_name("ROW");
    command->add_flag("--redact", options->_redact,
                      "Hide host names, network addresses and user names in what is taken from "
                      "this machine; the map to the real values is saved as ARCHIVE.map");
    command
        ->add_option("--redact-map", options->_redactMap,
                     "Hide them with the stand-ins of FILE (an earlier ARCHIVE.map) and new ones "
                     "after them; implies --redact")
        ->type_name("FILE");
    command->add_flag("--json", options->_json, "With --dry-run: the list as JSON");
    command
        ->add_option("--command-timeout", options->_commandTimeout,
                     "End a system command still running after SECONDS (0: never)")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(cliWholeNumber(86400, "seconds"));
    command->add_flag("--live-commands", options->_liveCommands,
                      "With a machine root, still run the system commands (process list, network, "
                      "host name, ...): they describe this machine, not the copied disk");
    command->add_flag("--keep-staging", options->_keepStaging,
                      "Keep the staging folder (a copy of everything collected) after the "
                      "archive was read back whole, and print its path");
    command
        ->add_option("--log-size", options->_logSize,
                     "Keep only the last MB of each product log and console log (attachments "
                     "and settings files stay whole; 0: whole logs)")
        ->type_name("MB")
        ->check(cliWholeNumber(1 << 20, "MB"));
    command
        ->add_option("--since", options->_since,
                     "Console logs from TIME on, as journalctl --since reads it "
                     "(\"2026-11-20 08:00\", \"yesterday\", \"-2h\")")
        ->type_name("TIME");
    command->add_flag("--force", options->_force,
                      "Replace the file at -o even when it is not a ZIP archive");
    command->add_flag("-q,--quiet", options->_quiet, "Print nothing but errors");
    command->add_flag("--dry-run", options->_dryRun,
                      "List what would be collected, with sizes and command lines; write nothing");
    command->footer(
        cliExitCodes({{"0", "The archive was made and read back whole"},
                      {"1", "The job failed: no archive was made, an existing one is as it was"},
                      {"2",
                       "Refused before anything was collected (a bad e-mail address, attachment, "
                       "comment file, output path, row name or pseudonym map)"},
                      {"130, 143",
                       "Interrupted by SIGINT or SIGTERM: nothing was written and the staging "
                       "folder was removed"}}));
    command->callback([options, &context] { context.exitCode = runPackage(*options, context); });
}
